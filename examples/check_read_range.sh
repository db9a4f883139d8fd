#!/usr/bin/env bash
# Runs the example on a disk with known bytes, and on what is no disk.
#
# usage: check_read_range.sh READ_RANGE
set -euo pipefail

read_range=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd -- "$folder"

fail() {
    echo "$1"
    exit 1
}

qemu-img create -q -f vhdx -o block_size=1M disk.vhdx 8M
qemu-io -f vhdx -c 'write -q -P 0x5a 1M 1M' disk.vhdx

# 1,000 bytes that end in the written block: 600 that the file does not hold, then 400 of 0x5a.
{ head -c 600 /dev/zero; head -c 400 /dev/zero | tr '\0' '\132'; } >expected
"$read_range" disk.vhdx $((1048576 - 600)) 1000 >bytes 2>said || fail "$(cat said)"
cmp expected bytes
[ "$(cat said)" = "a disk of 8388608 bytes in blocks of 1048576" ] || fail "said: $(cat said)"

status=0
"$read_range" disk.vhdx 8388000 1000 >bytes 2>said || status=$?
[ $status -eq 1 ] && grep -q 'does not lie on the disk' said || fail "a range past the end: $status"

head -c 4096 /dev/zero >zeros.vhdx
status=0
"$read_range" zeros.vhdx 0 1 >bytes 2>said || status=$?
[ $status -eq 1 ] && grep -q 'supports only \*\.vhdx disks' said || fail "no disk: $status, $(cat said)"
