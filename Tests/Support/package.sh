# shellcheck shell=bash
# What tests of the package and of ./run share. Sourced, after Packaging/common.sh.

install() { DEBIAN_FRONTEND=noninteractive apt-get -q -y "$@" </dev/null; }

# expect WHAT COMMAND...: waits until the command succeeds.
expect() {
  try_for 120 "${@:2}" || fail "Not so: $1"
  say "$1"
}
