#!/usr/bin/env python3
"""Writes a te-simd tables file with N rows of each row kind.

Keys are distinct and the other fields vary from row to row: names, counts
and lists (bw-alloc and sr-mappings entries, p2mp-interfaces destinations).
Tables keyed by a 16-bit number hold at most 65534 rows (0xffff is never
asked for); dste has its one row. The rows come in key order unless
--shuffle is given.

  scripts/sim-tables.py 100000 > big.tables
  scripts/sim-tables.py 10000 --kinds tunnels,if-config -o some.tables
  te-simd --tables big.tables
"""
import argparse
import random
import sys

HALF_KEYS = 0xFFFE  # 16-bit keys 1..65534


def tunnels(n):
    for k in range(1, n + 1):
        yield (f'tunnels word0={k} word1={k % 7} word2={k % 13} word3={k >> 16} word4={k} '
               f'word5={k * 3 % 100000} half0={k % 8} half2=1 half3={1 + k % 2} rawBlock="tunnel-{k}"')


def bw_alloc(n):
    for k in range(1, n + 1):
        count = k % 4
        entries = "".join(f" entries[{j}].entryValueA={k * 10 + j} entries[{j}].entryBytes=0x0{j}" for j in range(count))
        yield f"bw-alloc word0={k} word1={k * 1000} word2={k * 400} word3={k * 600} entryCount={count}{entries}"


def dste(n):
    yield "dste dsteWord0=1 dsteWord1=2 dsteWord2=8"


def if_config(n):
    for k in range(1, n + 1):
        yield f"if-config ifIndex={k} configValue={k % 3}"


def sr_mappings(n):
    for k in range(1, n + 1):
        count = k % 5
        entries = "".join(f" entries[{j}].half0={16000 + j} entries[{j}].half1={k % 65536}" for j in range(count))
        yield f"sr-mappings word0={k} half0={k % 65536} entryCount={count}{entries}"


def p2mp_binds(n):
    for k in range(1, n + 1):
        yield f"p2mp-binds word0={k} word1={0x0A000000 + k} half0={k % 65536} half1={k % 3}"


def p2mp_tunnels(n):
    for k in range(1, n + 1):
        yield f"p2mp-tunnels word0={k} half0={k % 65536} bytes0=0x{k % 65536:04x}"


def tunnel_interfaces(n):
    for k in range(1, min(n, HALF_KEYS) + 1):
        yield f'tunnel-interfaces half0={k} half1={k % 5} word0={4000 + k} bytes7="tunnel-if-{k}"'


def p2mp_interfaces(n):
    # The destinations of p2mp-dests below: row i belongs to interface i % m + 1.
    m = min(n, HALF_KEYS)
    for k in range(1, m + 1):
        dests = n // m + (1 if k <= n % m else 0)
        yield f"p2mp-interfaces word0={k} word1={k % 11} half0={k} half1={k % 4} destCount={dests}"


def p2mp_dests(n):
    m = min(n, HALF_KEYS)
    for i in range(n):
        yield f"p2mp-dests key={i % m + 1} selector=1 destWord={0x0A000000 + i} destBytes=0x{i & 0xFFFFFFFF:08x}"


def te_paths(n):
    for k in range(1, n + 1):
        yield f'te-paths word0={k} word1={1 + k % 3} word2={4000 + k} half0={k % 4} rawBlock="path-{k}"'


def path_hops(n):
    for k in range(n):
        yield (f'path-hops index0={k // 8 + 1} index1={k % 8 + 1} hopHalf0={k % 2} hopByte0={k % 3} '
               f'hopText="10.{k >> 16 & 255}.{k >> 8 & 255}.{k & 255}"')


def new_hops(n):
    for k in range(n):
        yield (f'new-hops index0={k // 64 + 1} index1={k // 8 % 8 + 1} index2={k % 8 + 1} '
               f'hopText="10.1.{k >> 8 & 255}.{k & 255}"')


KINDS = {"tunnels": tunnels, "bw-alloc": bw_alloc, "dste": dste, "if-config": if_config,
         "sr-mappings": sr_mappings, "p2mp-binds": p2mp_binds, "p2mp-tunnels": p2mp_tunnels,
         "tunnel-interfaces": tunnel_interfaces, "p2mp-interfaces": p2mp_interfaces,
         "p2mp-dests": p2mp_dests, "te-paths": te_paths, "path-hops": path_hops, "new-hops": new_hops}


def main():
    p = argparse.ArgumentParser(description=__doc__.split("\n\n")[0],
                                epilog="row kinds: " + ", ".join(KINDS))
    p.add_argument("rows", type=int, help="rows of each kind")
    p.add_argument("--kinds", default=",".join(KINDS), help="comma-separated row kinds (default: all)")
    p.add_argument("--shuffle", action="store_true", help="write each kind's rows in random order")
    p.add_argument("-o", "--output", help="file to write (default: standard output)")
    args = p.parse_args()
    kinds = args.kinds.split(",")
    if args.rows < 1 or any(k not in KINDS for k in kinds):
        p.error("rows must be at least 1 and kinds among: " + ", ".join(KINDS))
    out = open(args.output, "w") if args.output else sys.stdout
    with out:
        for kind in kinds:
            lines = list(KINDS[kind](args.rows))
            if args.shuffle:
                random.Random(1).shuffle(lines)
            out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
