#!/usr/bin/env bash
# Runs the example on a base in one folder and its checkpoints in another, and on what is no disk.
#
# usage: check_two_folders.sh TWO_FOLDERS MAKE_CHAIN [COMMAND-THAT-RUNS-A-PROGRAM...]
set -euo pipefail

two_folders=$1 make_chain=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd -- "$folder"

fail() {
    echo "$1"
    exit 1
}

"$@" "$make_chain" bases
mkdir checkpoints
mv bases/*.avhdx checkpoints

"$@" "$two_folders" bases/disk.vhdx checkpoints/second.avhdx checkpoints/first.avhdx |
    tr -d '\r' >said
cat >expected <<'END'
bases/disk.vhdx: 3 blocks with data
checkpoints/second.avhdx: 2 blocks with data
checkpoints/first.avhdx: 2 blocks with data
END
diff expected said

head -c 4096 /dev/zero >zeros.vhdx
status=0
"$@" "$two_folders" bases/disk.vhdx zeros.vhdx >said 2>&1 || status=$?
[ $status -eq 1 ] && grep -q '^zeros.vhdx cannot be opened as a disk' said || fail "no disk: $status"
