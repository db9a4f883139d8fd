#!/usr/bin/env bash
# Shows that the two checks can fail: a library that shows and calls other names is refused.
#
# usage: check_finds_differences.sh COMPILER
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

cat >"$folder/other.cpp" <<'END'
#include <cstdlib>
namespace NVHDX { void Surplus() { std::abort(); } }
END
"$1" -shared -fPIC -o "$folder/libother.so" "$folder/other.cpp"

expect_refusal() {
    local check=$1 text=$2 output
    if output=$(bash "$here/$check" "$folder/libother.so"); then
        echo "$check accepted a wrong library"
        exit 1
    fi
    grep -qF "$text" <<<"$output" || { echo "$check did not say: $text"; exit 1; }
}

expect_refusal check_exported_names.sh "surplus: NVHDX::Surplus()"
expect_refusal check_exported_names.sh "missing: NVHDX::CAccessor::Clear()"
expect_refusal check_imported_names.sh "abort"
