#!/usr/bin/env bash
# Runs every fuzz target built by the fuzz preset for a bounded time each.
#   scripts/fuzz.sh [seconds per target] [target names...]
# The targets are those of fuzz/*_fuzz.cpp; each starts from the seeds the
# build wrote into build/fuzz/seeds/<target>/ (a target without seeds fails).
# New inputs go to build/fuzz/corpus/<target>/; a crash leaves its input in
# build/fuzz/crashes/. A target that leaves its private
# /tmp/temor-fuzz-PID-* directory behind fails.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-30}
shift || true
bin=build/fuzz/fuzz
[ -d "$bin" ] || { echo "no fuzz build: cmake --workflow --preset fuzz" >&2; exit 1; }

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for f in fuzz/*_fuzz.cpp; do f=${f##*/}; targets+=("${f%_fuzz.cpp}"); done
fi

mkdir -p build/fuzz/crashes
failed=0
for t in "${targets[@]}"; do
  seeds=build/fuzz/seeds/$t
  if [ ! -x "$bin/fuzz_$t" ] || [ -z "$(ls -A "$seeds" 2>/dev/null)" ]; then
    echo "fuzz $t: FAILED, no fuzz_$t in $bin or no seeds in $seeds"
    failed=1
    continue
  fi
  work=build/fuzz/corpus/$t
  mkdir -p "$work"
  log=build/fuzz/$t.log
  "$bin/fuzz_$t" -max_total_time="$seconds" -max_len=4096 -timeout=20 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix=build/fuzz/crashes/"$t"- \
    "$work" "$seeds" >"$log" 2>&1 &
  pid=$!
  if ! wait "$pid"; then
    echo "fuzz $t: FAILED (log $log)"
    tail -40 "$log"
    failed=1
  elif left=$(compgen -G "/tmp/temor-fuzz-$pid-*"); then
    # The in-process daemon's directory must go when the target exits.
    echo "fuzz $t: FAILED, left $left behind"
    failed=1
  else
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    echo "fuzz $t: ok, $runs runs in ${seconds}s"
  fi
  # A crashed target cannot clean up after itself.
  rm -rf /tmp/temor-fuzz-"$pid"-*
done
exit $failed
