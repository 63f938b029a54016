#!/usr/bin/env bash
# A screen that nobody looks at, with a session bus and a panel, everything in a folder of its own.
#   panel.sh --missing   prints the Debian packages that it lacks on this machine, one a line
#   panel.sh             prints the three variables below once the panel is on the screen, lives
#                        until its standard input ends, and leaves nothing behind
# It prints DISPLAY, DBUS_SESSION_BUS_ADDRESS, and SCREEN: the file that holds the screen's pixels,
# as an X window dump.
set -uo pipefail

readonly kScreen=800x600x24
readonly kSecondsToStart=60

missing_packages() {
  local program package
  while read -r program package; do
    [ -x "$(command -v "$program")" ] || printf '%s\n' "$package"
  done <<'NEEDS'
Xvfb xvfb
xfce4-panel xfce4-panel
dbus-daemon dbus-daemon
xdotool xdotool
NEEDS
  [ -n "$(fc-list :lang=zh-cn 2>/dev/null)" ] || printf '%s\n' fonts-wqy-microhei
}

# A panel along the upper edge with a tray and nothing else.
write_settings() {
  local channels=$folder/config/xfce4/xfconf/xfce-perchannel-xml
  mkdir -p "$channels"
  cat >"$channels/xfce4-panel.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="length" type="uint" value="100"/>
      <property name="size" type="uint" value="30"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"/>
  </property>
</channel>
XML
}

# Nothing of the person's own session may be seen or touched.
use_own_session() {
  unset WAYLAND_DISPLAY XAUTHORITY SESSION_MANAGER GTK_THEME GTK_MODULES
  export HOME=$folder XDG_CONFIG_HOME=$folder/config XDG_CACHE_HOME=$folder/cache
  export XDG_DATA_HOME=$folder/data XDG_RUNTIME_DIR=$folder/run XDG_CURRENT_DESKTOP=XFCE
  export GDK_BACKEND=x11 NO_AT_BRIDGE=1 GSETTINGS_BACKEND=memory LC_ALL=C.UTF-8
  export DBUS_SESSION_BUS_ADDRESS=unix:path=$folder/bus
  mkdir -m 700 "$XDG_RUNTIME_DIR"
}

try_to_start() {
  local end=$((SECONDS + kSecondsToStart))
  until "$@" >/dev/null; do
    if [ "$SECONDS" -ge "$end" ] || [ "$(jobs -rp | wc -l)" -lt "$started" ]; then
      cat "$folder/messages" >&2
      exit 1
    fi
    sleep 0.05
  done
}

start() {
  "$@" </dev/null >>"$folder/messages" 2>&1 &
  started=$((started + 1))
}

finish() {
  local status=$?
  # shellcheck disable=SC2046  # one word a process
  kill $(jobs -p) 2>/dev/null
  wait
  rm -rf "$folder"
  exit "$status"
}

main() {
  folder=$(mktemp -d "${TMPDIR:-/tmp}/quorvel-panel.XXXXXX")
  started=0
  trap finish EXIT
  trap 'exit 1' HUP INT TERM
  use_own_session
  write_settings
  start Xvfb -displayfd 3 -screen 0 "$kScreen" -fbdir "$folder" -noreset 3>"$folder/display"
  start dbus-daemon --session --nofork --nopidfile --address="$DBUS_SESSION_BUS_ADDRESS"
  try_to_start test -s "$folder/display" -a -S "$folder/bus"
  DISPLAY=:$(<"$folder/display")
  export DISPLAY
  start xfce4-panel --disable-wm-check
  try_to_start xdotool search --onlyvisible --class xfce4-panel
  printf '%s\n' "DISPLAY=$DISPLAY" "DBUS_SESSION_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS" \
    "SCREEN=$folder/Xvfb_screen0"
  cat <&0 >/dev/null &
  wait $! # A signal ends this at once; it would have to wait for a command in the foreground.
}

case ${1-} in
  --missing) missing_packages ;;
  *) main ;;
esac
