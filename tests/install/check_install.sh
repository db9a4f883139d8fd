#!/usr/bin/env bash
# Uses the libraries from outside: as they are installed, in a prefix that was moved away afterwards, or
# as a folder of another project.
#
# What is built stays in a folder of the build tree, so that it is only built again when something
# has changed.
#
# usage: check_install.sh package|pkg-config|command|folder|vhdx|nbdkit BUILD_FOLDER COMPILER LAUNCHER
#            LIBRARY_FOLDER MAKE_EXAMPLE_DISKS [MAKE_CHAIN]
set -euo pipefail

way=$1 build=$2 compiler=$3 launcher=$4 library_folder=$5 make_example_disks=$6 make_chain=${7:-}
project=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
folder=$build/install-test/$way
prefix=$folder/moved
examples=$project/examples

# A cache of the compiler's results knows what it has compiled in another place.
if [ -n "$launcher" ]; then
    export CCACHE_BASEDIR=$project CCACHE_NOHASHDIR=1 CCACHE_DEPEND=1
    export CCACHE_SLOPPINESS=pch_defines,time_macros
fi

install_and_move() {
    rm -rf "$folder/first" "$prefix"
    cmake --install "$build" --prefix "$folder/first" >/dev/null
    mv "$folder/first" "$prefix"
    diff -r "$project/include" "$prefix/include"
    found=$(env -u LD_LIBRARY_PATH ldd "$prefix/$library_folder/libvhdx_disk.so" |
        sed -nE 's/.*libvhdx_parser.* => (.*) \(.*/\1/p')
    [ "$(realpath "$found")" = "$(realpath "$prefix/$library_folder/libvhdx_parser.so")" ] ||
        { echo "libvhdx_disk.so finds ${found:-no libvhdx_parser.so}"; exit 1; }
}

# build_outside SOURCE-FOLDER [CMAKE-ARGUMENT...]: without optimisation, since what is tested is that it
# builds.
build_outside() {
    local source=$1
    shift
    cmake -S "$source" -B "$folder/build" -G Ninja \
        -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" \
        -DCMAKE_BUILD_TYPE=None -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DEXAMPLES="$examples" "$@"
    cmake --build "$folder/build"
}

try_example() {
    bash "$examples/check_$1.sh" "$folder/build/$1" "$make_example_disks"
}

by_cmake_package() {
    build_outside "$project/tests/install/programs"
    for example in read_range back_up_ranges read_checkpoint list_changes check_folder; do
        try_example "$example"
    done
    [ -z "$make_chain" ] ||
        bash "$examples/check_two_folders.sh" "$folder/build/two_folders" "$make_chain"
}

# compile_by_pkg_config EXAMPLE LIBRARY
compile_by_pkg_config() {
    [ "$(pkg-config --variable=includedir "$2" | xargs realpath)" = "$prefix/include" ]
    # The flags are several words.
    # shellcheck disable=SC2046
    "$compiler" -std=c++17 -o "$folder/build/$1" "$examples/$1.cpp" \
        $(pkg-config --cflags --libs "$2") -Wl,-rpath,"$prefix/$library_folder"
}

by_pkg_config() {
    export PKG_CONFIG_PATH=$prefix/$library_folder/pkgconfig
    mkdir -p "$folder/build"
    compile_by_pkg_config read_range vhdx_parser
    try_example read_range
    compile_by_pkg_config back_up_ranges vhdx_disk
    try_example back_up_ranges
}

try_command() {
    local disk=$folder/disk.vhdx
    rm -f "$disk"
    qemu-img create -q -f vhdx "$disk" 8M
    env -u LD_LIBRARY_PATH "$1" info --json "$disk" | grep -q 8388608
}

as_a_folder() {
    build_outside "$project/tests/install/folder" -DLIBRARIES="$project"
    try_example read_range
    try_example read_checkpoint
}

# A program of ours, where the only sources are those of its own folder.
a_program() {
    rm -rf "$folder/source"
    mkdir -p "$folder/source/tools"
    cp -p "$project/tests/install/programs/CMakeLists.txt" "$folder/source"
    cp -rp "$project/tools/$way" "$folder/source/tools"
    build_outside "$folder/source" -DPROGRAM="$way"
}

[ "$way" = folder ] || install_and_move
case $way in
    package) by_cmake_package ;;
    pkg-config) by_pkg_config ;;
    command) try_command "$prefix/bin/vhdx" ;;
    folder) as_a_folder ;;
    vhdx)
        a_program
        try_command "$folder/build/tools/vhdx"
        ;;
    nbdkit)
        a_program
        nbdkit "$folder/build/tools/nbdkit-vhdx-plugin.so" --dump-plugin | grep -x name=vhdx
        ;;
    *) echo "unknown way: $way"; exit 2 ;;
esac
