#!/usr/bin/env bash
# Runs the example on a folder where nothing is wrong, where a file was cut off, and where no disk is.
#
# usage: check_check_folder.sh CHECK_FOLDER MAKE_EXAMPLE_DISKS [COMMAND-THAT-RUNS-A-PROGRAM...]
set -euo pipefail

check_folder=$1 make_example_disks=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd -- "$folder"

# expect STATUS LINE...: each line, as a pattern, is a line of the answer, in this order.
expect() {
    local status=$1 line answer=0
    shift
    "${check[@]}" 2>&1 | tr -d '\r' >said || answer=$?
    [ "$answer" -eq "$status" ] || { echo "ended with $answer:"; cat said; exit 1; }
    [ "$(wc -l <said)" -eq $# ] || { echo "not $# lines:"; cat said; exit 1; }
    while IFS= read -r line; do
        [[ $line =~ ^$1$ ]] || { echo "$line: not $1"; exit 1; }
        shift
    done <said
}

"$@" "$make_example_disks" .
check=("$@" "$check_folder" .)
pending='note: pending\.vhdx: log: .* \(log-pending\)'
expect 0 "$pending" '4 disks were read, 0 findings are no mere notes'

# The last MiB of the file is the data of the last block that it holds.
truncate -s -1M vm/second.avhdx
expect 1 "$pending" 'error: second\.avhdx: block 6, .* \(block-past-end\)' \
    '4 disks were read, 1 findings are no mere notes'

mkdir empty
check=("$@" "$check_folder" empty)
expect 1 '"empty": the folder holds no .*'
