#!/usr/bin/env python3
"""te-simd at a large router's table sizes: load time, CPU per request and
memory per row, with tables written by scripts/sim-tables.py.

  bench/sim_scale.py build/default/tools/te-simd

For 1,000, 10,000 and 100,000 rows of each walked kind: the time from start
to listening (the tables file read and filed), then walks of tunnels and
path-hops, repeated until each has made at least 100,000 requests, by one
client sending the requests the library sends (first row, then next row
with the key of the row before) on one socket.
te-simd's CPU for the walks is its getrusage total at exit (os.wait4) less
its CPU when it was ready (/proc/PID/stat), divided by the requests (one per
row, and one more for the end of the table). Memory: te-simd's resident size
with 100,000 rows of one kind, less its size with one row of it, per row.
The CPU of a busy shared machine varies; where valgrind is installed the
instructions per request are counted too (callgrind, in the model's handling
and the reply's encoding only: sim::Model::handle and sim::encode), 20,000
requests at each size, which do not vary.
"""
import os
import re
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
GENERATOR = os.path.join(HERE, "..", "scripts", "sim-tables.py")
WALKED = ("tunnels", "path-hops")
# The walked tables' request tags and the key of the next-row request made
# from a row (query/tables.h: tunnels by index set, path hops by index0 and
# index1 and a zero word).
WALK = {"tunnels": (101, lambda row: row[0:16]), "path-hops": (112, lambda row: row[20:28] + bytes(4))}
MEMORY_KINDS = ("tunnels", "bw-alloc", "if-config", "sr-mappings", "p2mp-binds", "p2mp-tunnels", "p2mp-dests",
                "te-paths", "path-hops", "new-hops")
REQUESTS = 100000


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat") as f:
        fields = f.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")  # utime, stime


def rss_bytes(pid):
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) * 1024
    return 0


class Simd:
    def __init__(self, simd, directory, *args, under=()):
        self.env = dict(os.environ, TE_PLATFORM_DIR=os.path.join(directory, "platform"),
                        TE_LIPC_DIR=os.path.join(directory, "lipc"))
        os.makedirs(self.env["TE_PLATFORM_DIR"], exist_ok=True)
        r, w = os.pipe()
        start = time.monotonic()
        self.proc = subprocess.Popen([*under, simd, "--ready-fd", str(w), *args], env=self.env, pass_fds=(w,),
                                     stderr=subprocess.DEVNULL)
        os.close(w)
        with os.fdopen(r) as ready:
            if not ready.readline():
                sys.exit(f"te-simd {' '.join(args)} did not start")
        self.load_seconds = time.monotonic() - start
        self.ready_cpu = cpu_seconds(self.proc.pid)

    def stop(self):
        """Stops it; returns its whole CPU time by getrusage."""
        self.proc.terminate()
        _, _, usage = os.wait4(self.proc.pid, 0)
        self.proc.returncode = 0
        return usage.ru_utime + usage.ru_stime


def tables(directory, rows, kinds):
    path = os.path.join(directory, f"{rows}-{kinds.replace(',', '+')}.tables")
    if not os.path.exists(path):
        which = [] if kinds == "all" else ["--kinds", kinds]
        subprocess.run([sys.executable, GENERATOR, str(rows), *which, "--shuffle", "-o", path], check=True)
    return path


def walk(client, kind, limit=None):
    """Walks a table to its end (or limit requests); returns the requests made."""
    tag, next_key = WALK[kind]
    op, key, requests = 4, b"", 0
    while requests != limit:
        client.send(struct.pack(">BBHIHH", 4, op, 4 + len(key), 0, tag, len(key)) + key)
        reply = client.recv(65536)
        requests += 1
        if struct.unpack(">I", reply[4:8])[0] != 0:
            return requests
        length = struct.unpack(">H", reply[10:12])[0]
        op, key = 5, next_key(reply[12:12 + length])
    return requests


def connect(sim):
    client = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    client.bind("")
    client.connect(os.path.join(sim.env["TE_LIPC_DIR"], "lipc-0a7280"))
    return client


def instructions(simd, directory, rows, requests=20000):
    """Instructions per request counted by callgrind, or None without valgrind."""
    if shutil.which("valgrind") is None:
        return None
    out = os.path.join(directory, "callgrind.out")
    sim = Simd(simd, directory, "--tables", tables(directory, rows, ",".join(WALKED)),
               under=("valgrind", "--tool=callgrind", "--callgrind-out-file=" + out,
                      "--toggle-collect=sim::parse*", "--toggle-collect=sim::Model::handle*",
                      "--toggle-collect=sim::encode*"))
    with connect(sim) as client:
        made = sum(walk(client, kind, requests // len(WALKED)) for kind in WALKED)
    sim.stop()
    with open(out) as f:
        total = int(re.search(r"^totals: (\d+)", f.read(), re.M).group(1))
    return total / made


def walks(simd, directory, rows):
    sim = Simd(simd, directory, "--tables", tables(directory, rows, ",".join(WALKED)))
    requests = 0
    with connect(sim) as client:
        for kind in WALKED:
            for _ in range(-(-REQUESTS // (rows + 1))):
                made = walk(client, kind)
                if made != rows + 1:
                    sys.exit(f"{kind}: {made} requests walked {rows} rows")
                requests += made
    cpu = sim.stop() - sim.ready_cpu
    counted = instructions(simd, directory, rows)
    print(f"| {rows:,} | {sim.load_seconds:.3f} | {requests:,} | {cpu * 1e6 / requests:.2f} | "
          f"{'-' if counted is None else round(counted)} |", flush=True)
    return cpu / requests, counted


def memory(simd, directory):
    for kind in MEMORY_KINDS:
        one = Simd(simd, directory, "--tables", tables(directory, 1, kind))  # the same code run
        base = rss_bytes(one.proc.pid)
        one.stop()
        sim = Simd(simd, directory, "--tables", tables(directory, 100000, kind))
        print(f"| {kind} | {sim.load_seconds:.3f} | {(rss_bytes(sim.proc.pid) - base) / 99999:.1f} |", flush=True)
        sim.stop()


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: sim_scale.py TE_SIMD")
    simd = sys.argv[1]
    with tempfile.TemporaryDirectory() as d:
        print(f"| rows of {' and '.join(WALKED)} | load s | requests | te-simd CPU µs per request | "
              "instructions per request |")
        print("|---:|---:|---:|---:|---:|")
        cost = {rows: walks(simd, d, rows) for rows in (1000, 10000, 100000)}
        print(f"\nAt 100,000 rows against 1,000 rows: CPU per request {cost[100000][0] / cost[1000][0]:.2f}", end="")
        if cost[1000][1] is not None:
            print(f", instructions per request {cost[100000][1] / cost[1000][1]:.2f}", end="")
        print("\n")
        print("| 100,000 rows of | load s | resident bytes per row |")
        print("|---|---:|---:|")
        memory(simd, d)
        sim = Simd(simd, d, "--tables", tables(d, 100000, "all"))
        print(f"\nEvery kind at 100,000 rows (16-bit keyed kinds 65,534): loaded in {sim.load_seconds:.2f} s")
        sim.stop()


if __name__ == "__main__":
    main()
