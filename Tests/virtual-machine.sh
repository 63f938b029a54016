#!/usr/bin/env bash
# The package on a machine with a real systemd, logind, udevd and udisks, which a root folder has not:
# in a virtual one of a Debian release, with a USB stick that is plugged in and pulled. It is booted
# twice, to see what a shutdown does to what was just written. Nothing of it stays. As root:
# Tests/virtual-machine.sh SUITE PACKAGE.deb
set -euo pipefail
umask 022

kHere=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
# shellcheck source=Setup/common.sh
. "$kHere/../Setup/common.sh"
# shellcheck source=Tests/Support/debian-root.sh
. "$kHere/Support/debian-root.sh"

readonly kSuite=$1 kPackage=$2
readonly kMachine=/var/tmp/quorvel-guest-$1
# udisks needs e2fsprogs, and does not say so on Debian 13.
readonly kNeeds="linux-image-amd64, systemd-sysv, libpam-systemd, dbus-user-session, polkitd, udisks2, e2fsprogs, procps"
readonly kForSystemd="systemd.wants=in-guest.service systemd.show_status=false systemd.getty_auto=false"
readonly kSecondsToLive=1800 # A boot, emulated on a busy machine.

# The user logs in by himself, and the script runs at every boot.
settle_in() {
  mkdir -p "$1/opt/test" "$1/etc/systemd/system/getty@tty1.service.d" "$1/var/log/journal"
  cp "$kPackage" "$1/opt/test/package.deb"
  cp "$kHere/Support/in-guest.sh" "$kHere/../Setup/common.sh" "$kMachine/written" "$1/opt/test/"
  echo guest >"$1/etc/hostname"
  echo "127.0.0.1 localhost guest" >"$1/etc/hosts"
  cat >"$1/etc/systemd/system/getty@tty1.service.d/autologin.conf" <<'UNIT'
[Service]
ExecStart=
ExecStart=-/sbin/agetty --autologin guest --noclear %I linux
UNIT
  cat >"$1/etc/systemd/system/in-guest.service" <<'UNIT'
[Service]
Type=idle
Environment=HOME=/root
ExecStart=/opt/test/in-guest.sh
UNIT
  in_root "$1" sh -e -c "useradd --create-home --groups sudo --shell /bin/bash guest
    echo 'guest:s3cr et' | chpasswd"
}

make_guest() {
  local root=$kMachine/root
  make_root "$kSuite" "$root"
  # shellcheck disable=SC2016  # for the other shell
  in_root "$root" env DEBIAN_FRONTEND=noninteractive sh -e -c 'apt-get -q update
    apt-get -q -y --no-install-recommends satisfy "$1"' sh "$kNeeds, $(dpkg-deb --field "$kPackage" Depends)" \
    </dev/null >"$kMachine/log" 2>&1 || fail "What the guest needs could not be installed: $(tail -n 15 "$kMachine/log")"
  settle_in "$root"
  mv "$root"/boot/vmlinuz-* "$kMachine/kernel"
  mv "$root"/boot/initrd.img-* "$kMachine/initrd"
  mkfs.ext4 -q -L guest -d "$root" "$kMachine/image" 4G >/dev/null
  remove_root "$root"
}

# One partition; its volume is made beside it, so that no loop device is needed.
make_stick() {
  truncate --size=128M "$kMachine/volume"
  mkntfs --force --quick --quiet --label Stick "$kMachine/volume" &>/dev/null
  truncate --size=130M "$kMachine/stick"
  echo "start=1MiB, size=128MiB, type=7" | sfdisk --quiet --label dos "$kMachine/stick"
  dd if="$kMachine/volume" of="$kMachine/stick" bs=1M seek=1 conv=notrunc status=none
}

# A kvm_pvm runs those kernels only that are made for it, and Debian's are not.
accelerator() {
  if [ -w /dev/kvm ] && [ ! -d /sys/module/kvm_pvm ]; then echo kvm; else echo tcg; fi
}

# boot LAST: until the guest is off, having said LAST; then the stick is looked at. What the guest
# writes to its port "monitor" is what QEMU is told.
boot() {
  timeout --foreground "$kSecondsToLive" qemu-system-x86_64 -accel "$(accelerator)" -cpu max -m 2048 \
    -nodefaults -no-user-config -nic none -display none -serial stdio \
    -kernel "$kMachine/kernel" -initrd "$kMachine/initrd" \
    -append "root=LABEL=guest rw console=ttyS0 quiet TERM=dumb $kForSystemd" \
    -drive "file=$kMachine/image,format=raw,if=virtio" -device virtio-rng-pci \
    -blockdev "driver=raw,node-name=stick,file.driver=file,file.filename=$kMachine/stick" \
    -device qemu-xhci -device usb-storage,drive=stick,id=stick \
    -chardev "socket,id=commands,path=$kMachine/monitor,server=on,wait=off" -mon chardev=commands \
    -chardev "socket,id=monitor,path=$kMachine/monitor" -device virtio-serial-pci \
    -device virtserialport,chardev=monitor,name=monitor </dev/null | tr -d '\r' | tee "$kMachine/said" || true
  grep -qx "$1" "$kMachine/said" || fail "The guest has not come to its end, see above."
  dd if="$kMachine/stick" of="$kMachine/volume" bs=1M skip=1 count=128 status=none
  { ntfsfix --no-action "$kMachine/volume" && ntfsresize --check "$kMachine/volume"; } >"$kMachine/log" 2>&1 ||
    fail "The volume is not clean: $(cat "$kMachine/log")"
  ntfscat "$kMachine/volume" written | cmp - "$kMachine/written" || fail "What was written at last is not there."
}

is_root || fail "Tests/virtual-machine.sh needs root."
command -v qemu-system-x86_64 >/dev/null ||
  fail "A virtual machine needs qemu-system-x86, which is not installed: Setup/setup.sh long"
trap 'rm -rf --one-file-system "$kMachine"' EXIT
rm -rf --one-file-system "$kMachine" # What a killed one left.
mkdir -p "$kMachine"
head -c 20000000 /dev/urandom >"$kMachine/written"
make_guest
make_stick
boot "Switched off right after this."
boot "Nothing of the package is left."
say "row: Package under systemd of $kSuite, with a stick | 1 | nothing"
