#!/usr/bin/env bash
# Installs what building, testing and running need and the machine lacks.
# Run it, or source it and call set_up.
set -euo pipefail

# shellcheck source=Packaging/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

kSetup=$(realpath "${BASH_SOURCE[0]}")
kRoot=${kSetup%/Packaging/*}
readonly kSetup kRoot

setup_usage() {
  cat <<'TEXT'
Usage: Packaging/setup.sh [run | test | panel | long | benchmark]

Installs what is missing: for building and running the agent (run, the default), for its tests
as well (test), for the test on a real panel (panel), for what ./test --long adds (long), or for
its benchmarks (benchmark). Apt marks it as installed automatically, so that "apt-get autoremove"
takes away again what nothing else needs.
TEXT
}

# What is needed beyond what debian/control names for building, a row for each thing: when, the Debian
# package that has it, and how to see that it is there.
readonly kNeeds='
run       zsh             file     /bin/zsh
run       ntfs-3g         program  ntfs-3g
run       ntfs-3g         program  mkntfs
run       fdisk           program  sfdisk
run       mount           program  losetup
run       util-linux      program  partx
run       e2fsprogs       program  mkfs.ext4
run       dbus-daemon     program  dbus-daemon
test      libgtest-dev    library  gtest
test      procps          program  pgrep
test      exfatprogs      program  mkfs.exfat
test      udisks2         file     /usr/libexec/udisks2/udisksd
test      udev            file     /usr/lib/systemd/systemd-udevd
panel     xvfb            program  Xvfb
panel     xfce4-panel     program  xfce4-panel
panel     xdotool         program  xdotool
panel     fonts-wqy-microhei file  /usr/share/fonts/truetype/wqy/wqy-microhei.ttc
benchmark libbenchmark-dev library benchmark
long      libbenchmark-dev library benchmark
long      clang           program  clang++
long      libclang-rt-dev file    /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-*.a
long      clang-format    program  clang-format
long      clang-tidy      program  clang-tidy
long      cppcheck        program  cppcheck
long      valgrind        program  valgrind
long      debootstrap     program  debootstrap
long      qemu-system-x86 program  qemu-system-x86_64
long      git             program  git
long      fio             program  fio
'

is_there() {
  case $1 in
    program) command -v "$2" >/dev/null ;;
    library) pkg-config --exists "$2" 2>/dev/null ;;
    file) compgen -G "$2" >/dev/null ;;
  esac
}

# missing_packages PURPOSE: the packages of what is not there, one a line.
missing_packages() {
  local when package kind thing
  while read -r when package kind thing; do
    case $when in
      run | "$1") is_there "$kind" "$thing" || printf '%s\n' "$package" ;;
    esac
  done <<<"$kNeeds" | sort -u
}

has_build_needs() {
  command -v dpkg-checkbuilddeps >/dev/null && dpkg-checkbuilddeps "$kRoot/debian/control" 2>/dev/null
}

# set_up PURPOSE: returns when everything is there, ends the script when that cannot be had.
set_up() {
  local missing
  mapfile -t missing < <(missing_packages "$1")
  if has_build_needs && [ "${#missing[@]}" -eq 0 ]; then
    return
  fi
  command -v apt-get >/dev/null ||
    fail "Quorvel Helper is set up, built and installed with Debian's tools, and apt-get is not here."
  say "Installing what is missing. That may take a minute."
  install_packages "$kRoot" "${missing[@]}"
}

# install_packages [FOLDER | FILE.deb | PACKAGE]...: a folder stands for what its package needs to be
# built, and a file for the package in it, which is then not installed automatically.
install_packages() { as_root "install packages" "$kSetup" --as-root "$@"; }

# --- From here on as root -------------------------------------------------------------------

# What it downloads goes into a folder of ours, and with it.
apt() {
  DEBIAN_FRONTEND=noninteractive apt-get -q -y --no-install-recommends \
    -o DPkg::Lock::Timeout=120 -o APT::Get::Build-Dep-Automatic=true \
    -o Dir::Cache::archives="$apt_folder" "$@" </dev/null >>"$apt_folder/log" 2>&1
}

# The machine's list of packages may be absent or out of date. Half an installation is worse than
# none: in a session of its own a Ctrl-C does not reach it.
download_and_install() {
  apt --download-only "$@" || { apt update && apt --download-only "$@"; } || return
  export -f apt
  export apt_folder
  setsid --wait bash -c 'apt "$@"' apt "$@"
}

install_one_kind() {
  download_and_install "$@" && return
  tail -n 15 "$apt_folder/log" >&2
  fail "This failed; it needs a network: apt-get update && apt-get $*"
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
    run | test | panel | long | benchmark)
      set_up "${1:-run}"
      say "Everything that is needed is there."
      ;;
    -h | --help) setup_usage ;;
    --as-root) install_packages_as_root "${@:2}" ;;
    *)
      complain "Packaging/setup.sh: no such purpose: $1"
      setup_usage >&2
      exit "$kUsageError"
      ;;
  esac
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  setup_main "$@"
fi
