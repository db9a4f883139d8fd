#!/usr/bin/env bash
# Checks that a program or DLL asks nothing about a path before it opens it: the calls of the C
# runtime for that, which std::filesystem makes too, refuse every name with a '?' in it, and so all
# paths of snapshots and devices. Wine's runtime does not.
#
# usage: check_imported_names.sh OBJDUMP FILE FILE-THAT-ASKS
set -euo pipefail
export LC_ALL=C

objdump=$1
asks='^_?w?stat(32|64|i64|32i64|64i32)?$|^_w?access'

imported_names() {
    "$objdump" -p "$1" | sed -nE 's/^\t[0-9a-f]+\t *[0-9]+ +([^ ]+)$/\1/p'
}

# The list is really one of what a program calls, and shows these calls.
names=$(imported_names "$2")
grep -qx malloc <<<"$names" || { echo "no names of $2 are shown"; exit 1; }
grep -qE "$asks" <<<"$(imported_names "$3")" || { echo "$3 asks nothing"; exit 1; }

if grep -E "$asks" <<<"$names"; then
    echo "is imported by $2"
    exit 1
fi
