#!/usr/bin/env bash
# A disk to try the agent with: an image file on a loop device, with an NTFS volume that the
# system has mounted and a Linux volume that the agent must leave alone. Needs root.
set -euo pipefail
umask 022

# shellcheck source=Packaging/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

kSelf=$(realpath "${BASH_SOURCE[0]}")
readonly kSelf
readonly kLabel="Quorvel Sample"
readonly kByHand=/var/tmp/quorvel-sample
readonly kOfRun=/var/tmp/quorvel-run-sample

usage() {
  cat <<'TEXT'
Usage: Packaging/sample-disk.sh attach
       Packaging/sample-disk.sh detach [LOOP-DEVICE]

attach  makes a disk image with an NTFS volume "Quorvel Sample", attaches it to a loop device and
        lets the system mount it; prints the loop device and the volume's identifier.
detach  takes that disk away, or every disk that attach has made: mounts, loop device and image.

Both need root. ./run does the same by itself where no NTFS volume is attached.
TEXT
}

# --- Attaching ------------------------------------------------------------------------------

partition_image() {
  truncate --size=100M "$1"
  sfdisk --quiet "$1" <<'TABLE'
label: gpt
size=64MiB, type=EBD0A0A2-B9E5-4433-87C0-68B6B72699C7, name="Quorvel Sample"
size=32MiB, type=0FC63DAF-8483-4772-8E79-3D69D8477DE4, name="Quorvel Linux"
TABLE
}

# Most kernels leave the partitions of a loop device alone until they are asked.
find_partitions() {
  partx --update "$1"
  try_for 5 test -b "${1}p1" -a -b "${1}p2" || fail "The kernel made no nodes for the partitions of $1."
}

# A udev database has to have seen the new file systems before anyone asks it about them.
settle() {
  if command -v udevadm >/dev/null; then
    udevadm settle --timeout=10 || true
  fi
}

# Where sfdisk puts the first partition, and a geometry, or mkntfs grumbles about booting Windows.
make_file_systems() {
  mkntfs --quiet --quick --partition-start 2048 --heads 255 --sectors-per-track 63 \
    --label "$kLabel" "${1}p1" >/dev/null
  mkfs.ext4 -q -L "Quorvel Linux" "${1}p2"
  settle
}

# identifier_of LOOP-DEVICE: as diskutil numbers disks, by a number the kernel gives only once.
identifier_of() { printf 'disk%s' "$(<"/sys/class/block/${1##*/}/diskseq")"; }

attach() {
  local prefix=$1 loop volume
  command -v diskutil >/dev/null || fail "diskutil is not installed: cmake --install build/release"
  folder=$(mktemp -d "$prefix.XXXXXX")
  trap 'remove_disk_in "$folder" >/dev/null 2>&1' EXIT
  [ -z "${HOLDER:-}" ] || printf '%s\n' "$HOLDER" >"$folder/holder"
  [ -e /Volumes ] || touch "$folder/no-volumes-before"
  partition_image "$folder/disk.img"
  [ -e /dev/loop-control ] || modprobe loop || true
  loop=$(losetup --find --show "$folder/disk.img") ||
    fail "This machine gives no loop device, which the sample disk needs. Attach an NTFS disk instead."
  find_partitions "$loop"
  make_file_systems "$loop"
  volume=$(identifier_of "$loop")s1
  diskutil mount "$volume" >&2
  trap - EXIT
  printf '%s %s\n' "$loop" "$volume"
}

# --- Detaching ------------------------------------------------------------------------------

# loops_of IMAGE: the loop devices on it, also when the image was deleted under them.
loops_of() {
  local file
  for file in /sys/block/loop*/loop/backing_file; do
    case $(cat "$file" 2>/dev/null) in
      "$1" | "$1 (deleted)")
        file=${file#/sys/block/}
        printf '/dev/%s\n' "${file%%/*}"
        ;;
    esac
  done
}

# mount_points DEVICE-NUMBER: the kernel writes a blank in a path as \040, and so on.
mount_points() {
  local points
  points=$(awk -v number="$1" '$3 == number { print $5 }' /proc/self/mountinfo)
  printf '%b' "${points:+$points\\n}"
}

# A shell that stands in the volume keeps it busy. The mount goes at once all the same, and the
# kernel lets the loop device go with the last user of it.
unmount_everywhere() {
  local point
  mount_points "$1" | while read -r point; do
    try_for 2 umount -- "$point" 2>/dev/null || umount --force --lazy -- "$point" || true
  done
}

# What diskutil and mount_ntfs leave when they were not asked to unmount.
tidy_volumes() {
  local entry
  for entry in "/Volumes/$kLabel" "/Volumes/$kLabel "[0-9]*; do
    if [ -L "$entry" ]; then
      mountpoint --quiet "$entry" || rm -f "$entry"
    elif [ -d "$entry" ]; then
      rmdir "$entry" 2>/dev/null || true
    fi
  done
}

is_released() { [ ! -e "/sys/block/${1##*/}/loop/backing_file" ]; }

remove_loop() {
  local loop=$1 identifier partition
  identifier=$(identifier_of "$loop")
  for partition in "/sys/block/${loop##*/}/${loop##*/}"p*; do
    [ -e "$partition/dev" ] || continue
    diskutil umount "${identifier}s${partition##*p}" >/dev/null 2>&1 || true
    unmount_everywhere "$(<"$partition/dev")"
  done
  rm -f "/dev/$identifier" "/dev/$identifier"s*
  partx --delete "$loop" 2>/dev/null || true
  losetup --detach "$loop" 2>/dev/null || true
  try_for 5 is_released "$loop"
}

remove_disk_in() {
  local folder=$1 loop busy=
  for loop in $(loops_of "$folder/disk.img"); do
    remove_loop "$loop" || busy=$loop
  done
  tidy_volumes
  if [ -e "$folder/no-volumes-before" ]; then
    rmdir /Volumes 2>/dev/null || true
  fi
  rm -rf "$folder"
  [ -z "$busy" ] || fail "A program still works in the sample volume, a shell perhaps; $busy goes as soon as that leaves it."
}

# Only root's own folders: any user may make one of such a name in a public place.
disks_of() {
  local folder
  for folder in "$1".*; do
    if [ -d "$folder" ] && [ ! -L "$folder" ] && [ -O "$folder" ]; then
      printf '%s\n' "$folder"
    fi
  done
}

detach_all() {
  local folder found=
  for folder in $(disks_of "$kByHand"); do
    found=yes
    remove_disk_in "$folder"
  done
  [ -n "$found" ] || say "No sample disk is attached."
}

detach_one() {
  local folder
  for folder in $(disks_of "$kByHand"); do
    if [ "$(loops_of "$folder/disk.img")" = "$1" ]; then
      remove_disk_in "$folder"
      return
    fi
  done
  fail "$1 is no sample disk of sample-disk.sh attach. The loop devices: losetup --list"
}

# --- For ./run ------------------------------------------------------------------------------

# A killed run's agent is still giving its volume back; a wrong number costs time and nothing else.
wait_for_agent_of() {
  local agent
  agent=$(cat "$1/agent.pid" 2>/dev/null || true)
  [ -z "$agent" ] || try_for 60 has_ended "$agent" || true
}

# start_holder SESSION: returns at once; the holder works on in a session of its own. The signals
# are refused before that, because sudo hangs up on what it leaves behind.
start_holder() {
  trap '' INT TERM HUP QUIT PIPE
  setsid "$kSelf" --hold "$1" </dev/null >/dev/null 2>&1 &
}

# hold SESSION: attaches a disk, keeps it while the caller keeps SESSION/hold open for writing,
# and takes it away after that. So it goes away whatever ends the caller, and root is asked for
# once, at the beginning. Speaks through SESSION/answer: "attached LOOP VOLUME" or "failed WHY",
# at the end "detached" or "failed WHY".
hold() {
  local session=$1 text
  exec 7<>"$session/answer" 8<"$session/hold"
  if ! text=$(HOLDER=$$ "$kSelf" --attach-for-run 2>"$session/sample.log"); then
    printf 'failed %s\n' "$(tail -n 1 "$session/sample.log")" >&7
    return
  fi
  printf 'attached %s\n' "$text" >&7
  cat <&8 >/dev/null
  wait_for_agent_of "$session"
  # The session may be gone by now, tidied up by the next run.
  if text=$("$kSelf" --detach-for-run $$ 2>&1); then
    printf 'detached\n' >&7
  else
    printf 'failed %s\n' "${text##*$'\n'}" >&7
  fi
}

detach_for_run() {
  local folder
  for folder in $(disks_of "$kOfRun"); do
    [ "$(cat "$folder/holder")" != "$1" ] || remove_disk_in "$folder"
  done
}

# After a run that was killed, its holder may still be at work; after a crash there is none.
detach_left_over() {
  local folder holder
  for folder in $(disks_of "$kOfRun"); do
    holder=$(cat "$folder/holder" 2>/dev/null || true)
    if [ -n "$holder" ] && grep -qs sample-disk "/proc/$holder/cmdline"; then
      try_for 90 has_ended "$holder" || true
    fi
    remove_disk_in "$folder"
  done
}

main() {
  case ${1:-} in
    -h | --help) usage && return ;;
    attach | detach | --start-holder | --hold | --attach-for-run | --detach-for-run | --detach-left-over)
      is_root || fail "Packaging/sample-disk.sh $1 needs root: sudo $kSelf $1"
      ;;
    *)
      complain "Packaging/sample-disk.sh: say attach or detach"
      usage >&2
      exit "$kUsageError"
      ;;
  esac
  case $1 in
    attach) attach "$kByHand" ;;
    detach) if [ -n "${2:-}" ]; then detach_one "$2"; else detach_all; fi ;;
    --start-holder) start_holder "$2" ;;
    --hold) hold "$2" ;;
    --attach-for-run) attach "$kOfRun" ;;
    --detach-for-run) detach_for_run "$2" ;;
    --detach-left-over) detach_left_over ;;
  esac
}

main "$@"
