#!/usr/bin/env bash
# Runs the example on checkpoints of which is known what each of them holds, and the wrong way round.
#
# usage: check_list_changes.sh LIST_CHANGES MAKE_EXAMPLE_DISKS [COMMAND-THAT-RUNS-A-PROGRAM...]
set -euo pipefail

list_changes=$1 make_example_disks=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd -- "$folder"

"$@" "$make_example_disks" .

"$@" "$list_changes" vm/disk.vhdx vm/second.avhdx | tr -d '\r' >said
cat >expected <<'END'
1048576 1048576 data first.avhdx
5242880 4096 data first.avhdx
5246976 8192 data second.avhdx
6291456 1048576 data second.avhdx
END
diff expected said

"$@" "$list_changes" vm/first.avhdx vm/second.avhdx | tr -d '\r' >said
tail -n 2 expected | diff - said

status=0
"$@" "$list_changes" vm/second.avhdx vm/first.avhdx >said 2>&1 || status=$?
[ $status -eq 1 ] && grep -q '^vm/first.avhdx does not descend from vm/second.avhdx' said ||
    { echo "the wrong way round: $status, $(cat said)"; exit 1; }
