#!/usr/bin/env bash
# Measures how fast a volume is to use, in turn with the same volume as udisks mounts it, and prints
# the table of the ratios:
#
#     Benchmarks/volumes.sh
#
# As root, in some minutes. The volumes have 64 GiB and lie on loop devices; their images are sparse
# files in memory, of which at most 4 GiB are used. ROUNDS says how often (7). OURS and THEIRS are
# other mount commands to compare, without device and folder. All runs on one processor: where a driver
# and the program that waits for it are put makes more of a difference than what is compared.
set -euo pipefail

# shellcheck source=Benchmarks/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# A row each: its name, what it runs in the volume, whether that is mounted anew first, so that nothing
# of it is in memory, and the goal.
readonly kRows='
Write 512 MiB in blocks of 1 MiB|dd if=/dev/zero of=large bs=1M count=512 status=none|warm|at least 4
Write 128 MiB in blocks of 64 KiB|dd if=/dev/zero of=middle bs=64k count=2048 status=none|warm|at least 0.95
Write 64 MiB in blocks of 4 KiB|dd if=/dev/zero of=small-blocks bs=4k count=16384 status=none|warm|at least 0.95
Copy 512 MiB within the volume|cp large copy|warm|at least 0.95
Read 512 MiB|cat large >/dev/null|cold|at least 0.95
Read them again|cat large >/dev/null|warm|at least 0.95
Unpack 4,000 small files|tar -xf /bench/small.tar|warm|at least 1.3
List and stat them|ls -lR small >/dev/null|cold|at least 3
Read them all|find small -type f -exec cat {} + >/dev/null|cold|at least 2
Delete them|rm -r small|cold|at least 1.3
Unpack, list and delete a tree 40 folders deep|tar -xf /bench/deep.tar && ls -lR deep >/dev/null && rm -r deep|warm|at least 0.95
Write 128 MiB and unpack, two programs at once|dd if=/dev/zero of=both bs=128k count=1024 status=none & tar -xf /bench/small.tar; wait $!|warm|at least 0.95
'
rows() { sed '/^$/d' <<<"$kRows"; }

make_archives() {
  local folder
  cd /bench
  for folder in small/{1..40} deep/{1..40}; do
    mkdir -p "$folder"
    head -c 400000 /dev/urandom | split --bytes 4000 --suffix-length 3 - "$folder/file-"
  done
  for folder in {40..2}; do
    mv "deep/$folder" "deep/$((folder - 1))/"
  done
  tar -cf small.tar small
  tar -cf deep.tar deep
  rm -r small deep
}

detach() {
  local disk
  cd /
  umount --lazy /bench/theirs /bench/ours 2>/dev/null || true
  for disk in "${device[@]}"; do
    free_disk "$disk"
  done
  device=()
  rm -rf /bench/theirs* /bench/ours* /Volumes/*
}

# measure WHAT SIDE WORK
measure() {
  local begin
  cd "/bench/$2"
  begin=${EPOCHREALTIME/./}
  eval "$3"
  echo $((${EPOCHREALTIME/./} - begin)) >>"/bench/times/$2: $1"
  sync -f . # What is left to write is the disk's time, and no other row's.
}

mount_volume() { ${mount[$1]} "${device[$1]}" "/bench/$1"; }

# measure_round SIDE SIDE: all rows on new volumes, each row on one and then on the other.
measure_round() {
  local side what work how
  for side in "$@"; do
    mkdir "/bench/$side"
    device[$side]=$(new_disk "/bench/$side.image")
    mount_volume "$side"
  done
  while IFS='|' read -r what work how _; do
    for side in "$@"; do
      if [ "$how" = cold ]; then
        cd /
        umount "/bench/$side"
        mount_volume "$side"
      fi
      measure "$what" "$side" "$work"
    done
  done < <(rows)
  detach
}

print_table() {
  local what goal theirs ours
  say "| what | mounted by udisks, s | by mount_ntfs, s | times as fast (lowest to highest) | goal |" \
    "|---|--:|--:|---|---|"
  while IFS='|' read -r what _ _ goal; do
    theirs="/bench/times/theirs: $what" ours="/bench/times/ours: $what"
    paste "$theirs" "$ours" | awk '{ print $1 / $2 }' | sort -n |
      awk -v what="$what" -v goal="$goal" -v theirs="$(median <"$theirs")" -v ours="$(median <"$ours")" '
        { ratio[NR] = $1 }
        END { printf "| %s | %.2f | %.2f | %.2f (%.2f to %.2f) | %s |\n", what, theirs / 1e6, ours / 1e6,
              ratio[int((NR + 1) / 2)], ratio[1], ratio[NR], goal }'
  done < <(rows)
}

if [ "${1-}" != here ]; then
  build mount_ntfs
  in_private_root taskset --cpu-list "$(($(nproc) - 1))" "$kHere/volumes.sh" here
  exit
fi
# What udisks documents as built in (mount_options.conf.example). It tries the kernel's ntfs3 first:
# Debian 12's kernel has none, Debian 13's has.
declare -A device=() mount=(
  [theirs]=${THEIRS:-mount -t ntfs -o uhelper=udisks2,nodev,nosuid,uid=0,gid=0,windows_names}
  [ours]=${OURS:-$kBuild/bin/mount_ntfs -o rw,nobrowse}
)
rounds=${ROUNDS:-7}
trap detach EXIT
mkdir /bench/times
make_archives
for ((round = 1; round <= rounds; ++round)); do # Who is first changes from round to round.
  complain "Round $round of $rounds"
  if ((round % 2)); then measure_round theirs ours; else measure_round ours theirs; fi
done
print_table
