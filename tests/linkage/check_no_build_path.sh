#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks that a binary contains no path of the building machine: check_no_build_path.sh FOLDER FILE...
set -euo pipefail
folder=$1
shift

for file in "$@"; do
    if grep -qF "$folder" "$file"; then
        echo "$file: holds the path of the source folder" >&2
        exit 1
    fi
done
