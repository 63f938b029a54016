#!/usr/bin/env bash
# What Tests/virtual-machine.sh has its guest run at both of its boots.
set -euo pipefail

cd /opt/test
. ./common.sh
. ./package.sh
exec >/dev/ttyS0 2>&1

readonly kFolder=/home/guest/Desktop/Stick

# As a program of the user's desktop is started.
as_user() { systemd-run --quiet --user --machine=guest@.host --pipe --wait --collect bash -c "$1" </dev/null; }

agents() { pgrep --uid guest --full '^/usr/lib/quorvel/' || true; }
has_one_agent() { [ "$(agents | wc -l)" -eq 1 ]; }
is_taken_over() { grep -q "^/dev/disk[0-9]*s1 $kFolder fuseblk rw," /proc/self/mounts; }
is_given_back() { grep -q '^/dev/disk[0-9]*s1 /Volumes/Stick [a-z0-9]* ro,' /proc/self/mounts; }
is_unmounted() { ! grep -qE ' (/Volumes|/media|/home)/' /proc/self/mounts; }
is_gone() { is_unmounted && [ ! -e "$kFolder" ] && ! compgen -G '/dev/disk[0-9]*' && ! compgen -G '/Volumes/*'; }
has_no_user() { ! loginctl show-user guest &>/dev/null; }

hardware() { echo "$*" >/dev/virtio-ports/monitor; }
pull_out() { hardware device_del stick; }

# QEMU refuses it for as long as it is not done with the stick that was pulled.
has_plugged_in() {
  hardware device_add usb-storage,drive=stick,id=stick
  udevadm wait --timeout=10 --settle /dev/sda1
}

# silently COMMAND...: it says nothing.
silently() {
  local said
  said=$("$@" 2>&1) && [ -z "$said" ] || fail "$* says: $said"
}

log_in() { systemctl start getty@tty1; }
log_out() {
  systemctl stop getty@tty1
  expect "Logged out" has_no_user
  [ -z "$(agents)" ] || fail "The agent has not ended."
}

set_up() {
  install install --no-install-recommends ./package.deb >/dev/null
  expect "The user's systemd is there" as_user true
  silently systemd-analyze verify --man=no /usr/lib/systemd/system/quorvel-mount@.service
  silently as_user "systemd-analyze verify --man=no --user /usr/lib/systemd/user/quorvel-helper.service"
  as_user "echo 's3cr et' | quorvel-helper password >/dev/null; quorvel-helper autostart login"
  quorvel-helper automount on
  log_out
  log_in
  expect "Logging in starts the agent" has_one_agent
}

plug_in_and_pull() {
  pull_out
  expect "The stick is pulled" test ! -e /dev/sda
  expect "The stick is plugged in" has_plugged_in
  expect "A stick that is plugged in is on the desktop" is_taken_over
  pull_out
  expect "Nothing is left of a stick that was pulled" is_gone
  quorvel-helper automount off
  expect "It is plugged in again" has_plugged_in
  as_user "udisksctl mount --block-device /dev/sda1"
  expect "What the desktop has mounted is taken over" is_taken_over
}

first_boot() {
  touch /var/lib/was-booted
  set_up
  plug_in_and_pull
  log_out
  is_given_back || fail "Logging out does not give the volume back."
  log_in
  expect "After the next login it is taken over again" is_taken_over
  quorvel-helper automount on
  as_user "cat /opt/test/written >$kFolder/written"
  say "Switched off right after this."
}

second_boot() {
  expect "A stick that was there at boot is on the desktop" is_taken_over
  has_one_agent || fail "There are $(agents | wc -l) agents."
  as_user "cmp /opt/test/written $kFolder/written"
  install purge quorvel-helper >/dev/null
  [ -z "$(agents)" ] && is_unmounted && [ ! -e /etc/udev/rules.d/90-quorvel-automount.rules ] ||
    fail "Purging leaves an agent, a mount or the rule."
  # systemd itself keeps the slice of the mounts, and the name of what the plugged-in stick wants.
  silently systemctl list-units --type=service --state=active,activating,failed --no-legend '*quorvel*'
  ! journalctl --quiet | grep -E 'systemd.*(quorvel|user@).*([Kk]ill|timed out|[Ff]ail)' || fail "The journal is not clean."
  say "Nothing of the package is left."
}

trap '[ $? = 0 ] || { journalctl --boot --no-pager | tail -n 60; tail -n 4 /proc/self/mounts; }; systemctl poweroff' EXIT
if [ -e /var/lib/was-booted ]; then second_boot; else first_boot; fi
