#!/usr/bin/env bash
# Installs what building, testing and running need and the machine lacks.
# Run it, or source it and call set_up.
set -euo pipefail

# shellcheck source=Setup/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

kSetup=$(realpath "${BASH_SOURCE[0]}")
kRoot=${kSetup%/Setup/*}
readonly kSetup kRoot

setup_usage() {
  cat <<'TEXT'
Usage: Setup/setup.sh [run | test | panel | pictures | benchmark | long]

Installs what is missing: for building and running the agent (run, the default), for its tests
as well (test), for the test on a real panel (panel), for drawing its pictures (pictures), for its
benchmarks (benchmark), or for what ./test --long adds (long). Apt marks it as installed
automatically, so that "apt-get autoremove" takes away again what nothing else needs.
TEXT
}

# needs PURPOSE: the Debian packages beyond those that debian/control names for building.
needs() {
  echo zsh ntfs-3g fdisk mount util-linux e2fsprogs dbus-daemon
  case $1 in
    test) echo libgtest-dev procps udisks2 udev ;;
    benchmark) echo libgtest-dev procps udev libbenchmark-dev ;;
    panel | pictures) echo xvfb xfce4-panel xdotool fonts-wqy-microhei ;;&
    pictures) echo imagemagick librsvg2-bin ;;
    long)
      echo libbenchmark-dev clang libclang-rt-dev clang-format clang-tidy cppcheck \
        debootstrap qemu-system-x86 git fio
      ;;
  esac
}

# missing_packages PURPOSE: one a line.
missing_packages() {
  local package
  for package in $(needs "$1"); do
    [ "$(dpkg-query --show --showformat '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
      printf '%s\n' "$package"
  done
}

has_build_needs() {
  command -v dpkg-checkbuilddeps >/dev/null && dpkg-checkbuilddeps "$kRoot/debian/control" 2>/dev/null
}

# set_up PURPOSE: returns when everything is there, ends the script when that cannot be had.
set_up() {
  local missing
  command -v apt-get >/dev/null ||
    fail "Quorvel Helper is set up, built and installed with Debian's tools, and apt-get is not here."
  mapfile -t missing < <(missing_packages "$1")
  if has_build_needs && [ "${#missing[@]}" -eq 0 ]; then
    return
  fi
  say "Installing what is missing. That may take a minute."
  install_packages "$kRoot" "${missing[@]}"
}

# install_packages [FOLDER | FILE.deb | PACKAGE]...: a folder stands for what its package needs to be
# built, and a file for the package in it, which is then not installed automatically.
install_packages() { as_root "install packages" "$kSetup" --as-root "$@"; }

# --- From here on as root -------------------------------------------------------------------

# apt LAUNCHER ARGUMENT...: what it downloads goes into a folder of ours, and with it.
apt() {
  DEBIAN_FRONTEND=noninteractive "$1" apt-get -q -y --no-install-recommends \
    -o DPkg::Lock::Timeout=120 -o APT::Get::Build-Dep-Automatic=true \
    -o Dir::Cache::archives="$apt_folder" "${@:2}" </dev/null >>"$apt_folder/log" 2>&1
}

download() { apt env --download-only "$@"; }

# The machine's list of packages may be absent or out of date. Half an installation is worse than
# none: in a session of its own a Ctrl-C does not reach it.
install_one_kind() {
  { download "$@" || { apt env update && download "$@"; }; } && apt setsid "$@" && return
  tail -n 15 "$apt_folder/log" >&2
  fail "This failed, and apt-get says why above: apt-get $*
It needs a network, room on the disk, and Debian 12 or newer. Try again, or as root: apt-get update"
}

install_packages_as_root() {
  local thing packages=()
  apt_folder=$(mktemp -d /var/tmp/quorvel-setup.XXXXXX)
  trap 'rm -rf "$apt_folder"' EXIT
  chmod 755 "$apt_folder" # Apt downloads as a user of its own.
  for thing in "$@"; do
    case $thing in
      *.deb) install_one_kind --reinstall install "$thing" ;;
      /*) install_one_kind build-dep "$thing" ;;
      *) packages+=("$thing") ;;
    esac
  done
  [ "${#packages[@]}" -eq 0 ] || install_one_kind --mark-auto install "${packages[@]}"
}

setup_main() {
  case ${1:-run} in
    run | test | panel | pictures | benchmark | long)
      set_up "${1:-run}"
      say "Everything that is needed is there."
      ;;
    -h | --help) setup_usage ;;
    --as-root) install_packages_as_root "${@:2}" ;;
    *)
      complain "Setup/setup.sh: no such purpose: $1"
      setup_usage >&2
      exit "$kUsageError"
      ;;
  esac
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  setup_main "$@"
fi
