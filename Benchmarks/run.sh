#!/bin/sh
# Builds the agent as it is released and prints the table of measured ratios:
#
#     Benchmarks/run.sh
#
# Takes some minutes; needs Google Benchmark (Debian: libbenchmark-dev). Options are passed on, such
# as --benchmark_filter=Console. BUILD names another build folder than build/benchmarks.
set -eu
cd "$(dirname "$0")/.."
build=${BUILD:-build/benchmarks}

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DQUORVEL_TESTS=OFF -DQUORVEL_BENCHMARKS=ON >&2
cmake --build "$build" --target Benchmarks >&2

# A session bus of its own, so that an agent which is running already is not disturbed.
dbus-run-session -- "$build/Benchmarks/Benchmarks" "$@"

# Where no udevd runs, the listing once more beside one that knows all disks, in a /run of its own.
[ "$(id -u)" = 0 ] && [ ! -e /run/udev/control ] && [ $# = 0 ] || exit 0
mkdir -p /dev/disk /dev/block
exec unshare --mount sh -euc '
  for folder in /run /dev/disk /dev/block; do mount -t tmpfs -o mode=755 tmpfs "$folder"; done
  /lib/systemd/systemd-udevd --daemon >&2
  udevadm trigger --action=add --subsystem-match=block --settle
  "$1" --benchmark_filter=diskutil | grep diskutil
  udevadm control --exit' sh "$build/Benchmarks/Benchmarks"
