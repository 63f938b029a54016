#!/bin/sh
# Builds the agent as it is released and prints the table of measured ratios, or parts of it:
#
#     Benchmarks/run.sh [commands | listing | rows | log | menu]...
#
# Takes some minutes; needs what "Setup/setup.sh benchmark" installs.
set -eu
cd "$(dirname "$0")/.."
program=build/release/Benchmarks/Benchmarks
parts=${*:-commands listing rows log menu}

cmake --preset release -DQUORVEL_TESTS=ON -DQUORVEL_BENCHMARKS=ON >&2
cmake --build --preset release --target Benchmarks >&2

printf '%s\n' '| what | measured (lowest to highest) | goal |' '|---|---|---|'
for part in $parts; do
  "$program" "$part"
done

# Where no udevd runs, the listing once more beside one that knows all disks, in a /run of its own.
[ "$(id -u)" = 0 ] && [ ! -e /run/udev/control ] && [ $# = 0 ] || exit 0
mkdir -p /dev/disk /dev/block
# shellcheck disable=SC2016  # for the other shell
exec unshare --mount sh -euc '
  for folder in /run /dev/disk /dev/block; do mount -t tmpfs -o mode=755 tmpfs "$folder"; done
  /lib/systemd/systemd-udevd --daemon >&2
  udevadm trigger --action=add --subsystem-match=block --settle
  "$1" listing
  udevadm control --exit' sh "$program"
