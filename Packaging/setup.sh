#!/usr/bin/env bash
# Installs what building, testing and running need and the machine lacks.
# Run it, or source it and call set_up.
set -euo pipefail

# shellcheck source=Packaging/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

kSetup=$(realpath "${BASH_SOURCE[0]}")
readonly kSetup

setup_usage() {
  cat <<'TEXT'
Usage: Packaging/setup.sh [run | test | panel | long | benchmark]

Installs what is missing: for building and running the agent (run, the default), for its tests
as well (test), for the test on a real panel (panel), for what ./test --long adds (long), or for
its benchmarks (benchmark). New packages are noted in /var/lib/quorvel-helper, and ./run --remove
takes them away again.
TEXT
}

# One row for each thing needed: when, the Debian package that has it, and how to see that it is
# there. Things are looked for, not packages, so that another distribution's will do.
readonly kNeeds='
run       g++             program  g++
run       cmake           program  cmake
run       ninja-build     program  ninja
run       pkg-config      program  pkg-config
run       libsystemd-dev  library  libsystemd >= 250
run       libplist-dev    library  libplist-2.0
run       libblkid-dev    library  blkid
run       libudev-dev     library  libudev
run       zsh             file     /bin/zsh
run       sudo            program  sudo
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

# set_up PURPOSE: returns when everything is there, ends the script when that cannot be had.
set_up() {
  local missing
  missing=$(missing_packages "$1")
  [ -n "$missing" ] || return 0
  missing=${missing//$'\n'/ }
  command -v apt-get >/dev/null ||
    fail "Missing here: $missing (these are Debian's names). Install them with your distribution's package manager and start again."
  say "Installing what is missing: $missing"
  # shellcheck disable=SC2086  # one word a package
  as_root "install packages" "$kSetup" --as-root $missing || exit
  missing=$(missing_packages "$1")
  [ -z "$missing" ] ||
    fail "Still missing: ${missing//$'\n'/ }. Install by hand: apt-get install ${missing//$'\n'/ }"
}

# --- From here on as root -------------------------------------------------------------------

installed_packages() {
  dpkg-query -W -f '${db:Status-Status} ${binary:Package}\n' | sed -n 's/^installed //p' | sort
}

# Whatever ends the installation, the list of before is there to tell what it brought.
note_new_packages() {
  [ -e "$kStateFolder/packages.before" ] || return 0
  installed_packages | comm -13 "$kStateFolder/packages.before" - >>"$kStateFolder/packages"
  sort -u -o "$kStateFolder/packages" "$kStateFolder/packages"
  rm -f "$kStateFolder/packages.before"
}

# What it downloads goes into a folder of ours, and with it.
apt() {
  DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=120 \
    -o Dir::Cache::archives="$apt_folder" "$@" </dev/null >>"$apt_folder/log" 2>&1
}

download_packages() {
  apt install --no-install-recommends --download-only "$@" && return
  # The machine's list of packages is absent or out of date.
  apt update && apt install --no-install-recommends --download-only "$@"
}

# Half an installation is worse than none: in a session of its own a Ctrl-C does not reach it.
unpack_packages() {
  export -f apt
  export apt_folder
  setsid --wait bash -c 'apt install --no-install-recommends --no-download "$@"' apt "$@"
}

install_packages_as_root() {
  umask 022
  mkdir -p "$kStateFolder"
  note_new_packages
  apt_folder=$(mktemp -d /var/tmp/quorvel-setup.XXXXXX)
  trap 'note_new_packages; rm -rf "$apt_folder"' EXIT
  # Apt downloads as a user of its own.
  chmod 755 "$apt_folder"
  installed_packages >"$kStateFolder/packages.new"
  mv "$kStateFolder/packages.new" "$kStateFolder/packages.before"
  if ! { download_packages "$@" && unpack_packages "$@"; }; then
    tail -n 15 "$apt_folder/log" >&2
    fail "These packages could not be installed: $*. With a network: apt-get update && apt-get install $*"
  fi
}

setup_main() {
  case ${1:-run} in
    run | test | panel | long | benchmark)
      set_up "${1:-run}"
      say "Everything that is needed is there."
      ;;
    -h | --help) setup_usage ;;
    --as-root)
      shift
      install_packages_as_root "$@"
      ;;
    --note-new-packages) note_new_packages ;;
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
