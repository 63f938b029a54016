#!/usr/bin/env bash
# A root of its own for a script that mounts volumes: nobody else sees its mounts, they end with it,
# and its /Volumes is not the machine's. /bench is an empty folder in memory there. Sourced, it
# gives in_private_root.

kPrivateRoot=$(realpath "${BASH_SOURCE[0]}")
readonly kPrivateRoot

# in_private_root COMMAND...: needs root.
in_private_root() {
  local root status=0
  root=$(mktemp -d)
  unshare --mount "$kPrivateRoot" "$root" "$@" || status=$?
  rmdir "$root"
  return "$status"
}

# enter_root FOLDER COMMAND...
enter_root() {
  local root=$1 entry
  shift
  mount -t tmpfs -o size=4G tmpfs "$root"
  mkdir "$root/Volumes" "$root/bench"
  for entry in /*; do
    if [ -L "$entry" ]; then
      cp -P "$entry" "$root"
    elif [ -d "$entry" ] && [ "$entry" != /Volumes ]; then
      mkdir "$root$entry"
      mount --rbind "$entry" "$root$entry"
    fi
  done
  cd /
  exec chroot "$root" "$@"
}

# new_disk IMAGE [SIZE [LABEL]]: a disk of that size (64G) with an NTFS volume, the image a sparse file;
# prints its device. (On volumes below 4 GiB ntfs-3g leaves out what it does for large ones.)
new_disk() {
  local disk
  truncate -s "${2:-64G}" "$1"
  disk=$(losetup --find --show "$1")
  mkntfs --quick --force --quiet --label "${3-}" "$disk" >/dev/null 2>&1
  printf '%s\n' "$disk"
}

# name_of DISK: as diskutil calls it.
name_of() { echo "disk$(<"/sys/block/${1#/dev/}/diskseq")"; }

# free_disk DISK: once nothing is mounted from it.
free_disk() {
  local node
  node=/dev/$(name_of "$1")
  losetup --detach "$1"
  rm -f "$node" # mount_ntfs made it.
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  set -euo pipefail
  enter_root "$@"
fi
