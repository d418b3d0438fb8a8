#!/usr/bin/env bash
# Installs the Debian packages the project needs beyond the base image, and
# does nothing when they are already there.
#   scripts/install-deps.sh [GROUP...]   (default: all)
#   build   what every build needs: CLI11 and nlohmann-json (tectl), help2man
#           (the tools' man pages), pkg-config (the install check), valgrind
#           (instruction counts, bench/instructions.sh)
#   agent   net-snmp for te-agentx: its library and headers, and the snmpd
#           master and client tools its tests and the demo run privately
#   wire    tshark, which reads te-simd's captures with the generated dissector
#   target  cross compilers, qemu-user and clang for the target checks
#           (armhf, s390x, fuzzing)
set -euo pipefail

build=(libcli11-dev nlohmann-json3-dev help2man pkg-config valgrind)
agent=(libsnmp-dev snmpd snmp)
wire=(tshark)
target=(g++-arm-linux-gnueabihf g++-s390x-linux-gnu qemu-user clang llvm)
[ $# -gt 0 ] || set -- all
packages=()
for group in "$@"; do
  case $group in
    build) packages+=("${build[@]}") ;;
    agent) packages+=("${agent[@]}") ;;
    wire) packages+=("${wire[@]}") ;;
    target) packages+=("${target[@]}") ;;
    all) packages+=("${build[@]}" "${agent[@]}" "${wire[@]}" "${target[@]}") ;;
    *) echo "usage: $0 [build|agent|wire|target|all]..." >&2; exit 2 ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "installing: ${missing[*]}"
$sudo apt-get update -qq >/dev/null
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
  "${missing[@]}" >/dev/null
