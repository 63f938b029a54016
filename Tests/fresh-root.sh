#!/usr/bin/env bash
# Builds and tests what is committed in a fresh root of a Debian release, as an ordinary user who
# may use sudo, and lives through the life of ./run there, and of its package in a virtual machine.
# Nothing of it stays. For ./test --long; as root: Tests/fresh-root.sh SUITE [PRESET]...
set -euo pipefail
umask 022

kHere=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
# shellcheck source=Setup/common.sh
. "$kHere/../Setup/common.sh"
# shellcheck source=Tests/Support/debian-root.sh
. "$kHere/Support/debian-root.sh"

readonly kSuite=${1:?Usage: Tests/fresh-root.sh SUITE [PRESET]...}
shift
readonly kRoot=/var/tmp/quorvel-root-$kSuite

# A user as any other, with a clone as any other's, and a copy of it as browsers name downloads.
settle_in() {
  cp /etc/hosts "$kRoot/etc/" # With the machine's name, which sudo looks up.
  chroot "$kRoot" useradd --create-home --groups sudo --shell /bin/bash person
  echo 'person ALL=(ALL) NOPASSWD: ALL' >"$kRoot/etc/sudoers.d/person"
  mkdir "$kRoot/home/person/clone"
  git -c safe.directory="$(realpath "$kHere/..")" -C "$kHere/.." archive HEAD |
    tar -x -C "$kRoot/home/person/clone"
  cp -r "$kRoot/home/person/clone" "$kRoot/home/person/clone (1)"
  chroot "$kRoot" chown -R person: /home/person
}

test_in_root() {
  in_root "$kRoot" su --login person --command "cd clone && ./test $* && cd '../clone (1)' && ./package"
  "$kHere/virtual-machine.sh" "$kSuite" "$kRoot/home/person/clone (1)"/build/*.deb
  in_root "$kRoot" su --login person --command "cd 'clone (1)' && Tests/run.sh"
}

is_root || fail "Tests/fresh-root.sh needs root."
exec 9>"$kRoot.lock"
flock --nonblock 9 || fail "Another Tests/fresh-root.sh $kSuite is running."
trap 'remove_root "$kRoot"; rm -f "$kRoot.lock"' EXIT
trap 'exit 1' INT TERM HUP
remove_root "$kRoot" # What a killed one left.
make_root "$kSuite" "$kRoot"
settle_in
test_in_root "$@"
