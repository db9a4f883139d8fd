#!/usr/bin/env bash
# Checks that the shared library calls nothing that would end the host's process, write to its
# console, read its environment, start a thread or load code.
#
# usage: check_imported_names.sh LIBRARY
set -euo pipefail
export LC_ALL=C

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
forbidden=$(grep -vE '^(#|$)' "$here/forbidden.txt")
imported=$(nm -DC --undefined-only "$1" | sed -E 's/^ *[Uwv] //; s/@.*//' | sort -u)
[ -n "$imported" ] || { echo "nm shows no imported name"; exit 1; }

if grep -xF "$forbidden" <<<"$imported"; then
    echo "is imported and stands in tests/exports/forbidden.txt"
    exit 1
fi
