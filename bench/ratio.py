#!/usr/bin/env python3
"""Runs temor_bench and prints each benchmark's median time relative to its
hand-written baseline (BM_X against BM_XBaseline).
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
for b in json.loads(out)["benchmarks"]:
    if b.get("aggregate_name") == "median":
        medians[b["run_name"].split("/")[0]] = (b["real_time"], b["cpu_time"])
for name, (real, cpu) in sorted(medians.items()):
    base = medians.get(name + "Baseline")
    if base:
        print(f"{name}: real {real:.0f} ns vs {base[0]:.0f} ns = {real / base[0]:.3f}, "
              f"cpu {cpu:.0f} ns vs {base[1]:.0f} ns = {cpu / base[1]:.3f}")
