#!/usr/bin/env bash
# Builds the library and the tools, starts the TE daemon simulator in
# private directories and runs a scripted tectl session against it, then
# serves its tables over SNMP with te-agentx under a private snmpd.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh build agent
echo "building (build/default)..."
log=$(mktemp)
# Only what the session runs: the tests and benchmarks are left to scripts/test.sh,
# which builds everything in the same tree.
if ! { cmake --preset default && cmake --build --preset default -j2 --target temor te-simd tectl te-agentx; } >"$log" 2>&1; then
  cat "$log"; rm -f "$log"; exit 1
fi
rm -f "$log"

bin=build/default/tools
work=$(mktemp -d)
export TE_PLATFORM_DIR=$work/platform TE_LIPC_DIR=$work/lipc
mkdir -p "$TE_PLATFORM_DIR"
simd_pid='' snmpd_pid='' agent_pid=''
stop() {  # by PID, never by name: a system snmpd may be running too
  [ -n "$1" ] || return 0
  kill "$1" 2>/dev/null
  wait "$1" 2>/dev/null || true
}
cleanup() {
  stop "$agent_pid"; stop "$snmpd_pid"; stop "$simd_pid"
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

# The same tables over SNMP: a private snmpd master (a free loopback port,
# its AgentX socket and state in the work directory) and te-agentx, which
# reads every table from te-simd and answers from its snapshot.
run mpls-te on
port=$(python3 -c 'import socket; s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
export SNMP_PERSISTENT_DIR=$work/snmp MIBS=
printf '%s\n' "agentaddress udp:127.0.0.1:$port" "master agentx" "agentXSocket $work/agentx.sock" \
  "agentXPerms 0600 0700" "rocommunity public 127.0.0.1" >"$work/snmpd.conf"
"$(command -v snmpd || echo /usr/sbin/snmpd)" -f -Lo -C -c "$work/snmpd.conf" -p "$work/snmpd.pid" -r -I -smux \
  >"$work/snmpd.log" 2>&1 &
snmpd_pid=$!
for _ in $(seq 100); do [ -S "$work/agentx.sock" ] && break; sleep 0.05; done
[ -S "$work/agentx.sock" ] || { echo "snmpd did not start:"; cat "$work/snmpd.log"; exit 1; }
"$bin/te-agentx" -x "$work/agentx.sock" --refresh 1 -v 2>"$work/agentx.log" &
agent_pid=$!
for _ in $(seq 100); do grep -q 'refresh=1 ok=1' "$work/agentx.log" && break; sleep 0.05; done
grep -q 'refresh=1 ok=1' "$work/agentx.log" || { echo "te-agentx did not read the tables:"; cat "$work/agentx.log"; exit 1; }
table=$("$bin/te-agentx" --list-oids | awk '$2 == "temorP2mpBindsTable" { print $1 }')
echo "\$ snmpwalk -v2c -c public -On 127.0.0.1:$port $table    # temorP2mpBindsTable, through te-agentx"
snmpwalk -v2c -c public -On "127.0.0.1:$port" "$table"
echo

stop "$agent_pid"; stop "$snmpd_pid"; agent_pid='' snmpd_pid=''
kill "$simd_pid" && wait "$simd_pid" || true
simd_pid=
echo "te-agentx, snmpd and te-simd stopped; te-simd's socket is $( [ -e "$TE_LIPC_DIR/lipc-0a7280" ] && echo still there || echo removed)"
