#!/usr/bin/env bash
# Compares the names that a DLL shows when it is loaded with the list of its exported interface, the
# one that holds for every platform.
#
# usage: check_exported_names.sh LIBRARY LIST COMMAND-THAT-PRINTS-THE-NAMES...
set -euo pipefail
export LC_ALL=C

library=$1 list=$2
shift 2
exports=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../exports" && pwd)
# shellcheck source=/dev/null
. "$exports/readable_names.sh"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$@" "$library" | tr -d '\r' >"$folder/names"
# c++filt spells out one name that nm shortens, and the suffix of 64-bit constants is another here.
# `unsigned long` has 32 bits, and is what Windows calls a DWORD.
c++filt <"$folder/names" |
    sed -E 's/std::basic_ostream<char, std::char_traits<char> >/std::ostream/g; s/([0-9])ull/\1/g' |
    sed -E 's/unsigned long long/std::uint64_t/g; s/unsigned long/DWORD/g' |
    readable_names | sort -u >"$folder/shown"
expected_names "$list" | sed 's/^Windows: //' | sort -u >"$folder/expected"

if ! cmp -s "$folder/expected" "$folder/shown"; then
    echo "The exported names differ from tests/exports/$(basename "$list")."
    comm -23 "$folder/expected" "$folder/shown" | sed 's/^/missing: /'
    comm -13 "$folder/expected" "$folder/shown" | sed 's/^/surplus: /'
    exit 1
fi
echo "$(wc -l <"$folder/shown") names are exported, as listed"
