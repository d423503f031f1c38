#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Records into a real file system until it is full: a tmpfs of 256 KiB in a mount namespace of its own. The tool must
# end with exit code 4 and say why, every line that an earlier, successful recording stored must still be there, and
# no more lines may be missing than the tool says. Then room is made, and recording works again. Where the medium is
# full just when a file is, the store leaves the index for the next one empty: the next start must find it again, with
# every item in view. An export onto such a medium must also end with exit code 4, and leave no part of a file there.
# usage: full_medium.sh JORN
# Exit codes: 0 all holds, 1 something does not, 77 no mount namespace is permitted here.
set -euo pipefail

fail() {
    echo "full_medium: $*" >&2
    exit 1
}

# The texts in the data files that are whole lines of the input: the prefix and five digits.
storedTexts() {
    cat "$1"/log/*[0-9].csv | sed -n "s/^[0-9]*,0,0,\($2[0-9]\{5\}\)\$/\1/p" | sort
}

# A full file, and then no room left: the index that the store writes anew for the next file stays empty.
fullAtTheEndOfAFile() {
    local jorn=$1 mount=$2 code=0
    rm -rf "${mount:?}"/*
    # With the item of the start the file is full.
    seq -f 'early%05.0f' 4999 | tee "$mount.early" | "$jorn" record --files 4 -l 0 "$mount/log"
    cp "$mount/log/0.csv" "$mount.full"
    cat /dev/zero > "$mount/filler" 2> /dev/null || true
    echo lost | "$jorn" record --files 4 -l 0 "$mount/log" 2> /dev/null || code=$?
    [ "$code" = 4 ] || fail "exit code $code where the index had no room, not 4"
    [ ! -s "$mount/log/index.csv" ] || fail "the index had room, so that nothing was tried"
    code=0
    echo lost | "$jorn" record --files 4 -l 0 "$mount/log" 2> "$mount.error" || code=$?
    [ "$code" = 4 ] || fail "exit code $code of a start while the index has no room, not 4"
    grep -q 'No space left on device' "$mount.error" || fail "the message does not tell: $(cat "$mount.error")"
    cmp "$mount/log/0.csv" "$mount.full" || fail "the full file was changed"
    rm "$mount/filler"
    echo again00001 | "$jorn" record --files 4 -l 0 "$mount/log" 2>> "$mount.error" ||
        fail "no recording after room was made for the index: $(cat "$mount.error")"
    # By which of the two starts depends on when the file system has the former index's room again.
    grep -q 'index.csv was empty: written again as 0,[01], because ' "$mount.error" ||
        fail "the index was not found again: $(cat "$mount.error")"
    "$jorn" show -p 2 --no-pager "$mount/log" 2> /dev/null | sed 's/.* //' | grep -v lost |
        cmp - <(cat "$mount.early"; echo again00001) || fail "lines of a successful recording are out of view"
    "$jorn" check "$mount/log" > "$mount.error" || fail "the log is not sound: $(cat "$mount.error")"
}

insideNamespace() {
    local jorn=$1 mount=$2 code=0 first missing gaps newest
    mount -t tmpfs -o size=256k none "$mount"

    seq -f 'early%05.0f' 2000 > "$mount.early"
    "$jorn" record --files 8 -l 0 "$mount/log" < "$mount.early" || fail "exit code $? with room left"
    seq -f 'late%05.0f' 30000 | "$jorn" record --files 8 -l 0 "$mount/log" 2> "$mount.error" || code=$?
    [ "$code" = 4 ] || fail "exit code $code on a full medium, not 4"
    grep -q 'No space left on device' "$mount.error" || fail "the message does not tell: $(cat "$mount.error")"

    storedTexts "$mount" early | cmp - "$mount.early" || fail "lines of a successful recording are gone"
    missing=$(sed -n 's/.*; \([0-9]*\) of the lines read are not in the files.*/\1/p' "$mount.error")
    storedTexts "$mount" late > "$mount.late"
    newest=$(tail -n 1 "$mount.late" | sed 's/late0*//')
    gaps=$((newest - $(wc -l < "$mount.late")))
    [ "$gaps" -le "${missing:-0}" ] || fail "$gaps lines are missing, ${missing:-0} are admitted"

    mount -o remount,size=4m "$mount"
    first=$(seq -f 'again%05.0f' 100 | tee "$mount.again" | "$jorn" record --files 8 -l 0 "$mount/log" 2>&1) ||
        fail "no recording after room has come back: $first"
    storedTexts "$mount" again | cmp - "$mount.again" || fail "lines are missing after room has come back"

    mount -o remount,size=512k "$mount"
    fullAtTheEndOfAFile "$jorn" "$mount"

    mkdir "$mount.log"
    seq -f 'a text that makes the export larger than the medium is, number %05.0f' 5000 |
        "$jorn" record --files 8 -l 0 "$mount.log/log"
    rm -rf "${mount:?}"/*
    mount -o remount,size=256k "$mount"
    for form in jsonl csv syslog sqlite; do
        code=0
        "$jorn" export "$mount.log/log" -o "$form" --to "$mount/export" 2> "$mount.error" || code=$?
        [ "$code" = 4 ] || fail "exit code $code of an export as $form onto a full medium, not 4"
        grep -q 'No space left on device\|disk is full' "$mount.error" ||
            fail "the message does not tell: $(cat "$mount.error")"
        [ -z "$(ls -A "$mount")" ] || fail "an export as $form left something: $(ls -A "$mount")"
    done
    echo "full_medium: 2000 lines kept, ${newest} more until the medium was full, ${missing:-0} admitted missing"
    echo "full_medium: an index without room was found again"
    echo "full_medium: exports in four forms left nothing"
}

if [ "${1:-}" = --inside ]; then
    insideNamespace "$2" "$3"
    exit
fi
[ $# = 1 ] || { sed -n 's/^# usage: /usage: /p' "$0" >&2; exit 1; }

namespace=(unshare --user --map-root-user --mount)
[ "$(id -u)" != 0 ] || namespace=(unshare --mount)
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
mkdir "$directory/m"
if ! "${namespace[@]}" mount -t tmpfs -o size=256k none "$directory/m" 2> /dev/null; then
    echo "full_medium: skipped: no mount namespace is permitted here"
    exit 77
fi
"${namespace[@]}" "$0" --inside "$1" "$directory/m"
