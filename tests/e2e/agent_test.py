#!/usr/bin/env python3
"""End-to-end tests of te-agentx: a private snmpd master (its own directory,
a loopback port, its own AgentX socket), te-simd with generated tables and
te-agentx between them (tests/support/agent_procs.py starts each and stops
it by its PID); the net-snmp client tools ask by numeric OID."""
import json
import os
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(HERE, "..", "support"))
import agent_procs  # noqa: E402
from e2e_test import SIMD, ScriptedDaemon, looping_answer, tectl  # noqa: E402

AGENTX = os.environ["TE_AGENTX"]
SNMPD = os.environ["SNMPD"]
SNMPBIN = os.path.dirname(os.environ["SNMPBULKWALK"])
SIM_TABLES = os.environ["SIM_TABLES"]
BASE = ".1.3.6.1.4.1.32473.1"
STATUS = {"reachable": BASE + ".1.1.0", "enabled": BASE + ".1.2.0", "age": BASE + ".1.3.0",
          "duration": BASE + ".1.4.0", "refreshes": BASE + ".1.5.0", "failed": BASE + ".1.6.0"}


def wait_for(what, check, timeout):
    """Polls check() until it gives something true, within the test's own time-out."""
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        got = check()
        if got:
            return got
        time.sleep(0.05)
    raise AssertionError(f"timed out waiting for {what}")


def tables_file(path, rows, kinds=None):
    argv = [sys.executable, SIM_TABLES, str(rows), "-o", path] + (["--kinds", kinds] if kinds else [])
    subprocess.run(argv, check=True)
    return path


def parse_walk(text):
    """Client output (-On -Ox -Oe) as [(oid, value)]: numbers as int, strings as bytes."""
    out = []
    for line in text.splitlines():
        if line.startswith("."):
            oid, _, value = line.partition(" = ")
            out.append([oid, value])
        elif out:
            out[-1][1] += " " + line.strip()
    parsed = []
    for oid, value in out:
        kind, _, v = value.partition(": ")
        if kind in ("Hex-STRING", "STRING"):
            parsed.append((oid, bytes.fromhex(v.replace('"', "").replace(" ", ""))))
        elif kind in ("Gauge32", "INTEGER", "Counter32", "Unsigned32"):
            parsed.append((oid, int(v)))
        elif value.startswith('""'):
            parsed.append((oid, b""))
        else:
            parsed.append((oid, value))  # an exception (noSuchObject...) as its text
    return parsed


def same(snmp, shown):
    """An SNMP value equals tectl's: a number, or bytes tectl shows in hex or as their text."""
    if isinstance(shown, int):
        return snmp == shown
    return isinstance(snmp, bytes) and (snmp.hex() == shown or snmp.split(b"\0")[0].decode("latin1") == shown)


class Stack(agent_procs.Setup):
    """snmpd (its config with a view, as a system's has), te-simd and
    te-agentx in one private directory (tests/support/agent_procs.py), ready
    once the agent has refreshed once."""

    def __init__(self, tables, refresh="0.2", extra=(), answer=None):
        self.tmp = tempfile.TemporaryDirectory()
        super().__init__(self.tmp.name, simd=SIMD, agent=AGENTX, snmpd=SNMPD)
        self.daemon = None
        try:
            # te-simd with the tables, or a daemon whose every reply is answer(datagram)
            if answer is None:
                self.start_simd("--tables", tables)
            else:
                self.daemon = ScriptedDaemon(self.daemon_socket, answer)
            self.start_snmpd(view=BASE)
            self.start_agent("--refresh", refresh, *extra, ready=True)
            wait_for("a first refresh",
                     lambda: sum(v for _, v in self.get(STATUS["refreshes"], STATUS["failed"])) > 0, 15)
        except BaseException:
            self.close()  # nothing left running
            raise

    def tectl(self, *args):
        return tectl(self.env, *args)

    def add_paths(self):
        """Two explicit paths (keyed by name: the index counts the characters
        first, so "zz" comes before "abc"), once the agent serves them."""
        for argv in (["abc", "create"], ["abc", "hop", "add", "1", "2", "3", "4", "5", "0x102"],
                     ["abc", "hop", "add", "7", "0", "0", "0", "0", "9"], ["zz", "create"], ["zz", "disable"]):
            assert self.tectl("path", *argv).returncode == 0, argv
        wait_for("the paths", lambda: self.get(f"{BASE}.1.7.100.0")[0][1] == 2, 10)

    def stderr(self):
        return self.log("agent")

    def close(self):
        """Stops everything; the agent's exit status."""
        code = self.stop_all()[0]
        if self.daemon is not None:
            self.daemon.stop()
        self.tmp.cleanup()
        return code

    def client(self, tool, *args, check=True):
        r = subprocess.run([os.path.join(SNMPBIN, tool), "-v2c", "-c", "public", "-On", "-Ox", "-Oe", "-t", "3",
                            "-r", "1", f"127.0.0.1:{self.port}", *args], env=self.env, capture_output=True,
                           text=True, timeout=120)
        if check:
            assert r.returncode == 0, f"{tool} {args}: {r.stderr}"
        return r

    def walk(self, oid):
        """(oid, value) of every instance under oid (not the end-of-view marker)."""
        return [(o, v) for o, v in parse_walk(self.client("snmpbulkwalk", "-Cr50", oid).stdout)
                if not isinstance(v, str)]

    def get(self, *oids):
        return parse_walk(self.client("snmpget", *oids).stdout)

    def status(self):
        return dict(zip(STATUS, (v for _, v in self.get(*STATUS.values()))))

    def shown(self, table):
        r = self.tectl("--json", "show", table)
        assert r.returncode == 0, r.stderr
        return json.loads(r.stdout)


def objects():
    """te-agentx --list-oids: {oid: (name, table, json key or None)}."""
    out = {}
    for line in subprocess.run([AGENTX, "--list-oids"], capture_output=True, text=True, check=True).stdout.splitlines():
        oid, name, *where = line.split()
        out[oid] = (name, *where) if where else (name, None, None)
    return out


def index_order(row):
    """Rows keyed by text come in index order (the length first); the others as tectl shows them."""
    return (len(row["name"]), row["name"]) if "name" in row else 0


def expected_column(rows, key):
    """A column's values over tectl's rows: a field, or (a list) each element of an array in turn."""
    head, _, member = key.partition(".")
    values = []
    for row in rows:
        v = row[head]
        if isinstance(v, list):
            values += [e[member] if member else e for e in v]
        else:
            values.append(v)
    return values


class AgentTableTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.TemporaryDirectory()
        cls.stack = Stack(tables_file(os.path.join(cls.tmp.name, "t"), 12))
        cls.stack.add_paths()

    @classmethod
    def tearDownClass(cls):
        cls.stack.close()
        cls.tmp.cleanup()

    def test_every_table_walks_as_tectl_shows_it(self):
        by_column = {}
        for oid, value in self.stack.walk(BASE):
            col = next((c for c in COLUMN_PREFIXES if oid.startswith(c + ".")), None)
            by_column.setdefault(col, []).append(value)
        shown, checked = {}, 0
        for col, (name, table, key) in OBJECTS.items():
            if key is None or table == "counters" or col not in COLUMN_PREFIXES:
                continue
            rows = shown.setdefault(table, sorted(self.stack.shown(table), key=index_order))
            self.assertTrue(rows, table)
            want = expected_column(rows, key)
            got = by_column.get(col, [])
            self.assertEqual(len(got), len(want), f"{name} ({table} {key})")
            for g, w in zip(got, want):
                self.assertTrue(same(g, w), f"{name}: {g!r} != {w!r}")
            checked += 1
        self.assertGreater(checked, 100)
        counters = {r["counter"]: r["value"] for r in self.stack.shown("counters")}
        records = {oid: self.stack.shown(table)[0][key] for oid, (_, table, key) in OBJECTS.items()
                   if table not in (None, "counters") and oid not in COLUMN_PREFIXES}
        for oid, value in self.stack.get(*[o + ".0" for o in records]):
            self.assertTrue(same(value, records[oid[:-2]]), oid)
        for oid, (name, table, key) in OBJECTS.items():
            if table == "counters":
                self.assertEqual(self.stack.get(oid + ".0")[0][1], counters[key], name)

    def test_get_answers_exact_rows_and_getnext_crosses_table_ends(self):
        row = self.stack.shown("tunnels")[3]
        index = ".".join(str(row[f"word{i}"]) for i in range(4))
        words = [f"{BASE}.4.1.1.{c}.{index}" for c in (1, 5)]
        self.assertEqual([v for _, v in self.stack.get(*words)], [row["word0"], row["word4"]])
        missing = self.stack.client("snmpget", f"{BASE}.4.1.1.1.999999.0.0.0", f"{BASE}.4.1.1.99.1", check=False)
        self.assertIn("No Such Instance", missing.stdout)
        self.assertIn("No Such Object", missing.stdout)
        # The last row of the last column of the tunnel table leads to the next table's first.
        last = self.stack.walk(f"{BASE}.4.1")[-1][0]
        after = parse_walk(self.stack.client("snmpgetnext", last).stdout)[0][0]
        self.assertTrue(after.startswith(f"{BASE}.4.3.1.1."), after)
        # GETNEXT from names that are no instance: the next instance in OID order.
        rows = self.stack.shown("tunnels")
        first = ".".join(str(rows[0][f"word{i}"]) for i in range(4))
        for name, want in ((f"{BASE}.4.1", f"{BASE}.4.1.1.1.{first}"), (f"{BASE}.4.1.1", f"{BASE}.4.1.1.1.{first}"),
                           (f"{BASE}.4.1.1.1.{index.rsplit('.', 2)[0]}", f"{BASE}.4.1.1.1.{index}"),
                           (f"{BASE}.4.1.1.1.{index}.0", f"{BASE}.4.1.1.1." +
                            ".".join(str(rows[4][f"word{i}"]) for i in range(4))),
                           (f"{BASE}.4.1.1.0", f"{BASE}.4.1.1.1.{first}"), (f"{BASE}.4.2", f"{BASE}.4.3.1.1."),
                           (f"{BASE}.1.7.1", f"{BASE}.1.7.1.0"), (f"{BASE}.1.6.0", f"{BASE}.1.7.1.0")):
            got = parse_walk(self.stack.client("snmpgetnext", name).stdout)[0][0]
            self.assertTrue(got == want or (want.endswith(".") and got.startswith(want)), (name, got, want))
        self.assertEqual(self.stack.status()["enabled"], 1)
        # Past everything: the end of the view.
        end = self.stack.client("snmpgetnext", f"{BASE}.9", check=False).stdout
        self.assertIn("No more variables", end)
        r = subprocess.run([os.path.join(SNMPBIN, "snmpset"), "-v2c", "-c", "private", f"127.0.0.1:{self.stack.port}",
                            words[0], "u", "5"], env=self.stack.env, capture_output=True, text=True, timeout=30)
        self.assertIn("notWritable", r.stdout + r.stderr)


class AgentMibTest(unittest.TestCase):
    """The generated TEMOR-MIB names exactly the objects the agent serves."""

    def mib_objects(self, text):
        """{name: (oid, readable)} of the module's OBJECT-TYPEs, OIDs resolved through its assignments."""
        roots = {"iso": [1], "enterprises": [1, 3, 6, 1, 4, 1]}
        arcs, types = {}, {}
        body = text.split("FROM SNMPv2-CONF;", 1)[1]
        for m in re.finditer(r"(\w+)\s+(OBJECT-TYPE|OBJECT IDENTIFIER|MODULE-IDENTITY|OBJECT-GROUP|MODULE-COMPLIANCE)"
                             r"(.*?)::=\s*\{\s*([\w\s]+?)\s*\}", body, re.S):
            name, kind, clauses, value = m.groups()
            parent, *rest = value.split()
            arcs[name] = (roots.get(parent) or arcs[parent]) + [int(a) for a in rest]
            if kind == "OBJECT-TYPE":
                types[name] = "read-only" in clauses
        return {n: ("." + ".".join(map(str, arcs[n])), readable) for n, readable in types.items()}

    def test_every_table_tectl_shows_is_served(self):
        shows = subprocess.run([os.environ["TECTL"], "--commands"], capture_output=True, text=True, check=True).stdout
        shown = {line.split()[1] for line in shows.splitlines() if line.startswith("show ")}
        served = {table for _, table, _ in OBJECTS.values() if table}
        # The tunnels by id are the same rows; a destination list is served with
        # its interface; settings and one path are not tables of the daemon.
        self.assertEqual(shown - served, {"tunnels-by-id", "p2mp-dests", "settings", "path"})

    def test_module_names_exactly_the_objects_served(self):
        text = subprocess.run([AGENTX, "--print-mib"], capture_output=True, text=True, check=True).stdout
        self.assertEqual(set(re.findall(r"FROM ([\w-]+)", text)), {"SNMPv2-SMI", "SNMPv2-TC", "SNMPv2-CONF"})
        mib = self.mib_objects(text)
        self.assertEqual({n: oid for n, (oid, _) in mib.items()}, {name: oid for oid, (name, *_) in OBJECTS.items()})
        # Every object the module calls readable answers a walk, and nothing else answers.
        with tempfile.TemporaryDirectory() as tmp:
            stack = Stack(tables_file(os.path.join(tmp, "t"), 3))
            try:
                stack.add_paths()
                served = [oid for oid, _ in stack.walk(BASE)]
            finally:
                stack.close()
        readable = {oid for oid, r in mib.values() if r}
        owners = set()
        for o in served:
            owner = [r for r in readable if o.startswith(r + ".")]
            self.assertEqual(len(owner), 1, o)
            owners.add(owner[0])
        self.assertEqual(owners, readable)


class AgentCommandLineTest(unittest.TestCase):
    def test_bad_options_take_one_line_and_exit_2(self):
        for args in (["--refresh", "abc"], ["--refresh=0"], ["--refresh", "1."], ["--base-oid", "1.x.3"],
                     ["--base-oid=1"], ["--base-oid", "1.3.4294967296"], ["--base-oid", "1.3" + ".1" * 100],
                     ["--ready-fd", "1"], ["--ready-fd", "07"], ["--bogus"], ["-x"], ["-x", ""],
                     ["--print-mib", "--list-oids"]):
            r = subprocess.run([AGENTX, *args], capture_output=True, text=True, timeout=10)
            self.assertEqual(r.returncode, 2, args)
            self.assertEqual(len(r.stderr.splitlines()), 1, (args, r.stderr))
            self.assertIn("--help", r.stderr)
        for args in (["--help"], ["--version"]):
            self.assertEqual(subprocess.run([AGENTX, *args], capture_output=True, timeout=10).returncode, 0)
        mib = subprocess.run([AGENTX, "--print-mib", "--base-oid=.1.3.6.1.4.1.99.7"], capture_output=True, text=True)
        self.assertIn("::= { enterprises 99 7 }", mib.stdout)

    def test_without_a_master_it_says_so_keeps_retrying_and_stops_cleanly(self):
        with tempfile.TemporaryDirectory() as tmp:
            p = subprocess.Popen([AGENTX, "-x", os.path.join(tmp, "nothing"), "--refresh", "0.1"],
                                 env=dict(os.environ, TE_LIPC_DIR=tmp, TE_PLATFORM_DIR=tmp),
                                 stderr=subprocess.PIPE, text=True)
            line = p.stderr.readline()
            self.assertIn("no AgentX master answers at " + os.path.join(tmp, "nothing"), line)
            self.assertIn("refresh failed: the TE daemon is not running", p.stderr.readline())  # no daemon either
            p.send_signal(signal.SIGINT)
            self.assertEqual(p.wait(timeout=10), 0)
            p.stderr.close()
            # -x naming a file that is no socket (here the directory): a wrong -x, said so.
            p = subprocess.Popen([AGENTX, "-x", tmp], env=dict(os.environ, TE_LIPC_DIR=tmp, TE_PLATFORM_DIR=tmp),
                                 stderr=subprocess.PIPE, text=True)
            self.assertIn(f"at {tmp} (that is no socket: -x takes the path of snmpd's agentXSocket)",
                          p.stderr.readline())
            p.send_signal(signal.SIGINT)
            self.assertEqual(p.wait(timeout=10), 0)
            p.stderr.close()


class AgentLargeTest(unittest.TestCase):
    def test_bulkwalk_of_ten_thousand_tunnels(self):
        with tempfile.TemporaryDirectory() as tmp:
            stack = Stack(tables_file(os.path.join(tmp, "t"), 10000, "tunnels"), refresh="1", extra=("-v",))
            try:
                rows = stack.shown("tunnels")
                self.assertEqual(len(rows), 10000)
                for column, key in ((1, "word0"), (10, "word9")):
                    got = [v for _, v in stack.walk(f"{BASE}.4.1.1.{column}")]
                    self.assertEqual(got, [r[key] for r in rows])
                self.assertEqual(stack.get(f"{BASE}.1.7.1.0")[0][1], 10000)
                # The snapshot stays within twice its records: the first one, and
                # one after the table shrank (its vectors start at the last size).
                stack.simd.send_signal(signal.SIGTERM)
                stack.simd.wait(timeout=10)
                stack.start_simd("--tables", tables_file(os.path.join(tmp, "u"), 300, "tunnels"))
                wait_for("the smaller table", lambda: stack.get(f"{BASE}.1.7.1.0")[0][1] == 300, 20)
                for rows in (10000, 300):
                    line = [line for line in stack.refreshes() if line["rows"] == rows][0]
                    self.assertLessEqual(line["snapshot_bytes"], 2 * line["record_bytes"], line)
            finally:
                stack.close()


class AgentFaultTest(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.addCleanup(self.tmp.cleanup)

    def test_frozen_daemon_keeps_the_snapshot_and_the_failure_is_counted(self):
        stack = Stack(tables_file(os.path.join(self.tmp.name, "t"), 5), refresh="0.2")
        try:
            word = f"{BASE}.4.1.1.1.1.1.1.0"
            before = stack.get(word)
            stack.simd.send_signal(signal.SIGSTOP)
            try:
                failed = wait_for("a failed refresh", lambda: stack.status()["failed"] > 0 and stack.status(), 30)
                self.assertEqual(failed["reachable"], 2)
                self.assertEqual(stack.get(word), before)  # still the snapshot's value
                age = stack.status()["age"]
                wait_for("the age to grow", lambda: stack.status()["age"] > age, 5)
            finally:
                stack.simd.send_signal(signal.SIGCONT)
            wait_for("fresh data", lambda: (lambda s: s["reachable"] == 1 and s["age"] < 1000)(stack.status()), 30)
            self.assertIn("refresh failed: the TE daemon is not running or does not answer (counter ", stack.stderr())
            # SIGTERM while a refresh waits on the frozen daemon: status 0 at once,
            # not after the library's time-out.
            stack.simd.send_signal(signal.SIGSTOP)
            time.sleep(0.5)
            start = time.monotonic()
            stack.agent.send_signal(signal.SIGTERM)
            self.assertEqual(stack.agent.wait(timeout=5), 0)
            self.assertLess(time.monotonic() - start, 3)
            stack.simd.send_signal(signal.SIGCONT)
        finally:
            self.assertEqual(stack.close(), 0)

    def test_a_key_that_comes_back_fails_the_refresh(self):
        tunnel = struct.pack(">4I", 5, 0, 0, 0) + bytes(112)
        stack = Stack(None, answer=looping_answer(101, tunnel))
        try:
            wait_for("a failed refresh", lambda: stack.status()["failed"] > 0, 10)
            self.assertIn("tunnels: key .5.0.0.0 after .5.0.0.0 does not increase", stack.stderr())
            self.assertEqual(stack.status()["refreshes"], 0)
            self.assertEqual(stack.get(f"{BASE}.1.7.1.0")[0][1], 0)  # still the empty snapshot
        finally:
            self.assertEqual(stack.close(), 0)

    def line_with(self, process, text, timeout=10):
        """The first line of the process's standard error that holds text."""
        line = ""
        while text not in line:
            self.assertTrue(select.select([process.stderr], [], [], timeout)[0], f"no line with '{text}'")
            line = process.stderr.readline()
        return line

    def test_new_tables_and_a_restarted_master(self):
        stack = Stack(tables_file(os.path.join(self.tmp.name, "t"), 4, "tunnels,if-config"))
        try:
            self.assertEqual(stack.get(f"{BASE}.1.7.1.0")[0][1], 4)
            stack.simd.send_signal(signal.SIGTERM)
            stack.simd.wait(timeout=10)
            stack.start_simd("--tables", tables_file(os.path.join(self.tmp.name, "u"), 9, "tunnels"))
            wait_for("the new rows", lambda: stack.get(f"{BASE}.1.7.1.0")[0][1] == 9, 20)
            self.assertEqual(stack.get(f"{BASE}.4.1.1.1.9.2.9.0")[0][1], 9)
            stack.stop(stack.snmpd)
            stack.start_snmpd(view=BASE)
            def registered():
                r = stack.client("snmpget", STATUS["refreshes"], check=False)
                return r.returncode == 0 and "Counter32" in r.stdout
            wait_for("the subagent to register again", registered, 30)
            # A second agent for the same OIDs is refused and says so; it
            # registers once the first one has gone.
            second = subprocess.Popen([AGENTX, "-x", stack.agentx, "--refresh", "0.2"], env=stack.env,
                                      stderr=subprocess.PIPE, text=True)
            try:
                self.assertIn("another subagent serves them already", self.line_with(second, "refused"))
                stack.agent.send_signal(signal.SIGTERM)
                self.assertEqual(stack.agent.wait(timeout=10), 0)
                self.line_with(second, "registered with", timeout=30)
                wait_for("the second agent's answers", registered, 10)
            finally:
                second.send_signal(signal.SIGTERM)
                self.assertEqual(second.wait(timeout=10), 0)
                second.stderr.close()
        finally:
            stack.close()


OBJECTS = objects()
COLUMN_PREFIXES = {oid for oid, (name, table, key) in OBJECTS.items()
                   if key is not None and re.search(r"\.[45]\.\d+(\.\d+)?\.1\.\d+$", oid[len(BASE):])}

if __name__ == "__main__":
    unittest.main()
