#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks that builds of the relocatable module import the same symbols as one of them:
# check_same_imports.sh NM REFERENCE FILE...
set -euo pipefail
nm=$1 reference=$2
shift 2

asked() { "$nm" --undefined-only --format=just-symbols "$1" | sort; }
if [ -z "$(asked "$reference")" ]; then
    echo "$reference: asks for nothing" >&2
    exit 1
fi
status=0
for file in "$@"; do
    if ! diff <(asked "$reference") <(asked "$file"); then
        echo "$file: asks for other symbols than $reference ('>' is what it asks for)" >&2
        status=1
    fi
done
exit "$status"
