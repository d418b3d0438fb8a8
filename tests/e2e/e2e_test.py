#!/usr/bin/env python3
"""End-to-end tests: te-simd runs as its own process in private directories;
tectl (linked against the shared library) and raw datagrams talk to it."""
import json
import os
import random
import re
import select
import shutil
import signal
import socket
import stat
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

SIMD = os.environ["TE_SIMD"]
TECTL = os.environ["TECTL"]
TABLES = os.environ["TE_TABLES"]

OK = "TE_MOR_OK (0x00000000)"
FAIL, IPC_OPEN, TE_DISABLED, NOT_FOUND = 0x40010001, 0x2001000e, 0x6001001a, 0x40010005
END, UNSUPPORTED, MALFORMED, FULL = 0x40010006, 0x40010007, 0x40010008, 0x40010009
SETTINGS = 0xF0  # te-simd's class of settings reports
NAMES = {0: "TE_MOR_OK", FAIL: "TE_MOR_ERR_FAIL", IPC_OPEN: "TE_MOR_ERR_IPC_OPEN",
         TE_DISABLED: "TE_MOR_ERR_TE_DISABLED", NOT_FOUND: "TE_MOR_ERR_NOT_FOUND"}

def seq(prefix, n):
    return {f"{prefix}{i}" for i in range(n)}


def documented_keys():
    """The keys of each reading command's rows, as docs/tools.md's table of
    them says (`a`..`b` is a numbered run; parentheses only explain)."""
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "tools.md")) as f:
        table = f.read().split("| command | keys of each row |")[1].split("\n\n")[0]
    keys = {}
    for row in table.splitlines()[2:]:
        commands, cell = row.strip("|").split(" | ", 1)
        found = set()
        for first, last in re.findall(r"`(\w+)`(?:\.\.`(\w+)`)?", re.sub(r"\([^()]*\)", "", cell)):
            p = first.rstrip("0123456789")
            found |= seq(p, int(last[len(p):]) + 1) - seq(p, int(first[len(p):])) if last else {first}
        keys.update((tuple(c.split()), found) for c in re.findall(r"`([a-z][a-z0-9 -]*?)(?: [A-Z\[][^`]*)?`", commands))
    return keys


# tectl --json: the keys of the rows each reading command prints; every other
# command prints a result object.
ROW_KEYS = documented_keys()


def check_value(v):
    if isinstance(v, dict):
        assert v and all(re.fullmatch(r"[a-z][a-z0-9_]*", k) for k in v), v
        for e in v.values():
            check_value(e)
    elif isinstance(v, list):
        for e in v:
            check_value(e)
    else:
        assert isinstance(v, str) or v is None or (type(v) is int and v >= 0), v


def check_json(argv, returncode, stdout):
    """Parses tectl's --json output and checks it against the documented schema."""
    doc = json.loads(stdout)
    words = tuple(a for a in argv if isinstance(a, str) and not a.startswith("-"))
    keys = ROW_KEYS.get(words[:2], ROW_KEYS.get(words[:1]))
    if returncode == 0 and keys is not None:
        assert isinstance(doc, list), doc
        for row in doc:
            assert set(row) == keys, (argv, row)
            check_value(row)
    else:
        assert set(doc) == {"result", "code"}, doc
        assert (doc["code"] == 0) == (returncode == 0) == (doc["result"] == "TE_MOR_OK"), doc
        assert doc["result"] is None or re.fullmatch(r"(TE_MOR|SIM)_[A-Z_]+", doc["result"]), doc
        assert type(doc["code"]) is int and 0 <= doc["code"] < 2**32, doc
    return doc


def tectl(env, *args):
    """Runs tectl; a --json run that did not stop at its command line gets .json."""
    r = subprocess.run([TECTL, *args], env=env, capture_output=True, text=True, timeout=30)
    if "--json" in args and r.returncode != 2:
        r.json = check_json(args, r.returncode, r.stdout)
    return r


class Sim:
    """Private platform and local-IPC directories, and te-simd running in
    them (with a state file and the example tables unless told otherwise)."""

    def __init__(self, *args, tables=True, start=True):
        self.dir = tempfile.TemporaryDirectory()
        self.lipc = os.path.join(self.dir.name, "lipc")
        self.env = dict(os.environ, TE_PLATFORM_DIR=os.path.join(self.dir.name, "platform"), TE_LIPC_DIR=self.lipc)
        os.makedirs(self.env["TE_PLATFORM_DIR"])
        self.socket_path = os.path.join(self.lipc, "lipc-0a7280")
        self.state = os.path.join(self.dir.name, "state")
        self.proc, self.err = None, None
        if start:
            self.start("--state", self.state, *(["--tables", TABLES] if tables else []), *args)

    def start(self, *args):
        """Starts te-simd and waits until its socket is there or it has ended."""
        self.proc = subprocess.Popen([SIMD, *args], env=self.env, stderr=subprocess.PIPE, text=True)
        for _ in range(500):
            if os.path.exists(self.socket_path) or self.proc.poll() is not None:
                break
            time.sleep(0.01)

    def run(self, *args):
        """Runs te-simd to its end in these directories."""
        return subprocess.run([SIMD, *args], env=self.env, capture_output=True, text=True, timeout=10)

    def stop(self):
        """Stops te-simd (once) and removes the directories; returns its standard error."""
        if self.proc is not None and self.err is None:
            if self.proc.poll() is None:
                self.proc.send_signal(signal.SIGTERM)
            self.err = self.proc.communicate(timeout=10)[1]
        self.dir.cleanup()
        return self.err

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.stop()

    def tectl(self, *args):
        return tectl(self.env, *args)

    def settings(self):
        with open(self.state) as f:
            return set(f.read().splitlines())

    def exchange(self, datagram):
        """Sends one datagram, returns the reply's (result, payload)."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as s:
            s.bind("")  # autobind, so that the reply can come back
            s.settimeout(5)
            s.connect(self.socket_path)
            s.send(datagram)
            reply = s.recv(65536)
        return struct.unpack(">I", reply[4:8])[0], reply[8:]


def request(cls, op, *items, length=None):
    payload = b"".join(struct.pack(">HH", tag, len(v)) + v for tag, v in items)
    return struct.pack(">BBHI", cls, op, len(payload) if length is None else length, 0) + payload


class SimTest(unittest.TestCase):
    def setUp(self):
        self.sim = Sim()
        self.addCleanup(self.sim.stop)
        self.assertIsNone(self.sim.proc.poll(), "te-simd did not start")

    def ok(self, *args):
        r = self.sim.tectl(*args)
        self.assertEqual(r.returncode, 0, f"tectl {args}: {r.stderr}")
        return r.stdout

    def json(self, *args):
        r = self.sim.tectl(*args, "--json")
        self.assertEqual(r.returncode, 0, f"tectl {args}: {r.stderr}")
        return r.json


class ConfigureTest(SimTest):
    # Arguments and the exact setting they leave, for one command per kind of
    # argument (a number of each width, raw bytes, a flag, a key, a record of
    # numbers, an adapter's numbers, an adapter's text; debug set is read back below).
    EXACT = {
        "global frr-timer": (["30"], "class 0 key - tag 8 value 0000001e"),
        "global flooding-timer": (["10"], "class 0 key - tag 7 value 000a0000"),
        "global ds-te-mode": (["2"], "class 0 key - tag 4 value 02000000"),
        "global auto-tunnel": ([], "class 0 key - tag 11 value -"),
        "trap private": (["0x5"], "class 0 key - tag 13 value 0500000000000000"),
        "interface frr-bypass": (["5", "9"], "class 1 key 00000005 tag 9 value 00090000"),
        "auto-backup tunnel-id": (["10", "20"], "class 8 key - tag 1 value 000a0014"),
        "interface max-reservable": (["5", "100", "0x200"], "class 1 key 00000005 tag 4 value 0000006400000200"),
        "bundle igp-metric": (["3", "2", "10"], "class 7 key 00000003 tag 2 value 0000000a02000000"),
        "interface bw-thresholds": (["5", "0x0a0b0c0d"], "class 1 key 00000005 tag 7 value 0a0b0c0d"),
        "tunnel path": (["7", "3", "p1"], "class 3 key 00000007 tag 2 value " +
                        (b"p1".ljust(34, b"\0") + struct.pack(">HII", 3, 0, 0) + bytes(32)).hex()),
    }

    def test_every_setter_command_reaches_the_daemon_and_undo_removes_it(self):
        # Each command tectl makes of a setter row, with the arguments above or
        # 1 for every number and "x" for text, is answered 0 and leaves its
        # row's setting (exactly the one above where given).
        self.ok("mpls-te", "on")
        done = set()
        for command in tectl(self.sim.env, "--commands").stdout.splitlines():
            family, _, name = command.partition(" ")
            usage = tectl(self.sim.env, *command.split(), "--help").stdout
            words = re.search(r"^usage: tectl %s(.*)$" % re.escape(command), usage, re.M).group(1).split()
            if not name or family in ("mpls-te", "service", "show", "path", "mib") or name in (
                    "show", "on", "off", "create"):
                continue  # not setter rows or not settings; create, paths and hop rows: the table tests
            args = ["x" if w.strip("[]") == "NAME" else "1" for w in words if w != "[--undo]"]
            args, setting = self.EXACT.get(command, (args, ""))
            with self.subTest(command=command):
                self.assertIn(OK, self.ok(*command.split(), *args))
                self.assertTrue(any(line.startswith(setting) and line.endswith("(%s)" % command)
                                    for line in self.sim.settings()), command)
                done.add(command)
        self.assertLessEqual(set(self.EXACT), done)
        undone = ["global flooding-timer", "interface frr-bypass"]
        for command in undone:
            self.ok(*command.split(), *self.EXACT[command][0], "--undo")
        self.assertFalse({"%s (%s)" % (self.EXACT[c][1], c) for c in undone} & self.sim.settings())

    def test_show_settings_reads_the_model_back_decoded_and_filtered(self):
        self.ok("mpls-te", "on")
        for argv in (["global", "frr-timer", "30"], ["interface", "te", "3"], ["interface", "max-reservable", "3", "100", "0x200"]):
            self.ok(*argv)
        for i in range(10, 210):  # more settings than one reply holds
            self.assertEqual(self.sim.exchange(request(1, 0, (0, struct.pack(">I", i)), (9, bytes(4))))[0], 0)
        rows = self.json("show", "settings")
        self.assertEqual(len(rows), 203)
        self.assertIn({"setter": "global frr-timer", "key": None, "value": 30}, rows)
        self.assertEqual([r for r in self.json("show", "settings", "interface", "3")],
                         [{"setter": "interface te", "key": 3, "value": "on"},
                          {"setter": "interface max-reservable", "key": 3,
                           "value": {"word0": 100, "word1": 512}}])
        self.assertEqual(self.json("show", "settings", "bundle"), [])
        self.assertEqual(self.json("interface", "show", "3"), self.json("show", "settings", "interface", "3"))

    def test_a_rows_own_header_op_sets(self):
        key = struct.pack(">I", 7)
        self.assertEqual(self.sim.exchange(request(3, 6, (0, key), (14, bytes(8))))[0], 0)
        self.assertIn("class 3 key 00000007 tag 14 value 0000000000000000 (tunnel backup-bw)", self.sim.settings())
        self.assertEqual(self.sim.exchange(request(3, 6, (0, key), (13, bytes(4))))[0], UNSUPPORTED)  # not frr's

    def test_read_back_and_mpls_te_off_tears_the_configuration_down(self):
        for argv in (["mpls-te", "on"], ["debug", "set", "3", "4"], ["trap", "on"], ["tunnel", "create", "7", "a"]):
            self.ok(*argv)
        self.assertEqual(self.json("debug", "show"),
                         [{"debug_flags": 3, "debug_item": 4, "debug_item_list": [0] * 100}])
        self.assertEqual(self.json("trap", "show"), [{"notify": 1, "capability": 1}])
        self.ok("trap", "off")
        self.assertEqual(self.json("trap", "show"), [{"notify": 0, "capability": 0}])
        # The library's progress message stays out of the JSON document.
        r = self.sim.tectl("mpls-te", "off", "--json")
        self.assertEqual(r.json, {"result": "TE_MOR_OK", "code": 0})
        self.assertIn("Stopping service", r.stderr)
        self.assertEqual(self.sim.settings(), set())
        self.assertEqual(self.json("show", "tunnels"), [])
        self.assertEqual(self.json("status"), [{"mpls_te": "off", "daemon": "answering", "tunnels": 0}])


class TableTest(SimTest):
    def test_tunnels_of_table_files_and_tectl_walk_in_key_order_and_counters_follow(self):
        # After the example tables: a quoted "#" is text, a row replaces one with the same key, a counter row
        # fixes its number only.
        with tempfile.NamedTemporaryFile("w", suffix=".txt") as f:
            f.write('tunnels word0=9 rawBlock="to pe2 # not a comment"\ntunnels word0=5 word1=1 rawBlock=0x6869\n'
                    'tunnels word0=9 word2=4 rawBlock="b"\ncounter configured 0x10\n')
            f.flush()
            self.sim = Sim("--tables", f.name)
            self.addCleanup(self.sim.stop)
        for tnl, name in [(12, "c"), (7, "a"), (7, "a2")]:  # 7 again replaces the row
            self.ok("tunnel", "create", str(tnl), name)
        rows = self.json("show", "tunnels")
        self.assertEqual([([r[f"word{i}"] for i in range(5)], r["raw_block"]) for r in rows],
                         [([5, 1, 0, 0, 0], "hi"), ([7, 0, 0, 0, 7], "a2"), ([9, 0, 4, 0, 0], "b"),
                          ([12, 0, 0, 0, 12], "c"), ([4000, 0, 0, 0, 4000], "from-the-file")])
        self.assertEqual(self.json("show", "tunnels-by-id"), rows)
        counters = {r["counter"]: r["value"] for r in self.json("show", "counters")}
        self.assertEqual(counters, {"configured": 16, "active": 5, "primary": 5, "bypass": 1,
                                    "next-path-hop-index": 17, "next-hop-list-index": 1})

    def test_tables_from_the_file(self):
        rows = self.json("show", "bw-alloc")
        self.assertEqual([r["word0"] for r in rows], [1, 2, 7])
        self.assertEqual([(e["entry_value_a"], e["entry_value_b"]) for e in rows[2]["entries"]],
                         [(250000, 50000), (750000, 0), (0, 0)])
        self.assertEqual((rows[1]["entry_count"], rows[1]["entries"]), (0, []))
        self.assertEqual(self.json("show", "dste"),
                         [{"dste_word0": 1, "dste_word1": 2, "dste_bytes": "00" * 48, "dste_word2": 8}])

    def test_if_config_follows_the_interfaces_configured_and_sr_lists_come_whole(self):
        self.ok("mpls-te", "on")
        self.ok("interface", "te", "5")
        self.ok("interface", "metric", "3", "10")  # configured, TE not enabled: replaces the file's row
        self.assertEqual(self.json("show", "if-config"),
                         [{"if_index": 3, "config_value": 0}, {"if_index": 5, "config_value": 1}])
        self.ok("interface", "te", "5", "--undo")
        self.assertNotIn({"if_index": 5, "config_value": 1}, self.json("show", "if-config"))
        self.assertEqual([(r["word0"], r["entries"]) for r in self.json("show", "sr-mappings")],
                         [(1, [{"half0": 16001, "half1": 1}, {"half0": 16002, "half1": 2}]), (4, [])])

    def test_p2mp_and_tunnel_interface_tables_from_the_file(self):
        self.assertEqual([(r["word0"], r["half0"]) for r in self.json("show", "p2mp-binds")], [(1, 10), (2, 20)])
        self.assertEqual(self.json("show", "p2mp-tunnels"), [{"word0": 100, "half0": 3, "bytes0": "0102"}])
        self.assertEqual([(r["half0"], r["word0"], r["bytes7"][:6]) for r in self.json("show", "tunnel-interfaces")],
                         [(1, 4000, "74756e"), (2, 4001, "000000")])
        dests = [{"dest_word": 0x0A000101, "dest_bytes": "00000001"}, {"dest_word": 0x0A000102, "dest_bytes": "00000000"}]
        [intf] = self.json("show", "p2mp-interfaces")
        self.assertEqual((intf["half0"], intf["dest_count"], intf["dests_returned"], intf["dests"]), (3, 2, 2, dests))
        self.assertEqual(self.json("show", "p2mp-dests", "3", "1"), dests)
        self.assertEqual(self.json("show", "p2mp-dests", "3", "2"), [])
        # On the wire: the interface row (tag 19), then its list (tag 20).
        result, reply = self.sim.exchange(request(4, 3, (5, struct.pack(">HH", 3, 0))))
        self.assertEqual(reply[:4] + reply[20:28], struct.pack(">HHHHI", 19, 16, 20, 20, 2))

    def test_names_stay_text_as_given(self):
        # id, name as given to tectl, as JSON reads it, as the text table shows it
        names = [(1, "tab\there", "tab\there", "tab\\there"), (2, 'say "hi"', 'say "hi"', 'say "hi"'),
                 (3, b"bad\xff\xfeend", "bad\ufffd\ufffdend", "bad\\xff\\xfeend"),
                 (4, "123", "123", "123"), (5, "-x", "-x", "-x")]
        for tnl, name, _, _ in names:
            self.ok("tunnel", "create", str(tnl), "--", name)
        self.assertEqual([r["raw_block"] for r in self.json("show", "tunnels")][:-1], [n[2] for n in names])
        table = self.ok("show", "tunnels")
        for _, _, _, shown in names:
            self.assertIn(f"  {shown}  ", table)

    def test_first_next_exact_and_the_codes_at_the_ends(self):
        key = lambda k: struct.pack(">I", k)
        # exact: known, unknown; next: inside, past the end; first; dste has no first row
        cases = [(3, 3, key(2), 0), (3, 3, key(3), NOT_FOUND), (5, 3, key(2), 0), (5, 3, key(7), END),
                 (4, 3, key(0), 0), (4, 2, bytes(0), UNSUPPORTED), (3, 105, key(7), NOT_FOUND)]
        for op, tag, value, code in cases:
            with self.subTest(op=op, tag=tag, value=value):
                self.assertEqual(self.sim.exchange(request(4, op, (tag, value)))[0], code)

    def test_created_tunnel_row_comes_from_its_configuration(self):
        name = b"a-name-longer-than-twenty-three"
        config = struct.pack(">7I2H4B", 7, 1, 2, 3, 40, 50, 60, 0x1234, 0x5678, 9, 8, 7, 6) + name.ljust(256, b"\0")
        self.assertEqual(self.sim.exchange(request(6, 0, (24, config)))[0], 0)
        result, reply = self.sim.exchange(request(4, 3, (105, struct.pack(">I", 7))))
        self.assertEqual((result, reply[:4]), (0, struct.pack(">HH", 105, 128)))
        row = reply[4:]
        self.assertEqual(struct.unpack(">15I4H", row[:68]),
                         (7, 1, 2, 3, 7, 40, 50, 60) + (0,) * 7 + (0x1234, 0x5678, 1, 1))
        self.assertEqual(row[68:], name[:23] + b"\0" + bytes([9, 8, 7, 6]) + bytes(32))
        self.assertEqual(self.sim.exchange(request(4, 4, (101, bytes(16)))),
                         (0, struct.pack(">HH", 101, 128) + row))  # the same row by index set


class PathTest(SimTest):
    def test_explicit_paths_through_tectl(self):
        self.ok("mpls-te", "on")
        for argv in (["path", "p1", "create"], ["path", "p1", "hop", "add", "1", "2", "3", "4", "5", "0x102"],
                     ["path", "p1", "hop", "add", "7", "0", "0", "0", "0", "0"], ["path", "p1", "disable"],
                     ["path", "p0", "create"], ["path", "p0", "create", "--undo"]):
            self.ok(*argv)
        hop = {"word0": 1, "word1": 2, "byte0": 3, "word2": 4, "byte1": 5, "half0": 0x102}
        p1 = {"name": "p1", "path_flag": 1, "hop_count": 2, "hops": [hop, dict.fromkeys(hop, 0) | {"word0": 7}]}
        self.assertEqual(self.json("show", "path", "p1"), [p1])
        self.ok("path", "p1", "hop", "add", "7", "0", "0", "0", "0", "0", "--undo")
        self.ok("path", "p1", "disable", "--undo")
        # The file's path comes after p1 by name.
        paths = self.json("show", "paths")
        self.assertEqual([(p["name"], p["path_flag"], p["hop_count"]) for p in paths], [("p1", 0, 1), ("via-core", 0, 2)])
        self.assertEqual(paths[1]["hops"][1]["half0"], 7)
        self.assertIn("via-core", self.ok("show", "paths"))
        self.ok("path", "p1", "delete")
        r = self.sim.tectl("show", "path", "p1", "--json")
        self.assertEqual((r.returncode, r.json["code"]), (1, NOT_FOUND))
        r = self.sim.tectl("path", "nope", "hop", "add", "1", "1", "1", "1", "1", "1", "--json")
        self.assertEqual(r.json["code"], NOT_FOUND)
        self.assertEqual(self.sim.tectl("path", "x" * 32, "create").returncode, 2)  # 31 characters at most

    def test_hop_tables_from_the_file_and_the_mib_rows(self):
        self.ok("mib", "path-hop", "1", "3", "9", "a b")
        self.ok("mib", "path-hop", "1", "1", "0", "replaced")  # the file's row with the same key
        self.ok("mib", "new-hop", "2", "0", "1")
        keys = lambda rows: [(r["index0"], r["index1"], r["index2"], r["hop_text"]) for r in rows]
        self.assertEqual(keys(self.json("show", "path-hops")),
                         [(1, 1, 0, "replaced"), (1, 2, 0, "10.0.0.2"), (1, 3, 9, "a b")])
        self.assertEqual(keys(self.json("show", "new-hops")), [(1, 1, 1, "10.0.1.1"), (2, 0, 1, "")])
        self.ok("mib", "new-hop", "2", "0", "1", "--undo")
        self.assertEqual(len(self.json("show", "new-hops")), 1)
        self.assertEqual([(r["word0"], r["raw_block"]) for r in self.json("show", "te-paths")], [(1, "via-p1")])
        # Exact and next reads of a hop table by raw request: next after (1, 1) is (1, 2).
        result, reply = self.sim.exchange(request(4, 5, (112, struct.pack(">III", 1, 1, 0))))
        self.assertEqual((result, struct.unpack(">II", reply[4 + 20:4 + 28])), (0, (1, 2)))
        self.assertEqual(self.sim.exchange(request(4, 3, (112, struct.pack(">III", 9, 9, 0))))[0], NOT_FOUND)


class MalformedTest(SimTest):
    def test_survives_malformed_requests_and_answers_the_next(self):
        # (Wrong value lengths and tags no row has are what the agreement check sends.)
        valid = request(4, 3, (100, b""))
        cases = [
            ("shorter than a header", b"\x04\x03\x00", MALFORMED),
            ("payload length beyond the datagram", request(4, 3, (100, b""), length=40), MALFORMED),
            ("payload length below the datagram", request(0, 0, (8, b"\0\0\0\1"), length=2), MALFORMED),
            ("truncated item", struct.pack(">BBHIHH", 0, 0, 6, 0, 8, 4) + b"\0\0", MALFORMED),
            ("unknown class", request(5, 0, (1, b"")), UNSUPPORTED),
            ("setter without items", request(0, 0), MALFORMED),
            ("keyed setter without a value", request(1, 0, (0, b"\0\0\0\5")), MALFORMED),
            ("tunnel record of the wrong size", request(6, 0, (24, bytes(100))), MALFORMED),
            ("a second value item", request(0, 0, (8, bytes(4)), (7, bytes(4))), MALFORMED),
            ("keyed setter without its key", request(1, 0, (9, bytes(4)), (0, bytes(4))), MALFORMED),
            ("key of the wrong size", request(1, 0, (0, bytes(2)), (9, bytes(4))), MALFORMED),
            ("unknown tag of a known class", request(0, 0, (99, b"")), UNSUPPORTED),
            ("class without setters", request(10, 0, (0, bytes(4)), (1, b"")), UNSUPPORTED),
            ("path name key of 4 bytes", request(2, 0, (0, bytes(4)), (1, b"")), MALFORMED),
            ("unknown op", request(0, 9, (8, bytes(4))), UNSUPPORTED),
        ]
        for name, datagram, code in cases:
            with self.subTest(name):
                self.assertEqual(self.sim.exchange(datagram)[0], code)
                self.assertEqual(self.sim.exchange(valid)[0], 0)
        self.assertIsNone(self.sim.proc.poll())


class ScriptedDaemon(threading.Thread):
    """A daemon on the socket path whose answer to each datagram is
    answer(datagram): the reply's bytes."""

    def __init__(self, path, answer):
        super().__init__()
        os.makedirs(os.path.dirname(path), exist_ok=True)
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.sock.bind(path)
        self.sock.settimeout(0.1)
        self.answer = answer
        self.stopped = threading.Event()
        self.start()

    def run(self):
        while not self.stopped.is_set():
            try:
                datagram, sender = self.sock.recvfrom(65536)
            except socket.timeout:
                continue
            if len(datagram) >= 8:
                self.sock.sendto(self.answer(datagram), sender)

    def stop(self):
        self.stopped.set()
        self.join()
        self.sock.close()


def looping_answer(tag, value):
    """Result 0 and the same one item for every request: a daemon whose
    table walk never ends."""
    item = struct.pack(">HH", tag, len(value)) + value
    return lambda datagram: struct.pack(">BBHI", datagram[0], datagram[1], len(item), 0) + item


class FaultTest(unittest.TestCase):
    def check(self, r, code, hint):
        """A failure: its code on standard error and as the JSON result, and a
        hint only where one is expected."""
        self.assertEqual(r.returncode, 1, r.stderr)
        self.assertEqual(r.json, {"result": NAMES.get(code), "code": code})
        self.assertIn(f"(0x{code:08x})", r.stderr)
        hints = [line for line in r.stderr.splitlines() if line.startswith("hint:")]
        self.assertEqual(len(hints), int(hint is not None), r.stderr)
        if hint is not None:
            self.assertIn(hint, hints[0])

    # fault, command, code, hint
    CASES = [
        ("0:8=0x250c0001", ["global", "frr-timer", "30"], 0x250c0001, None),
        # The daemon's own answer while MPLS-TE is on: no advice to switch it on.
        ("0:13=0x6001001a", ["trap", "private", "1"], TE_DISABLED, None),
        ("4:*=truncate", ["show", "counters"], FAIL, None),  # fails at once: not a time-out
        ("4:3=oversize", ["show", "bw-alloc"], FAIL, None),
        ("4:101=0x40010001", ["show", "tunnels"], FAIL, None),
        # One 10-second time-out ends the command, not one per counter.
        ("4:*=silent", ["show", "counters"], FAIL, "no reply within 10 s"),
    ]

    def test_front_end_sees_the_injected_codes(self):
        for fault, argv, code, hint in self.CASES:
            with self.subTest(fault=fault), Sim("--fault", fault) as sim:
                sim.tectl("mpls-te", "on")
                start = time.monotonic()
                self.check(sim.tectl(*argv, "--json"), code, hint)
                self.assertLess(time.monotonic() - start, 20)
                self.assertIsNone(sim.proc.poll())

    def test_without_daemon_or_with_mpls_te_off(self):
        with Sim() as sim:
            # MPLS-TE never switched on: refused by the library.
            self.check(sim.tectl("trap", "on", "--json"), TE_DISABLED, "run 'tectl mpls-te on'")
            sim.tectl("mpls-te", "on")
            sim.proc.send_signal(signal.SIGINT)
            sim.proc.wait(timeout=10)
            self.assertFalse(os.path.exists(sim.socket_path))
            for argv, code, hint in [
                (["trap", "on"], TE_DISABLED, "no daemon is listening"),  # the library's code for it
                (["debug", "show"], IPC_OPEN, "no daemon is listening"),  # the library says 0
                (["global", "frr-timer", "1"], IPC_OPEN, "no daemon is listening"),
                (["show", "counters"], IPC_OPEN, "no daemon is listening"),
                (["service", "stop", "NOSUCH"], NOT_FOUND, None),
            ]:
                with self.subTest(argv=argv):
                    self.check(sim.tectl(*argv, "--json"), code, hint)
            # No daemon and no configuration database: switching off succeeds.
            r = sim.tectl("mpls-te", "off", "--json")
            self.assertEqual((r.returncode, r.json), (0, {"result": "TE_MOR_OK", "code": 0}), r.stderr)

    def test_walk_stops_when_a_key_comes_back(self):
        for argv, tag, row, key in [(["show", "tunnels"], 101, struct.pack(">4I", 5, 0, 0, 0) + bytes(112),
                                     "5.0.0.0"), (["show", "bw-alloc"], 3, struct.pack(">I", 7) + bytes(288), "7")]:
            with self.subTest(argv=argv), Sim(start=False) as sim:
                daemon = ScriptedDaemon(sim.socket_path, looping_answer(tag, row))
                try:
                    r = sim.tectl(*argv)
                    self.assertEqual(r.returncode, 1)
                    self.assertIn(f"key {key} a second time", r.stderr)
                    self.assertEqual(len(r.stdout.splitlines()), 2, r.stdout)  # the row read before
                    self.check(sim.tectl(*argv, "--json"), FAIL, None)
                finally:
                    daemon.stop()


def random_answer(rng, real=None):
    """Replies of every degree of sense. Without a real daemon: noise, then
    headers that echo the request with a result that goes on, ends or fails,
    and items of random tags (the request's among them), lengths and bytes.
    With one (a Sim): its own reply with a few bytes changed, cut short or
    lengthened, so that records pass the first checks and their contents are
    random."""
    def forward(datagram):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as s:
            s.bind("")
            s.settimeout(5)
            s.connect(real.socket_path)
            s.send(datagram)
            return bytearray(s.recv(65536))

    def mutated(datagram):
        reply = forward(datagram)
        for _ in range(rng.randrange(1, 5)):
            if len(reply) > 8:
                reply[rng.randrange(8, len(reply))] = rng.choice([0, 0xff, 0x80, 0xc0, rng.randrange(256)])
        if rng.random() < 0.1:
            reply = reply[:rng.randrange(len(reply) + 1)]
        elif rng.random() < 0.1:
            reply += rng.randbytes(rng.randrange(40))
        return bytes(reply)

    def answer(datagram):
        if real is not None:
            return mutated(datagram)
        if rng.random() < 0.1:
            return rng.randbytes(rng.randrange(64))
        result = rng.choice([0, 0, 0, END, NOT_FOUND, FAIL, rng.getrandbits(32)])
        if datagram[0] == SETTINGS and rng.random() < 0.8:  # entries: class, tag, key length, key, value
            entries = (bytes([rng.randrange(12), 0, rng.randrange(16)]) + bytes([k := rng.choice([0, 4, rng.randrange(40)])])
                       + rng.randbytes(k + rng.choice([0, 1, 2, 4, 8, 76, rng.randrange(100)]))
                       for _ in range(rng.randrange(5) if rng.random() < 0.7 else 0))
            payload = b"".join(struct.pack(">HH", 0, len(e)) + e for e in entries)
            return struct.pack(">BBHI", datagram[0], datagram[1], len(payload), result) + payload
        asked = [struct.unpack(">H", datagram[8:10])[0]] if len(datagram) >= 10 else []
        payload = b"".join(struct.pack(">HH", tag, len(v)) + v for tag, v in (
            (rng.choice(asked + [rng.randrange(200)]),
             rng.randbytes(rng.choice([0, 2, 4, 16, 34, 36, 128, 300, rng.randrange(600)])))
            for _ in range(rng.randrange(4))))
        return struct.pack(">BBHI", datagram[0], datagram[1], len(payload), result) + payload
    return answer


class HostileReplyTest(unittest.TestCase):
    # The show commands, with arguments where they need some.
    ARGS = {("show", "p2mp-dests"): ["1", "1"], ("show", "path"): ["p1"]}

    def shows(self):
        for line in tectl(os.environ, "--commands").stdout.splitlines():
            words = tuple(line.split())
            if "show" in words or words == ("status",):
                yield [*words, *self.ARGS.get(words, [])]

    def test_no_reply_aborts_a_show_command(self):
        # Every show command, as text and JSON, against seeded random replies
        # (noise, and te-simd's own replies changed at random): it ends with 0
        # or 1 (never a signal), and its JSON parses.
        with Sim() as real:
            real.tectl("mpls-te", "on")
            for argv in (["path", "p1", "create"], ["global", "frr-timer", "30"], ["tunnel", "path", "7", "3", "p1"],
                         ["interface", "frr-bypass", "5", "9"]):
                real.tectl(*argv)
            for argv in self.shows():
                for seed, json_flag in [(s, j) for s in range(4) for j in ([], ["--json"])]:
                    with self.subTest(seed=seed, argv=argv, json=json_flag), Sim(start=False) as sim:
                        rng = random.Random(f"{seed} {argv}")
                        daemon = ScriptedDaemon(sim.socket_path, random_answer(rng, real if seed % 2 else None))
                        try:
                            r = sim.tectl(*argv, *json_flag)
                        finally:
                            daemon.stop()
                        self.assertIn(r.returncode, (0, 1), r.stderr)

    def test_settings_with_bytes_that_are_not_utf8(self):
        entry = bytes([2, 0, 1, 3]) + b"\xffp1"  # path family, key "\xffp1", no value
        def answer(datagram):
            payload = struct.pack(">HH", 0, len(entry)) + entry if datagram[-4:] == bytes(4) else b""
            return struct.pack(">BBHI", datagram[0], datagram[1], len(payload), 0) + payload
        with Sim(start=False) as sim:
            daemon = ScriptedDaemon(sim.socket_path, answer)
            try:
                r = sim.tectl("show", "settings")
                self.assertEqual(r.returncode, 0, r.stderr)
                self.assertIn("\\xffp1", r.stdout)
                r = sim.tectl("--json", "show", "settings")
                self.assertEqual(r.returncode, 0, r.stderr)
                self.assertEqual(r.json[0]["key"], "\ufffdp1")
            finally:
                daemon.stop()

    def test_text_escapes_what_a_terminal_would_not_show_as_itself(self):
        # name as given -> its text cell: controls, format characters
        # (bidirectional overrides, zero widths, tags), separators, and bytes
        # that are not UTF-8 (overlong, surrogate) escaped; other characters kept.
        cases = [("a\u202eb", "a\\u202eb"), ("z\u200bw\u00ad", "z\\u200bw\\u00ad"),
                 ("l\u2028p\u2029", "l\\u2028p\\u2029"), ("c1\u0085", "c1\\u0085"),
                 ("tag\U000e0041", "tag\\U000e0041"), ("\u00e9\u4e2d\U0001f600", "\u00e9\u4e2d\U0001f600")]
        raw = [(b"ov\xc0\x80", "ov\\xc0\\x80"), (b"sur\xed\xa0\x80", "sur\\xed\\xa0\\x80")]
        with Sim(tables=False) as sim:
            sim.tectl("mpls-te", "on")
            names = [(n.encode(), shown) for n, shown in cases] + raw
            for name, _ in names:
                r = subprocess.run([TECTL, "path", name, "create"], env=sim.env, capture_output=True)
                self.assertEqual(r.returncode, 0, r.stderr)
            shown = {line.split()[0] for line in sim.tectl("show", "paths").stdout.splitlines()[1:]}
            self.assertEqual(shown, {s for _, s in names})


class OutputErrorTest(SimTest):
    def test_a_write_that_fails_is_an_error(self):
        # A full disk or a closed standard output: a message and exit 1.
        self.ok("mpls-te", "on")
        for argv in (["show", "tunnels"], ["--json", "show", "tunnels"], ["global", "frr-timer", "3"], ["--help"]):
            for name, stdout in (("full", "/dev/full"), ("closed", None)):
                with self.subTest(argv=argv, stdout=name):
                    if stdout is None:
                        r = subprocess.run([TECTL, *argv], env=self.sim.env, stdout=subprocess.DEVNULL,
                                           stderr=subprocess.PIPE, text=True,
                                           preexec_fn=lambda: os.close(1))
                    else:
                        with open(stdout, "w") as out:
                            r = subprocess.run([TECTL, *argv], env=self.sim.env, stdout=out,
                                               stderr=subprocess.PIPE, text=True)
                    self.assertEqual(r.returncode, 1, r.stderr)
                    self.assertRegex(r.stderr, r"tectl: write error on standard output: "
                                               r"(No space left on device|Bad file descriptor)")


class PermissionTest(unittest.TestCase):
    """tectl as another user (CI runs as root, which no permission stops)."""
    NOBODY = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"]

    def as_nobody(self, sim, *argv, **env):
        return subprocess.run([*self.NOBODY, TECTL, *argv], env=dict(sim.env, **env), capture_output=True,
                              text=True, timeout=30)

    def test_a_refused_permission_is_named_with_its_path(self):
        if os.geteuid() != 0 or not shutil.which("setpriv"):
            self.skipTest("needs root and setpriv")
        with Sim() as sim:
            os.chmod(sim.dir.name, 0o755)
            lipc, plat = sim.lipc, sim.env["TE_PLATFORM_DIR"]
            denied = "permission denied: this user may not "
            cases = [  # command, extra environment, mode of the socket's directory, hint
                (["mpls-te", "on"], {}, 0o700, f"{denied}read and write in {plat}"),
                (["mpls-te", "on"], {"TE_PLATFORM_DIR": os.path.join(plat, "new")}, 0o700,
                 f"{denied}create entries in {plat}"),
                (["show", "tunnels"], {}, 0o700, f"{denied}enter {lipc} (te-simd --group"),
                (["global", "frr-timer", "3"], {}, 0o700, f"{denied}enter {lipc} (te-simd --group"),
                (["show", "tunnels"], {}, 0o755, f"{denied}write to {sim.socket_path} (te-simd --group"),
                # Missing is not refused: a directory the daemon would make.
                (["show", "tunnels"], {"TE_LIPC_DIR": os.path.join(sim.dir.name, "none")}, 0o700,
                 "no daemon is listening"),
            ]
            for argv, env, mode, hint in cases:
                with self.subTest(argv=argv, env=env):
                    if argv[0] != "mpls-te":
                        self.assertEqual(sim.tectl("mpls-te", "on").returncode, 0)
                    os.chmod(lipc, mode)
                    r = self.as_nobody(sim, *argv, **env)
                    self.assertEqual(r.returncode, 1, r.stderr)
                    self.assertIn("hint: " + hint, r.stderr)
            # The library's code stays what it was.
            r = self.as_nobody(sim, "--json", "show", "tunnels")
            self.assertEqual(json.loads(r.stdout), {"result": "TE_MOR_ERR_IPC_OPEN", "code": IPC_OPEN})


class ProcessTest(unittest.TestCase):
    def test_second_instance_refuses_and_stale_socket_is_replaced(self):
        with Sim() as sim:
            r = sim.run()
            self.assertEqual(r.returncode, 1)
            self.assertIn("already listening", r.stderr)
            sim.proc.kill()  # leaves its socket file behind
            sim.proc.communicate()
            self.assertTrue(os.path.exists(sim.socket_path))
            sim.start()
            for _ in range(200):
                if sim.tectl("status").returncode == 0:
                    break
                time.sleep(0.01)
            self.assertEqual(sim.tectl("status").returncode, 0)

    # a table file line (after a good first line), what stderr says after FILE:2:
    BAD_ROWS = [(f"bw-alloc word0=1 word1={v}", f"'{v}' is not a number") for v in ("0x10zz", "5x", "-1")] + [
        ("bw-alloc word0=1 entryCount=256", "256 does not fit"),
        ("bw-alloc word0=4294967296", "does not fit"),
        ("bw-alloc word0=1 frob=2", "no field 'frob'"),
        ("bw-alloc word0=1 word0=2", "word0 is given twice"),
        ("bw-alloc word0=1 entryCount=1 entries[1].entryValueA=5", "beyond entryCount (1)"),
        ("bw-alloc word1=3", "word0 = 0 is reserved"),
        ("tunnel-interfaces half0=0xffff", "half0 = 65535 cannot be asked for"),
        ("tunnels word0=7 rawBlock=to pe2", "rawBlock: 'to' is not a double-quoted string"),
        ('tunnels word0=7 rawBlock="to pe2" x', "'x' is not FIELD=VALUE"),
        ('tunnels rawBlock="0123456789012345678901234"', "at most 24 bytes"),
        ('tunnels rawBlock="open', "string left open"),
        ("dste dsteWord0=1 dsteBytes=0x123", "is not a double-quoted string or 0x hex bytes"),
        ("counter bypass 1 2", "counter NAME VALUE"),
        ("counter frob 1", "no counter 'frob'"),
        ("tunnels-by-id word0=1", "write them as 'tunnels ...'"),
        ("bogus 1", "unknown row kind 'bogus'"),
    ]

    def refused(self, *args):
        """Runs te-simd expecting it to refuse its arguments; returns stderr."""
        with Sim(start=False) as sim:
            r = sim.run(*args)
            self.assertEqual(r.returncode, 2, r.stderr)
            self.assertFalse(os.path.exists(sim.lipc))  # nothing bound
        return r.stderr

    def test_bad_table_rows_are_refused_with_their_line(self):
        with tempfile.TemporaryDirectory() as d:
            path = os.path.join(d, "t.txt")
            for line, text in self.BAD_ROWS:
                with self.subTest(line=line):
                    with open(path, "w") as f:
                        f.write(f"counter bypass 1\n{line}\n")
                    err = self.refused("--tables", path)
                    self.assertIn(f"{path}:2: ", err)
                    self.assertIn(text, err)

    def test_bad_options_and_the_generated_help(self):
        with tempfile.TemporaryDirectory() as d:
            for argv, text in [(["--tables", d], f"{d}: is a directory"),
                               (["--tables", os.path.join(d, "none")], "cannot read"),
                               (["--state", os.path.join(d, "no", "state")], "cannot write the state file"),
                               (["--fault"], "option --fault needs a value"),
                               (["--fault", "0:8=maybe"], "bad fault"),
                               (["--ready-fd", "3"], "needs an open descriptor number"),
                               (["--frob"], "unknown option")]:
                with self.subTest(argv=argv):
                    self.assertIn(text, self.refused(*argv))
        for arg, text in [("--version", "te-simd 1."), ("--help", "entries[0..15].entryValueA"),
                          ("--help", "next-path-hop-index")]:
            r = subprocess.run([SIMD, arg], capture_output=True, text=True, timeout=10)
            self.assertEqual(r.returncode, 0)
            self.assertIn(text, r.stdout)


class SimCommandLineTest(unittest.TestCase):
    """te-simd's command line: option values, usage errors, and numbers read
    as tectl reads them (one parser for both)."""

    def test_options_take_their_value_after_an_equals_sign(self):
        with Sim(start=False) as sim:
            sim.start(f"--tables={TABLES}", f"--state={sim.state}", "--fault=4:101=0x40010001")
            self.assertEqual(sim.exchange(request(4, 3, (100, b"")))[0], 0)  # a counter: answered
            self.assertEqual(sim.tectl("show", "tunnels").returncode, 1)  # refused by the fault
            counters = {r["counter"]: r["value"] for r in sim.tectl("show", "counters", "--json").json}
            self.assertEqual(counters["bypass"], 1)  # from the tables file
            self.assertTrue(os.path.exists(sim.state))

    # arguments, what the one line on standard error says (exit 2, nothing bound)
    USAGE_ERRORS = [
        (["--frob"], "unknown option '--frob'"),
        (["--frob=1"], "unknown option '--frob'"),
        (["frob"], "unexpected argument 'frob'"),
        (["--help", "-v"], "option --help takes no other arguments"),
        (["-v", "--version"], "option --version takes no other arguments"),
        (["--version=1"], "option --version takes no value"),
        (["--group=yes"], "option --group takes no value"),
        (["--state="], "option --state needs a value"),
        (["--fault"], "option --fault needs a value"),
        (["--fault=010:8=silent"], "CLASS: '010' has a leading zero (octal or decimal?): write 10 for decimal"),
        (["--fault", "0:08=silent"], "TAG: '08' has a leading zero"),
        (["--fault", "0:8=0010"], "ACTION: '0010' has a leading zero (octal or decimal?): write 10 for decimal"),
        (["--fault", "0:0x10000=silent"], "TAG: 0x10000 does not fit (at most 65535)"),
        (["--fault", "0:8=0x100000000"], "ACTION: 0x100000000 does not fit"),
        (["--fault", "0:8=maybe"], "ACTION 'maybe' is none of a result code"),
        (["--ready-fd=03"], "--ready-fd: '03' has a leading zero"),
        (["--ready-fd", "x"], "--ready-fd: 'x' is not a number (decimal or 0x hex)"),
    ]

    # a tables file line after a good first one, the whole message after FILE:2:
    FILE_ERRORS = [
        ("counter bypass 010", "counter bypass: '010' has a leading zero (octal or decimal?): write 10 for decimal, "
                               "or 0x hex"),
        ("counter bypass 0x100000000", "counter bypass: 0x100000000 does not fit (at most 4294967295)"),
        ("counter bypass 1\0 and after", "byte 0x00 at column 17: a table file holds text only"),
        ('tunnels word0=7 rawBlock="a\x01b"', "byte 0x01 at column 28: a table file holds text only"),
    ]

    def run_sim(self, sim, *args):
        r = sim.run(*args)
        self.assertEqual((r.returncode, r.stdout), (2, ""), r.stderr)
        self.assertFalse(os.path.exists(sim.lipc))  # nothing bound
        return r.stderr

    def test_usage_errors_take_one_line_and_point_to_help(self):
        for argv, text in self.USAGE_ERRORS:
            with self.subTest(argv=argv), Sim(start=False) as sim:
                err = self.run_sim(sim, *argv)
                self.assertEqual(len(err.splitlines()), 1, err)
                self.assertIn(text, err)
                self.assertTrue(err.endswith("('te-simd --help' lists the options)\n"), err)

    def test_bad_numbers_and_binary_content_in_a_tables_file_give_its_line_and_the_whole_message(self):
        for line, text in self.FILE_ERRORS:
            with self.subTest(line=line), Sim(start=False) as sim:
                path = os.path.join(sim.dir.name, "t.txt")
                with open(path, "w") as f:
                    f.write(f"counter bypass 1\n{line}\n")
                self.assertEqual(self.run_sim(sim, "--tables", path), f"{path}:2: {text}\n")

    def test_a_directory_it_cannot_create_its_socket_in_is_refused_and_keeps_its_mode(self):
        with Sim(start=False) as sim:
            os.mkdir(sim.lipc)
            os.chmod(sim.lipc, 0o555)  # open to others, which te-simd would tighten, and read-only
            user = {}
            if os.geteuid() == 0:  # root creates files anywhere: run as a user whose directory it is
                os.chmod(sim.dir.name, 0o755)
                os.chown(sim.lipc, 65534, 65534)
                user = {"user": 65534, "group": 65534}
            r = subprocess.run([SIMD], env=sim.env, capture_output=True, text=True, timeout=10, **user)
            self.assertEqual(r.returncode, 1, r.stderr)
            self.assertIn(f"cannot create its socket in {sim.lipc}", r.stderr)
            self.assertEqual(stat.S_IMODE(os.stat(sim.lipc).st_mode), 0o555)
            self.assertEqual(os.listdir(sim.lipc), [])


class UsageTest(unittest.TestCase):
    def test_bad_arguments_give_the_levels_usage_and_help_goes_to_stdout(self):
        # command line, what standard error (exit 2) or, for help, standard output (exit 0) says
        cases = [
            ([], "usage: tectl [--json] COMMAND"),
            (["frob"], "unknown command 'frob'"),
            (["show", "tunnel"], "unknown command 'tunnel' (did you mean 'tunnels'?)"),
            (["global"], "usage: tectl global COMMAND"),
            (["global", "frr-timer"], "SECONDS is required"),
            (["global", "frr-timer", "1", "2"], "usage: tectl global frr-timer SECONDS"),
            (["global", "frr-timer", "30", "--undo"], "does not take --undo"),
            (["trap", "on", "--bogus"], "usage: tectl trap on"),
            (["tunnel", "create", "1", "x" * 256], "NAME must be at most 255 bytes"),
            (["global", "flooding-timer", "70000"], "SECONDS must be 0..65535"),
            (["global", "ds-te-mode", "256"], "MODE must be 0..255"),
            (["global", "frr-timer", "4294967296"], "SECONDS must be 0..4294967295"),
            (["global", "frr-timer", "0x100000000"], "SECONDS must be 0..4294967295"),
            (["global", "frr-timer", "010"], "leading zero"),  # octal 8 or decimal 10?
            # Values a command refuses, found before any call.
            (["path", "", "create"], "NAME must not be empty"),
            (["show", "path", ""], "NAME must not be empty"),
            (["show", "p2mp-dests", "3", "0"], "SELECTOR cannot be 0"),
            (["show", "p2mp-dests", "0xffff", "1"], "KEY cannot be 0xffff"),
            (["show", "settings", "bogusfamily"], "FAMILY must be one of global,"),
            (["show", "settings", "tunnel", "abc"], "KEY of tunnel settings must be a number"),
            (["show", "settings", "global", "3"], "the global settings have no KEY"),
            (["tunnel", "show", "abc"], "KEY of tunnel settings must be a number"),
            # Help and version only for what exists, and alone.
            (["--version", "extra"], "--version takes nothing else"),
            (["frob", "--help"], "unknown command 'frob'"),
            (["show", "tunnel", "--help"], "unknown command 'tunnel' (did you mean 'tunnels'?)"),
        ] + [(["global", "frr-timer", word], "decimal or 0x hex") for word in ["x", "-1", "+1", " 1", "0x", "1e3"]]
        helps = [(["--help"], "show "), (["global", "--help"], "frr-timer"), (["--version"], "tectl 1."),
                 (["global", "frr-timer", "--help"], "usage: tectl global frr-timer SECONDS")]
        for argv, text in cases + helps:
            with self.subTest(argv=argv):
                is_help = (argv, text) in helps
                r = subprocess.run([TECTL, *argv] + ["--json"] * (not is_help), capture_output=True, text=True,
                                   timeout=10)
                if is_help:
                    self.assertEqual((r.returncode, text in r.stdout), (0, True), r.stdout)
                    continue
                self.assertEqual((r.returncode, r.stdout), (2, ""), r.stderr)
                self.assertIn(text, r.stderr)
                self.assertIn("usage:", r.stderr)
                if argv[:1] not in ([], ["frob"], ["--version"]):  # below the top: not every command
                    self.assertNotIn("mpls-te", r.stderr)


class NewUserTest(SimTest):
    """What a new user runs into: names after '--', the text views, the
    installed help, man pages and completion."""

    def test_a_level_takes_a_name_starting_with_a_dash_after_double_dash(self):
        self.ok("mpls-te", "on")
        self.ok("path", "--", "-x", "create")
        self.ok("path", "--", "-x", "hop", "add", "1", "2", "3", "4", "5", "6")
        hop = {"word0": 1, "word1": 2, "byte0": 3, "word2": 4, "byte1": 5, "half0": 6}
        r = self.sim.tectl("--json", "show", "path", "--", "-x")  # --json stands before "--"
        self.assertEqual(r.json, [{"name": "-x", "path_flag": 0, "hop_count": 1, "hops": [hop]}])
        self.ok("path", "--", "-x", "delete")
        self.assertEqual([p["name"] for p in self.json("show", "paths")], ["via-core"])

    def test_text_views_show_hops_and_path_option_names(self):
        self.ok("mpls-te", "on")
        # The file's via-core has two hops, 10.0.0.1 and 10.0.0.2 as word0.
        lines = self.ok("show", "path", "via-core").splitlines()
        self.assertEqual(lines[0].split()[:4], ["name", "path_flag", "hop_count", "hops.word0"])
        self.assertEqual(lines[1].split()[:4], ["via-core", "0", "2", "167772161,167772162"])
        self.assertEqual(self.ok("show", "paths").splitlines()[1:], lines[1:])
        self.ok("tunnel", "path", "5", "1", "via-core")
        [row] = self.json("show", "settings", "tunnel", "0x5")
        self.assertEqual((row["key"], row["value"]["raw_block0"], row["value"]["half0"]), (5, "via-core", 1))
        self.assertIn('"raw_block0":"via-core"', self.ok("tunnel", "show", "5"))

    def test_help_and_man_pages_say_environment_files_and_exit_status(self):
        self.assertIn("TE_PLATFORM_DIR", self.ok("--help"))
        tools = os.path.dirname(TECTL)
        for page in ("tectl.1", "te-simd.1"):
            with open(os.path.join(tools, page)) as f:
                text = f.read()
            with self.subTest(page=page):
                for section in (".SH ENVIRONMENT", ".SH FILES", '.SH "EXIT STATUS"', "TE_LIPC_DIR", '.SH "SEE ALSO"',
                                "/wire.md"):
                    self.assertIn(section, text)
        # te-simd's first option is an option of its own, not part of a paragraph.
        self.assertRegex(text, r"\.TP\n\\fB\\-v\\fR, \\fB\\-\\-verbose\\fR\n")

    def test_completion_asks_the_tectl_being_completed(self):
        script = os.path.join(os.path.dirname(os.path.dirname(TABLES)), "share", "tectl.bash")
        env = dict(os.environ, PATH="/usr/bin:/bin")  # no tectl on it
        r = subprocess.run(["bash", "-c", f'. "{script}"; COMP_WORDS=("$0" show pa); COMP_CWORD=2; _tectl; '
                            'echo "${COMPREPLY[@]}"', TECTL], env=env, capture_output=True, text=True, timeout=10)
        self.assertEqual(r.stdout.split(), ["path", "path-hops", "paths"], r.stderr)


class SimHostileTest(unittest.TestCase):
    """te-simd against careless or hostile local clients and file systems."""

    def test_a_client_that_never_reads_does_not_hold_up_the_others(self):
        with Sim() as sim, socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as lazy:
            lazy.bind("")  # its queue fills after a few replies
            for _ in range(300):
                lazy.sendto(request(4, 3, (100, b"")), sim.socket_path)
            start = time.monotonic()
            self.assertEqual(sim.exchange(request(4, 3, (100, b"")))[0], 0)
            self.assertLess(time.monotonic() - start, 4)  # a blocked daemon never answers

    def test_the_model_stops_growing_at_its_limit(self):
        metric = lambda op, index: request(1, op, (0, struct.pack(">I", index)), (8, struct.pack(">I", 1)))
        with Sim(tables=False) as sim:
            codes = [sim.exchange(metric(0, i))[0] for i in range(4097)]  # one interface metric per index
            self.assertEqual((set(codes[:4096]), codes[4096]), ({0}, FULL))
            self.assertEqual(sim.exchange(metric(1, 0))[0], 0)  # removal still works

    def test_verbose_log_is_rate_limited_and_timestamped(self):
        with Sim("-v") as sim:
            start = time.monotonic()
            for _ in range(1500):
                sim.exchange(request(4, 3, (100, b"")))
            seconds = time.monotonic() - start
            log = sim.stop().splitlines()
        # 50 lines a second at most, and one saying how many were held back.
        self.assertLess(len(log), 51 * (seconds + 2) + 10, log[-5:])
        self.assertTrue(any("suppressed" in line for line in log))
        self.assertRegex(log[-1], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d te-simd: ")

    def test_socket_and_directory_are_private(self):
        for extra, sock_mode, dir_mode in [((), 0o600, 0o700), (("--group",), 0o660, 0o750)]:
            with self.subTest(extra=extra), Sim(start=False) as sim:
                os.mkdir(sim.lipc)
                os.chmod(sim.lipc, 0o777)
                sim.start(*extra)
                self.assertEqual(stat.S_IMODE(os.stat(sim.socket_path).st_mode), sock_mode)
                self.assertEqual(stat.S_IMODE(os.stat(sim.lipc).st_mode), dir_mode)
                self.assertIn("warning", sim.stop())

    def test_a_file_that_is_not_a_socket_is_never_removed(self):
        with Sim(start=False) as sim:
            os.mkdir(sim.lipc, 0o700)
            with open(sim.socket_path, "w") as f:
                f.write("precious")
            r = sim.run()
            self.assertEqual(r.returncode, 1)
            self.assertIn("not a socket", r.stderr)
            with open(sim.socket_path) as f:
                self.assertEqual(f.read(), "precious")

    def test_ready_fd_says_when_requests_are_answered(self):
        read_end, write_end = os.pipe()
        with Sim(start=False) as sim, open(read_end) as ready:
            sim.proc = subprocess.Popen([SIMD, "--ready-fd", str(write_end)], env=sim.env,
                                        pass_fds=(write_end,), stderr=subprocess.PIPE, text=True)
            os.close(write_end)
            self.assertTrue(select.select([ready], [], [], 10)[0])
            self.assertEqual(ready.readline(), sim.socket_path + "\n")
            self.assertTrue(stat.S_ISSOCK(os.stat(sim.socket_path).st_mode))


class LifecycleTest(unittest.TestCase):
    """SIGHUP, the state file, and the socket file when two instances follow each other."""

    def start(self, sim, *args):
        """Starts te-simd in sim's directories; returns it once it answers requests."""
        read_end, write_end = os.pipe()
        proc = subprocess.Popen([SIMD, "--ready-fd", str(write_end), *args], env=sim.env, pass_fds=(write_end,),
                                stderr=subprocess.PIPE, text=True)
        os.close(write_end)
        with open(read_end) as ready:
            self.assertEqual(ready.readline(), sim.socket_path + "\n", "te-simd did not start")
        return proc

    def logged(self, proc, start):
        """The next line of te-simd's standard error that begins with start."""
        for line in proc.stderr:
            if line.startswith(start):
                return line
        self.fail(f"te-simd ended without a line '{start}'")

    def test_sighup_reloads_the_tables_and_keeps_what_requests_made(self):
        with Sim(start=False) as sim:
            tables = os.path.join(sim.dir.name, "tables")
            with open(tables, "w") as f:
                f.write("tunnels word0=4000 word4=4000\nexpath old\n")
            sim.proc = self.start(sim, "--tables", tables, "--state", sim.state)
            for argv in (["mpls-te", "on"], ["global", "frr-timer", "30"], ["tunnel", "create", "7", "a"],
                         ["path", "p1", "create"], ["mib", "path-hop", "1", "3", "9", "a b"]):
                self.assertEqual(sim.tectl(*argv).returncode, 0, argv)
            by_id = lambda i: sim.exchange(request(4, 3, (105, struct.pack(">I", i))))[0]
            json = lambda *argv: sim.tectl(*argv, "--json").json
            model = lambda: ([by_id(i) for i in (4000, 4001, 4002, 7)], json("show", "settings"),
                             [p["name"] for p in json("show", "paths")], len(json("show", "path-hops")))
            settings = json("show", "settings")
            self.assertEqual(model(), ([0, NOT_FOUND, NOT_FOUND, 0], settings, ["old", "p1"], 1))
            # A good file replaces the file's rows; a bad one (its second line)
            # keeps them. Either way what the requests made stays.
            for rows, said in [("tunnels word0=4001 word4=4001\n", "te-simd: reloaded 1 tables files\n"),
                               ("tunnels word0=4002 word4=4002\nbogus 1\n",
                                f"te-simd: reload failed, the old tables kept: {tables}:2: unknown row kind 'bogus' (")]:
                with self.subTest(said=said):
                    with open(tables, "w") as f:
                        f.write(rows)
                    sim.proc.send_signal(signal.SIGHUP)
                    self.assertEqual(self.logged(sim.proc, "te-simd: reload")[:len(said)], said)
                    self.assertEqual(model(), ([NOT_FOUND, 0, NOT_FOUND, 0], settings, ["p1"], 1))
            sim.proc.send_signal(signal.SIGINT)
            self.assertEqual(sim.proc.wait(10), 0)

    def test_only_a_change_of_setting_rewrites_the_state_file(self):
        with Sim(start=False) as sim:
            sim.proc = self.start(sim, "--tables", TABLES, "--state", sim.state)
            mark = lambda: (lambda st: (st.st_ino, st.st_mtime_ns, st.st_ctime_ns))(os.stat(sim.state))
            written = mark()
            for argv in (["status"], ["show", "tunnels"], ["show", "settings"], ["global", "frr-timer", "30", "--undo"]):
                sim.tectl(*argv)  # reads, and the removal of a setting there is not
            self.assertEqual(sim.exchange(request(0, 0, (8, b"")))[0], MALFORMED)
            self.assertEqual(mark(), written)
            self.assertEqual(sim.tectl("global", "frr-timer", "30").returncode, 0)
            self.assertNotEqual(mark(), written)  # a new file renamed over it
            self.assertEqual(sim.settings(), {"class 0 key - tag 8 value 0000001e (global frr-timer)"})
            written = mark()
            self.assertEqual(sim.tectl("global", "frr-timer", "30").returncode, 0)  # the same value again
            self.assertEqual(mark(), written)
            self.assertEqual(sorted(os.listdir(sim.dir.name)), ["lipc", "platform", "state"])  # no temporary left

    def test_a_stopped_instance_leaves_the_socket_of_the_next_alone(self):
        with Sim(start=False) as sim:
            first = self.start(sim)
            os.unlink(sim.socket_path)  # cleaned away under it, say
            sim.proc = self.start(sim)  # binds the path again
            first.send_signal(signal.SIGTERM)
            first.communicate(timeout=10)
            self.assertEqual(first.returncode, 0)
            self.assertEqual(sim.tectl("status").returncode, 0)
            sim.proc.send_signal(signal.SIGTERM)
            self.assertEqual(sim.proc.wait(10), 0)
            self.assertFalse(os.path.exists(sim.socket_path))  # its own it removes

GENERATOR = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts", "sim-tables.py")


def generated_tables(directory, rows, kinds):
    path = os.path.join(directory, f"{rows}.tables")
    subprocess.run([sys.executable, GENERATOR, str(rows), "--kinds", kinds, "--shuffle", "-o", path], check=True)
    return path


class LargeTableTest(unittest.TestCase):
    """te-simd with tables of a large router's size, written by scripts/sim-tables.py."""

    @staticmethod
    def start(sim, *args):
        """Starts te-simd in sim's directories and waits for its --ready-fd line, however long loading takes."""
        r, w = os.pipe()
        sim.proc = subprocess.Popen([SIMD, "--ready-fd", str(w), *args], env=sim.env, pass_fds=(w,),
                                    stderr=subprocess.PIPE, text=True)
        os.close(w)
        with os.fdopen(r) as ready:
            return ready.readline()

    def test_tectl_walks_100000_tunnels_in_key_order(self):
        with tempfile.TemporaryDirectory() as d, Sim(start=False) as sim:
            self.assertEqual(self.start(sim, "--tables", generated_tables(d, 100000, "tunnels")), sim.socket_path + "\n")
            # No time-out of its own: the walk is bounded by the test's.
            r = subprocess.run([TECTL, "--json", "show", "tunnels-by-id"], env=sim.env, capture_output=True, text=True)
            self.assertEqual(r.returncode, 0, r.stderr[-500:])
            rows = json.loads(r.stdout)
            self.assertEqual([row["word0"] for row in rows], list(range(1, 100001)))
            self.assertEqual({row["raw_block"] for row in rows[:2]}, {"tunnel-1", "tunnel-2"})

    def test_max_rows_bounds_files_and_requests(self):
        with tempfile.TemporaryDirectory() as d, Sim(start=False) as sim:
            tables = generated_tables(d, 3, "tunnels")
            r = sim.run("--tables", tables, "--max-rows", "2", "--version")
            self.assertEqual(r.returncode, 2)
            self.assertIn("table tunnels already holds more rows", r.stderr)
            r = sim.run("--max-rows", "2", "--tables", tables, "--version")
            self.assertEqual((r.returncode, r.stderr.strip()), (2, f"{tables}:3: tunnels: more than 2 rows (--max-rows)"))
            self.assertEqual(sim.run("--max-rows", "0", "--version").returncode, 2)
            self.assertTrue(self.start(sim, "--max-rows", "3", "--tables", tables))
            r = sim.tectl("--json", "tunnel", "create", "9", "t9")
            self.assertEqual((r.returncode, r.json["code"]), (1, FULL))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[1:])
