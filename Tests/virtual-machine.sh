#!/usr/bin/env bash
# The package under a real systemd, in a virtual machine of a Debian release, with a USB stick that is
# plugged in and pulled. As root: Tests/virtual-machine.sh SUITE PACKAGE.deb
set -euo pipefail
umask 022

here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
readonly here
# shellcheck source=Packaging/common.sh
. "$here/../Packaging/common.sh"

readonly kSuite=$1 kPackage=$2
readonly kMachine=/var/tmp/quorvel-guest-$1
readonly kSectorsBefore=2048

# A stick with one partition; the volume is made beside it, so that no loop device is needed.
make_stick() {
  truncate --size=128M "$kMachine/volume"
  mkntfs --force --quick --quiet --partition-start "$kSectorsBefore" --heads 255 --sectors-per-track 63 \
    --label Stick "$kMachine/volume" >/dev/null
  truncate --size=130M "$kMachine/stick"
  echo "start=$kSectorsBefore, size=128MiB, type=7" | sfdisk --quiet --label dos "$kMachine/stick"
  dd if="$kMachine/volume" of="$kMachine/stick" seek="$kSectorsBefore" conv=notrunc status=none
}

# The guest was rebooted and switched off with the volume in use, right after each of these was written.
check_stick() {
  local file
  dd if="$kMachine/stick" of="$kMachine/volume" skip="$kSectorsBefore" count=262144 status=none
  ntfsfix --no-action "$kMachine/volume" && ntfsresize --check --force "$kMachine/volume" >/dev/null ||
    fail "The volume is not clean."
  for file in rebooted switched-off; do
    ntfscat "$kMachine/volume" "$file" | cmp - "$kMachine/written" || fail "What was written at last is not there: $file."
  done
}

is_root || fail "Tests/virtual-machine.sh needs root."
trap 'rm -rf --one-file-system "$kMachine"' EXIT
"$here/guest.sh" make "$kMachine" "$kSuite" \
  "dbus-user-session, polkitd, udisks2, fdisk, $(dpkg-deb --field "$kPackage" Depends)"
make_stick
cp "$kPackage" "$kMachine/package.deb"
head -c 20000000 /dev/urandom >"$kMachine/written"
DISKS=stick=$kMachine/stick "$here/guest.sh" run "$kMachine" "$here/Support/in-guest.sh" \
  "$here/Support/package.sh" "$here/../Packaging/common.sh" "$kMachine/package.deb" "$kMachine/written"
check_stick
say "row: Package under systemd of $kSuite, with a stick | 1 | nothing"
