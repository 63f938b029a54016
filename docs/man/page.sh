#!/bin/sh
# Prints the manual page of a program, made of its help and of what TOOL.man beside this file adds:
# docs/man/page.sh PROGRAM NAME-OF-THE-PAGE VERSION
set -eu
help=$("$1" --help | sed 's/\\/\\e/g; s/-/\\-/g')
added=${0%/*}/${1##*/}.man

echo ".TH \"$2\" 1 \"\" \"Quorvel Helper $3\" \"User Commands\""
echo ".SH NAME"
head -n 1 "$added"
printf '%s\n' .SH SYNOPSIS .nf
echo "$help" | sed -n '1,/help$/s/^.......//p'
printf '%s\n' .fi .SH DESCRIPTION
echo "$help" | sed '1,/help$/d'
tail -n +2 "$added"
