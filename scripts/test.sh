#!/usr/bin/env bash
# Builds and runs every host test (the default preset) on a fresh machine:
# first installs what the build needs beyond the base image.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh build agent wire
cmake --workflow --preset default
