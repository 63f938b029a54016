#!/usr/bin/env bash
# Takes away what ./run put on this machine, by the notes that it kept, as root. For ./run --remove,
# which tells the name of the user who asked.
set -euo pipefail
umask 022

# shellcheck source=Packaging/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

kHere=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
readonly kHere

noted() { cat "$kStateFolder/$1" 2>/dev/null || true; }

remove_files() {
  local file
  noted install_manifest.txt | while read -r file; do
    [ -e "$file" ] || [ -L "$file" ] || continue
    rm -f "$file"
    say "Removed $file"
  done
}

put_back_replaced_files() {
  [ -d "$kStateFolder/replaced" ] || return 0
  cp --archive "$kStateFolder/replaced/." /
  (cd "$kStateFolder/replaced" && find . ! -type d -printf 'Put back /%P\n')
}

# Inner folders first.
remove_folders() {
  local folder
  noted folders | sort --reverse | while read -r folder; do
    [ -d "$folder" ] || continue
    if rmdir "$folder" 2>/dev/null; then
      say "Removed the folder $folder"
    else
      say "Left the folder $folder, which holds something else."
    fi
  done
}

# --- Packages -------------------------------------------------------------------------------

# What purging the packages would change, by name: more than themselves where something else
# needs one of them, or where another package would take its place.
effect_of_purging() {
  apt-get -s purge "$@" 2>/dev/null | sed -nE 's/^(Purg|Remv|Inst) ([^ ]+) .*/\2/p' |
    sed 's/:.*//' | sort -u
}

bare_names() { printf '%s\n' "$@" | sed 's/:.*//' | sort -u; }

purge_reaches_beyond() {
  [ -n "$(comm -23 <(effect_of_purging "$1") <(bare_names "${packages[@]}"))" ]
}

# Drops the packages that something else needs by now, and then those which these need.
keep_needed_packages() {
  local package kept
  while [ -n "$(comm -23 <(effect_of_purging "${packages[@]}") <(bare_names "${packages[@]}"))" ]; do
    kept=()
    for package in "${packages[@]}"; do
      if purge_reaches_beyond "$package"; then
        say "Left the package $package, which something else needs."
      else
        kept+=("$package")
      fi
    done
    # Nothing to tell them apart by: leave them all rather than take what is not ours.
    [ "${#kept[@]}" -lt "${#packages[@]}" ] || kept=()
    packages=("${kept[@]}")
    [ "${#packages[@]}" -gt 0 ] || return 0
  done
}

# Without sudo the user who asked could not become root any more.
keep_sudo_for() {
  local package kept=()
  for package in "${packages[@]}"; do
    if [ "$package" = sudo ] && [ "$1" != root ]; then
      say "Left the package sudo, which $1 needs. As root: SUDO_FORCE_REMOVE=yes apt-get purge sudo"
    else
      kept+=("$package")
    fi
  done
  packages=("${kept[@]}")
}

remaining_packages() {
  noted packages | while read -r package; do
    dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qvx not-installed || continue
    printf '%s\n' "$package"
  done
}

remove_packages() {
  mapfile -t packages < <(remaining_packages)
  [ "${#packages[@]}" -gt 0 ] || return 0
  keep_sudo_for "$1"
  [ "${#packages[@]}" -gt 0 ] && keep_needed_packages
  [ "${#packages[@]}" -gt 0 ] || return 0
  say "Removing the packages that were installed for it: ${packages[*]}"
  DEBIAN_FRONTEND=noninteractive SUDO_FORCE_REMOVE=yes \
    apt-get -q -y -o DPkg::Lock::Timeout=120 purge "${packages[@]}" </dev/null >"$apt_log" 2>&1 && return
  tail -n 15 "$apt_log" >&2
  fail "The packages could not be removed; $kStateFolder still lists them. Start ./run --remove again."
}

main() {
  local caller=$1
  is_root || fail "Packaging/remove.sh needs root."
  # Once begun it goes through: half of it taken away serves nobody.
  trap '' INT TERM HUP PIPE
  apt_log=$(mktemp /var/tmp/quorvel-remove.XXXXXX)
  trap 'rm -f "$apt_log"' EXIT
  "$kHere/sample-disk.sh" --detach-left-over
  "$kHere/setup.sh" --note-new-packages
  remove_files
  put_back_replaced_files
  remove_folders
  remove_packages "$caller"
  rm -rf "$kStateFolder"
  say "Removed the notes in $kStateFolder"
}

[ $# -eq 1 ] || fail "Usage: Packaging/remove.sh USER; better: ./run --remove" "$kUsageError"
main "$1"
