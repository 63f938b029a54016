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
exec dbus-run-session -- "$build/Benchmarks/Benchmarks" "$@"
