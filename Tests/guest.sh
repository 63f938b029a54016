#!/usr/bin/env bash
# A virtual machine of a Debian release, with everything that a real machine has and a root folder
# has not: systemd, logind, udevd, disks that are plugged in. As root:
#
#     Tests/guest.sh make FOLDER SUITE [DEPENDENCIES]
#     Tests/guest.sh run FOLDER SCRIPT [FILE]...
#
# "make" leaves a guest in FOLDER, with what DEPENDENCIES ("udisks2, ntfs-3g") name. "run" boots it,
# has it run SCRIPT as root at every boot until SCRIPT ends, shows what it says, and ends as it did.
# SCRIPT and the FILEs lie in /root/files then. In the guest, "hardware COMMAND" is what the monitor of
# QEMU is told: hardware device_add usb-storage,drive=stick,id=one. DISKS ("stick=/tmp/image") names
# such drives; what is written to one stays, what is written to the guest itself does not.
set -euo pipefail
umask 022

here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
readonly here
# shellcheck source=Packaging/common.sh
. "$here/../Packaging/common.sh"
# shellcheck source=Tests/Support/debian-root.sh
. "$here/Support/debian-root.sh"

readonly kNeeds="linux-image-amd64, systemd-sysv, dbus, udev, libpam-systemd, procps, e2fsprogs"
readonly kSecondsToLive=1800

install_needs() {
  local apt="apt-get -q -y --no-install-recommends"
  in_root "$1" env DEBIAN_FRONTEND=noninteractive sh -e -c "apt-get -q update && $apt satisfy '$2' && apt-get clean" \
    </dev/null >"$1.log" 2>&1 && return
  tail -n 15 "$1.log" >&2
  fail "What the guest needs could not be installed, see above: $2"
}

# The ports are QEMU's end of these: see run_guest.
let_run_scripts() {
  cat >"$1/usr/local/sbin/hardware" <<'SCRIPT'
#!/bin/sh
echo "$*" >/dev/virtio-ports/monitor
SCRIPT
  cat >"$1/usr/local/sbin/run-script" <<'SCRIPT'
#!/bin/sh
udevadm wait /dev/virtio-ports/monitor /dev/virtio-ports/output /dev/virtio-ports/status /dev/disk/by-id/virtio-files
exec >/dev/virtio-ports/output 2>&1
mkdir -p /root/files
cd /root/files
tar --extract --file=/dev/disk/by-id/virtio-files
"./$(cat script)"
echo "$?" >/dev/virtio-ports/status
systemctl poweroff
SCRIPT
  cat >"$1/etc/systemd/system/script.service" <<'UNIT'
[Service]
Type=idle
ExecStart=run-script
[Install]
WantedBy=multi-user.target
UNIT
  chmod 755 "$1"/usr/local/sbin/*
  in_root "$1" systemctl enable script.service 2>/dev/null
  echo guest >"$1/etc/hostname"
  echo "127.0.0.1 localhost guest" >"$1/etc/hosts"
}

make_guest() {
  local root=$1/root
  rm -rf --one-file-system "$1"
  mkdir -p "$1"
  make_root "$2" "$root"
  install_needs "$root" "$kNeeds${3:+, $3}"
  let_run_scripts "$root"
  cp "$root"/boot/vmlinuz-* "$1/kernel"
  cp "$root"/boot/initrd.img-* "$1/initrd"
  mkfs.ext4 -q -L guest -d "$root" "$1/image" 4G
  remove_root "$root"
}

# A kvm_pvm runs those kernels only that are made for it, and Debian's are not.
choose_accelerator() {
  accelerator=(-accel "tcg,thread=multi")
  [ ! -w /dev/kvm ] || [ -d /sys/module/kvm_pvm ] || accelerator=(-accel kvm)
}

# run_guest FOLDER SCRIPT [FILE]...
run_guest() {
  local folder=$1 disk disks=() accelerator
  shift
  choose_accelerator
  mkdir -p "$folder/files"
  cp -- "$@" "$folder/files/"
  basename "$1" >"$folder/files/script"
  tar --create --file="$folder/files.tar" --directory="$folder/files" .
  rm -r "$folder/files"
  for disk in ${DISKS:-}; do
    disks+=(-blockdev "driver=raw,node-name=${disk%%=*},file.driver=file,file.filename=${disk#*=}")
  done
  rm -f "$folder/status" "$folder/monitor"
  # The monitor listens on a socket, and the port that the guest writes to is connected with it.
  setpriv --pdeathsig TERM timeout "$kSecondsToLive" qemu-system-x86_64 "${accelerator[@]}" -cpu max -smp 2 -m 2048 \
    -display none -nic none -nodefaults -serial "file:$folder/console" \
    -kernel "$folder/kernel" -initrd "$folder/initrd" -append "root=LABEL=guest rw console=ttyS0 quiet" \
    -drive "file=$folder/image,format=raw,if=virtio,snapshot=on" \
    -drive "file=$folder/files.tar,format=raw,if=none,id=files,readonly=on" \
    -device virtio-blk-pci,drive=files,serial=files -device virtio-rng-pci -device qemu-xhci \
    "${disks[@]}" -device virtio-serial-pci \
    -chardev "file,id=output,path=/dev/stdout" -device virtserialport,chardev=output,name=output \
    -chardev "file,id=status,path=$folder/status" -device virtserialport,chardev=status,name=status \
    -chardev "socket,id=commands,path=$folder/monitor,server=on,wait=off" -mon chardev=commands \
    -chardev "socket,id=monitor,path=$folder/monitor" -device virtserialport,chardev=monitor,name=monitor \
    </dev/null | cat || true
  [ -s "$folder/status" ] || fail "The guest has not ended well: $(tail -n 20 "$folder/console")"
  return "$(cat "$folder/status")"
}

is_root || fail "Tests/guest.sh needs root."
case ${1-} in
  make | run) "$1_guest" "${@:2}" ;;
  *) fail "Usage: Tests/guest.sh make FOLDER SUITE [DEPENDENCIES] | run FOLDER SCRIPT [FILE]..." "$kUsageError" ;;
esac
