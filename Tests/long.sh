# shellcheck shell=bash
# What ./test --long does, on top of ./test's own functions: sourced by it.
# shellcheck disable=SC2154  # what ./test sets

readonly kSecondsForLongTest=7200
readonly kSecondsForFuzzer=60
readonly kLongLog=build/long.log

# Of the output only what tells how far it is. ctest numbers the lines of its tests.
show_progress() {
  sed --unbuffered -n -E 's/^[0-9]+: //; /: [0-9]+ of [0-9]+|Fuzzing .*\.\.\.$|Test +#|Failure|error:|ERROR/p'
}

# stage WHAT COMMAND...: its output goes to the log, its progress to the person.
stage() {
  local what=$1 ended=0
  shift
  say "" "$what"
  "$@" </dev/null 2>&1 | tee -a "$kLongLog" | show_progress || ended=$?
  [ "$ended" -eq 0 ] || count_as_failed "$what (all of its output: $kLongLog)"
}

run_long_tests() {
  as_root_with_options QUORVEL_LONG=1 ctest --test-dir build/release -C long --verbose --label-regex long \
    --no-tests=error --timeout "$kSecondsForLongTest"
}

# The rows that the stages left in the log, as a table.
print_table() {
  sed -n -E 's/^([0-9]+: )?row: //p' "$kLongLog" | awk -F ' [|] ' '
    function row(what, times, lost) { printf "| %-48s | %16s | %-14s |\n", what, times, lost }
    BEGIN { row("what was tried", "how often", "what was lost"); print "|---|---|---|" }
    { row($1, $2, $3) }'
}

long_test() {
  set_up long
  mkdir -p build
  : >"$kLongLog"
  choose_addresses release
  if build release; then
    stage "The agent and real disks, again and again" run_long_tests
    give_back_build release
  else
    count_as_failed "release: the build"
  fi
  stage "Hostile input, $kSecondsForFuzzer seconds a parser" Tests/Fuzzing/fuzz.sh "$kSecondsForFuzzer"
  stage "Analysis of all sources" Packaging/analyse.sh
  say "" "${remarks[@]}" ""
  print_table
}
