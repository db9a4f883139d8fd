#!/usr/bin/env bash
# Checks that a shared library calls nothing that would end the host's process, write to its
# console, read its environment, start a thread or load code, nor what further lists forbid it.
#
# usage: check_imported_names.sh LIBRARY [LIST...]
set -euo pipefail
export LC_ALL=C

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
library=$1
shift
forbidden=$(cat "$here/forbidden.txt" "$@" | grep -vE '^(#|$)')
imported=$(nm -DC --undefined-only "$library" | sed -E 's/^ *[Uwv] //; s/@.*//' | sort -u)
[ -n "$imported" ] || { echo "nm shows no imported name"; exit 1; }

if grep -xF "$forbidden" <<<"$imported"; then
    echo "is imported and stands in tests/exports/forbidden.txt" "${@##*/}"
    exit 1
fi
