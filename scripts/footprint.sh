#!/usr/bin/env bash
# Footprint of the library as it ships on the target: the armhf -Os build
# (armhf-size preset; the platform is the router's, so the host stand-ins
# are left out). Prints the .text size, the NEEDED entries, the stack use of
# the exported functions and the exported symbols.
#   scripts/footprint.sh [--check] [--no-build]
# --check exits non-zero when a goal is missed: .text <= 48 KiB, nothing
# NEEDED but libc, no exported function above 4.5 KiB of stack.
set -euo pipefail
cd "$(dirname "$0")/.."

check=0 build=1
for a in "$@"; do
  case $a in
    --check) check=1 ;;
    --no-build) build=0 ;;
    *) echo "usage: $0 [--check] [--no-build]" >&2; exit 2 ;;
  esac
done

dir=build/armhf-size
if [ $build -eq 1 ]; then
  cmake --workflow --preset armhf-size >"$dir.log" 2>&1 || { cat "$dir.log"; exit 1; }
fi
lib=$(readlink -f $dir/libtemor.so)
tools=arm-linux-gnueabihf

text=$($tools-size -A "$lib" | awk '$1 == ".text" { print $2 }')
needed=$($tools-readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
exported=$($tools-nm -D --defined-only "$lib" | awk '$2 == "T" { sub(/@.*/, "", $3); print $3 }' | sort)
unwind=$($tools-nm "$lib" | grep -c -E '__aeabi_unwind_cpp_pr|__gxx_personality' || true)

echo "libtemor.so (armhf, -Os): $(basename "$lib")"
echo ".text: $text bytes ($(( (text + 1023) / 1024 )) KiB; goal <= 48 KiB)"
echo "NEEDED: $(echo $needed)"
echo "C++ runtime references (unwinder, personality): $unwind"

# Stack: each exported function's own frame (-fstack-usage), and the deepest
# chain of frames below it through the library's call graph
# (-fcallgraph-info=su; calls leaving the library count 0).
stack_report=$(python3 - "$dir" $exported <<'PY'
import os, re, sys
root = sys.argv[1]
exported = sys.argv[2:]
frames, edges = {}, {}
def norm(t):
    t = t.split(':')[-1] if ':' in t and not t.startswith('_Z') else t
    return t[:-len('.localalias')] if t.endswith('.localalias') else t
for d, _, files in os.walk(os.path.join(root, 'CMakeFiles', 'temor_objects.dir')):
    for f in files:
        if not f.endswith('.ci'):
            continue
        for line in open(os.path.join(d, f)):
            m = re.match(r'node: \{ title: "([^"]+)" label: "[^"]*\\n(\d+) bytes', line)
            if m:
                n = norm(m.group(1)); frames[n] = max(frames.get(n, 0), int(m.group(2)))
            m = re.match(r'edge: \{ sourcename: "([^"]+)" targetname: "([^"]+)"', line)
            if m:
                edges.setdefault(norm(m.group(1)), set()).add(norm(m.group(2)))
memo = {}
def depth(n, path=()):
    if n in path:
        return 0  # recursion: counted once
    if n not in memo:
        memo[n] = frames.get(n, 0) + max((depth(c, path + (n,)) for c in edges.get(n, ())), default=0)
    return memo[n]
rows = sorted(((depth(e), frames.get(e, 0), e) for e in exported), reverse=True)
for chain, own, name in rows:
    print(f"{chain} {own} {name}")
PY
)
read -r top_chain top_own top_name <<<"$(echo "$stack_report" | head -1)"
own_max=$(echo "$stack_report" | sort -k2 -n -r | head -1)
echo "largest own stack frame of an exported function: $(echo "$own_max" | awk '{ print $2 " bytes (" $3 ")" }')"
echo "deepest stack below an exported function: $top_chain bytes ($top_name; goal <= 4608)"
echo "exported symbols ($(echo "$exported" | grep -c . || true)), with stack (chain / own frame):"
echo "$stack_report" | sort -k3 | awk '{ printf "  %-40s %6d %6d\n", $3, $1, $2 }'

missed=()
[ "$text" -le $((48 * 1024)) ] || missed+=(".text above 48 KiB")
[ "$(echo $needed)" = "libc.so.6" ] || missed+=("NEEDED is not only libc")
[ "$unwind" -eq 0 ] || missed+=("C++ runtime referenced")
[ "${top_chain:-0}" -le 4608 ] || missed+=("stack above 4.5 KiB")
if [ ${#missed[@]} -eq 0 ]; then
  echo "footprint goals: met"
else
  echo "footprint goals missed: ${missed[*]}"
  [ $check -eq 0 ] || exit 1
fi
