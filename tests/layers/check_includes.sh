#!/usr/bin/env bash
# Reads every #include line and checks who includes whom.
#
#   The library: a layer includes itself, the layers below it and their exported headers; beside
#   them the standard library and Boost. access, chain and persist never include one another.
#   Host programs (tools, examples, benchmarks, tests of the exported interface): exported headers
#   only. Of the command one source each knows the libraries that take seconds to compile.
#
# usage: check_includes.sh [PROJECT_FOLDER]
set -euo pipefail

cd -- "${1:-$(dirname -- "${BASH_SOURCE[0]}")/../..}"

declare -A layers_below=(
    [foundation]=""
    [container]="foundation"
    [blocks]="foundation container"
    [access]="foundation blocks"
    [chain]="foundation container blocks"
    [persist]="foundation blocks"
)
declare -A layer_of_exported_header=(
    [byte_stream]=foundation [debug_trace]=foundation [dynamic_alloc_buffer]=foundation
    [file_system]=foundation [guid]=foundation [platform]=foundation
    [accessor]=container [metadata]=container
    [block_model]=blocks [sector_bitmap]=blocks
    [block_iteration]=access [payload_data]=access
    [differencing_merge]=chain [snapshot_chain]=chain
    [xml_persistence]=persist
)
declare -A only_source_with=(
    [CLI]=tools/vhdx/command_syntax.cpp
    [nlohmann]=tools/vhdx/json_value.cpp
)
host_programs=(tools examples bench tests/interop tests/install tests/headers)

wrong=0
read_lines=0
complain() {
    echo "$1: $2 ($3)"
    wrong=$((wrong + 1))
}

# "FILE:INCLUDED" for every #include line below the folders, with its brackets or quotes.
includes_below() {
    grep -rHoE --include='*.h' --include='*.cpp' '^ *# *include *[<"][^>"]*[>"]' "$@" 2>/dev/null |
        sed -E 's/: *# *include */:/' || true
}

is_at_or_below() {
    [ "$1" = "$2" ] || [[ " ${layers_below[$2]} " == *" $1 "* ]]
}

# The layer that an included file belongs to; fails for what is not of this project.
layer_of() {
    local internal='^vhdx_parser/([a-z_]+)/[a-z0-9_]+\.h$' exported='^vhdx_parser/([a-z_]+)\.h$'
    if [[ $1 =~ $internal ]]; then
        echo "${BASH_REMATCH[1]}"
    elif [[ $1 =~ $exported ]]; then
        echo "${layer_of_exported_header[${BASH_REMATCH[1]}]:-unknown}"
    else
        return 1
    fi
}

check_library_include() {
    local file=$1 included=$2 layer name target
    layer=$(cut -d/ -f2 <<<"$file")
    name=${included:1:-1}
    if target=$(layer_of "$name"); then
        is_at_or_below "$target" "$layer" ||
            complain "$file" "$included" "$layer does not look at $target"
    elif [ "${included:0:1}" = '"' ]; then
        complain "$file" "$included" "write the path from the project's folder"
    elif [[ $name == */* && $name != boost/* && $name != sys/* ]]; then
        complain "$file" "$included" "the library needs the standard library and Boost only"
    fi
}

check_host_include() {
    local file=$1 name=${2:1:-1}
    if [[ $name == vhdx_parser/* && ! -e include/$name ]] || [[ $name == *../* ]]; then
        complain "$file" "$2" "host programs use the exported headers only"
    fi
}

check_command_include() {
    local file=$1 library=${2:1:-1} source
    source=${only_source_with[${library%%/*}]:-$file}
    [ "$file" = "$source" ] || complain "$file" "$2" "only $source includes this library"
}

check_exported_include() {
    local file=$1 name=${2:1:-1}
    if [[ ${2:0:1} == '"' || $name == boost/* ]] ||
        [[ $name == vhdx_parser/* && ! -e include/$name ]]; then
        complain "$file" "$2" "exported headers need exported headers and the standard library only"
    fi
}

check_all() {
    local check=$1 line
    shift
    while IFS= read -r line; do
        "$check" "${line%%:*}" "${line#*:}"
        read_lines=$((read_lines + 1))
    done < <(includes_below "$@")
}

for header in include/vhdx_parser/*.h; do
    name=$(basename "$header" .h)
    [ "$name" = vhdx_parser ] || [ -n "${layer_of_exported_header[$name]:-}" ] ||
        complain "$header" "$name" "say in tests/layers/check_includes.sh to which layer it belongs"
done
check_all check_library_include vhdx_parser
check_all check_exported_include include
check_all check_host_include "${host_programs[@]}"
check_all check_command_include tools

[ "$read_lines" -gt 0 ] || { echo "no #include line was found"; exit 1; }
[ "$wrong" -eq 0 ] || { echo "$wrong of $read_lines includes break the rule"; exit 1; }
echo "$read_lines includes keep to the layers"
