#!/usr/bin/env bash
# Installs the build into a prefix, moves the prefix away, and uses what lies there from outside.
#
# usage: check_install.sh package|pkg-config|command BUILD_FOLDER COMPILER LIBRARY_FOLDER [MAKE_CHAIN]
set -euo pipefail

way=$1 build=$2 compiler=$3 library_folder=$4 make_chain=${5:-}
project=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
prefix=$folder/moved

cmake --install "$build" --prefix "$folder/first" >/dev/null
mv "$folder/first" "$prefix"
diff -r "$project/include" "$prefix/include"

by_cmake_package() {
    cmake -S "$project/tests/install/package" -B "$folder/build" -G Ninja \
        -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DEXAMPLES="$project/examples"
    cmake --build "$folder/build"
    bash "$project/examples/check_read_range.sh" "$folder/build/read_range"
    [ -z "$make_chain" ] ||
        bash "$project/examples/check_two_folders.sh" "$folder/build/two_folders" "$make_chain"
}

by_pkg_config() {
    export PKG_CONFIG_PATH=$prefix/$library_folder/pkgconfig
    [ "$(pkg-config --variable=includedir vhdx_parser | xargs realpath)" = "$prefix/include" ]
    # The flags are several words.
    # shellcheck disable=SC2046
    "$compiler" -std=c++17 -o "$folder/read_range" "$project/examples/read_range.cpp" \
        $(pkg-config --cflags --libs vhdx_parser) -Wl,-rpath,"$prefix/$library_folder"
    bash "$project/examples/check_read_range.sh" "$folder/read_range"
}

the_command() {
    qemu-img create -q -f vhdx "$folder/disk.vhdx" 8M
    env -u LD_LIBRARY_PATH "$prefix/bin/vhdx" info --json "$folder/disk.vhdx" | grep -q 8388608
}

case $way in
    package) by_cmake_package ;;
    pkg-config) by_pkg_config ;;
    command) the_command ;;
    *) echo "unknown way: $way"; exit 2 ;;
esac
