# shellcheck shell=bash
# Fresh roots of Debian releases, in folders. Sourced, after Setup/common.sh.

# Where the machine itself has Debian's packages from.
mirror() {
  # shellcheck disable=SC2016  # apt-get's own variables
  apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' | head -n 1
}

# make_root SUITE FOLDER: what debootstrap says goes to FOLDER.log.
make_root() {
  local from
  from=$(mirror)
  [ -n "$from" ] || fail "No Debian mirror is named in this machine's apt sources, so there is no fresh $1 to test in."
  say "Making a fresh root of $1 from $from..."
  # With a certificate for a mirror that is asked through https.
  debootstrap --variant=minbase --include=ca-certificates,sudo "$1" "$2" "$from" >"$2.log" 2>&1 || {
    tail -n 5 "$2.log" >&2
    fail "No fresh root of $1 could be made from $from; debootstrap says why above."
  }
}

# in_root FOLDER COMMAND...: in a mount namespace of its own: whatever ends this, no mount stays.
in_root() {
  # shellcheck disable=SC2016  # for the other shell
  unshare --mount --propagation private sh -e -c '
    mount --bind "$1" "$1"
    for folder in dev proc sys; do mount --rbind /$folder "$1/$folder"; done
    exec chroot "$@"' sh "$@"
}

remove_root() { rm -rf --one-file-system "$1" "$1.log"; }
