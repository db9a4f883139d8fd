#!/usr/bin/env bash
# Shows that the check of the includes can fail: each line below is refused where it stands.
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
project=$(mktemp -d)
trap 'rm -rf "$project"' EXIT
mkdir -p "$project"/include/{vhdx_parser,vhdx_disk} "$project"/tools/{vhdx,nbdkit} \
    "$project"/{bench,examples} \
    "$project"/vhdx_parser/{foundation,container,blocks,access,chain,persist} \
    "$project"/vhdx_disk/{source,log,table,chain,read,copy,folder,check}
touch "$project"/include/vhdx_parser/{accessor,debug_trace,payload_data}.h \
    "$project"/include/vhdx_disk/{disk,reader,replayed_stream,source}.h

expect() {
    local verdict=$1 file=$2 line=$3 answer=accepted
    echo "$line" >"$project/$file"
    bash "$here/check_includes.sh" "$project" >/dev/null || answer=refused
    echo >"$project/$file"
    [ "$answer" = "$verdict" ] || { echo "$line in $file: $answer"; exit 1; }
}

expect accepted vhdx_parser/blocks/a.cpp '#include "vhdx_parser/container/format.h"'
expect accepted vhdx_parser/blocks/a.cpp '#include "vhdx_parser/foundation/utf16.h"'
expect accepted vhdx_parser/chain/a.cpp '#include <vhdx_parser/accessor.h>'
expect accepted vhdx_parser/persist/a.cpp '#include <boost/property_tree/ptree.hpp>'
expect accepted tools/a.cpp '#include <vhdx_parser/payload_data.h>'

expect accepted tools/vhdx/command_syntax.cpp '#include <CLI/CLI.hpp>'
expect accepted tools/vhdx/json_value.cpp '#include <nlohmann/json.hpp>'

expect refused vhdx_parser/foundation/a.h '#include "vhdx_parser/container/format.h"'
expect refused vhdx_parser/container/a.h '#include "vhdx_parser/blocks/units.h"'
expect refused vhdx_parser/access/a.cpp '#include "vhdx_parser/chain/file.h"'
expect refused vhdx_parser/access/a.cpp '#include "vhdx_parser/container/format.h"'
expect refused vhdx_parser/access/a.cpp '#include "vhdx_parser/container/utf16.h"'
expect refused vhdx_parser/chain/a.cpp '#include <vhdx_parser/payload_data.h>'
expect refused vhdx_parser/persist/a.cpp '#include "vhdx_parser/access/pieces.h"'
expect refused vhdx_parser/blocks/a.cpp '#include <vhdx_parser/vhdx_parser.h>'
expect refused vhdx_parser/blocks/a.cpp '#include "units.h"'
expect refused vhdx_parser/blocks/a.cpp '#include <fmt/format.h>'
expect refused include/vhdx_parser/accessor.h '#include "vhdx_parser/container/format.h"'
expect refused include/vhdx_parser/accessor.h '#include <boost/optional.hpp>'
expect refused include/vhdx_parser/unheard_of.h '#include <string>'
rm "$project/include/vhdx_parser/unheard_of.h"
expect refused tools/a.cpp '#include "vhdx_parser/blocks/units.h"'
expect refused tools/vhdx/info.cpp '#include <nlohmann/json.hpp>'
expect refused tools/vhdx/json_value.cpp '#include <CLI/CLI.hpp>'

# The layers of vhdx_disk: each looks at the one below it and not at the one above.
above=
for layer in source log table chain read copy; do
    if [ -n "$above" ]; then
        expect accepted "vhdx_disk/$layer/a.cpp" "#include \"vhdx_disk/$above/a.h\""
        expect refused "vhdx_disk/$above/a.cpp" "#include \"vhdx_disk/$layer/a.h\""
    fi
    above=$layer
done
for layer in source log table chain; do
    expect accepted vhdx_disk/folder/a.cpp "#include \"vhdx_disk/$layer/a.h\""
    expect accepted vhdx_disk/check/a.cpp "#include \"vhdx_disk/$layer/a.h\""
    expect refused "vhdx_disk/$layer/a.cpp" '#include "vhdx_disk/folder/a.h"'
    expect refused "vhdx_disk/$layer/a.cpp" '#include "vhdx_disk/check/a.h"'
done
expect refused vhdx_disk/check/a.cpp '#include "vhdx_disk/read/a.h"'
expect refused vhdx_disk/check/a.cpp '#include "vhdx_disk/copy/a.h"'
expect refused vhdx_disk/check/a.cpp '#include "vhdx_disk/folder/a.h"'
expect refused vhdx_disk/folder/a.cpp '#include "vhdx_disk/read/a.h"'
expect refused vhdx_disk/folder/a.cpp '#include "vhdx_disk/copy/a.h"'
expect refused vhdx_disk/folder/a.cpp '#include "vhdx_disk/check/a.h"'
expect refused vhdx_disk/copy/a.cpp '#include "vhdx_disk/check/a.h"'
expect refused vhdx_disk/copy/a.cpp '#include "vhdx_disk/folder/a.h"'
expect refused vhdx_disk/read/a.cpp '#include "vhdx_disk/check/a.h"'
expect refused vhdx_disk/read/a.cpp '#include "vhdx_disk/folder/a.h"'
expect refused vhdx_disk/a.cpp '#include "vhdx_disk/source/a.h"'

# An exported header stands in a layer, too.
expect accepted vhdx_disk/table/a.cpp '#include <vhdx_disk/replayed_stream.h>'
expect accepted vhdx_disk/copy/a.cpp '#include <vhdx_disk/reader.h>'
expect refused vhdx_disk/source/a.cpp '#include <vhdx_disk/replayed_stream.h>'
expect refused vhdx_disk/check/a.cpp '#include <vhdx_disk/reader.h>'
expect refused vhdx_disk/copy/a.cpp '#include <vhdx_disk/vhdx_disk.h>'
expect accepted include/vhdx_disk/reader.h '#include <vhdx_disk/disk.h>'
expect accepted include/vhdx_disk/disk.h '#include <vhdx_parser/accessor.h>'
expect refused include/vhdx_disk/disk.h '#include <vhdx_disk/reader.h>'
expect refused include/vhdx_disk/disk.h '#include "vhdx_disk/source/a.h"'
expect refused include/vhdx_disk/disk.h '#include <vhdx_disk/source/a.h>'
expect refused include/vhdx_disk/disk.h '#include <vhdx_parser/container/format.h>'
expect refused include/vhdx_disk/disk.h '#include <boost/crc.hpp>'
expect refused include/vhdx_disk/disk.h '#include <fmt/format.h>'
expect refused include/vhdx_disk/unheard_of.h '#include <string>'
rm "$project/include/vhdx_disk/unheard_of.h"

# What vhdx_disk takes from elsewhere.
expect accepted vhdx_disk/table/a.cpp '#include <vhdx_parser/payload_data.h>'
expect accepted vhdx_disk/table/a.cpp '#include "vhdx_parser/container/format.h"'
expect accepted vhdx_disk/log/checksum.h '#include <boost/crc.hpp>'
expect refused vhdx_disk/table/a.cpp '#include "vhdx_parser/foundation/trace.h"'
expect refused vhdx_disk/table/a.cpp '#include "vhdx_parser/blocks/bat_walk.h"'
expect refused vhdx_disk/log/log_entry.cpp '#include <boost/crc.hpp>'
expect refused vhdx_disk/log/log_entry.cpp '#include <fmt/format.h>'
expect refused vhdx_disk/log/log_entry.cpp '#include <CLI/CLI.hpp>'
expect refused vhdx_disk/log/log_entry.cpp '#include "log_entry.h"'

# What it takes is complete in itself.
expect accepted vhdx_parser/container/format.h '#include <cstdint>'
expect accepted vhdx_parser/container/identifiers.h '#include "vhdx_parser/container/format.h"'
expect accepted vhdx_parser/container/identifiers.h '#include <vhdx_parser/accessor.h>'
expect refused vhdx_parser/container/identifiers.h '#include "vhdx_parser/foundation/trace.h"'
expect refused vhdx_parser/container/identifiers.h '#include <vhdx_parser/debug_trace.h>'
expect refused vhdx_parser/container/format.h '#include <fstream>'
expect refused vhdx_parser/container/format.h '#include <unistd.h>'
expect refused vhdx_parser/chain/linking_rule.h '#include <boost/crc.hpp>'

# vhdx_parser knows nothing of vhdx_disk.
expect refused vhdx_parser/chain/a.cpp '#include "vhdx_disk/source/a.h"'
expect refused vhdx_parser/chain/a.cpp '#include <vhdx_disk/source.h>'
expect refused include/vhdx_parser/accessor.h '#include <vhdx_disk/source.h>'

# Programs.
for program in tools/vhdx/a.cpp tools/nbdkit/a.cpp bench/a.cpp examples/a.cpp; do
    expect accepted "$program" '#include <vhdx_disk/disk.h>'
    expect refused "$program" '#include "vhdx_disk/source/a.h"'
    expect refused "$program" '#include <vhdx_disk/source/a.h>'
done
expect accepted tools/vhdx/a.cpp '#include "tools/vhdx/a.h"'
expect refused tools/nbdkit/a.cpp '#include "tools/vhdx/a.h"'
expect refused examples/a.cpp '#include "tools/vhdx/a.h"'
expect refused tools/vhdx/a.cpp '#include "tests/support/bytes.h"'
expect refused tools/vhdx/a.cpp '#include "host/extent.h"'
