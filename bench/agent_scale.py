#!/usr/bin/env python3
"""te-agentx at a large router's table sizes: refresh time and library calls,
snapshot memory, bulkwalk speed, GET latency while a refresh runs, and the
library calls that SNMP requests cause (none).

  bench/agent_scale.py [--check] [--memory] build/default/tools/te-simd build/default/tools/te-agentx [ROWS...]

For 1,000, 10,000 and 100,000 tunnel rows (or the ROWS given), written by
scripts/sim-tables.py (with the DS-TE record; the other tables empty), each
size runs twice, with a private snmpd master, te-simd and te-agentx
(tests/support/agent_procs.py):

1. Between refreshes (--refresh 3600): after the first refresh, a GETBULK
   walk of the tunnel table (bench/snmp_client.py, 50 repetitions a
   request), the same walk by net-snmp's snmpbulkwalk, then GETs of one
   object of a random row each, timed one by one. te-simd logs every
   request (-v: a line each, or a count of the lines held back, at most 50
   lines a second). Marker datagrams sent to te-simd before the agent
   starts, after its first refresh and after the SNMP requests, each at the
   start of a second so that its line and the count before it are written,
   bracket the daemon requests of one refresh and those that the SNMP
   requests caused.
2. Refreshing all the time (--refresh 0.01, shorter than a refresh): the
   agent's refresh lines (duration, library calls, snapshot and record
   bytes, heap) and GETs timed as above, each answered while the worker
   walks the tables.

With --memory the first run walks only the first column (for the rows'
indexes) and leaves out net-snmp's walk: the refresh table in full and the
GETs, in a few minutes less at 100,000 rows.

The goals that are no timings (a refresh's daemon requests: rows + 1 per
table and 1 per single number or record; no daemon request for an SNMP
request; a snapshot at most twice the record bytes) are printed when
missed, and with --check make the exit status 1 (a ctest runs it so at
50 rows). Timings are only reported.
"""
import os
import random
import re
import socket
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(HERE, "..", "tests", "support"))
import agent_procs  # noqa: E402
import snmp_client  # noqa: E402

GENERATOR = os.path.join(HERE, "..", "scripts", "sim-tables.py")
BULK = 50
GETS = 2000


def percentile(values, p):
    values = sorted(values)
    return values[min(len(values) - 1, int(len(values) * p / 100))]


MARKER = b"\x04\x03\x00"  # a datagram too short for a header: te-simd logs it as malformed


def mark(setup):
    """Sends the marker datagram to te-simd at the start of a second."""
    time.sleep(1.05 - time.time() % 1)
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as s:
        s.sendto(MARKER, os.path.join(setup.env["TE_LIPC_DIR"], "lipc-0a7280"))
    time.sleep(0.2)


def requests_between_markers(log):
    """Requests te-simd answered between each marker in its -v log and the
    next one."""
    counts, count = [], None
    for line in log.splitlines():
        if f"malformed datagram of {len(MARKER)} bytes" in line:
            if count is not None:
                counts.append(count)
            count = 0
        elif count is not None:
            m = re.search(r"te-simd: (\d+) log lines suppressed", line)
            count += int(m.group(1)) if m else " -> 0x" in line
    return counts


def tables(directory, rows):
    path = os.path.join(directory, f"{rows}.tables")
    subprocess.run([sys.executable, GENERATOR, str(rows), "--kinds", "tunnels,dste", "--shuffle", "-o", path],
                   check=True)
    return path


def timed_gets(client, oids, count, until=None):
    """Latencies in ms of GETs of random OIDs: count of them, and more until
    until() turns true."""
    pick = random.Random(7)
    out = []
    while len(out) < count or (until and not until()):
        oid = pick.choice(oids)
        start = time.perf_counter()
        [(name, (tag, _))] = client.get([oid])
        out.append((time.perf_counter() - start) * 1e3)
        if tag in snmp_client.EXCEPTIONS:
            sys.exit(f"GET {'.'.join(map(str, oid))}: {snmp_client.TYPE_NAMES[tag]}")
    return out


def table_oid(agent, name="temorTunnelsTable"):
    """The OID of a table, from the agent's list of its objects."""
    for line in subprocess.run([agent, "--list-oids"], capture_output=True, text=True, check=True).stdout.splitlines():
        oid, what = line.split()[:2]  # OID, name, then what the object shows (not for every object)
        if what == name:
            return snmp_client.parse_oid(oid)
    sys.exit(f"te-agentx --list-oids names no {name}")


def snmpbulkwalk(setup, table, expected):
    """Seconds net-snmp's snmpbulkwalk takes for the same walk (its output
    counted, not kept)."""
    start = time.perf_counter()
    out = subprocess.run(["snmpbulkwalk", "-v2c", "-c", "public", "-On", f"-Cr{BULK}", "%s:%d" % setup.address,
                          ".".join(map(str, table))], env=setup.env, capture_output=True, text=True, check=True).stdout
    seconds = time.perf_counter() - start
    printed = sum(line.startswith(".") for line in out.splitlines())  # long hex strings take more lines
    if printed != expected:
        sys.exit(f"snmpbulkwalk printed {printed} objects, not {expected}")
    return seconds


def between_refreshes(simd, agent, directory, rows, path, memory=False):
    with agent_procs.Setup(directory, simd, agent) as s:
        s.start_simd("-v", "--tables", path)
        s.start_snmpd()
        mark(s)
        s.start_agent("--refresh", "3600")
        [first] = s.wait_refreshes(1)
        if not first["ok"]:
            sys.exit(f"the first refresh failed: {s.log('agent')[-500:]}")
        rss = agent_procs.rss_bytes(s.agent.pid)
        table = table_oid(agent)
        mark(s)
        with snmp_client.Client(s.address, timeout=5) as c:
            start = time.perf_counter()
            walked, indexes, columns = 0, [], set()
            for name, _ in c.walk((*table, 1, 1) if memory else table, BULK):  # column by column: .1.C.INDEX
                walked += 1
                columns.add(name[len(table) + 1])
                if len(columns) == 1:
                    indexes.append(name[len(table) + 2:])
            seconds = time.perf_counter() - start
            if len(indexes) != rows:
                sys.exit(f"{rows} rows: the walk found {len(indexes)}")
            oids = [(*table, 1, column, *index) for column in sorted(columns) for index in indexes]
            gets = timed_gets(c, oids, GETS)
        requests = -(-walked // BULK) + 1 + len(gets)
        tool_seconds = float("nan") if memory else snmpbulkwalk(s, table, walked)
        mark(s)
        s.stop(s.agent)
        s.stop(s.simd)
        refresh_requests, snmp_calls = requests_between_markers(s.log("simd"))
    return dict(first=first, rss=rss, walked=walked, walk_s=seconds, tool_s=tool_seconds, idle_gets=gets,
                snmp_requests=requests, refresh_requests=refresh_requests, snmp_calls=snmp_calls, oids=oids)


def refreshing(simd, agent, directory, path, oids):
    with agent_procs.Setup(directory, simd, agent) as s:
        s.start_simd("--tables", path)
        s.start_snmpd()
        s.start_agent("--refresh", "0.01")
        s.wait_refreshes(2)
        with snmp_client.Client(s.address, timeout=5) as c:
            done = len(s.refreshes())
            gets = timed_gets(c, oids, GETS, until=lambda: len(s.refreshes()) >= done + 3)
        lines = s.refreshes()
        rss = agent_procs.rss_bytes(s.agent.pid, "VmHWM")
    return dict(lines=lines[1:], gets=gets, rss=rss)


def goal(agent, rows):
    """Daemon requests a refresh needs: rows + 1 for each walked table (the
    tunnel rows; the others are empty), 1 for each single number and record."""
    oids = [line.split()[0] for line in subprocess.run([agent, "--list-oids"], capture_output=True, text=True,
                                                        check=True).stdout.splitlines()]
    base = oids[0].rsplit(".", 2)[0]  # the first object is base.1.1
    under = lambda *arcs: {o[len(base):].split(".")[1:2 + len(arcs)][-1] for o in oids
                           if o.startswith(base + "." + ".".join(map(str, arcs)) + ".")}
    tables, counters, records = under(1, 7), under(2), under(3)
    return rows + len(tables) + len(counters) + len(records)


def main():
    args = [a for a in sys.argv[1:] if a not in ("--check", "--memory")]
    memory = "--memory" in sys.argv
    if len(args) < 2:
        sys.exit("usage: agent_scale.py [--check] [--memory] TE_SIMD TE_AGENTX [ROWS...]")
    simd, agent = args[:2]
    if not agent:  # the build had no net-snmp
        print("te-agentx is not built: skipped")
        sys.exit(77)
    sizes = [int(n) for n in args[2:]] or [1000, 10000, 100000]
    refresh_rows, snmp_rows, missed = [], [], []
    for rows in sizes:
        print(f"{rows:,} rows...", file=sys.stderr, flush=True)
        with tempfile.TemporaryDirectory() as d:
            path = tables(d, rows)
            idle = between_refreshes(simd, agent, os.path.join(d, "a"), rows, path, memory)
            busy = refreshing(simd, agent, os.path.join(d, "b"), path, idle["oids"])
        lines = [line for line in busy["lines"] if line["ok"]]
        ms = statistics.median(line["ms"] for line in lines)
        calls = int(statistics.median(line["calls"] for line in lines))
        snap, records = lines[-1]["snapshot_bytes"], lines[-1]["record_bytes"]
        if idle["refresh_requests"] != goal(agent, rows):
            missed.append(f"{rows} rows: {idle['refresh_requests']} daemon requests in a refresh, "
                          f"not {goal(agent, rows)}")
        if idle["snmp_calls"] != 0:
            missed.append(f"{rows} rows: the SNMP requests caused {idle['snmp_calls']} daemon requests")
        if snap > 2 * records:
            missed.append(f"{rows} rows: snapshot {snap:.0f} bytes for {records:.0f} record bytes")
        refresh_rows.append(
            f"| {rows:,} | {ms:,.0f} | {calls:,} | {idle['refresh_requests']:,} | {goal(agent, rows):,} | "
            f"{snap:,.0f} | {records:,.0f} | {snap / records:.2f} | {idle['rss'] / 2**20:.1f} | "
            f"{busy['rss'] / 2**20:.1f} |")
        snmp_rows.append(
            f"| {rows:,} | {idle['walked']:,} | {idle['walk_s']:.2f} | {idle['walked'] / idle['walk_s']:,.0f} | "
            f"{idle['tool_s']:.2f} | "
            f"{percentile(idle['idle_gets'], 50):.2f} / {percentile(idle['idle_gets'], 99):.2f} | "
            f"{percentile(busy['gets'], 50):.2f} / {percentile(busy['gets'], 99):.2f} | "
            f"{len(busy['gets']):,} in {len(lines)} refreshes | {idle['snmp_calls']} in {idle['snmp_requests']:,} |")
    print("| tunnel rows | refresh ms | library calls per refresh (agent) | daemon requests in a refresh "
          "(te-simd) | goal: rows + 1 per table, 1 per single | snapshot bytes | record bytes | "
          "snapshot / records | agent RSS MiB, between refreshes | agent RSS MiB, peak while refreshing |")
    print("|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|")
    print("\n".join(refresh_rows))
    print()
    print("| tunnel rows | bulkwalk varbinds | bulkwalk s | varbinds/s | snmpbulkwalk s | "
          "GET p50 / p99 ms, between refreshes | GET p50 / p99 ms, refreshing | GETs while refreshing | "
          "daemon requests caused by SNMP requests |")
    print("|---:|---:|---:|---:|---:|---:|---:|---:|---:|")
    print("\n".join(snmp_rows))
    for m in missed:
        print("goal missed:", m)
    if missed and "--check" in sys.argv:
        sys.exit(1)


if __name__ == "__main__":
    main()
