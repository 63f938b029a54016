#!/usr/bin/env bash
# What Tests/virtual-machine.sh has its guest run at both of its boots.
set -euo pipefail

cd /opt/test
. ./common.sh
exec >/dev/ttyS0 2>&1

readonly kFolder=/home/guest/Desktop/Stick kSudoRule=/etc/sudoers.d/guest

# As a program of the user's desktop is started.
as_user() { systemd-run --quiet --user --machine=guest@.host --pipe --wait --collect bash -c "$1" </dev/null; }

agents() { pgrep --uid guest --full '^/usr/lib/quorvel/' || true; }
has_one_agent() { [ "$(agents | wc -l)" -eq 1 ]; }
is_taken_over() { grep -q "^/dev/disk[0-9]*s1 $kFolder fuseblk rw," /proc/self/mounts; }
is_given_back() { grep -q '^/dev/disk[0-9]*s1 /Volumes/Stick [a-z0-9]* ro,' /proc/self/mounts; }
is_unmounted() { ! grep -qE ' (/Volumes|/media|/home)/' /proc/self/mounts; }
has_no_place() { is_unmounted && [ ! -e "$kFolder" ] && ! compgen -G '/Volumes/*'; }
is_gone() { has_no_place && ! compgen -G '/dev/disk[0-9]*'; }
has_in_menu() { as_user "quorvel-helper menu" | grep --fixed-strings "$1"; }
has_no_user() { ! loginctl show-user guest &>/dev/null; }

# files FOLDER...: everything there but what the system keeps books in.
files() {
  find "$@" -xdev \( -path /opt/test -o -path /media -o -path /tmp -o -path /var/tmp -o -path /var/cache \
    -o -path /var/backups -o -path /var/log -o -path /var/lib/apt -o -path /var/lib/dpkg -o -path /var/lib/systemd \
    -o -path /var/lib/udisks2 -o -path '/etc/*-' -o -name .sudo_as_admin_successful \) -prune \
    -o -printf '%y %m %u:%g %p %l\n' | sort
  sed '$a\' /etc/fstab
}

hardware() { echo "$*" >/dev/virtio-ports/monitor; }
pull_out() { hardware device_del stick; }

# QEMU refuses it for as long as it is not done with the stick that was pulled.
has_plugged_in() {
  hardware device_add usb-storage,drive=stick,id=stick
  udevadm wait --timeout=10 --settle /dev/sda1
}

install() { DEBIAN_FRONTEND=noninteractive apt-get -q -y "$@" </dev/null; }

# expect WHAT COMMAND...: waits until the command succeeds.
expect() {
  try_for 120 "${@:2}" || fail "Not so: $1"
  say "$1"
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

store_password() {
  ! as_user "echo wrong | quorvel-helper password" || fail "A wrong password was stored."
  printf 'guest:\344\n' | chpasswd
  ! as_user "printf '\344\n' | quorvel-helper password" || fail "A password that is never read was stored."
  echo "guest:s3cr et" | chpasswd
  as_user "echo 's3cr et' | env -u HOME quorvel-helper password >/dev/null"
}

setting() {
  as_user "/usr/lib/quorvel/QuorvelHelper.app/Contents/Helpers/defaults read com.quorvel.Manager.Shared $1"
}

# Everything that can be turned on, which "forget" undoes.
turn_settings() {
  as_user "mkdir .config"
  printf 'none /srv tmpfs noauto 0 0' >>/etc/fstab # Without a line feed.
  sed '$a\' /etc/fstab >fstab
  files /home /etc >before-settings
  as_user "quorvel-helper manager-style on"
  [ "$(setting Quorvel.Manager.Style.Key)" = 1 ] || fail "manager-style cannot be turned on."
  as_user "quorvel-helper manager-style off"
  [ "$(setting Quorvel.Manager.Style.Key)" = 0 ] || fail "manager-style cannot be turned off."
  store_password
  echo "guest ALL=(ALL) NOPASSWD: ALL" >"$kSudoRule"
  as_user "echo needless | quorvel-helper password" | grep -q "none is needed" || fail "A needless password was stored."
  as_user "quorvel-helper hidepid on && quorvel-helper hidepid on"
  [ "$(diff fstab /etc/fstab | grep -c '^[<>]')" = 1 ] || fail "More than a row was added to fstab."
  as_user "quorvel-helper automount on; quorvel-helper autostart on"
  ! as_user "cat /proc/1/cmdline" 2>/dev/null || fail "Others' processes can be seen."
  as_user "quorvel-helper forget"
  as_user "cat /proc/1/cmdline" >/dev/null
  rm "$kSudoRule"
  files /home /etc | diff before-settings - || fail "Something was not forgotten."
}

set_up() {
  expect "The user's systemd is there" as_user true
  files / >before
  install install --no-install-recommends ./package.deb >/dev/null
  silently systemd-analyze verify --man=no /usr/lib/systemd/system/quorvel-mount@.service
  silently as_user "systemd-analyze verify --man=no --user /usr/lib/systemd/user/quorvel-helper.service"
  turn_settings
  store_password
  as_user "quorvel-helper autostart login"
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
  ! udevadm info --query=property /dev/sda1 | grep SYSTEMD_WANTS || fail "automount cannot be turned off."
  echo "LABEL=Stick /mnt ntfs noauto 0 0" >>/etc/fstab
  systemctl start quorvel-mount@sda1
  is_unmounted || fail "What fstab names is mounted elsewhere."
  sed -i '$d' /etc/fstab
  as_user "udisksctl mount --block-device /dev/sda1"
  expect "What the desktop has mounted is taken over" is_taken_over
}

use_desktop() {
  expect "The desktop unmounts it" udisksctl unmount --block-device /dev/sda1
  expect "Its folders go" has_no_place
  as_user "udisksctl mount --block-device /dev/sda1"
  expect "The menu offers to mount it" has_in_menu '挂载 [Stick]'
  grep ' /media/guest/Stick ' /proc/self/mounts || fail "What was ejected once is not left to the desktop."
  as_user "quorvel-helper menu choose '挂载 [Stick]'"
  expect "The menu takes it over from the desktop" is_taken_over
}

use_menu() {
  as_user "quorvel-helper menu choose '推出 [Stick]'"
  expect "The menu ejects it" is_given_back
  as_user "quorvel-helper menu choose '挂载 [Stick]'"
  expect "The menu mounts it" is_taken_over
}

# To the same package with another number.
upgrade() {
  local before
  before=$(agents)
  dpkg-deb --raw-extract package.deb newer
  sed -i 's/^Version: .*/&+1/' newer/DEBIAN/control
  dpkg-deb --root-owner-group --build newer newer.deb >/dev/null
  install install ./newer.deb | grep "goes on as it is" || fail "The upgrade does not say that the old agent runs on."
  [ "$(agents)" = "$before" ] || fail "The upgrade has ended the agent."
  is_taken_over || fail "The upgrade has unmounted the volume."
}

# By what systemd makes of the files that desktops start programs by.
start_by_desktop() { as_user 'systemctl --user start app-quorvel\\x2dhelper@autostart.service'; }

first_boot() {
  touch was-booted
  set_up
  plug_in_and_pull
  use_desktop
  use_menu
  upgrade
  as_user "quorvel-helper autostart on"
  log_out
  is_given_back || fail "Logging out does not give the volume back."
  log_in
  expect "After the next login the desktop starts the agent" start_by_desktop
  expect "The stick is taken over again" is_taken_over
  as_user "quorvel-helper autostart login"
  quorvel-helper automount on
  as_user "cat /opt/test/written >$kFolder/written"
  say "Switched off right after this."
}

second_boot() {
  expect "A stick that was there at boot is on the desktop" is_taken_over
  has_one_agent || fail "There are $(agents | wc -l) agents."
  as_user "cmp /opt/test/written $kFolder/written"
  ln -s /srv /Volumes/own
  install purge quorvel-helper >/dev/null
  rm /Volumes/own
  rmdir /Volumes
  [ -z "$(agents)" ] && is_gone || fail "Purging leaves an agent, a mount or a node."
  sed -i '$d' /etc/fstab
  rm -r /home/guest/{Desktop,.config,Quorvel_Helper.txt}
  files / | diff before - || fail "The machine is not as it was before."
  # systemd itself keeps the slice of the mounts, and the name of what the plugged-in stick wants.
  silently systemctl list-units --type=service --state=active,activating,failed --no-legend '*quorvel*'
  ! journalctl --quiet | grep -E 'systemd.*(quorvel|user@).*([Kk]ill|timed out|[Ff]ail)' || fail "The journal is not clean."
  say "Nothing of the package is left."
}

trap '[ $? = 0 ] || { journalctl --boot --no-pager | tail -n 60; tail -n 4 /proc/self/mounts; }; systemctl poweroff' EXIT
if [ -e was-booted ]; then second_boot; else first_boot; fi
