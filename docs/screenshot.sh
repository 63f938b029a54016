#!/usr/bin/env bash
# Draws docs/menu.png: the open menu of the agent in build/release on a real panel, on a screen that
# nobody looks at. The volumes in it are made up; no disk is needed, and nothing of the machine is touched.
set -euo pipefail

# shellcheck source=Tests/panel.sh
. "$(dirname "${BASH_SOURCE[0]}")/../Tests/panel.sh"

readonly kAgent=$kRoot/build/release/QuorvelHelper.app/Contents/MacOS/QuorvelHelper
readonly kPicture=$kRoot/docs/menu.png

# Commands that know of three volumes, one of which is not mounted. The menu shows the last first.
make_machine() {
  mkdir "$folder/bin" "$folder/Desktop"
  cat >"$folder/bin/diskutil" <<'SH'
#!/bin/sh
case $* in
  list) printf '1: %s\n' disk9s1 disk9s2 disk9s3; exit ;;
  'info disk9s1') name=备份 ;;
  'info disk9s2') name=照片 ;;
  'info disk9s3') name='My Stick' ;;
  *) exit ;;
esac
printf '   Volume Name:               %s\n' "$name"
printf '   Mounted:                   Yes\n   File System Personality:   NTFS\n'
SH
  printf '%s\n' '#!/bin/sh' "printf '/dev/%s 1G\n' disk9s2 disk9s3" >"$folder/bin/df"
  printf '%s\n' '#!/bin/sh' 'cat >/dev/null' >"$folder/bin/sudo"
  chmod +x "$folder"/bin/*
}

knows_volumes() { grep -qsx remove "$folder/Quorvel_Helper.txt"; } # The one that is not mounted.

# The window below the panel.
find_menu() {
  local window X=0 Y=0 WIDTH=0 HEIGHT=0 # One may close before it is asked.
  for window in $(xdotool search --onlyvisible --class . 2>/dev/null); do
    eval "$(xdotool getwindowgeometry --shell "$window" 2>/dev/null)"
    right=$((X + WIDTH)) top=$Y bottom=$((Y + HEIGHT)) menu=${WIDTH}x$HEIGHT+$X+$Y
    [ "$top" -eq 0 ] || return 0
  done
  return 1
}

has_no_menu() { ! find_menu; }

# A panel that has just learned of new entries gives the menu its size at the next opening.
open_menu_in_its_size() {
  local before=$menu
  xdotool key Escape
  try_for 5 has_no_menu
  xdotool mousemove 24 30 click 1
  try_for 5 find_menu && [ "$menu" = "$before" ]
}

menu_has_text() {
  [ "$(convert "xwd:$screen" -crop "$menu" -format '%[fx:minima < 0.4]' info:)" = 1 ]
}

finish() {
  stop_panel
  rm -rf "$folder"
}

set_up pictures
[ -x "$kAgent" ] ||
  fail "There is no agent in build/release. Build it: cmake --preset release && cmake --build --preset release"
folder=$(mktemp -d)
screen=$folder/Xvfb_screen0
menu=
trap finish EXIT
make_machine
GDK_SCALE=2 start_panel "$folder"
PATH=$folder/bin:/usr/bin:/bin "$kAgent" </dev/null >"$folder/agent" 2>&1 &
try_for "$kSecondsToWait" knows_volumes || fail "The agent found no volumes: $(cat "$folder/agent")"
try_for "$kSecondsToWait" open_menu_in_its_size || fail "The menu did not open."
try_for "$kSecondsToWait" menu_has_text || fail "The menu has no text."
convert -size "$((right + 24))x$((bottom + 24))" "xc:#dee2e6" \( "xwd:$screen" -crop "x$top+0+0" \) \
  \( "xwd:$screen" -crop "$menu" \) -flatten -strip "$kPicture"
say "The picture is in $kPicture."
