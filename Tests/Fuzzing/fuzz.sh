#!/usr/bin/env bash
# Builds the fuzzers and runs each for a while, beginning with the corpus:
#
#     Tests/Fuzzing/fuzz.sh SECONDS
#
# Needs clang and its runtime library (Debian: clang, libclang-rt-dev). Nothing is written into
# the corpus; what makes a parser fail is kept, and the status is 1.
set -euo pipefail

root=$(dirname "$(realpath "${BASH_SOURCE[0]}")")/../..
readonly root

build_fuzzers() {
  echo "Building the fuzzers..." >&2
  if ! (cd "$root" && cmake --preset fuzz && cmake --build --preset fuzz) >"$scratch/log" 2>&1; then
    cat "$scratch/log" >&2
    rm -rf "$scratch"
    return 1
  fi
}

# fuzz PARSER SECONDS: keeps what it found in the scratch folder. The time for one input is so long
# that only an endless loop exceeds it, however busy the machine is.
fuzz() {
  local parser=$1
  mkdir "$scratch/$parser"
  TMPDIR=$scratch "$root/build/fuzz/Tests/Fuzzing/fuzz-$parser" \
    -max_total_time="$2" -timeout=600 -max_len=4096 -print_final_stats=1 \
    -artifact_prefix="$scratch/$parser." \
    "$scratch/$parser" "$root/Tests/Fuzzing/corpus/$parser" >"$scratch/$parser.log" 2>&1
}

# An input that made the parser fail; the log where there is none.
failure_of() {
  find "$scratch" -name "$1.*" ! -name "$1.slow-unit-*" ! -name "$1.log" -print -quit | grep . ||
    echo "$scratch/$1.log"
}

runs_of() { sed -n 's/^stat::number_of_executed_units: *//p' "$scratch/$1.log"; }

main() {
  local fuzzer parser found failed=0
  if ! [[ ${1:-} =~ ^[1-9][0-9]*$ ]]; then
    echo "Usage: Tests/Fuzzing/fuzz.sh SECONDS" >&2
    exit 64
  fi
  scratch=$(mktemp -d)
  build_fuzzers
  for fuzzer in "$root"/Tests/Fuzzing/*Fuzzer.cpp; do
    parser=$(basename "$fuzzer" Fuzzer.cpp)
    echo "Fuzzing $parser for $1 seconds..." >&2
    found=nothing
    if ! fuzz "$parser" "$1"; then
      found="see $(failure_of "$parser")"
      failed=1
    fi
    echo "row: Fuzzing $parser | $(runs_of "$parser") inputs | $found"
  done
  [ "$failed" -eq 0 ] && rm -rf "$scratch"
}

main "$@"
