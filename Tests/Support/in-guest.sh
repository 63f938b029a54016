#!/usr/bin/env bash
# The package on a machine with a real systemd, logind, udevd and udisksd: what
# Tests/virtual-machine.sh has its guest run at each boot, beside common.sh, package.sh, package.deb and written.
set -euo pipefail

. ./common.sh
. ./package.sh

readonly kUser=guest kHome=/home/guest kFolder=/home/guest/Desktop/Stick

# As a program of the user's desktop is started.
as_user() {
  systemd-run --quiet --user --machine="$kUser@.host" --pipe --wait --collect bash -c "$1" </dev/null
}

agents() { pgrep --uid "$kUser" --full '^/usr/lib/quorvel/' || true; }
has_one_agent() { [ "$(agents | wc -l)" -eq 1 ]; }
has_no_agent() { [ -z "$(agents)" ]; }
is_taken_over() { grep -q "^/dev/disk[0-9]*s1 $kFolder fuseblk rw," /proc/self/mounts; }
is_ejected() { grep -q '^/dev/disk[0-9]*s1 /Volumes/Stick [a-z0-9]* ro,' /proc/self/mounts; }
is_unmounted() { ! grep -qE ' (/Volumes|/media|/run/media|/home)/' /proc/self/mounts; }
is_gone() { is_unmounted && [ ! -e "$kFolder" ] && ! compgen -G '/dev/disk[0-9]*' && ! compgen -G '/Volumes/*'; }
is_in_session() { loginctl show-user "$kUser" --property=Display --value 2>/dev/null | grep -q .; }
is_logged_out() { ! loginctl show-user "$kUser" &>/dev/null; }

plug_in() { hardware device_add usb-storage,drive=stick,id=stick; }
pull_out() { hardware device_del stick; }
log_in() { systemctl start getty@tty1; }

# silently COMMAND...: it says nothing.
silently() {
  local said
  said=$("$@" 2>&1) && [ -z "$said" ] || fail "$* says: $said"
}

check_units() {
  silently systemd-analyze verify --man=no /usr/lib/systemd/system/quorvel-mount@.service
  silently as_user "systemd-analyze verify --man=no --user /usr/lib/systemd/user/quorvel-helper.service"
}

make_user() {
  useradd --create-home --groups sudo --shell /bin/bash "$kUser"
  echo "$kUser:s3cr et" | chpasswd
  mkdir -p /etc/systemd/system/getty@tty1.service.d
  printf '[Service]\nExecStart=\nExecStart=-/sbin/agetty --autologin %s --noclear %%I linux\n' "$kUser" \
    >/etc/systemd/system/getty@tty1.service.d/autologin.conf
}

# automount on|off: with a password that sudo is told.
automount() {
  as_user "echo 's3cr et' | sudo -S -p '' -v && quorvel-helper automount $1" && return
  echo "$kUser ALL=(ALL) NOPASSWD: ALL" >/etc/sudoers.d/guest
  as_user "quorvel-helper automount $1"
  rm /etc/sudoers.d/guest
}

set_up() {
  install install --no-install-recommends ./package.deb
  make_user
  check_units
  say "The units are as systemd wants them"
  as_user "echo 's3cr et' | quorvel-helper password"
  as_user "quorvel-helper autostart login"
  automount on
  systemctl daemon-reload
  systemctl stop getty@tty1
  expect "The user's systemd has ended" is_logged_out # Else nothing starts anew at the login.
  log_in
  use
}

reboot_into() {
  echo "$1" >/var/lib/stage
  systemctl reboot
  sleep infinity
}

plug_in_and_pull() {
  local agent
  agent=$(agents)
  plug_in
  expect "A stick that is plugged in is on the desktop" is_taken_over
  systemctl show --property=Result quorvel-mount@sda1.service
  as_user "echo saved >$kFolder/file"
  pull_out
  expect "Nothing is left of a stick that was pulled" is_gone
  plug_in
  expect "It is taken over again" is_taken_over
  [ "$(agents)" = "$agent" ] || fail "The agent is another one."
}

eject() {
  as_user "quorvel-helper menu choose '推出 [Stick]'"
  expect "The menu ejects it" is_ejected
  # udisks unmounts what another has mounted for administrators only, after asking for a password.
  as_user "diskutil umount \$(basename /dev/disk[0-9]*s1)"
  as_user "udisksctl power-off --block-device /dev/sda"
  expect "Nothing is left of a stick that was powered off" is_gone
  pull_out
}

mount_by_desktop() {
  automount off
  plug_in
  udevadm wait --timeout=60 /dev/sda1
  udevadm settle
  as_user "udisksctl mount --block-device /dev/sda1"
  expect "What the desktop has mounted is taken over" is_taken_over
  [ "$(cat "$kFolder/file")" = saved ] || fail "The file that was saved is not there."
}

upgrade() {
  local agent
  agent=$(agents)
  make_newer package.deb /tmp/newer.deb
  install install --no-install-recommends /tmp/newer.deb
  [ "$(agents)" = "$agent" ] && is_taken_over || fail "The upgrade has ended the agent or the mount."
  say "The upgrade lets it run on"
}

# is_ended_by COMMAND...
is_ended_by() {
  local since
  since=$(date +%s)
  "$@"
  expect "Logged out, by $1" is_logged_out
  expect "It has ended the agent" has_no_agent
  is_ejected || fail "The volume was not given back: $(cat /proc/self/mounts)"
  ! journalctl --since "@$since" | grep -iE 'quorvel.*(kill|timed out|fail)|user@.*(killing|timed out)' || fail "It was not in time."
}

log_out() {
  is_ended_by systemctl stop getty@tty1
  log_in
  expect "Logged in again" has_one_agent
  expect "And the volume is taken over" is_taken_over
  systemctl mask --runtime getty@tty1 2>/dev/null
  is_ended_by loginctl terminate-user "$kUser"
  systemctl unmask --runtime getty@tty1 2>/dev/null
  log_in
  expect "The volume is taken over after that, too" is_taken_over
}

# write NAME: as a file of that name, what "written" holds.
write() {
  cp written /var/lib/
  as_user "cat /var/lib/written >$kFolder/$1"
}

use() {
  expect "Logging in starts the agent" has_one_agent
  as_user "quorvel-helper start; ! quorvel-helper"
  has_one_agent || fail "There are two agents."
  plug_in_and_pull
  eject
  mount_by_desktop
  upgrade
  log_out
  automount on
  write rebooted
  reboot_into leave
}

leave() {
  expect "The stick is on the desktop after a reboot" is_taken_over
  cmp written "$kFolder/rebooted"
  purge
  install install --no-install-recommends ./package.deb
  automount on
  systemctl stop getty@tty1
  expect "Logged out" is_logged_out
  log_in
  expect "Installed again, it starts at login" has_one_agent
  pull_out
  plug_in
  expect "Installed again, it takes the stick over" is_taken_over
  write switched-off # Right after this.
}

purge() {
  install purge quorvel-helper
  has_no_agent && is_unmounted || fail "Purging leaves an agent or a mount."
  ! find / -xdev \( -path /proc -o -path /home -o -path /var/log -o -path /root -o -path /var/cache \) -prune -o -name '*quorvel*' -print | grep . ||
    fail "Purging leaves files."
  # systemd itself keeps the slice of the mounts, and the name of what the plugged-in stick wants.
  ! systemctl list-units --type=service --state=active,activating,failed '*quorvel*' --no-legend | grep . ||
    fail "Purging leaves units."
}

trap '[ $? = 0 ] || { journalctl --boot --no-pager | tail -n 60; tail -n 4 /proc/self/mounts; ls -l /dev/disk[0-9]* /Volumes $kHome/Desktop; }' EXIT
"$(cat /var/lib/stage 2>/dev/null || echo set_up)"
