#!/usr/bin/env bash
# Runs the example on a disk of qemu-img, on one whose log holds what is not in place, on a checkpoint,
# and on what is no disk.
#
# usage: check_back_up_ranges.sh BACK_UP_RANGES MAKE_EXAMPLE_DISKS [COMMAND-THAT-RUNS-A-PROGRAM...]
set -euo pipefail

back_up_ranges=$1 make_example_disks=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd -- "$folder"

fail() {
    echo "$1"
    exit 1
}

# The output holds these ranges of the raw image, each in its place, and nothing else.
expect_ranges() {
    local raw=$1
    shift
    rm -f expected
    while [ $# -gt 0 ]; do
        dd if="$raw" of=expected iflag=skip_bytes,count_bytes oflag=seek_bytes conv=notrunc \
            skip="$1" seek="$1" count="$2" status=none
        shift 2
    done
    cmp expected output
}

# Parts of a block, a border between blocks, what the file does not hold, and a range that ends behind
# the disk. A range that ends in the last block of the file is widened to the end of that block.
qemu-img create -q -f vhdx -o block_size=1M disk.vhdx 8M
qemu-io -f vhdx -c 'write -q -P 0x41 0 3M' -c 'write -q -P 0x42 5M 64K' disk.vhdx
qemu-img convert -f vhdx -O raw disk.vhdx disk.raw
"$@" "$back_up_ranges" disk.vhdx output 1000 5000 1048000 2000 4194304 4096 5242880 512 8388000 5000
expect_ranges disk.raw 1000 5000 1048000 2000 4194304 4096 5242880 1048576 8388000 608

"$@" "$make_example_disks" .
"$@" "$back_up_ranges" pending.vhdx output 1048576 20000 2>said
expect_ranges pending.raw 1048576 1048576
[ "$(tr -d '\r' <said)" = "log entries replayed in memory: 1" ] || fail "said: $(cat said)"

# What the checkpoint holds itself: sectors 8 to 24 of block 5, as its bitmap says, and block 6.
"$@" "$back_up_ranges" vm/second.avhdx output 5242880 1048576 6291456 1048575
cmp -i 5246976 -n 8192 second.raw output
cmp -i 6291456 -n 1048576 second.raw output
{ head -c 1281 /dev/zero; printf '\377\377'; head -c $((1048576 - 1283)) /dev/zero; } >bitmap
cmp bitmap output.bitmap0

status=0
"$@" "$back_up_ranges" disk.raw output 0 512 2>said || status=$?
[ $status -eq 1 ] && grep -q '^"disk.raw": this is no VHDX disk' said ||
    fail "no disk: $status, $(cat said)"
