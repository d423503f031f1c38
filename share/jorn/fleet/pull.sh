#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Copies a log that is being written on another machine: pull.sh SOURCE LOG
#
# SOURCE is its directory, as rsync names it, and LOG the copy, as DEVICE/LOG below any directory. A copy shows a single
# moment: the index did not change while the data files were copied. LOG is a symbolic link to one of two copies in a
# hidden directory beside it. A pull renews the other copy and then changes the link at once, so that LOG is always a
# whole copy, even if a pull breaks off. It stays as it is if nothing is new.
set -eu

fail() {
    echo "pull.sh: $*" >&2
    exit 1
}

# Whatever exit code rsync has: 255, which means that a machine is out of reach, would stop xargs.
copy() {
    rsync -t --timeout=60 "$@" || fail "$source: could not be copied; $log stays as it was"
}

# An index may change without getting another size or another second, by which rsync knows files.
copy_index() { # FILE
    copy --ignore-times "$source/index.csv" "$1"
}

# Copies files of the log into $new, and removes those that are gone. --exclude also keeps files from being removed.
copy_files() { # SOURCE [OPTION...]
    from=$1
    shift
    copy -r --delete "$@" --include='*.csv' --include=jorn.names --include=jorn.ring --exclude='*' "$from/" "$new/"
}

# The copy in use, if it has the same files as the new one.
is_unchanged() {
    [ -n "$used" ] && cmp -s "$new/index.csv" "$log/index.csv" &&
        [ -z "$(rsync -rtnOi --delete "$new/" "$log/")" ]
}

[ $# -eq 2 ] || fail "usage: pull.sh SOURCE LOG"
source=${1%/}
log=${2%/}
parent=$(dirname "$log")
name=$(basename "$log")
mkdir -p "$parent/.$name"
[ -L "$log" ] || [ ! -e "$log" ] || fail "$log: is there already, and no copy of a log that was pulled"
exec 9>"$parent/.$name/lock"
flock -n 9 || fail "$log: is being pulled already"

# The tool names a log and its device after the directories that the link leads to.
device=$(basename "$(realpath "$parent")")
used=$(readlink "$log" || true)
case $used in
.$name/1/*) next=.$name/2/$device/$name ;;
*) next=.$name/1/$device/$name ;;
esac
new=$parent/$next
before=$parent/.$name/index.before
mkdir -p "$new"
# So that only what is new has to come from the other machine.
[ -z "$used" ] || copy_files "$log"

for _ in 1 2 3 4 5; do
    copy_index "$before"
    copy_files "$source" --exclude=index.csv
    copy_index "$new/index.csv"
    if cmp -s "$before" "$new/index.csv"; then
        is_unchanged && exit
        ln -sfn "$next" "$parent/.$name/link"
        mv -T "$parent/.$name/link" "$log"
        exit
    fi
done
fail "$source: the log moved on during each of 5 attempts; $log stays as it was"
