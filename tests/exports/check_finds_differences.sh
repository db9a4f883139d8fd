#!/usr/bin/env bash
# Shows that the checks can fail: a library that shows and calls other names is refused.
#
# usage: check_finds_differences.sh COMPILER
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

cat >"$folder/other.cpp" <<'END'
#include <cstdlib>
#include <unistd.h>
namespace NVHDX { void Surplus() { std::abort(); } }
namespace NVHDXDisk { bool Surplus() { return truncate("file", 0) == 0; } }
END
"$1" -shared -fPIC -o "$folder/libother.so" "$folder/other.cpp"

expect_refusal() {
    local text=$1 check=$2 output
    shift 2
    if output=$(bash "$here/$check" "$folder/libother.so" "$@"); then
        echo "$check accepted a wrong library"
        exit 1
    fi
    grep -qxF "$text" <<<"$output" || { echo "$check did not say: $text"; exit 1; }
}

expect_refusal "surplus: NVHDX::Surplus()" check_exported_names.sh "$here/expected.txt"
expect_refusal "missing: NVHDX::CAccessor::Clear()" check_exported_names.sh "$here/expected.txt"
expect_refusal "surplus: NVHDXDisk::Surplus()" \
    check_exported_names.sh "$here/expected_vhdx_disk.txt"
expect_refusal "missing: NVHDXDisk::CDisk::Size() const" \
    check_exported_names.sh "$here/expected_vhdx_disk.txt"
expect_refusal "abort" check_imported_names.sh
expect_refusal "abort" check_imported_names.sh "$here/forbidden_vhdx_disk.txt"
expect_refusal "truncate" check_imported_names.sh "$here/forbidden_vhdx_disk.txt"
