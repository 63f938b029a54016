#!/usr/bin/env bash
# The life of the package on a machine: installed, started by a desktop, used, upgraded, logged out of
# and purged, after which everything is as it was. As root of a machine that nobody minds, such as that
# of Tests/fresh-root.sh: Tests/installed.sh PACKAGE.deb
set -euo pipefail
umask 022

# shellcheck source=Packaging/setup.sh
. "$(dirname "${BASH_SOURCE[0]}")/../Packaging/setup.sh"
# shellcheck source=Tests/Support/package.sh
. "$kRoot/Tests/Support/package.sh"

readonly kPackage=$1
readonly kUser=guest
readonly kHome=/home/$kUser
readonly kSudoRule=/etc/sudoers.d/$kUser
readonly kFolder=$kHome/Desktop/Quorvel\ Sample

# Everything but what the system keeps books in.
snapshot() {
  find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /run -o -path /tmp -o -path /var/cache \
    -o -path /var/log -o -path /var/lib/apt -o -path /var/lib/dpkg -o -path '/etc/*-' -o -path "$kRoot" \) -prune \
    -o -printf '%y %m %u:%g %p %l\n' | sort
  cut -d: -f1 /etc/passwd
  cut -d' ' -f1,2 /proc/self/mounts
}

# as_user COMMAND: in the user's session, once there is one.
as_user() {
  su --login "$kUser" --command "export DBUS_SESSION_BUS_ADDRESS=$(cat "$kHome/bus" 2>/dev/null) DISPLAY=:$(cat /tmp/display 2>/dev/null); $1"
}

agents() { pgrep --uid "$kUser" --full '^/usr/lib/quorvel/' || true; }
is_mounted() { mountpoint --quiet "$kFolder"; }
is_ejected() { ! is_mounted && grep -q ' /Volumes/Quorvel\\040Sample' /proc/self/mounts; }
is_logged_out() { [ -z "$(agents)" ]; }
has_volume_in_menu() { as_user "quorvel-helper menu" </dev/null 2>/dev/null | grep -q "$1"; }

store_password() {
  ! as_user "echo wrong | quorvel-helper password" || fail "A wrong password was stored."
  printf '%s:\344\n' "$kUser" | chpasswd
  ! as_user "printf '\344\n' | quorvel-helper password" || fail "A password that is never read was stored."
  echo "$kUser:s3cr et" | chpasswd
  as_user "echo 's3cr et' | env -u HOME quorvel-helper password"
}

# A setting each, turned on and off again.
turn_settings() {
  as_user "quorvel-helper manager-style on"
  [ "$(setting Quorvel.Manager.Style.Key)" = 1 ] || fail "manager-style cannot be turned on."
  as_user "quorvel-helper manager-style off"
  [ "$(setting Quorvel.Manager.Style.Key)" = 0 ] || fail "manager-style cannot be turned off."
  echo "$kUser ALL=(ALL) NOPASSWD: ALL" >"$kSudoRule"
  as_user "echo needless | quorvel-helper password" | grep -q "none is needed" || fail "A needless password was stored."
  printf 'none /srv tmpfs noauto 0 0' >>/etc/fstab # Without a line feed.
  { cat /etc/fstab && echo; } >/tmp/fstab
  as_user "quorvel-helper hidepid on && quorvel-helper hidepid on"
  ! as_user "cat /proc/1/cmdline" 2>/dev/null || fail "Others' processes can be seen."
  [ "$(diff /tmp/fstab /etc/fstab | grep -c '^[<>]')" = 1 ] || fail "More than a row was added to fstab."
  as_user "quorvel-helper hidepid off"
  as_user "cat /proc/1/cmdline" >/dev/null
  cmp /tmp/fstab /etc/fstab
  as_user "mkdir own && export XDG_CONFIG_HOME=~/own && quorvel-helper autostart on && quorvel-helper forget && rmdir own"
  rm "$kSudoRule"
}

setting() {
  as_user "/usr/lib/quorvel/QuorvelHelper.app/Contents/Helpers/defaults read com.quorvel.Manager.Shared $1"
}

log_in() {
  as_user "dbus-run-session -- sh -c 'echo \$DBUS_SESSION_BUS_ADDRESS >bus; exec xfce4-session'" &>/tmp/session &
  expect "The desktop starts the agent" has_volume_in_menu 没有发现NTFS卷
}

use_a_disk() {
  sleep infinity &
  disk=$!
  read -r _ volume < <("$kRoot/Packaging/sample-disk.sh" "$disk")
  expect "A disk that is plugged in is on the desktop" is_mounted
  as_user "echo saved >'$kFolder/file'"
  as_user "quorvel-helper menu choose '推出 [Quorvel Sample]'"
  expect "The menu ejects it" is_ejected
  as_user "quorvel-helper menu choose '挂载 [Quorvel Sample]'"
  expect "The menu mounts it" is_mounted
  [ "$(cat "$kFolder/file")" = saved ] || fail "The file that was saved is not there."
}

# make_newer PACKAGE NEWER: the same with another number.
make_newer() {
  dpkg-deb --raw-extract "$1" "$2.folder"
  sed -i 's/^Version: .*/&+1/' "$2.folder/DEBIAN/control"
  dpkg-deb --root-owner-group --build "$2.folder" "$2" >/dev/null
  rm -r "$2.folder"
}

upgrade() {
  local before newer=/tmp/newer.deb
  before=$(agents)
  make_newer "$kPackage" "$newer"
  install install "$newer" | tee "$newer.log"
  grep -q "goes on as it is" "$newer.log" || fail "The upgrade does not say that the old agent runs on."
  [ "$(agents)" = "$before" ] || fail "The upgrade has ended the agent."
  is_mounted || fail "The upgrade has unmounted the volume."
  setting Quorvel.Mac.PWD.Key >/dev/null
  rm "$newer"*
}

log_out() {
  pkill --uid "$kUser" --exact xfce4-session
  expect "Logging out ends the agent" is_logged_out
  expect "Logging out gives the volume back" is_ejected
}

leave() {
  ln -s /srv /Volumes/own
  install remove quorvel-helper
  ! grep -q ' /Volumes/' /proc/self/mounts || fail "Removing the package leaves a volume mounted."
  install purge quorvel-helper
  rm /Volumes/own
  rmdir /Volumes
  ! compgen -G "/dev/${volume%s1}*" || fail "A node is left."
  kill "$disk"
  pkill --uid "$kUser" || true
  try_for 10 has_no_processes || fail "Processes are left."
  userdel --remove "$kUser" 2>/dev/null
}

has_no_processes() { ! pgrep --uid "$kUser" >/dev/null; }

main() {
  install install --no-install-recommends xvfb xfce4-session dbus-daemon procps >/dev/null
  snapshot >/tmp/before
  install install --no-install-recommends "$kPackage"
  useradd --create-home --groups sudo --shell /bin/bash "$kUser"
  echo "$kUser:s3cr et" | chpasswd
  store_password
  turn_settings
  as_user "quorvel-helper autostart on"
  rm -f /tmp/display # A predecessor's.
  Xvfb -displayfd 3 3>/tmp/display 2>/dev/null &
  expect "There is a screen" test -s /tmp/display
  log_in
  use_a_disk
  upgrade
  log_out
  as_user "quorvel-helper forget"
  leave
  kill %Xvfb
  snapshot >/tmp/after
  diff /tmp/before /tmp/after || fail "The machine is not as it was before."
  say "Nothing is left."
}

main
