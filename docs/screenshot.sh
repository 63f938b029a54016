#!/usr/bin/env bash
# Draws docs/menu.png: the agent's open menu on a real panel, on a screen that nobody looks at. The
# volumes in it are made up; no disk is needed, and nothing of the machine is touched.
set -euo pipefail

# shellcheck source=Tests/panel.sh
. "$(dirname "${BASH_SOURCE[0]}")/../Tests/panel.sh"

root=$(dirname "$(dirname "$(realpath "${BASH_SOURCE[0]}")")")
readonly root

usage() {
  cat <<'TEXT'
Usage: docs/screenshot.sh [BUILD-FOLDER]

Draws docs/menu.png with the agent that was built in BUILD-FOLDER (build/release).
TEXT
}

check_needs() {
  local missing
  missing=$(missing_packages panel)
  command -v python3 >/dev/null || missing+=" python3"
  [ -z "$missing" ] ||
    fail "Something is missing: apt-get install --no-install-recommends ${missing//$'\n'/ }"
  [ -x "$agent" ] ||
    fail "There is no agent in $1. Build it: cmake --preset release && cmake --build --preset release"
}

# Commands that know of three volumes, one of which is not mounted. The menu shows the last first.
make_machine() {
  mkdir -p "$folder/bin" "$folder/home/Desktop"
  cat >"$folder/bin/diskutil" <<'SH'
#!/bin/sh
case $1:$2 in
  list:) printf '1: %s\n' disk9s1 disk9s2 disk9s3; exit ;;
  info:disk9s1) name=备份 ;;
  info:disk9s2) name=照片 ;;
  info:disk9s3) name='My Stick' ;;
  *) exit ;;
esac
printf '   Device Identifier:         %s\n\n' "$2"
printf '   Volume Name:               %s\n' "$name"
printf '   Mounted:                   Yes\n   File System Personality:   NTFS\n\n'
SH
  printf '%s\n' '#!/bin/sh' "printf '/dev/%s 1G\n' disk9s2 disk9s3" >"$folder/bin/df"
  printf '%s\n' '#!/bin/sh' 'cat >/dev/null' >"$folder/bin/sudo"
  chmod +x "$folder"/bin/*
}

start_agent() {
  HOME=$folder/home XDG_CONFIG_HOME=$folder/home/.config XDG_RUNTIME_DIR=$folder/home \
    ZDOTDIR=$folder/home \
    PATH=$folder/bin:/usr/bin:/bin "$agent" </dev/null >"$folder/agent" 2>&1 &
}

# The tray's windows, its menu among them: left, top, width, height.
tray_windows() {
  xdotool search --onlyvisible --class '^wrapper-2.0$' getwindowgeometry --shell %@ 2>/dev/null |
    awk -F= '/^X=/ { x = $2 } /^Y=/ { y = $2 } /^WIDTH=/ { w = $2 }
             /^HEIGHT=/ { print x, y, w, $2 }'
}

find_tray() { tray=$(tray_windows | awk '$2 == 0 && $3 > 8 { print; exit }') && [ -n "$tray" ]; }
find_menu() { menu=$(tray_windows | awk '$2 > 8 { print; exit }') && [ -n "$menu" ]; }
has_no_menu() { ! find_menu; }

volumes_are_known() {
  grep -qx remove "$folder/home/Quorvel_Helper.txt" 2>/dev/null # The one that is not mounted.
}

open_menu() {
  local x y width height
  read -r x y width height <<<"$tray"
  xdotool mousemove $((x + width / 2)) $((y + height / 2)) click 1
  try_for "$kSecondsToWait" find_menu || fail "The menu did not open."
}

close_menu() {
  xdotool key Escape
  has_no_menu
}

# A panel that has just learned of new entries gives the menu its size at the next opening.
open_menu_in_its_size() {
  local before=""
  open_menu
  until [ "$menu" = "$before" ]; do
    before=$menu
    try_for "$kSecondsToWait" close_menu || fail "The menu did not close."
    open_menu
  done
}

# write_picture SCREEN FILE MENU...: fails as long as the menu has no text.
write_picture() {
  python3 - "$@" <<'PYTHON'
import struct, sys, zlib

DESKTOP = bytes((222, 226, 230))
MARGIN = 24

with open(sys.argv[1], "rb") as file:
    dump = file.read()
left, top, width, height = map(int, sys.argv[3:])
header = struct.unpack(">25I", dump[:100])
start, stride = header[0] + 12 * header[19], header[12]


def pixel(x, y):
    if y >= top and not (left <= x < left + width and y < top + height):
        return DESKTOP
    at = start + y * stride + 4 * x
    return dump[at + 2:at + 3] + dump[at + 1:at + 2] + dump[at:at + 1]


if not any(max(pixel(x, y)) < 110
           for y in range(top + 8, top + height - 8) for x in range(left + 8, left + width - 8)):
    sys.exit(1)

columns, rows = left + width + MARGIN, top + height + MARGIN
lines = b"".join(b"\0" + b"".join(pixel(x, y) for x in range(columns)) for y in range(rows))
with open(sys.argv[2], "wb") as file:
    file.write(b"\x89PNG\r\n\x1a\n")
    for kind, data in ((b"IHDR", struct.pack(">IIBBBBB", columns, rows, 8, 2, 0, 0, 0)),
                       (b"IDAT", zlib.compress(lines, 9)), (b"IEND", b"")):
        file.write(struct.pack(">I", len(data)) + kind + data)
        file.write(struct.pack(">I", zlib.crc32(kind + data)))
PYTHON
}

finish() {
  stop_panel
  rm -rf "$folder"
}

main() {
  local place picture=$root/docs/menu.png
  check_needs "$1"
  folder=$(mktemp -d)
  trap finish EXIT
  make_machine
  GDK_SCALE=2 start_panel "$folder"
  start_agent
  try_for "$kSecondsToWait" find_tray || fail "The agent did not appear: $(cat "$folder/agent")"
  try_for "$kSecondsToWait" volumes_are_known || fail "The agent found no volumes."
  open_menu_in_its_size
  mkdir -p "$root/docs"
  read -ra place <<<"$menu"
  try_for "$kSecondsToWait" write_picture "$folder/Xvfb_screen0" "$picture" "${place[@]}" ||
    fail "The menu has no text."
  say "The picture is in $picture."
}

case ${1-} in
  -h | --help) usage ;;
  *)
    [ $# -le 1 ] || fail "$(usage)" "$kUsageError"
    build=$(realpath -m "${1:-$root/build/release}")
    agent=$build/QuorvelHelper.app/Contents/MacOS/QuorvelHelper
    main "$build"
    ;;
esac
