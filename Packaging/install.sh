#!/usr/bin/env bash
# Installs a build on this machine, as root, and notes what that adds so that remove.sh can take
# it away again. For ./run; a plain "cmake --install" installs the same without notes.
set -euo pipefail
umask 022

# shellcheck source=Packaging/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# Installs into a folder first: what comes out tells what the real installation is going to add.
stage_build() { DESTDIR=$2 cmake --install "$1" >/dev/null; }

# A drop-in with a mistake would lock everyone out of sudo.
check_drop_in() {
  local drop_in
  for drop_in in "$1"/etc/sudoers.d/*; do
    [ ! -e "$drop_in" ] || visudo --check --quiet --file="$drop_in" ||
      fail "The sudo drop-in has a mistake, so nothing was installed: $drop_in"
  done
}

note() { printf '%s\n' "$2" >>"$kStateFolder/$1"; }

is_noted() { grep -qsxF -e "$2" "$kStateFolder/$1"; }

note_folders() {
  local folder
  find "$1" -mindepth 1 -type d -printf '/%P\n' | sort | while read -r folder; do
    [ -d "$folder" ] || note folders "$folder"
  done
}

# What stood there before and is not ours is put aside, and put back by remove.sh.
note_files() {
  local file
  find "$1" ! -type d -printf '/%P\n' | sort | while read -r file; do
    is_noted install_manifest.txt "$file" && continue
    if [ -e "$file" ] || [ -L "$file" ]; then
      mkdir -p "$kStateFolder/replaced"
      cp --archive --parents "$file" "$kStateFolder/replaced"
      say "  $file was there already; it is kept in $kStateFolder/replaced meanwhile."
    fi
    note install_manifest.txt "$file"
  done
}

main() {
  local build=$1 stage
  is_root || fail "Packaging/install.sh needs root."
  stage=$(mktemp -d /var/tmp/quorvel-stage.XXXXXX)
  # shellcheck disable=SC2064  # the folder of now
  trap "rm -rf '$stage'" EXIT
  stage_build "$build" "$stage"
  check_drop_in "$stage"
  mkdir -p "$kStateFolder"
  note_folders "$stage"
  note_files "$stage"
  cmake --install "$build" >/dev/null
  # Root's file would be in the way of a later installation by the owner of the build.
  rm -f "$build/install_manifest.txt"
}

[ $# -eq 1 ] || fail "Usage: Packaging/install.sh BUILD-FOLDER" "$kUsageError"
main "$1"
