#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of long_run.py, run as scripts/fuzz runs it."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).with_name("long_run.py")
BEGUN = 1795240028
ENDED = """#12\tINITED cov: 10 ft: 20 corp: 5/100b exec/s: 0 rss: 40Mb
#4096\tpulse  cov: 11 ft: 25 corp: 7/140b lim: 1500 exec/s: 100 rss: 41Mb
#9000\tDONE   cov: 12 ft: 27 corp: 8/150b lim: 1500 exec/s: 90 rss: 42Mb
Done 9000 runs in 100 second(s)
stat::number_of_executed_units: 9000
stat::average_exec_per_sec:     90
stat::new_units_added:          3
stat::slowest_unit_time_sec:    1
stat::peak_rss_mb:              42
"""
FOUND = """#12\tINITED cov: 10 ft: 20 corp: 5/100b exec/s: 0 rss: 40Mb
artifact_prefix='findings/store-'; Test unit written to build/fuzz/findings/store-crash-0a
stat::number_of_executed_units: 13
"""


class LongRunTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.table = pathlib.Path(folder.name) / "table.md"
        self.output = pathlib.Path(folder.name) / "output.log"

    def run_script(self, target, output, begun=BEGUN):
        self.output.write_text(output)
        os.utime(self.output, (begun + 100, begun + 100))
        arguments = [self.table, target, "0123abc", begun, self.output]
        subprocess.run([sys.executable, SCRIPT, *map(str, arguments)], check=True)

    def rows(self):
        return [line for line in self.table.read_text().splitlines() if " | 2026-" in line]

    def test_run_that_ended_all_figures(self):
        self.run_script("store", ENDED)
        self.assertEqual(
            self.rows(),
            ["| store | 2026-11-21 05:47 | 0123abc | 100 | 9000 | 90 | 12 | 27 | 3 | 1 | 42 | none |"])

    def test_finding_is_named_and_missing_figures_shown(self):
        self.run_script("store", FOUND)
        self.assertEqual(
            self.rows(),
            ["| store | 2026-11-21 05:47 | 0123abc | 100 | 13 | ? | 10 | 20 | ? | ? | ? | store-crash-0a |"])

    def test_run_that_was_killed_does_not_pass_for_clean(self):
        self.run_script("store", ENDED.partition("Done")[0])
        self.assertTrue(self.rows()[0].endswith(" | did not end by itself |"))

    def test_again_replaces_the_row_of_that_target_alone(self):
        self.run_script("tool", ENDED)
        self.run_script("index", FOUND)
        self.run_script("tool", FOUND, BEGUN + 3600)
        self.assertEqual([row[:30] for row in self.rows()],
                         ["| index | 2026-11-21 05:47 | 0", "| tool | 2026-11-21 06:47 | 01"])
        self.assertEqual(self.table.read_text().count("# Long runs"), 1)


if __name__ == "__main__":
    unittest.main()
