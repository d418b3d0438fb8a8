#!/usr/bin/env bash
# Builds the project; the main job (simulator plus a scripted CLI session)
# runs here once the tools exist.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default >/dev/null
cmake --build --preset default -j"$(nproc)"
