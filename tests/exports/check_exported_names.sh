#!/usr/bin/env bash
# Compares the names that a shared library shows with the list of its exported interface.
#
# usage: check_exported_names.sh LIBRARY LIST
set -euo pipefail
export LC_ALL=C

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
. "$here/readable_names.sh"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Weak symbols are copies that the compiler makes of templates and type descriptions. Those of the
# standard library and of the exceptions that leave the library (Boost's) have to be shared between
# library and host, and are no names of ours. Nothing of our namespaces is let through here.
made_by_the_compiler='^[VWuv] ((vtable|typeinfo|typeinfo name|VTT|construction vtable|guard variable|non-virtual thunk to|virtual thunk to) (for )?)?([a-z_ ]+ )?(std|__gnu_cxx|boost)::'

nm -DC --defined-only "$1" | sed -E 's/^[0-9a-f]+ +//' >"$folder/symbols"
grep -vE "$made_by_the_compiler" "$folder/symbols" | sed -E 's/^[A-Za-z] //' |
    readable_names | sort -u >"$folder/shown"
expected_names "$2" | grep -v '^Windows: ' | sort -u >"$folder/expected"

if ! cmp -s "$folder/expected" "$folder/shown"; then
    echo "The exported names differ from tests/exports/$(basename "$2")."
    comm -23 "$folder/expected" "$folder/shown" | sed 's/^/missing: /'
    comm -13 "$folder/expected" "$folder/shown" | sed 's/^/surplus: /'
    exit 1
fi
echo "$(wc -l <"$folder/shown") names are exported, as listed"
