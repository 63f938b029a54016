#!/usr/bin/env bash
# A screen that nobody looks at, with a session bus and a panel, everything in a folder of its own.
# Source it and call start_panel, or run it: Tests/panel.sh FOLDER makes FOLDER/ready once the
# panel is on the screen, and takes the panel away when its standard input ends.
set -euo pipefail

# shellcheck source=Setup/setup.sh
. "$(dirname "${BASH_SOURCE[0]}")/../Setup/setup.sh"

readonly kSecondsToWait=60

# A panel along the upper edge with a tray and nothing else.
write_settings() {
  local channels=$1/config/xfce4/xfconf/xfce-perchannel-xml
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
  unset WAYLAND_DISPLAY XAUTHORITY SESSION_MANAGER GTK_THEME GTK_MODULES ZDOTDIR
  export HOME=$1 XDG_CONFIG_HOME=$1/config XDG_CACHE_HOME=$1/cache XDG_DATA_HOME=$1/data
  export XDG_RUNTIME_DIR=$1/run XDG_CURRENT_DESKTOP=XFCE DBUS_SESSION_BUS_ADDRESS=unix:path=$1/bus
  export GDK_BACKEND=x11 NO_AT_BRIDGE=1 GSETTINGS_BACKEND=memory LC_ALL=C.UTF-8
  mkdir -m 700 "$XDG_RUNTIME_DIR"
}

# wait_for FOLDER COMMAND...: until the command succeeds.
wait_for() {
  try_for "$kSecondsToWait" "${@:2}" >/dev/null ||
    fail "The panel does not start: $(cat "$1/messages")"
}

# start_panel FOLDER: makes in it "display" (the number of the screen's), "bus" (the socket) and
# Xvfb_screen0 (the pixels, as an X window dump); this shell is in the panel's session from now on.
start_panel() {
  write_settings "$1"
  use_own_session "$1"
  Xvfb -displayfd 3 -screen 0 800x600x24 -fbdir "$1" -noreset 3>"$1/display" 2>>"$1/messages" &
  dbus-daemon --session --nofork --nopidfile --address="$DBUS_SESSION_BUS_ADDRESS" \
    2>>"$1/messages" &
  wait_for "$1" test -s "$1/display" -a -S "$1/bus"
  DISPLAY=:$(<"$1/display")
  export DISPLAY
  xfce4-panel --disable-wm-check &>>"$1/messages" &
  wait_for "$1" xdotool search --onlyvisible --class xfce4-panel
}

# Together with whatever else this shell has started.
stop_panel() {
  # shellcheck disable=SC2046  # one word a process
  kill $(jobs -p) 2>/dev/null || true
  wait || true
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  trap stop_panel EXIT
  start_panel "$1"
  touch "$1/ready"
  cat >/dev/null
fi
