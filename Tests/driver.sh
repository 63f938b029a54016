#!/usr/bin/env bash
# Whether a driver and its options keep what they are given:
#
#     Tests/driver.sh [MOUNT COMMAND]
#
# What was synced, with its time, has to be there after the driver was killed, after the disk was
# pulled and after a power cut; what fio wrote has to be read back. As root; without a command it
# tries the mount_ntfs of BUILD (build/release). Prints rows for the table of ./test --long.
set -euo pipefail

here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
readonly here
# shellcheck source=Packaging/common.sh
. "$here/../Packaging/common.sh"
# shellcheck source=Tests/Support/private-root.sh
. "$here/Support/private-root.sh"

readonly kVolume=/bench/volume kSaved=/bench/saved

mount_volume() { "${mount[@]}" "$disk" "$kVolume"; }

# A file system for the disk's image, so that the disk can be pulled.
mount_cable() { mount -o loop /bench/cable.image /bench/cable; }

attach_disk() {
  disk=$(losetup --find --show /bench/cable/image)
  mount_volume
}

detach_disk() {
  umount --lazy "$kVolume"
  try_for 30 has_no_driver
  free_disk "$disk"
}

driver() {
  local node
  node=/dev/disk$(cat "/sys/block/${disk#/dev/}/diskseq") # mount_ntfs's name of it.
  pgrep --full "ntfs.* ($disk|$node)( |\$)"
}
has_no_driver() { ! driver >/dev/null; }

# Saves a hundred files, over and over, and keeps a copy of what is synced: never of a file that it
# is about to overwrite.
write_files() {
  local n=0
  while sleep 0.01; do
    n=$((n % 100 + 1))
    head -c $((n % 97 * 4000)) /dev/urandom >/bench/new
    touch --date "@$((1000000000 + RANDOM))" /bench/new
    rm -f "$kSaved/$n"
    cp --preserve=timestamps /bench/new "$kVolume/$n" || break
    sync "$kVolume/$n" || break
    mv /bench/new "$kSaved/$n"
  done 2>/dev/null
}

start_writing() {
  rm -rf "$kSaved"
  mkdir "$kSaved"
  write_files &
  writer=$!
  try_for 60 test -e "$kSaved/10"
  sleep "$((RANDOM % 2)).$((RANDOM % 10))"
}

# Everything that is saved is on the volume, with its content and its time.
expect_saved() {
  local file
  for file in "$kSaved"/*; do
    cmp "$file" "$kVolume/${file##*/}"
    [ "$(stat -c %Y "$file")" = "$(stat -c %Y "$kVolume/${file##*/}")" ] ||
      fail "The time of $file was lost."
  done
}

kill_driver() {
  start_writing
  kill -KILL "$(driver)"
  wait "$writer"
  umount --lazy "$kVolume"
  mount_volume
  expect_saved
}

# From that instant nothing that is read or written arrives, and what was not synced is lost.
pull_disk() {
  start_writing
  perl -e '$how = pack q(L), 2; open F, q(/bench/cable); ioctl F, 0x8004587d, $how or die $!'
  wait "$writer"
  detach_disk
  try_for 30 umount /bench/cable
  mount_cable
  attach_disk
  expect_saved
}

# The image as it is in mid-write, without what of it is still in the kernel's memory only.
cut_power() {
  start_writing
  kill -STOP "$(driver)"
  cp --recursive --preserve=timestamps "$kSaved" /bench/then
  cp --sparse=always /bench/cable/image /bench/cable/then
  kill -KILL "$(driver)"
  wait "$writer"
  detach_disk
  rm -r "$kSaved"
  mv /bench/then "$kSaved"
  mv /bench/cable/then /bench/cable/image
  attach_disk
  expect_saved
}

# verify OPTION...
verify() {
  fio --directory="$kVolume" --name=file --numjobs=2 --size=96M --rw=randwrite --bsrange=4k-256k \
    --fsync=64 --verify=crc32c --verify_fatal=1 --fallocate=none --randseed="$round" --minimal "$@" \
    >/bench/fio
}

# Written, and read back at once and from a volume that is mounted anew.
read_back() {
  local engine
  for engine in psync mmap; do
    verify --ioengine="$engine"
    umount "$kVolume"
    mount_volume
    verify --ioengine="$engine" --verify_only
    rm "$kVolume"/file*
  done
}

clear_up() {
  [ -z "${writer:-}" ] || kill "$writer" 2>/dev/null || true
  umount --lazy "$kVolume" 2>/dev/null || true
  losetup --detach "$disk" 2>/dev/null || true
  umount --lazy /bench/cable 2>/dev/null || true
}

# try_check TIMES CHECK: in a root of its own.
try_check() {
  local round
  mkdir "$kVolume" /bench/cable
  truncate -s 3G /bench/cable.image
  mkfs.ext4 -q /bench/cable.image
  trap clear_up EXIT
  mount_cable
  disk=$(new_disk /bench/cable/image)
  mount_volume
  for ((round = 1; round <= $1; ++round)); do
    say "$2: $round of $1"
    "$2"
  done
}

main() {
  local what times check ended=0
  if [ "${1:-}" = try ]; then
    mount=("${@:4}")
    try_check "$2" "$3"
    return
  fi
  is_root || fail "driver.sh: start it as root, it attaches disks."
  [ $# -gt 0 ] || set -- "$(realpath "${BUILD:-$here/../build/release}")/bin/mount_ntfs" -o rw,nobrowse
  while IFS='|' read -r what times check; do
    if in_private_root "$here/driver.sh" try "$times" "$check" "$@" </dev/null; then
      say "row: $what | $times | nothing"
    else
      ended=1
      say "row: $what | $times | see the failure"
    fi
  done <<'TEXT'
Driver killed, on a large volume|5|kill_driver
Disk pulled, on a large volume|5|pull_disk
Power cut, on a large volume|5|cut_power
fio, with verification|2|read_back
TEXT
  return "$ended"
}

main "$@"
