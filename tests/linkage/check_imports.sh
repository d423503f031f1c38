#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks that the relocatable module imports its platform and the C library only, each call by its plain name:
# check_imports.sh NM FILE ALLOWED... A name in an ALLOWED list that the module does not import is reported too,
# unless marked with a leading "?" (the compiler decides which calls it adds).
set -euo pipefail
nm=$1 file=$2
shift 2

asked=$("$nm" --undefined-only --format=just-symbols "$file" | sort)
required=$(cat "$@" | grep -v -e '^?' -e '^#' -e '^$' | sort)
possible=$(cat "$@" | grep -v -e '^#' -e '^$' | sed 's/^?//' | sort)

extra=$(comm -23 <(echo "$asked") <(echo "$possible"))
absent=$(comm -13 <(echo "$asked") <(echo "$required"))
if [ -n "$extra$absent" ]; then
    [ -z "$extra" ] || printf '%s: asks for what its platform does not have:\n%s\n' "$file" "$extra" >&2
    [ -z "$absent" ] || printf '%s: does not ask for, though listed:\n%s\n' "$file" "$absent" >&2
    exit 1
fi
