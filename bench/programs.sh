#!/usr/bin/env bash
# Runs the vhdx command and other programs in turns on disks in memory, and prints two Markdown
# tables: the medians of the time and of the peak memory of each beside the other, and absolute
# targets. scripts/bench programs builds what this needs.
#
# usage: bench/programs.sh REPETITIONS [MEBIBYTES]   of the disk that is read; 4096
set -euo pipefail

repetitions=$1
bin=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../build/bench" && pwd)
vhdx=$bin/tools/vhdx
folder=$(mktemp -d -p /dev/shm vhdx_programs.XXXXXX)
trap 'rm -rf -- "$folder"' EXIT
cd -- "$folder"

# A disk of this many MiB, half of which has data. The whole run takes up to four times its size.
size=${2-4096}
free=$(awk '$1 == "MemAvailable:" { print int($2 / 1024) }' /proc/meminfo)
if [ $# -lt 2 ] && [ "$free" -lt 16384 ]; then
    size=2048
    printf 'Only %s MiB of memory are free: the disk has 2 GiB with 1 GiB of data, not 4 with 2.\n\n' \
        "$free"
fi
disk="$size MiB disk with $((size / 2)) MiB of data"

# create FILE SIZE BLOCKSIZE [OFFSET LENGTH STEP END], the latter in MiB: writes data of LENGTH at
# OFFSET, OFFSET + STEP and so on before END.
create() {
    qemu-img create -q -f vhdx -o "subformat=dynamic,block_size=$3" "$1" "$2"
    [ $# -gt 3 ] || return 0
    local offset writes=()
    for ((offset = $4; offset < $7; offset += $6)); do
        writes+=(-c "write -q -P $((offset % 255 + 1)) ${offset}M ${5}M")
    done
    qemu-io -f vhdx "${writes[@]}" "$1"
}

create small.vhdx 1G 32M
create table1.vhdx 64T 1M
create table32.vhdx 64T 32M
create data.vhdx "${size}M" 32M 0 64 128 "$size"
create large.vhdx 1T 32M 0 16 32768 1048576
mkdir chain
"$bin/bench/make_chain_disks" chain
qemu-img convert -O raw data.vhdx data.raw
qemu-img convert -O raw large.vhdx large.raw
"$vhdx" read --merged chain/newest.avhdx --offset 0 --length 512M -o chain.raw 2>notes

# Where the table of a disk lies in its file, for dd: qemu-img puts it at 3 MiB.
table1=(if=table1.vhdx bs=1M skip=3 count=512 status=none)
table32=(if=table32.vhdx bs=1M skip=3 count=16 status=none)

# measure NAME OUT PROGRAM...: adds "nanoseconds KiB" to the file NAME; OUT and out are gone after.
measure() {
    local name=$1 out=$2
    shift 2
    "$bin/bench/run_measured" "$out" "$@" >>"$name.runs" 2>notes || {
        echo "bench/programs.sh: failed: $*" >&2
        cat notes >&2
        exit 1
    }
    rm -f out
}

# median NAME FIELD
median() {
    awk -v field="$2" '{ print $field }' "$1.runs" | sort -n |
        awk '{ value[NR] = $1 } END { print value[int((NR + 1) / 2)] }'
}

row() { # NAME OURS BASELINE TARGET
    awk -v name="$1" -v target="$4" -v ours="$(median "$2" 1)" -v base="$(median "$3" 1)" \
        -v ours_memory="$(median "$2" 2)" -v base_memory="$(median "$3" 2)" \
        'BEGIN {
            met = target == "-" ? "-" : ours / base <= target ? "yes" : "NO"
            printf "| %-92s | %9.1f | %9.1f | %9.1f | %9.1f | %6.2f | %6s | %-3s |\n", name, \
                ours / 1e6, base / 1e6, ours_memory / 1024, base_memory / 1024, ours / base, \
                target, met
        }'
}

limit() { # NAME OURS FIELD UNIT DIVISOR LIMIT
    awk -v name="$1" -v value="$(median "$2" "$3")" -v unit="$4" -v divisor="$5" -v limit="$6" \
        'BEGIN {
            printf "| %-50s | %8.1f %-3s | %8.1f %-3s | %-3s |\n", name, value / divisor, unit, \
                limit, unit, value / divisor <= limit ? "yes" : "NO"
        }'
}

for ((round = 0; round < repetitions; ++round)); do
    measure small /dev/null "$vhdx" info small.vhdx
    measure small_qemu /dev/null qemu-img info small.vhdx
    measure info /dev/null "$vhdx" info table1.vhdx
    measure info_bare /dev/null "$vhdx" info --no-blocks table1.vhdx
    measure info_qemu /dev/null qemu-img info table1.vhdx
    measure map1 /dev/null "$vhdx" map --json table1.vhdx
    measure dd1 /dev/null dd "${table1[@]}"
    measure map32 /dev/null "$vhdx" map --json table32.vhdx
    measure dd32 /dev/null dd "${table32[@]}"
    measure null /dev/null "$vhdx" read data.vhdx --offset 0 --length "${size}M"
    measure null_file /dev/null cat data.vhdx
    measure null_raw /dev/null cat data.raw
    measure file /dev/null "$vhdx" read data.vhdx --offset 0 --length "${size}M" -o out
    measure file_cp /dev/null cp --sparse=never data.raw out
    measure file_cp_sparse /dev/null cp --sparse=always data.raw out
    measure export /dev/null "$vhdx" export data.vhdx -o out
    measure export_qemu /dev/null qemu-img convert -O raw data.vhdx out
    measure large /dev/null "$vhdx" export large.vhdx -o out
    measure large_cp /dev/null cp --sparse=always large.raw out
    # Looks at every block of 1 TiB and takes minutes.
    [ "$round" -gt 0 ] || measure large_qemu /dev/null qemu-img convert -O raw large.vhdx out
    measure merged /dev/null "$vhdx" read --merged chain/newest.avhdx --offset 0 --length 512M
    measure merged_cat /dev/null cat chain.raw
done

printf '| %-92s | %9s | %9s | %9s | %9s | %6s | %6s | %-3s |\n' \
    'ours, beside' 'ours ms' 'other ms' 'ours MiB' 'other MiB' ratio target met
printf '|%s|%s:|%s:|%s:|%s:|%s:|%s:|%s|\n' "$(printf -- '-%.0s' {1..94})" ---------- ---------- \
    ---------- ---------- ------- ------- -----
row 'info of a small disk, beside qemu-img info' small small_qemu 1
row 'info --no-blocks of 64 TiB in 1 MiB blocks, beside info of a small disk' info_bare small 1.2
row 'info of 64 TiB in 1 MiB blocks, beside qemu-img info' info info_qemu 1
row 'info of 64 TiB in 1 MiB blocks, beside dd of its table' info dd1 -
row 'map --json of 64 TiB in 1 MiB blocks, beside dd of its table' map1 dd1 3
row 'map --json of 64 TiB in 32 MiB blocks, beside dd of its table' map32 dd32 3
row "read of a $disk to /dev/null, beside cat of its file" null null_file 1.2
row "read of a $disk to /dev/null, beside cat of its raw image" null null_raw -
row "read of a $disk to a file, beside cp --sparse=never" file file_cp 1
row "read of a $disk to a file, beside cp --sparse=always" file file_cp_sparse -
row "export of a $disk, beside cp --sparse=always" export file_cp_sparse 1.2
row "export of a $disk, beside qemu-img convert" export export_qemu 1
row 'export of a 1 TiB disk with 512 MiB of data, beside cp --sparse=always' large large_cp 1.2
row 'export of a 1 TiB disk with 512 MiB of data, beside qemu-img convert (once)' large large_qemu 1
row 'read --merged of 512 MiB in three files to /dev/null, beside cat of as many' merged \
    merged_cat 1.2

printf '\n| %-50s | %12s | %12s | %-3s |\n' absolute ours limit met
printf '|%s|%s:|%s:|%s|\n' "$(printf -- '-%.0s' {1..52})" ------------- ------------- -----
limit 'info of 64 TiB in 1 MiB blocks' info 1 ms 1000000 300
limit 'info of 64 TiB in 1 MiB blocks, peak memory' info 2 MiB 1024 12
limit 'info --no-blocks of 64 TiB, peak memory' info_bare 2 MiB 1024 12
limit 'map --json of 64 TiB in 1 MiB blocks, peak memory' map1 2 MiB 1024 12
