#!/usr/bin/env bash
# Writes a tool's man page from its own --help and --version, so the page
# says what the program says. For tectl every command of its table is listed
# too (tectl --commands, then each command's own --help). SEE ALSO names
# the documents installed in DOCDIR (relative to the install prefix).
#   make-man.sh PROGRAM "ONE-LINE DESCRIPTION" OUTPUT DOCDIR
set -euo pipefail
program=$1 name=$2 out=$3 docdir=$4
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
if [ "$(basename "$program")" = te-agentx ]; then
  cat >>"$extra" <<EOF
[SEE ALSO]
.BR snmpd (8),
.BR snmpd.conf (5),
.BR te-simd (1),
.BR tectl (1)
.PP
Under the install prefix,
.I $docdir/snmp.md
describes the agent: the lines a system snmpd's config needs, a private
snmpd for development, the base OID, the MIB module and how to load it, the
tree and its status objects.
EOF
else
cat >>"$extra" <<EOF
[SEE ALSO]
.BR te-simd (1),
.BR tectl (1),
.BR tshark (1)
.PP
Under the install prefix,
.I $docdir/tools.md
describes both tools, and
.I $docdir/wire.md
capturing the wire with te-simd --capture (also in front of the real daemon,
with --relay) and reading the capture in tshark or Wireshark with the
installed dissector.
EOF
fi
include=(--include="$extra")
# help2man makes ENVIRONMENT and FILES of the help's "Environment:" and
# "Files:" paragraphs, and a section of "*Exit status*": a wrapper named as
# the program gives it the help with "Exit status:" so marked.
wrapper=$(mktemp -d)
trap 'rm -f "$extra"; rm -rf "$wrapper"' EXIT
printf '#!/bin/sh\n"%s" "$@" | sed "s/^Exit status:$/*Exit status*/"\n' "$program" >"$wrapper/$(basename "$program")"
chmod +x "$wrapper/$(basename "$program")"
help2man --no-info --no-discard-stderr --name="$name" "${include[@]}" --output="$out" "$wrapper/$(basename "$program")"
