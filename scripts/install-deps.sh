#!/usr/bin/env bash
# Installs the Debian packages the project needs beyond the base image, and
# does nothing when they are already there.
#   scripts/install-deps.sh [build|target|all]
#   build   what every build needs: CLI11 and nlohmann-json (tectl), help2man
#           (the tools' man pages), pkg-config (the install check), valgrind
#           (instruction counts, bench/instructions.sh)
#   target  cross compilers, qemu-user and clang for the target checks
#           (armhf, s390x, fuzzing)
set -euo pipefail

group=${1:-all}
build=(libcli11-dev nlohmann-json3-dev help2man pkg-config valgrind)
target=(g++-arm-linux-gnueabihf g++-s390x-linux-gnu qemu-user clang llvm)
case $group in
  build) packages=("${build[@]}") ;;
  target) packages=("${target[@]}") ;;
  all) packages=("${build[@]}" "${target[@]}") ;;
  *) echo "usage: $0 [build|target|all]" >&2; exit 2 ;;
esac

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
