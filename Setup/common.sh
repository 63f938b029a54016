# shellcheck shell=bash
# What run, test and the scripts of this folder share: speaking to the person, and becoming root.
# Meant to be sourced by bash.
# shellcheck disable=SC2034  # the constants are for those who source this

# Debian keeps the programs for disks out of an ordinary user's search path.
export PATH="/usr/local/bin:$PATH:/usr/local/sbin:/usr/sbin:/sbin"

readonly kUsageError=64

# One line an argument. The terminal may be gone already when the last words are spoken; that must
# not stop a clean-up.
say() { printf '%s\n' "$@" || true; }

complain() { say "$@" >&2; }

fail() {
  complain "$1"
  exit "${2:-1}"
}

is_root() { [ "$EUID" -eq 0 ]; }

has_terminal() { (: </dev/tty) 2>/dev/null; }

# as_root PURPOSE COMMAND...: runs the command as the superuser. The purpose is what the person
# reads before sudo asks for a password.
as_root() {
  local purpose=$1
  shift
  if is_root; then
    "$@"
    return
  fi
  may_become_root "$purpose"
  sudo -- "$@"
}

may_become_root() {
  command -v sudo >/dev/null ||
    fail "The superuser is needed to $1, and sudo is not installed. As root: apt-get install sudo && adduser $(id -un) sudo, then log in again."
  if sudo -n true 2>/dev/null; then
    return
  fi
  has_terminal ||
    fail "The superuser is needed to $1, and sudo cannot ask for a password without a terminal. Start this in a terminal, or as root."
  say "The superuser is needed to $1; sudo may ask for your password."
  sudo -v || fail "sudo does not let $(id -un) do that. As root: adduser $(id -un) sudo, then log in again."
}

# try_for SECONDS COMMAND...: repeats the command until it succeeds or the time is over.
try_for() {
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    [ "$SECONDS" -lt "$end" ] || return 1
    sleep 0.1
  done
}

# Also of a process that nobody has collected yet.
has_ended() { ! grep -qs '^State:[[:space:]]*[^ZX[:space:]]' "/proc/$1/status"; }
