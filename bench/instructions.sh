#!/usr/bin/env bash
# User-space instructions per call, library against the minimal hand-written
# client, counted by callgrind on bench/instructions.cpp:
#   bench/instructions.sh [build-dir] [calls]     (build/default, 1000)
# Only the measure_* loops of the driver are counted (--toggle-collect), each
# running one path N times; the program runs under a fixed small environment
# (env -i with PATH alone; the driver sets TE_LIPC_DIR itself), since getenv's
# cost grows with the environment. callgrind counts no kernel instructions.
set -euo pipefail
cd "$(dirname "$0")/.."

dir=${1:-build/default}
calls=${2:-1000}
cmake --build "$dir" -j2 --target temor_instructions >/dev/null
driver=$(readlink -f "$dir/bench/temor_instructions")
out=$(mktemp -d /tmp/temor-callgrind-XXXXXX)
trap 'rm -rf "$out"' EXIT

env -i PATH=/usr/bin:/bin valgrind --tool=callgrind --callgrind-out-file="$out/cg.%p" \
  --toggle-collect='measure_*' --toggle-collect='*measure_decode_table*' "$driver" "$calls" >"$out/log" 2>&1 ||
  { cat "$out/log"; exit 1; }

# The driver's own profile: the one with counts in measure_* (the forked
# responder never enters them).
python3 - "$calls" "$out" <<'PY'
import glob, re, subprocess, sys
calls, out = int(sys.argv[1]), sys.argv[2]
inclusive, decoders = {}, {}  # measure_* loops; each table's decoder loop
for f in glob.glob(out + "/cg.*"):
    text = subprocess.run(["callgrind_annotate", "--inclusive=yes", "--threshold=100", f],
                          capture_output=True, text=True, check=True).stdout
    for line in text.splitlines():
        m = re.match(r"\s*([\d,]+)\s.*measure_decode_table<&temor::tables::(\w+)>", line)
        into = decoders
        if not m:
            m = re.match(r"\s*([\d,]+)\s.*\b(measure_\w+)\b", line)
            into = inclusive
            if m and "(" in line.split(m.group(2))[0][-1:]:
                m = None
        if m:
            into[m.group(2)] = max(into.get(m.group(2), 0), int(m.group(1).replace(",", "")))
paths = [("setter (TE_MOR_SetFrrTimer)", "setter"),
         ("query on its own socket (TE_MOR_GetTunnelByTnlId)", "own_query"),
         ("held-socket step (TE_MOR_GetNextBwAllocationInfo)", "held_step"),
         ("decode of one 292-byte bandwidth record", "decode")]
print(f"user-space instructions per call ({calls} calls per path, callgrind)")
print(f"{'path':52} {'library':>9} {'hand':>9} {'ratio':>6}")
worst = 0.0
for label, key in paths:
    lib = inclusive.get(f"measure_{key}_lib")
    base = inclusive.get(f"measure_{key}_hand")
    if lib is None or base is None:
        sys.exit(f"no count for {key}: is the driver built with symbols?")
    r = lib / base
    worst = max(worst, r)
    print(f"{label:52} {lib / calls:9.0f} {base / calls:9.0f} {r:6.2f}")
print(f"largest ratio: {worst:.2f} (goal <= 2)")

# Each table's decoder alone (no baseline: one full row of the table).
print(f"\ndecode of one full row, per table ({calls} decodes each)")
for name, count in sorted(decoders.items(), key=lambda kv: kv[1]):
    print(f"  {name:24} {count / calls:9.0f}")
PY
