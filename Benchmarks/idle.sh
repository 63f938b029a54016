#!/usr/bin/env bash
# Measures what the idle agent costs in a minute, all its commands included, beside its two command
# lines run bare at the same rate in the same minute, with this machine's disks and with fifty more,
# and prints the table:
#
#     Benchmarks/idle.sh
#
# As root, in about seven minutes. ROUNDS says how many minutes for each row (3), of which the
# medians are shown. The agent leaves mounting to others meanwhile. BUILD names another build folder
# than build/benchmarks.
set -euo pipefail

here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
readonly here
# shellcheck source=Packaging/common.sh
. "$here/../Packaging/common.sh"
# shellcheck source=Tests/Support/private-root.sh
. "$here/../Tests/Support/private-root.sh"

readonly kDisks=50 kScansAMinute=24
disks=()

# What the agent runs, in its own words.
command_line() { sed -n "s/.* $1 = \"\(.*\)\";/\1/p" "$here/../Helper/Scripts.hpp"; }

# Of a process and of the commands that have ended, in hundredths of a second.
processor_time() { awk '{ print $14 + $15 + $16 + $17 }' "/proc/$1/stat"; }

median() { sort -n | sed -n "$(((rounds + 1) / 2))p"; }

# Only the disks of now and those of ours are shown: others that come meanwhile would be examined by
# the agent and by nobody else, and so would NTFS volumes that nobody has mounted.
hide_other_disks() {
  mkdir /bench/bin
  cat >/bench/bin/diskutil <<TEXT
#!/bin/sh
[ "\$1" = list ] || exec "$build/bin/diskutil" "\$@"
"$build/bin/diskutil" list | grep -wFf /bench/shown
TEXT
  chmod +x /bench/bin/diskutil
  "$build/bin/diskutil" list |
    awk '$NF ~ /^disk[0-9]/ && !/Windows_NTFS/ { print $NF }' >/bench/shown
}

start_agent() {
  "$build/bin/defaults" write com.quorvel.Manager.Shared Quorvel.Manager.Style.Key -bool true
  "$build/QuorvelHelper.app/Contents/MacOS/QuorvelHelper" >/dev/null &
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
  local round before begin agents commands
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
  agents=$(median </bench/agent)
  commands=$(median </bench/commands)
  awk -v what="$1" -v agent="$agents" -v commands="$commands" 'BEGIN {
    printf "| %s | %d | %d | %.2f |\n", what, agent, commands, agent / commands }'
}

attach_disks() {
  local i disk ID
  for ((i = 1; i <= kDisks; ++i)); do
    truncate -s 16M "/bench/image-$i"
    disk=$(losetup --find --show "/bench/image-$i")
    disks+=("$disk")
    mkntfs --quick --force --quiet --label "Volume $i" "$disk" >/dev/null 2>&1
    ID=disk$(cat "/sys/block/${disk#/dev/}/diskseq")
    diskutil mount "$ID" >/dev/null
    printf '%s\n' "$ID" >>/bench/shown
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

main() {
  local rounds=${ROUNDS:-3} build
  build=$(realpath --canonicalize-missing "${BUILD:-$here/../build/benchmarks}")
  is_root || fail "idle.sh: start it as root, it attaches disks."
  if [ "${1:-}" != here ]; then
    cmake -S "$here/.." -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >&2
    cmake --build "$build" --target QuorvelHelper diskutil mount_ntfs defaults >&2
    BUILD=$build in_private_root dbus-run-session -- "$here/idle.sh" here
    return
  fi
  mkdir /bench/home
  mkfifo /bench/pause
  export HOME=/bench/home XDG_RUNTIME_DIR=/bench/home PATH="/bench/bin:$build/bin:$PATH"
  unset XDG_CONFIG_HOME ZDOTDIR
  hide_other_disks
  start_agent
  trap clear_up EXIT
  say "| | the agent in all, ms of CPU time a minute | its two command lines, bare | ratio |" \
    "|---|--:|--:|--:|"
  measure "This machine's disks"
  attach_disks
  measure "With $kDisks mounted NTFS disks more"
}

main "$@"
