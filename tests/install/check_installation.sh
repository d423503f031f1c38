#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs a build into a prefix of its own, builds programs with it in every supported way, in C and in C++, runs
# them, and does the same once the prefix has another name.
# usage: check_installation.sh BUILD VERSION LIBDIR CC CXX
set -euo pipefail
[ $# = 5 ] || { sed -n 's/^# usage: /usage: /p' "$0" >&2; exit 1; }
build=$1 version=$2 libdir=$3 cc=$4 cxx=$5
consumer=$(cd "$(dirname "$0")/consumer" && pwd)
unset DESTDIR CMAKE_PREFIX_PATH PKG_CONFIG_PATH LD_LIBRARY_PATH

fail() {
    echo "check_installation: $*" >&2
    exit 1
}

# A log's directory has a name of 31 characters at most: nothing but /tmp is short enough everywhere.
work=$(mktemp -d /tmp/jorn.XXXXXX)
trap 'rm -rf "$work"' EXIT

# Builds programs in C and C++, with the shared and the static library: with_cmake PREFIX FOLDER
with_cmake() {
    local prefix=$1 folder=$2 language compiler=$cc
    for language in C CXX; do
        cmake -S "$consumer" -B "$folder/$language" -DCMAKE_PREFIX_PATH="$prefix" -DJORN_LANGUAGE=$language \
            -DCMAKE_${language}_COMPILER="$compiler" --log-level=WARNING >/dev/null
        grep -q "^jorn_DIR:PATH=$prefix/" "$folder/$language/CMakeCache.txt" || fail "another jorn was found"
        cmake --build "$folder/$language" >/dev/null
        cp "$folder/$language"/cmake_*_$language "$folder"
        compiler=$cxx
    done
    cp "$folder/CXX/cmake_jorn_HPP" "$folder"
}

# The same with pkg-config and the compilers alone: with_pkg_config PREFIX FOLDER
with_pkg_config() {
    local prefix=$1 folder=$2 shared static
    export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
    [ "$(pkg-config --modversion jorn)" = "$version" ] || fail "pkg-config tells another version"
    shared="$(pkg-config --cflags --libs jorn) -Wl,-rpath,$prefix/$libdir"
    static=$(pkg-config --static --cflags --libs jorn | sed 's/-ljorn\>/-l:libjorn.a/')
    # No word of the flags contains blanks.
    "$cc" -std=gnu99 "$consumer/records.c" -o "$folder/pkg_shared_C" $shared
    "$cc" -std=gnu99 "$consumer/records.c" -o "$folder/pkg_static_C" $static
    "$cxx" -x c++ "$consumer/records.c" -x none -o "$folder/pkg_shared_CXX" $shared
    "$cxx" -x c++ "$consumer/records.c" -x none -o "$folder/pkg_static_CXX" $static
    "$cxx" -std=c++17 -fno-exceptions -fno-rtti "$consumer/doors.cpp" -o "$folder/pkg_static_HPP" $static
}

# Checks that a program needs the shared library exactly when its name says so.
check_linkage() {
    local needs=no
    ! readelf -d "$1" | grep -q 'NEEDED.*libjorn\.so\.' || needs=yes
    case $(basename "$1") in
        cmake_jorn_* | pkg_shared_*) [ $needs = yes ] || fail "$1 is not linked with the shared library" ;;
        *) [ $needs = no ] || fail "$1 is linked with the shared library" ;;
    esac
}

# Runs the programs side by side, as each waits for the store's clock. The installed tool reads what they recorded.
check_programs() {
    local prefix=$1 folder=$2 program started=()
    for program in "$folder"/cmake_* "$folder"/pkg_*; do
        check_linkage "$program"
        "$program" "$folder/log${#started[@]}" >/dev/null &
        started+=($!)
    done
    [ ${#started[@]} = 10 ] || fail "${#started[@]} programs, not 10"
    for program in "${!started[@]}"; do
        wait "${started[$program]}" || fail "program $program of $folder fails"
        [ "$("$prefix/bin/jorn" show -o csv -s 5 "$folder/log$program" | cut -d, -f2-)" = \
            $'level,slot,text\n1,5,door open\n1,5,door shut' ] || fail "the tool reads something else"
    done
}

check_prefix() {
    mkdir "$2"
    with_cmake "$1" "$2"
    with_pkg_config "$1" "$2"
    check_programs "$1" "$2"
}

cmake --install "$build" --prefix "$work/first" >/dev/null
[ "$("$work/first/bin/jorn" --version)" = "jorn $version" ] || fail "the tool tells another version"
grep -rIlF -e "$work" -e "$build" "$work/first" && fail "these files name a place of the build"
check_prefix "$work/first" "$work/a"
mv "$work/first" "$work/second"
check_prefix "$work/second" "$work/b"
