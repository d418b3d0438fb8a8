#!/usr/bin/env bash
# Writes a tool's man page from its own --help and --version, so the page
# says what the program says. For tectl every command of its table is listed
# too (tectl --commands, then each command's own --help).
#   make-man.sh PROGRAM "ONE-LINE DESCRIPTION" OUTPUT
set -euo pipefail
program=$1 name=$2 out=$3
extra=$(mktemp)
trap 'rm -f "$extra"' EXIT
if "$program" --commands >/dev/null 2>&1; then
  {
    echo "[COMMANDS]"
    "$program" --commands | while read -r command; do
      # shellcheck disable=SC2086
      usage=$("$program" $command --help 2>/dev/null | sed -n 's/^usage: //p' | head -1)
      help=$("$program" $command --help 2>/dev/null | head -1)
      printf '.TP\n.B %s\n%s\n' "${usage:-tectl $command}" "$help"
    done
  } >"$extra"
fi
include=()
[ -s "$extra" ] && include=(--include="$extra")
# help2man makes ENVIRONMENT and FILES of the help's "Environment:" and
# "Files:" paragraphs, and a section of "*Exit status*": a wrapper named as
# the program gives it the help with "Exit status:" so marked.
wrapper=$(mktemp -d)
trap 'rm -f "$extra"; rm -rf "$wrapper"' EXIT
printf '#!/bin/sh\n"%s" "$@" | sed "s/^Exit status:$/*Exit status*/"\n' "$program" >"$wrapper/$(basename "$program")"
chmod +x "$wrapper/$(basename "$program")"
help2man --no-info --no-discard-stderr --name="$name" "${include[@]}" --output="$out" "$wrapper/$(basename "$program")"
