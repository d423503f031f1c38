#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks that a linked form of the module exports the public functions and nothing else:
# check_exports.sh NM EXPORTS FILE [NM-OPTION...]
set -euo pipefail
nm=$1 exports=$2 file=$3
shift 3

if ! diff <(sort "$exports") <("$nm" "$@" --defined-only --extern-only --format=just-symbols "$file" | sort); then
    echo "$file: exported symbols differ from $exports ('>' is what the file shows)" >&2
    exit 1
fi
