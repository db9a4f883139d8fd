#!/usr/bin/env bash
# What README.md shows is real: its first C++ program is examples/read_range.cpp, letter for letter,
# and its dialogue with the vhdx command is what the tests expect of that command.
set -euo pipefail

cd -- "$(dirname -- "${BASH_SOURCE[0]}")"

first_block() {
    sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/p" ../README.md | sed '1d; /^```$/,$d'
}

answer() {
    echo "\$ $1"
    grep -v '^--- exit status 0 ---$' "../tests/tool/expected/$2.txt"
}

diff -u read_range.cpp <(first_block cpp)
diff -u <(
    answer 'vhdx map dynamic.vhdx' map_dynamic
    answer 'vhdx chain vm' chain_checkpoints
    answer 'vhdx diff vm' diff_checkpoints
) <(first_block console)
