# shellcheck shell=bash
# What ./test --long does, on top of ./test's own functions: sourced by it.
# shellcheck disable=SC2154  # what ./test sets

readonly kSecondsForLongTest=7200
readonly kSecondsForFuzzer=60
readonly kLongLog=build/long.log

# Of the output only what tells how far it is. ctest numbers the lines of its tests.
show_progress() {
  sed --unbuffered -n -E 's/^[0-9]+: //; /: [0-9]+ of [0-9]+|\.\.\.$|Test +#|Failure|error:|ERROR/p'
}

# stage WHAT COMMAND...: its output goes to the log, its progress to the person.
stage() {
  say "" "$1"
  shift
  "$@" </dev/null 2>&1 | tee -a "$kLongLog" | show_progress
}

# try_stage WHAT COMMAND...: the same for a stage that has no results but its status.
try_stage() {
  if stage "$@"; then
    results+=(passed)
  else
    results+=("failed: $1 (all of its output: $kLongLog)")
  fi
}

# The rows that the stages left in the log, as a table.
print_table() {
  say "| what was tried | how often | what was lost |" "|---|---|---|"
  sed -n -E 's/^([0-9]+: )?row: (.*)/| \2 |/p' "$kLongLog"
}

long_test() {
  local suite
  set_up long
  mkdir -p build
  : >"$kLongLog"
  # shellcheck disable=SC2034  # run_ctest uses it
  long_variables=(QUORVEL_LONG=yes)
  test_preset release stage "The agent and real disks, again and again" run_ctest release -C long \
    --label-regex long --verbose --timeout "$kSecondsForLongTest"
  for suite in bookworm trixie; do
    try_stage "A fresh clone on a fresh Debian, $suite" as_root "make a fresh Debian" Tests/fresh-root.sh "$suite"
  done
  try_stage "Hostile input, $kSecondsForFuzzer seconds a parser" Tests/Fuzzing/fuzz.sh "$kSecondsForFuzzer"
  try_stage "Analysis of all sources" Tests/analyse.sh
  say ""
  print_table
}
