#!/usr/bin/env bash
# A disk to try the agent with: an image file on a loop device, with an NTFS volume that the system
# has mounted and a Linux volume that the agent must leave alone. Needs root.
set -euo pipefail
umask 077

# shellcheck source=Setup/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

usage() {
  cat <<'TEXT'
Usage: Setup/sample-disk.sh PROCESS

Makes a disk with an NTFS volume "Quorvel Sample", lets the system mount it, and prints the loop
device and the volume's identifier. When the process of that number has ended (a shell: $$), the
volume is unmounted and the disk goes. ./run does this by itself where no NTFS volume is mounted.
TEXT
}

partition_image() {
  truncate --size=100M "$1"
  sfdisk --quiet "$1" <<'TABLE'
label: gpt
size=64MiB, type=EBD0A0A2-B9E5-4433-87C0-68B6B72699C7, name="Quorvel Sample"
size=32MiB, type=0FC63DAF-8483-4772-8E79-3D69D8477DE4, name="Quorvel Linux"
TABLE
}

# The loop device clears itself when nobody has it open or mounted any more: descriptor 5 keeps it.
attach_loop() {
  [ -e /dev/loop-control ] || modprobe loop || true
  loop=$(losetup --find --show --partscan "$1") ||
    fail "This machine gives no loop device, which the sample disk needs. Attach an NTFS disk instead."
  exec 5<"$loop"
  losetup --detach "$loop"
  partx --update "$loop" # Many kernels leave the partitions of a loop device alone until asked.
  try_for 5 test -b "${loop}p1" -a -b "${loop}p2" ||
    fail "The kernel made no nodes for the partitions of $loop."
}

# Where sfdisk puts the first partition, and a geometry, or mkntfs grumbles about booting Windows. A
# udev database has to have seen the new file systems before anyone asks it about them.
make_file_systems() {
  mkntfs --quiet --quick --partition-start 2048 --heads 255 --sectors-per-track 63 \
    --label "Quorvel Sample" "${loop}p1" >/dev/null
  mkfs.ext4 -q -L "Quorvel Linux" "${loop}p2"
  if command -v udevadm >/dev/null; then
    udevadm settle --timeout=10 || true
  fi
}

is_mounted() { grep -q "^/dev/$1 $2" /proc/self/mounts; }

# Between its own mount and the system's the agent has the volume unmounted for a moment.
is_given_back() { is_mounted "$1" /Volumes/ || { sleep 5 && ! is_mounted "$1" /; }; }

# hold PROCESS VOLUME IMAGE: after the process, the agent may still be giving the volume back. A shell
# that stands in the volume keeps it busy; the disk then goes when that leaves it.
hold() {
  until has_ended "$1"; do
    sleep 0.3
  done
  try_for 60 is_given_back "$2" || true
  diskutil umount "$2" || umount --lazy "/dev/$2" || true
  rm -f "$3"
}

attach() {
  local image volume
  image=$(mktemp /run/quorvel-sample.XXXXXX)
  # shellcheck disable=SC2064  # the file of now
  trap "rm -f '$image'" EXIT
  partition_image "$image"
  attach_loop "$image"
  make_file_systems
  volume=disk$(<"/sys/class/block/${loop##*/}/diskseq")s1
  diskutil mount "$volume" >&2
  trap - EXIT
  hold "$1" "$volume" "$image" </dev/null >/dev/null 2>&1 &
  printf '%s %s\n' "$loop" "$volume"
}

case ${1-} in
  -h | --help) usage ;;
  [1-9]*)
    is_root || fail "Setup/sample-disk.sh needs root: sudo Setup/sample-disk.sh $1"
    trap '' INT TERM HUP QUIT PIPE # sudo hangs up on what it leaves behind.
    attach "$1"
    ;;
  *)
    usage >&2
    exit "$kUsageError"
    ;;
esac
