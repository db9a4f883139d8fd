#!/usr/bin/env bash
# Shows that the check of the includes can fail: each line below is refused where it stands.
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
project=$(mktemp -d)
trap 'rm -rf "$project"' EXIT
mkdir -p "$project/include/vhdx_parser" "$project/tools/vhdx" \
    "$project"/vhdx_parser/{foundation,container,blocks,access,chain,persist}
touch "$project/include/vhdx_parser/payload_data.h"

expect() {
    local verdict=$1 file=$2 line=$3 answer=accepted
    echo "$line" >"$project/$file"
    bash "$here/check_includes.sh" "$project" >/dev/null || answer=refused
    rm "$project/$file"
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
expect refused tools/a.cpp '#include "vhdx_parser/blocks/units.h"'
expect refused tools/vhdx/info.cpp '#include <nlohmann/json.hpp>'
expect refused tools/vhdx/json_value.cpp '#include <CLI/CLI.hpp>'
