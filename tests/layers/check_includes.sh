#!/usr/bin/env bash
# Reads every #include line and checks who includes whom.
#
#   The libraries: a layer includes itself, the layers below it and their exported headers, beside
#   them the standard library, and Boost where it may. access, chain and persist of vhdx_parser never
#   include one another, nor copy, folder and check of vhdx_disk. vhdx_disk takes the exported headers
#   of vhdx_parser and the few internal ones that are listed here; each of those is complete in
#   itself. vhdx_parser knows nothing of vhdx_disk.
#   Host programs (tools, examples, benchmarks, tests of the exported interface): exported headers
#   only, and what lies in the program's own folder. Of the command one source each knows the
#   libraries that take seconds to compile.
#
# usage: check_includes.sh [PROJECT_FOLDER]
set -euo pipefail

cd -- "${1:-$(dirname -- "${BASH_SOURCE[0]}")/../..}"

declare -A layers_below=(
    [vhdx_parser/foundation]=""
    [vhdx_parser/container]="foundation"
    [vhdx_parser/blocks]="foundation container"
    [vhdx_parser/access]="foundation blocks"
    [vhdx_parser/chain]="foundation container blocks"
    [vhdx_parser/persist]="foundation blocks"

    [vhdx_disk/source]=""
    [vhdx_disk/log]="source"
    [vhdx_disk/table]="source log"
    [vhdx_disk/chain]="source log table"
    [vhdx_disk/read]="source log table chain"
    [vhdx_disk/copy]="source log table chain read"
    [vhdx_disk/folder]="source log table chain"
    [vhdx_disk/check]="source log table chain"
)
declare -A layer_of_exported_header=(
    [vhdx_parser/byte_stream]=foundation [vhdx_parser/debug_trace]=foundation
    [vhdx_parser/dynamic_alloc_buffer]=foundation [vhdx_parser/file_system]=foundation
    [vhdx_parser/guid]=foundation [vhdx_parser/platform]=foundation
    [vhdx_parser/accessor]=container [vhdx_parser/metadata]=container
    [vhdx_parser/block_model]=blocks [vhdx_parser/sector_bitmap]=blocks
    [vhdx_parser/block_iteration]=access [vhdx_parser/payload_data]=access
    [vhdx_parser/differencing_merge]=chain [vhdx_parser/snapshot_chain]=chain
    [vhdx_parser/xml_persistence]=persist

    [vhdx_disk/export]=source [vhdx_disk/failure]=source [vhdx_disk/path_query]=source
    [vhdx_disk/source]=source
    [vhdx_disk/replayed_stream]=log
    [vhdx_disk/block_table]=table
    [vhdx_disk/finding]=chain [vhdx_disk/tree]=chain [vhdx_disk/disk]=chain
    [vhdx_disk/reader]=read
    [vhdx_disk/folder]=folder
    [vhdx_disk/check]=check
    [vhdx_disk/copy]=copy
)
# The headers of vhdx_parser that vhdx_disk shares: facts of the format, each written once.
declare -A is_shared=(
    [vhdx_parser/foundation/guid_text.h]=yes
    [vhdx_parser/foundation/little_endian.h]=yes
    [vhdx_parser/foundation/utf16.h]=yes
    [vhdx_parser/container/format.h]=yes
    [vhdx_parser/container/identifiers.h]=yes
    [vhdx_parser/blocks/bat_entry.h]=yes
    [vhdx_parser/blocks/geometry.h]=yes
    [vhdx_parser/blocks/units.h]=yes
    [vhdx_parser/chain/linking_rule.h]=yes
)
only_disk_source_with_boost=vhdx_disk/log/checksum.h
declare -A only_source_with=(
    [CLI]=tools/vhdx/command_syntax.cpp
    [nlohmann]=tools/vhdx/json_value.cpp
)
host_programs=(tools examples bench tests/interop tests/install tests/headers)
libraries=(vhdx_parser vhdx_disk)

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

# Whether a layer, LIBRARY/NAME, may look at one of its library.
is_at_or_below() {
    [ "$1" = "${2#*/}" ] || [[ " ${layers_below[$2]:-} " == *" $1 "* ]]
}

is_of_library() {
    [[ $1 == vhdx_parser/* || $1 == vhdx_disk/* ]]
}

is_internal() {
    is_of_library "$1" && [ ! -e "include/$1" ]
}

# The layer that an included file of the libraries belongs to.
layer_of() {
    local internal='^[a-z_]+/([a-z_]+)/[a-z0-9_]+\.h$' exported='^([a-z_]+/[a-z_]+)\.h$'
    if [[ $1 =~ $internal ]]; then
        echo "${BASH_REMATCH[1]}"
    elif [[ $1 =~ $exported ]]; then
        echo "${layer_of_exported_header[${BASH_REMATCH[1]}]:-unknown}"
    fi
}

# What the layer LIBRARY/NAME, to which the file belongs, includes of its own library.
check_layer() {
    local file=$1 included=$2 layer=$3 target
    target=$(layer_of "${included:1:-1}")
    is_at_or_below "$target" "$layer" ||
        complain "$file" "$included" "${layer#*/} does not look at ${target:-it}"
}

check_outside_include() {
    local file=$1 included=$2 name=${2:1:-1}
    if [ "${included:0:1}" = '"' ]; then
        complain "$file" "$included" "write the path from the project's folder"
    elif [[ $name == boost/* ]]; then
        [[ $file != vhdx_disk/* || $file == "$only_disk_source_with_boost" ]] ||
            complain "$file" "$included" "of vhdx_disk only $only_disk_source_with_boost needs Boost"
    elif [[ $name == */* && $name != sys/* ]]; then
        complain "$file" "$included" "the libraries need the standard library and Boost only"
    fi
}

check_library_include() {
    local file=$1 included=$2 name=${2:1:-1} library=${1%%/*}
    if ! is_of_library "$name"; then
        check_outside_include "$file" "$included"
    elif [ "${name%%/*}" = "$library" ]; then
        check_layer "$file" "$included" "$(cut -d/ -f1,2 <<<"$file")"
    elif [ "$library" = vhdx_parser ]; then
        complain "$file" "$included" "vhdx_parser knows nothing of vhdx_disk"
    elif is_internal "$name" && [ -z "${is_shared[$name]:-}" ]; then
        complain "$file" "$included" "vhdx_disk shares the listed headers only"
    fi
}

# What the other library takes must bring neither the trace nor a source of bytes along.
check_shared_include() {
    local file=$1 included=$2 name=${2:1:-1}
    case $name in
        vhdx_parser/debug_trace.h | vhdx_parser/byte_stream.h | *stream | cstdio | fcntl.h)
            complain "$file" "$included" "a shared header neither traces nor reads" ;;
        vhdx_parser/*)
            [ -n "${is_shared[$name]:-}" ] || ! is_internal "$name" ||
                complain "$file" "$included" "a shared header is complete in itself" ;;
        */* | *.h)
            complain "$file" "$included" "a shared header needs the standard library only" ;;
    esac
}

check_host_include() {
    local file=$1 included=$2 name=${2:1:-1}
    if is_internal "$name" || [[ $name == *../* ]]; then
        complain "$file" "$included" "host programs use the exported headers only"
    fi
}

# A program of ours is built from its own folder and the installed headers.
check_program_include() {
    local file=$1 included=$2 name=${2:1:-1}
    [[ ${included:0:1} != '"' || $name == "$(cut -d/ -f1,2 <<<"$file")"/* ]] ||
        complain "$file" "$included" "a program includes what lies in its own folder"
}

check_command_include() {
    local file=$1 library=${2:1:-1} source
    source=${only_source_with[${library%%/*}]:-$file}
    [ "$file" = "$source" ] || complain "$file" "$2" "only $source includes this library"
}

check_exported_include() {
    local file=$1 included=$2 name=${2:1:-1} header=${1#include/} layer
    if [[ ${included:0:1} == '"' || $name == */* && ! -e include/$name ]]; then
        complain "$file" "$included" \
            "exported headers need exported headers and the standard library only"
        return
    fi
    # CAccessor is declared in one header of vhdx_parser and defined in two layers, so the headers of
    # that library do not stand one above the other.
    layer=${layer_of_exported_header[${header%.h}]:-}
    if [[ $header == vhdx_parser/* && $name == vhdx_disk/* ]]; then
        complain "$file" "$included" "vhdx_parser knows nothing of vhdx_disk"
    elif [[ -n $layer && $header == vhdx_disk/* && $name == vhdx_disk/* ]]; then
        check_layer "$file" "$included" "vhdx_disk/$layer"
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

for library in "${libraries[@]}"; do
    for header in include/"$library"/*.h; do
        name=$library/$(basename "$header" .h)
        [ "$name" = "$library/$library" ] || [ -n "${layer_of_exported_header[$name]:-}" ] ||
            complain "$header" "$name" "say in tests/layers/check_includes.sh to which layer it belongs"
    done
done
check_all check_library_include "${libraries[@]}"
check_all check_shared_include "${!is_shared[@]}"
check_all check_exported_include include
check_all check_host_include "${host_programs[@]}"
check_all check_program_include tools examples
check_all check_command_include tools

[ "$read_lines" -gt 0 ] || { echo "no #include line was found"; exit 1; }
[ "$wrong" -eq 0 ] || { echo "$wrong of $read_lines includes break the rule"; exit 1; }
echo "$read_lines includes keep to the layers"
