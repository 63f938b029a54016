#!/usr/bin/env bash
# The life of ./run where no NTFS volume is mounted: started, a second time at once, ended, killed,
# started again and removed, after which nothing of it is left. For whoever may use sudo without a
# password, on a machine that nobody minds, such as that of Tests/fresh-root.sh: Tests/run.sh
set -euo pipefail

# shellcheck source=Setup/setup.sh
. "$(dirname "${BASH_SOURCE[0]}")/../Setup/setup.sh"
cd "$kRoot"

readonly kFolder=$HOME/Desktop/Quorvel\ Sample
readonly kSaid=/tmp/quorvel-run

is_mounted() { mountpoint --quiet "$kFolder"; }
has_no_disk() { ! diskutil list | grep -qw "${volume%s1}"; }
has_no_folder() { [ ! -e "$HOME/Desktop" ]; }

# What a shell starts in the background would ignore Ctrl-C.
start() {
  rm -f "$kSaid"
  env --default-signal=INT ./run --yes >"$kSaid" 2>&1 &
  run=$!
  try_for 900 grep -qs "Quit with Ctrl-C" "$kSaid" || fail "./run does not start."
  try_for 120 is_mounted || fail "The sample volume is not on the desktop."
  touch "$kFolder/file"
  read -r _ volume <build/session/disk
}

has_no_folder || fail "There is a desktop here already, and Tests/run.sh makes its own."
trap '[ $? = 0 ] || cat "$kSaid"' EXIT
start
! ./run --yes >"$kSaid.2" 2>&1 || fail "A second ./run starts."
grep -q "Another ./run is at work here" "$kSaid.2"
kill -INT "$run"
wait "$run" || fail "./run ended with status $?."
has_no_disk || fail "Ctrl-C leaves the sample disk."
has_no_folder || fail "Ctrl-C leaves the desktop."
start
kill -KILL "$run"
try_for 120 has_no_disk || fail "A kill leaves the sample disk."
try_for 120 has_ended "$(<build/session/agent.pid)" || fail "A kill leaves the agent."
# As a desktop starts it where no systemd looks after the session.
mapfile -t bus < <(dbus-daemon --session --fork --print-address=1 --print-pid=1)
export DBUS_SESSION_BUS_ADDRESS=${bus[0]}
quorvel-helper start </dev/null &>/dev/null &
try_for 120 quorvel-helper menu &>/dev/null || fail "The agent does not run."
kill "$!"
wait "$!" || fail "The agent ended with status $?."
kill "${bus[1]}"
unset DBUS_SESSION_BUS_ADDRESS
start
grep -q "Tidying up after a run that was killed" "$kSaid"
kill -INT "$run"
wait "$run"
./run --remove --yes >"$kSaid" 2>&1 || fail "Nothing is removed."
has_no_folder || fail "Removing leaves the desktop."
[ ! -e build/session ] || fail "Removing leaves the session."
[ ! -e "$HOME/Quorvel_Helper.txt" ] || fail "Removing leaves the log."
! dpkg --status quorvel-helper &>/dev/null || fail "Removing leaves the package."
rm "$kSaid" "$kSaid.2"
say "Nothing of ./run is left."
