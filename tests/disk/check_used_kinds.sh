#!/usr/bin/env bash
# Every kind of finding is reported somewhere, not only described.
#
# usage: check_used_kinds.sh [PROJECT_FOLDER]
set -euo pipefail

cd -- "${1:-$(dirname -- "${BASH_SOURCE[0]}")/../..}"

mapfile -t kinds < <(sed -n '/^enum class EFinding {/,/^};/p' vhdx_disk/chain/finding_kinds.h |
    sed -n 's/^ *\([A-Za-z0-9]*\),\?$/\1/p' | grep -vx count)
if (( ${#kinds[@]} < 50 )); then
    printf 'only %d kinds were found\n' "${#kinds[@]}"
    exit 1
fi

unused=0
for kind in "${kinds[@]}"; do
    if ! grep -rqw --include='*.cpp' --exclude=finding_kinds.cpp "EFinding::$kind" vhdx_disk; then
        printf 'no finding is of the kind %s\n' "$kind"
        unused=1
    fi
done
exit "$unused"
