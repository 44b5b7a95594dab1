#!/bin/sh
# SPDX-License-Identifier: MIT
# Sorts the lines of standard input with sort and the options given. sort ends its output with a
# line break; a text that had none at its end gets none.
set -eu
input=$(mktemp)
trap 'rm -f "$input"' EXIT
cat >"$input"
if [ -n "$(tail -c 1 "$input")" ]; then
  sort "$@" "$input" | head -c -1
else
  sort "$@" "$input"
fi
