#!/usr/bin/env python3
"""Runs temor_bench and prints each benchmark's median time relative to its
hand-written baseline (BM_X against BM_XBaseline), and for the table walks
(which time library and baseline walks alternately in one benchmark) the
ratio of their summed and of their fastest walks.
usage: ratio.py path/to/temor_bench [repetitions]"""
import json
import subprocess
import sys

bench = sys.argv[1]
reps = sys.argv[2] if len(sys.argv) > 2 else "5"
out = subprocess.run([bench, "--benchmark_format=json", f"--benchmark_repetitions={reps}",
                      "--benchmark_report_aggregates_only=true"],
                     capture_output=True, text=True, check=True).stdout
medians = {}
walks = {}
for b in json.loads(out)["benchmarks"]:
    if b.get("aggregate_name") != "median":
        continue
    name = b["run_name"].split("/")[0]
    medians[name] = (b["real_time"], b["cpu_time"])
    if "ratio" in b:
        walks[name] = b
for name, (real, cpu) in sorted(medians.items()):
    base = medians.get(name + "Baseline")
    if base:
        print(f"{name}: real {real:.0f} ns vs {base[0]:.0f} ns = {real / base[0]:.3f}, "
              f"cpu {cpu:.0f} ns vs {base[1]:.0f} ns = {cpu / base[1]:.3f}")
for name, b in sorted(walks.items()):
    print(f"{name}: library {b['lib_ms']:.1f} ms vs hand-written {b['base_ms']:.1f} ms "
          f"per 10,000-row walk = {b['ratio']:.3f} (fastest walks: {b['ratio_best']:.3f})")
