#!/usr/bin/env bash
# Measures what the idle agent costs in a minute, all its commands included, beside its two command
# lines run bare at the same rate in the same minute, with this machine's disks and with fifty more,
# and prints the table, its memory, and what it costs between two scans:
#
#     Benchmarks/idle.sh
#
# As root, in about seven minutes. ROUNDS says how many minutes for each row (3), of which the
# medians are shown. The agent leaves mounting to others meanwhile.
set -euo pipefail

# shellcheck source=Benchmarks/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

readonly kDisks=50 kScansAMinute=24
disks=()

# What the agent runs, in its own words.
command_line() { sed -n "s/.* $1 = \"\(.*\)\";/\1/p" "$kHere/../Helper/Scripts.hpp"; }

# Of a process and of the commands that have ended, in hundredths of a second.
processor_time() { awk '{ print $14 + $15 + $16 + $17 }' "/proc/$1/stat"; }

# Only the disks of now and those of ours are shown: others that come meanwhile would be examined by
# the agent and by nobody else, and so would NTFS volumes that nobody has mounted.
hide_other_disks() {
  mkdir /bench/bin
  cat >/bench/bin/diskutil <<TEXT
#!/bin/sh
[ "\$1" = list ] || exec "$kBuild/bin/diskutil" "\$@"
echo >/bench/scanned
"$kBuild/bin/diskutil" list | grep -wFf /bench/shown
TEXT
  chmod +x /bench/bin/diskutil
  "$kBuild/bin/diskutil" list |
    awk '$NF ~ /^disk[0-9]/ && !/Windows_NTFS/ { print $NF }' >/bench/shown
}

start_agent() {
  "$kBuild/bin/defaults" write com.quorvel.Manager.Shared Quorvel.Manager.Style.Key -bool true
  "$kBuild/QuorvelHelper.app/Contents/MacOS/QuorvelHelper" >/dev/null &
  agent=$!
}

# The same commands at the same rate, for a minute.
run_commands() (
  list=$(command_line listScript)
  mounts=$(command_line mountListScript)
  for ((i = 0; i < kScansAMinute; ++i)); do
    read -r -t 2.5 <>/bench/pause || true
    zsh -c "$list" >/dev/null
    zsh -c "$mounts" >/dev/null
  done
  awk '{ print 10 * ($16 + $17) }' "/proc/$BASHPID/stat"
)

measure() {
  local round before begin
  : >/bench/agent
  : >/bench/commands
  sleep 10 # Until the agent has examined what is new.
  for ((round = 1; round <= rounds; ++round)); do
    complain "$1: $round of $rounds"
    before=$(processor_time "$agent")
    begin=${EPOCHREALTIME/./}
    run_commands >>/bench/commands
    printf '%s\n' $((($(processor_time "$agent") - before) * 600000000 / (${EPOCHREALTIME/./} - begin))) \
      >>/bench/agent
  done
  awk -v what="$1" -v agent="$(median </bench/agent)" -v commands="$(median </bench/commands)" \
    'BEGIN { printf "| %s | %d | %d | %.2f |\n", what, agent, commands, agent / commands }'
}

# Of all the agent's threads that live, in microseconds.
fine_time() { awk '{ sum += $1 } END { printf "%d\n", sum / 1000 }' "/proc/$agent/task/"*/schedstat; }
has_scanned() { [ -s /bench/scanned ]; }

measure_pauses() {
  local round before
  for ((round = 1; round <= rounds; ++round)); do
    : >/bench/scanned
    try_for 30 has_scanned || fail "The agent does not scan."
    sleep 0.5 # Until it has taken note of the answers.
    before=$(fine_time)
    sleep 1.5
    echo $(($(fine_time) - before))
  done
}

attach_disks() {
  local i
  for ((i = 1; i <= kDisks; ++i)); do
    disks+=("$(new_disk "/bench/image-$i" 16M "Volume $i")")
    name_of "${disks[-1]}" >>/bench/shown
    diskutil mount "$(name_of "${disks[-1]}")" >/dev/null
  done
}

clear_up() {
  local disk
  kill "$agent"
  wait "$agent" || true
  umount --lazy /Volumes/* 2>/dev/null || true
  for disk in "${disks[@]}"; do
    free_disk "$disk"
  done
}

readonly rounds=${ROUNDS:-3}
if [ "${1-}" != here ]; then
  build QuorvelHelper diskutil mount_ntfs defaults
  in_private_root dbus-run-session -- "$kHere/idle.sh" here
  exit
fi
mkdir /bench/home
mkfifo /bench/pause
export HOME=/bench/home XDG_RUNTIME_DIR=/bench/home PATH="/bench/bin:$kBuild/bin:$PATH"
unset XDG_CONFIG_HOME ZDOTDIR
hide_other_disks
start_agent
trap clear_up EXIT
say "| | the agent in all, ms of CPU time a minute | its two command lines, bare | ratio |" \
  "|---|--:|--:|--:|"
measure "This machine's disks"
memory=$(awk '/^Pss:/ { printf "%.2f", $2 / 1024 }' "/proc/$agent/smaps_rollup")
pauses=$(measure_pauses | median)
attach_disks
measure "With $kDisks mounted NTFS disks more"
say "" "With this machine's disks its memory (Pss) is $memory MiB (at most 8), and between two scans it takes" \
  "$pauses microseconds of CPU time (0)."
