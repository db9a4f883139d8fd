#!/usr/bin/env bash
# Interrupts an export in its midst as Ctrl-C does, and looks at what it leaves. It is held where it
# writes to a pipe that is full and that nobody reads. Wine turns SIGINT into Ctrl-C.
#
# usage: check_interrupted_export.sh VHDX MAKE_CHAIN COMMAND-THAT-RUNS-A-PROGRAM...
set -euo pipefail

vhdx=$1
make_chain=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd -- "$folder"

"$@" "$make_chain" .
mkfifo hold
exec 3<>hold
dd if=/dev/zero of=hold bs=4096 count=16 status=none  # a pipe holds 64 KiB
before=$(ls)

# In a process group of its own, as a shell starts it for its user.
set -m
"$@" "$vhdx" export second.avhdx -o disk.raw --progress always 2>hold &
export=$!
set +m
for _ in $(seq 600); do
    ! compgen -G 'vhdx-*.part' >/dev/null || break
    sleep 0.05
done
compgen -G 'vhdx-*.part' >/dev/null || { echo "the export did not start"; exit 1; }
sleep 0.1
kill -INT "$export"
status=0
wait "$export" || status=$?

# The lowest byte of 0xC000013A, which Windows gives a program that Ctrl-C ended.
[ "$status" -eq 58 ] || { echo "the status is $status"; exit 1; }
# Wine's server closes the files of a program a moment after its end.
for _ in $(seq 100); do
    after=$(ls)
    [ "$after" != "$before" ] || exit 0
    sleep 0.05
done
printf 'it left\n%s\n' "$after"
exit 1
