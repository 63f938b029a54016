# shellcheck shell=bash
# What tests of the package share. Sourced, after Packaging/common.sh.

install() { DEBIAN_FRONTEND=noninteractive apt-get -q -y "$@" </dev/null; }

# expect WHAT COMMAND...: waits until the command succeeds.
expect() {
  local what=$1
  shift
  try_for 120 "$@" || fail "Not so: $what"
  say "$what"
}

# make_newer PACKAGE NEWER: the same package with another number.
make_newer() {
  dpkg-deb --raw-extract "$1" "$2.folder"
  sed -i 's/^Version: .*/&+1/' "$2.folder/DEBIAN/control"
  dpkg-deb --root-owner-group --build "$2.folder" "$2" >/dev/null
  rm -r "$2.folder"
}
