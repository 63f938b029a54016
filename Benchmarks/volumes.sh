#!/usr/bin/env bash
# Measures how fast a volume is to use, in turn with the same volume as udisks mounts it, and prints
# the table of the ratios:
#
#     Benchmarks/volumes.sh
#
# As root, in some minutes. The volumes have 64 GiB and lie on loop devices; their images are sparse
# files in memory, of which at most 4 GiB are used. ROUNDS says how often (7). OURS and THEIRS are
# other mount commands to compare, without device and folder. BUILD names another build folder than
# build/benchmarks. All runs on one processor: where a driver and the program that waits for it are
# put makes more of a difference than what is compared.
set -euo pipefail

here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
readonly here
# shellcheck source=Packaging/common.sh
. "$here/../Packaging/common.sh"
# shellcheck source=Tests/Support/private-root.sh
. "$here/../Tests/Support/private-root.sh"

# A row each: its name, what it runs, whether the volume is mounted anew first, so that nothing of
# it is in memory, and the goal.
readonly kRows='
Write 512 MiB in blocks of 1 MiB|write_blocks 1M 512|warm|at least 4
Write 128 MiB in blocks of 64 KiB|write_blocks 64k 2048|warm|at least 0.95
Write 64 MiB in blocks of 4 KiB|write_blocks 4k 16384|warm|at least 0.95
Copy 512 MiB within the volume|copy|warm|at least 0.95
Read 512 MiB|read_large|cold|at least 0.95
Read them again|read_large|warm|at least 0.95
Unpack 4,000 small files|unpack small|warm|at least 1.3
List and stat them|list small|cold|at least 3
Read them all|read_all small|cold|at least 2
Delete them|delete small|cold|at least 1.3
Unpack, list and delete a tree 40 folders deep|through deep|warm|at least 0.95
Write 128 MiB and unpack, two programs at once|two_at_once|warm|at least 0.95
'
readonly kTimes=/bench/times

write_blocks() { dd if=/dev/zero of="in-$1" bs="$1" count="$2" status=none; }
copy() { cp in-1M copy; }
read_large() { cat in-1M >/dev/null; }
unpack() { tar -xf "/bench/$1.tar"; }
list() { ls -lR "$1" >/dev/null; }
read_all() { find "$1" -type f -exec cat {} + >/dev/null; }
delete() { rm -r "$1"; }
through() { unpack "$1" && list "$1" && delete "$1"; }
two_at_once() {
  write_blocks 128k 1024 &
  unpack small
  wait $!
}

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

# measure WHAT GOAL SIDE COMMAND...
measure() {
  local what=$1 goal=$2 side=$3 begin
  shift 3
  cd "/bench/$side"
  begin=${EPOCHREALTIME/./}
  "$@"
  printf '%s|%s|%s|%s\n' "$what" "$goal" "$side" $((${EPOCHREALTIME/./} - begin)) >>"$kTimes"
  sync -f . # What is left to write is the disk's time, and no other row's.
}

# measure_round SIDE SIDE: all rows on new volumes, each row on one and then on the other.
measure_round() {
  local side what work how goal
  for side in "$@"; do
    mkdir "/bench/$side"
    device[$side]=$(new_disk "/bench/$side.image")
    ${mount[$side]} "${device[$side]}" "/bench/$side"
  done
  while IFS='|' read -r what work how goal; do
    for side in "$@"; do
      if [ "$how" = cold ]; then
        cd /
        umount "/bench/$side"
        ${mount[$side]} "${device[$side]}" "/bench/$side"
      fi
      # shellcheck disable=SC2086 # a function and its arguments
      measure "$what" "$goal" "$side" $work
    done
  done < <(sed '/^$/d' <<<"$kRows")
  detach
}

# Who is first changes from round to round.
measure_rounds() {
  local round
  for ((round = 1; round <= rounds; ++round)); do
    complain "Round $round of $rounds"
    if ((round % 2)); then measure_round theirs ours; else measure_round ours theirs; fi
  done
}

print_table() {
  awk -F '|' '
    function median(list, count,   i, j, swap) {
      for (i = 1; i <= count; ++i)
        for (j = i + 1; j <= count; ++j)
          if (list[j] < list[i]) { swap = list[i]; list[i] = list[j]; list[j] = swap }
      return (list[int((count + 1) / 2)] + list[int(count / 2) + 1]) / 2
    }
    !($1 in goal) { rows[++count] = $1; goal[$1] = $2 }
    { time[$1, $3, ++rounds[$1, $3]] = $4 / 1e6 }
    END {
      print "| what | mounted by udisks, s | by mount_ntfs, s | times as fast (lowest to highest) | goal |"
      print "|---|--:|--:|---|---|"
      for (row = 1; row <= count; ++row) {
        what = rows[row]; times = rounds[what, "ours"]
        for (i = 1; i <= times; ++i) {
          theirs[i] = time[what, "theirs", i]; ours[i] = time[what, "ours", i]
          ratio[i] = theirs[i] / ours[i]
        }
        middle = median(ratio, times)
        printf "| %s | %.2f | %.2f | %.2f (%.2f to %.2f) | %s |\n", what, median(theirs, times),
          median(ours, times), middle, ratio[1], ratio[times], goal[what]
      }
    }' "$kTimes"
}

main() {
  local rounds=${ROUNDS:-7} build
  build=$(realpath --canonicalize-missing "${BUILD:-$here/../build/benchmarks}")
  # What udisks documents as built in (mount_options.conf.example). It tries the kernel's ntfs3 first:
  # Debian 12's kernel has none, Debian 13's has.
  local -A device=() mount=(
    [theirs]=${THEIRS:-mount -t ntfs -o uhelper=udisks2,nodev,nosuid,uid=0,gid=0,windows_names}
    [ours]=${OURS:-$build/bin/mount_ntfs -o rw,nobrowse}
  )
  is_root || fail "volumes.sh: start it as root, it attaches disks."
  if [ "${1:-}" != here ]; then
    cmake -S "$here/.." -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >&2
    cmake --build "$build" --target mount_ntfs >&2
    BUILD=$build in_private_root taskset --cpu-list "$(($(nproc) - 1))" "$here/volumes.sh" here
    return
  fi
  trap detach EXIT
  make_archives
  measure_rounds
  print_table
}

main "$@"
