#!/usr/bin/env bash
# Reads all sources with clang-format, cppcheck and clang-tidy: nothing, or what they find and a status of 1.
set -euo pipefail

# shellcheck source=Setup/setup.sh
. "$(dirname "${BASH_SOURCE[0]}")/../Setup/setup.sh"
cd "$(dirname "$kSetup")/.."

readonly kFolders=(Helper Shared Platform Tools Tests Benchmarks)
readonly kBuild=build/analysis

failed=0

# report TOOL COUNT FINDINGS: a row for the table, after the findings if there are any.
report() {
  local found=nothing
  if [ -n "$3" ]; then
    complain "$3"
    found="see above"
    failed=1
  fi
  say "row: $1 over all sources | $2 files | $found"
}

run_clang_format() {
  local findings
  findings=$(find "${kFolders[@]}" -name '*.[ch]pp' -exec clang-format --dry-run -Werror {} + 2>&1) ||
    findings+="Write them as clang-format -i does."
  report clang-format "$count" "$findings"
}

run_cppcheck() {
  local findings
  say "cppcheck: $count files..."
  findings=$(cppcheck --quiet --enable=warning,performance,portability,style --inline-suppr \
    --std=c++20 --library=googletest --suppress=missingIncludeSystem \
    --suppressions-list=Tests/cppcheck-suppressions.txt -I . "${kFolders[@]}" 2>&1) ||
    findings+="cppcheck could not run"
  report cppcheck "$count" "$findings"
}

configure() {
  cmake --preset debug -B "$kBuild" -DQUORVEL_BENCHMARKS=ON >"$kBuild.log" 2>&1 ||
    fail "The sources cannot be configured: $(cat "$kBuild.log")"
}

# As many sources at a time as there are processors.
run_clang_tidy() {
  local count findings=
  mkdir -p build
  configure
  count=$(grep -c '"file":' "$kBuild/compile_commands.json")
  run-clang-tidy -quiet -p "$kBuild" 2>&1 | tee "$kBuild.log" |
    awk -v count="$count" '/^clang-tidy/ { print "clang-tidy: " ++begun " of " count; fflush() }' ||
    findings="$(grep -vE '^clang-tidy|^[0-9]+ warnings? generated' "$kBuild.log" || true)
clang-tidy found something or could not run."
  report clang-tidy "$count" "$findings"
}

set_up long
count=$(find "${kFolders[@]}" -name '*.[ch]pp' | wc -l)
run_clang_format
run_cppcheck
run_clang_tidy
exit "$failed"
