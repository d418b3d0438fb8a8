#!/usr/bin/env bash
# Installs the Debian packages that the cross builds, the emulated test runs
# and the fuzz targets need. Does nothing when everything is already there.
set -euo pipefail

packages=(g++-arm-linux-gnueabihf g++-s390x-linux-gnu qemu-user clang llvm)
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
