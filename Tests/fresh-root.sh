#!/usr/bin/env bash
# Builds and tests what is committed in a fresh root of a Debian release, as an ordinary user who
# may use sudo, and lives through the life of its package there. Nothing of it stays. For
# ./test --long; as root: Tests/fresh-root.sh SUITE [PRESET]...
set -euo pipefail
umask 022

kHere=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
# shellcheck source=Packaging/common.sh
. "$kHere/../Packaging/common.sh"

readonly kSuite=${1:?Usage: Tests/fresh-root.sh SUITE [PRESET]...}
shift
readonly kRoot=/var/tmp/quorvel-root-$kSuite

# Where the machine itself has Debian's packages from.
mirror() {
  # shellcheck disable=SC2016  # apt-get's own variables
  apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' | head -n 1
}

make_root() {
  local from
  from=$(mirror)
  [ -n "$from" ] || fail "No Debian mirror is named in this machine's apt sources, so there is no fresh $kSuite to test in."
  say "Making a fresh root of $kSuite from $from..."
  # With a certificate for a mirror that is asked through https.
  debootstrap --variant=minbase --include=ca-certificates,sudo "$kSuite" "$kRoot" "$from" >"$kRoot.log" 2>&1 || {
    tail -n 5 "$kRoot.log" >&2
    fail "No fresh root of $kSuite could be made from $from; debootstrap says why above."
  }
}

# A user as any other, with a clone as any other's.
settle_in() {
  cp /etc/hosts "$kRoot/etc/" # With the machine's name, which sudo looks up.
  chroot "$kRoot" useradd --create-home --groups sudo --shell /bin/bash person
  echo 'person ALL=(ALL) NOPASSWD: ALL' >"$kRoot/etc/sudoers.d/person"
  mkdir "$kRoot/home/person/clone"
  git -c safe.directory="$(realpath "$kHere/..")" -C "$kHere/.." archive HEAD |
    tar -x -C "$kRoot/home/person/clone"
  chroot "$kRoot" chown -R person: /home/person
}

# In a mount namespace of its own: whatever ends this, no mount stays.
test_in_root() {
  # shellcheck disable=SC2016  # for the other shell
  unshare --mount --propagation private sh -e -c '
    mount --bind "$1" "$1"
    for folder in dev proc sys; do mount --rbind /$folder "$1/$folder"; done
    chroot "$1" su --login person --command "cd clone && ./test $2 && ./package"
    exec unshare --pid --fork --mount-proc="$1/proc" chroot "$1" bash -c "clone=/home/person/clone; \$clone/Tests/installed.sh \$clone/build/*.deb"' sh "$kRoot" "$*"
}

remove_root() { rm -rf --one-file-system "$kRoot" "$kRoot.log"; }

is_root || fail "Tests/fresh-root.sh needs root."
exec 9>"$kRoot.lock"
flock --nonblock 9 || fail "Another Tests/fresh-root.sh $kSuite is running."
trap 'remove_root; rm -f "$kRoot.lock"' EXIT
trap 'exit 1' INT TERM HUP
remove_root # What a killed one left.
make_root
settle_in
test_in_root "$@"
