# shellcheck shell=bash
# What the scripts here that attach disks share. Meant to be sourced by bash.
# shellcheck disable=SC2034  # for those who source this

kHere=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
readonly kHere kBuild=$kHere/../build/release
# shellcheck source=Setup/common.sh
. "$kHere/../Setup/common.sh"
# shellcheck source=Benchmarks/private-root.sh
. "$kHere/private-root.sh"

# build TARGET...: as it is released.
build() {
  is_root || fail "$0: start it as root, it attaches disks."
  (cd "$kHere/.." && cmake --preset release && cmake --build --preset release --target "$@") >&2
}

# Of the numbers in standard input, one a line.
median() { sort -n | awk '{ list[NR] = $1 } END { print list[int((NR + 1) / 2)] }'; }
