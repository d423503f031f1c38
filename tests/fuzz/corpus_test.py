#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of corpus.py, run as its users run it."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).with_name("corpus.py")
A_UNNAMED = "86f7e437faa5a7fce15d1ddcb9eaeaea377667b8"


class CorpusTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.corpus = self.root / "corpus.txt"
        self.folder = self.root / "deep" / "folder"

    def run_script(self, *arguments):
        run = subprocess.run([sys.executable, SCRIPT, *map(str, arguments)],
                             capture_output=True, text=True, check=False)
        return run.returncode, run.stderr

    def expect(self, *arguments):
        self.assertEqual(self.run_script(*arguments), (0, ""))

    def expect_refused(self, text, message):
        self.corpus.write_text(text)
        self.assertEqual(self.run_script("unpack", self.corpus, self.folder), (1, f"corpus.py: {message}\n"))
        self.assertFalse(self.folder.exists())

    def inputs(self):
        return {path.name: path.read_bytes() for path in self.folder.iterdir()}

    def test_unpack_named_and_unnamed_each_a_file(self):
        self.corpus.write_text("- YQ==\nempty \nfirst-1 AP8K\n")
        self.expect("unpack", self.corpus, self.folder)
        self.assertEqual(self.inputs(), {A_UNNAMED: b"a", "empty": b"", "first-1": b"\x00\xff\n"})

    def test_unpack_again_leaves_nothing_else(self):
        self.corpus.write_text("old YQ==\n")
        self.expect("unpack", self.corpus, self.folder)
        self.corpus.write_text("new Yg==\n")
        self.expect("unpack", self.corpus, self.folder)
        self.assertEqual(self.inputs(), {"new": b"b"})

    def test_pack_unpacked_is_the_same_sorted(self):
        self.corpus.write_text("- Yg==\n- YQ==\nb AP8K\na \n")
        self.expect("unpack", self.corpus, self.folder)
        self.expect("pack", self.folder, self.corpus)
        self.assertEqual(self.corpus.read_text(), "- YQ==\n- Yg==\na \nb AP8K\n")

    def test_add_one_and_several_under_their_names(self):
        self.corpus.write_text("- YQ==\n")
        file = self.root / "crash-1"
        file.write_bytes(b"b")
        self.expect("add", self.corpus, "torn", file)
        self.expect("add", self.corpus, "cut", file, file)
        self.assertEqual(self.corpus.read_text(), "- YQ==\ncut-1 Yg==\ncut-2 Yg==\ntorn Yg==\n")

    def test_add_known_name_refused(self):
        self.corpus.write_text("torn YQ==\n")
        self.assertEqual(self.run_script("add", self.corpus, "torn", SCRIPT),
                         (1, f"corpus.py: {self.corpus}: has torn already\n"))
        self.assertEqual(self.corpus.read_text(), "torn YQ==\n")

    def test_pack_file_named_for_other_bytes_refused(self):
        self.folder.mkdir(parents=True)
        (self.folder / A_UNNAMED).write_bytes(b"b")
        self.assertEqual(self.run_script("pack", self.folder, self.corpus),
                         (1, f"corpus.py: {A_UNNAMED}: no name for an input\n"))
        self.assertFalse(self.corpus.exists())

    def test_unpack_mistakes_refused_with_their_line(self):
        self.expect_refused("a YQ==\nb YQ=\n", f"{self.corpus}:2: b: Incorrect padding")
        self.expect_refused("a YQ==\na Yg==\n", f"{self.corpus}:2: a: a second time")
        self.expect_refused("- YQ==\n- YQ==\n", f"{self.corpus}:2: {A_UNNAMED}: a second time")
        self.expect_refused("../a YQ==\n", f"{self.corpus}:1: ../a: no name for an input")
        self.expect_refused(f"{A_UNNAMED} YQ==\n", f"{self.corpus}:1: {A_UNNAMED}: no name for an input")

    def test_wrong_usage_prints_help(self):
        self.assertEqual(self.run_script("unpack", self.corpus)[0], 2)


if __name__ == "__main__":
    unittest.main()
