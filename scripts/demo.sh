#!/usr/bin/env bash
# Builds the library and the two tools, starts the TE daemon simulator in
# private directories and runs a scripted tectl session against it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh build agent
echo "building (build/default)..."
log=$(mktemp)
# Only what the session runs: the tests and benchmarks are left to scripts/test.sh,
# which builds everything in the same tree.
if ! { cmake --preset default && cmake --build --preset default -j2 --target temor te-simd tectl; } >"$log" 2>&1; then
  cat "$log"; rm -f "$log"; exit 1
fi
rm -f "$log"

bin=build/default/tools
work=$(mktemp -d)
export TE_PLATFORM_DIR=$work/platform TE_LIPC_DIR=$work/lipc
mkdir -p "$TE_PLATFORM_DIR"
simd_pid=
cleanup() {
  [ -n "$simd_pid" ] && kill "$simd_pid" 2>/dev/null && wait "$simd_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

"$bin/te-simd" --tables tools/examples/tables.txt 2>"$work/simd.log" &
simd_pid=$!
for _ in $(seq 50); do [ -S "$TE_LIPC_DIR/lipc-0a7280" ] && break; sleep 0.1; done

run() {
  echo "\$ tectl $*"
  "$bin/tectl" "$@"
  echo
}

run mpls-te on
run status
run global frr-timer 30
run global flooding-timer 10
run global auto-tunnel
run global metric-type --undo
run trap on
run trap private 0x5
run tunnel create 7 to-pe2
run tunnel create 12 to-pe3
run tunnel record-route 7 1
run tunnel priority 7 3 3
run interface te 3
run interface max-bandwidth 3 1000000
run interface mam 3 1000000 400000 300000 200000 100000
run bundle igp-metric 2 1 10
run show tunnels
run show counters
run show bw-alloc
run path to-pe2 create
run path to-pe2 hop add 0x0a000001 0 1 0 0 0
run path to-pe2 hop add 0x0a000002 0 1 0 0 0
run show paths
run show path-hops
run show settings
run tunnel show 7
run mpls-te off
run status

kill "$simd_pid" && wait "$simd_pid" || true
simd_pid=
echo "te-simd stopped; its socket is $( [ -e "$TE_LIPC_DIR/lipc-0a7280" ] && echo still there || echo removed)"
