#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the Debian packages of a build twice, checks their contents, installs them below a folder of their own with
# its own package database, uses what they install there, and removes them. The machine is not changed.
# usage: check_packages.sh BUILD SOURCE VERSION ARCHITECTURE
set -euo pipefail
[ $# = 4 ] || { sed -n 's/^# usage: /usage: /p' "$0" >&2; exit 1; }
build=$1 source=$2 version=$3 architecture=$4
here=$(cd "$(dirname "$0")" && pwd)
export PATH=$PATH:/usr/sbin:/sbin LC_ALL=C.UTF-8
unset DESTDIR SOURCE_DATE_EPOCH PKG_CONFIG_PATH LD_LIBRARY_PATH

fail() {
    echo "check_packages: $*" >&2
    exit 1
}

# A log's directory has a name of 31 characters at most: nothing but /tmp is short enough everywhere.
work=$(mktemp -d /tmp/jorn.XXXXXX)
trap 'rm -rf "$work"' EXIT
root=$work/root

make_packages() {
    cpack --config "$build/CPackConfig.cmake" -B "$1" >"$1.log" 2>&1 || fail "cpack: $(cat "$1.log")"
    rm -r "$1/_CPack_Packages"
}

# The second ones are made later and in another time zone, and must be the same. The umask must not make folders
# inaccessible to others.
check_reproducible() {
    umask 027
    make_packages "$work/packages"
    TZ=Asia/Tokyo make_packages "$work/again"
    umask 022
    diff -r "$work/packages" "$work/again" || fail "made again, the packages differ"
}

check_contents() {
    local package
    for package in jorn libjorn-dev libjorn1; do
        dpkg-deb --fsys-tarfile "$work/packages/${package}_${version}"_*.deb | tar -t | grep -v '/$' |
            sed "s/^\./$package /"
    done | sort | diff <(sed "s/ARCH/$architecture/; s/VERSION/$version/" "$here/contents.txt" | sort) - ||
        fail "the packages hold something else ('<' is missing, '>' too many)"
    lintian --fail-on error,warning --tag-display-limit 0 "$work"/packages/*.deb || fail "lintian objects"
}

# This machine has what the packages depend on; the private database takes it from there.
known_packages() {
    local name
    mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/log"
    for name in $(for deb in "$work"/packages/*.deb; do dpkg-deb -f "$deb" Depends; echo ,; done |
        tr ',|' '\n\n' | sed 's/^ *//; s/ .*//' | grep -v '^libjorn' | sort -u); do
        dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null | grep -q '^installed' || continue
        dpkg -s "$name" && echo
        touch "$root/var/lib/dpkg/info/$name.list" "$root/var/lib/dpkg/info/$name:$(dpkg --print-architecture).list"
    done >"$root/var/lib/dpkg/status"
}

# dpkg for the private root. Without root's rights it is made to believe that it has them.
private_dpkg() {
    local rights=()
    [ "$(id -u)" = 0 ] || rights=(fakeroot)
    "${rights[@]}" dpkg --root="$root" --force-not-root --force-script-chrootless "$@" >"$work/dpkg.log" 2>&1 ||
        fail "dpkg $*: $(cat "$work/dpkg.log")"
}

entries() { (cd "$root" && find . -path ./var -prune -o -print | sort); }

check_tool() {
    local jorn=$root/usr/bin/jorn
    [ "$("$jorn" --version)" = "jorn $version" ] || fail "the tool tells another version"
    seq -f 'line %g' 6000 | "$jorn" record --files 3 "$work/log" || fail "no recording"
    [ "$("$jorn" show -n 2 -o csv "$work/log" | cut -d, -f4)" = $'text\nline 5999\nline 6000' ] || fail "no showing"
    [ "$("$jorn" count -p 2 -o csv "$work/log" | tail -n 1)" = total,,6000 ] ||
        fail "counted: $("$jorn" count -o csv "$work/log")"
    gzip -dc "$root/usr/share/doc/jorn/changelog.gz" | head -n 1 | grep -qF "jorn ($version) " ||
        fail "packaging/debian/changelog does not begin with version $version"
    gzip -dc "$root/usr/share/man/man1/jorn.1.gz" | mandoc -Tlint -Wwarning || fail "no manual page"
    grep -rlF -e "$build" -e "$source" "$root/usr" && fail "these files name a place of the build" || true
}

# A user's program, built with what the packages provide for pkg-config.
check_library() {
    local flags
    flags=$(PKG_CONFIG_PATH=$root/usr/lib/$architecture/pkgconfig pkg-config --cflags --libs jorn)
    gcc -std=gnu99 "$here/../install/consumer/records.c" -o "$work/records" $flags
    LD_LIBRARY_PATH=$root/usr/lib/$architecture "$work/records" "$work/other" || fail "the program fails"
    [ "$("$root/usr/bin/jorn" count -s 5 -o csv "$work/other" | tail -n 1)" = total,,2 ] || fail "its items are missing"
    g++ -std=c++17 "$here/../install/consumer/doors.cpp" -o "$work/doors" $flags
    LD_LIBRARY_PATH=$root/usr/lib/$architecture "$work/doors" "$work/third" || fail "the program in C++ fails"
}

check_reproducible
check_contents
known_packages
entries >"$work/before"
private_dpkg --install "$work"/packages/*.deb
check_tool
check_library
private_dpkg --purge jorn libjorn-dev libjorn1
entries | diff "$work/before" - || fail "removed, the packages leave these"
echo "check_packages: $(wc -l <"$here/contents.txt") files installed, used and removed"
