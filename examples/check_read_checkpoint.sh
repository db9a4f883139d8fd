#!/usr/bin/env bash
# Runs the example on a checkpoint whose content is known, past its end, and without its base.
#
# usage: check_read_checkpoint.sh READ_CHECKPOINT MAKE_EXAMPLE_DISKS [COMMAND-THAT-RUNS-A-PROGRAM...]
set -euo pipefail

read_checkpoint=$1 make_example_disks=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd -- "$folder"

fail() {
    echo "$1"
    exit 1
}

refused() {
    local status=0
    "$@" 2>said || status=$?
    [ $status -eq 1 ] || fail "$*: $status"
}

"$@" "$make_example_disks" .
"$@" "$read_checkpoint" vm/second.avhdx 0 8388608 output 2>said
cmp second.raw output
[ "$(tr -d '\r' <said)" = $'second.avhdx\nfirst.avhdx\ndisk.vhdx' ] || fail "said: $(cat said)"

"$@" "$read_checkpoint" vm/second.avhdx 5242000 20000 output
cmp -n 20000 <(tail -c +5242001 second.raw) output
[ "$(wc -c <output)" -eq 20000 ] || fail "$(wc -c <output) bytes instead of 20000"

refused "$@" "$read_checkpoint" vm/second.avhdx 8388000 1000 output
grep -q 'past the end of the virtual disk' said || fail "past the end: $(cat said)"

rm vm/disk.vhdx
refused "$@" "$read_checkpoint" vm/second.avhdx 0 1 output
grep -q 'parent.*disk\.vhdx.*missing' said || fail "without its base: $(cat said)"
