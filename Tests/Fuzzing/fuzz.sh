#!/usr/bin/env bash
# Builds the fuzzers and runs each for a while, beginning with the corpus:
#
#     Tests/Fuzzing/fuzz.sh SECONDS
#
# Needs clang and its runtime library (Debian: clang, libclang-rt-dev). Nothing is written into
# the corpus; what makes a parser fail is kept, and the status is 1.
set -euo pipefail
cd "$(dirname "$(realpath "${BASH_SOURCE[0]}")")/../.."

# shellcheck source=Setup/common.sh
. Setup/common.sh

# fuzz PARSER SECONDS: keeps what it found in the scratch folder. The time for one input is so long
# that only an endless loop exceeds it, however busy the machine is.
fuzz() {
  mkdir "$scratch/$1"
  TMPDIR=$scratch "build/fuzz/Tests/Fuzzing/fuzz-$1" -max_total_time="$2" -timeout=600 -max_len=4096 \
    -print_final_stats=1 -artifact_prefix="$scratch/$1." "$scratch/$1" "Tests/Fuzzing/corpus/$1" \
    >"$scratch/$1.log" 2>&1
}

# An input that made the parser fail; the log where there is none.
failure_of() {
  find "$scratch" -name "$1.*" ! -name "$1.slow-unit-*" ! -name "$1.log" -print -quit | grep . ||
    echo "$scratch/$1.log"
}

runs_of() { sed -n 's/^stat::number_of_executed_units: *//p' "$scratch/$1.log"; }

[[ ${1-} =~ ^[1-9][0-9]*$ ]] || fail "Usage: Tests/Fuzzing/fuzz.sh SECONDS" "$kUsageError"
scratch=$(mktemp -d)
complain "Building the fuzzers..."
if ! (cmake --preset fuzz && cmake --build --preset fuzz) >"$scratch/log" 2>&1; then
  complain "$(<"$scratch/log")"
  rm -r "$scratch"
  exit 1
fi
failed=0
for fuzzer in Tests/Fuzzing/*Fuzzer.cpp; do
  parser=$(basename "$fuzzer" Fuzzer.cpp)
  complain "Fuzzing $parser for $1 seconds..."
  found=nothing
  if ! fuzz "$parser" "$1"; then
    found="see $(failure_of "$parser")"
    failed=1
  fi
  say "row: Fuzzing $parser | $(runs_of "$parser") inputs | $found"
done
[ "$failed" -eq 0 ] && rm -rf "$scratch"
