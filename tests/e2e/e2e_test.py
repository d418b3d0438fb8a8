#!/usr/bin/env python3
"""End-to-end tests: te-simd runs as its own process in private directories;
tectl (linked against the shared library) and raw datagrams talk to it."""
import json
import os
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

SIMD = os.environ["TE_SIMD"]
TECTL = os.environ["TECTL"]
TABLES = os.environ["TE_TABLES"]

OK = "TE_MOR_OK (0x00000000)"


class Sim:
    """A te-simd process with its own platform and local-IPC directories."""

    def __init__(self, *args, tables=True):
        self.dir = tempfile.TemporaryDirectory()
        self.env = dict(os.environ,
                        TE_PLATFORM_DIR=os.path.join(self.dir.name, "platform"),
                        TE_LIPC_DIR=os.path.join(self.dir.name, "lipc"))
        os.makedirs(self.env["TE_PLATFORM_DIR"])
        self.socket_path = os.path.join(self.env["TE_LIPC_DIR"], "lipc-0a7280")
        self.state = os.path.join(self.dir.name, "state")
        argv = [SIMD, "--state", self.state] + (["--tables", TABLES] if tables else []) + list(args)
        self.proc = subprocess.Popen(argv, env=self.env, stderr=subprocess.PIPE, text=True)
        for _ in range(200):
            if os.path.exists(self.socket_path) or self.proc.poll() is not None:
                break
            time.sleep(0.01)

    def tectl(self, *args):
        return subprocess.run([TECTL, *args], env=self.env, capture_output=True, text=True, timeout=30)

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

    def stop(self):
        if self.proc.poll() is None:
            self.proc.send_signal(signal.SIGTERM)
            self.proc.wait(timeout=10)
        self.proc.stderr.close()
        self.dir.cleanup()


def request(cls, op, *items, length=None):
    payload = b"".join(struct.pack(">HH", tag, len(v)) + v for tag, v in items)
    return struct.pack(">BBHI", cls, op, len(payload) if length is None else length, 0) + payload


class SimTest(unittest.TestCase):
    sim_args = ()

    def setUp(self):
        self.sim = Sim(*self.sim_args)
        self.assertIsNone(self.sim.proc.poll(), "te-simd did not start")

    def tearDown(self):
        self.sim.stop()

    def ok(self, *args):
        r = self.sim.tectl(*args)
        self.assertEqual(r.returncode, 0, f"tectl {args}: {r.stderr}")
        return r.stdout

    def show(self, what):
        return json.loads(self.ok("show", what, "--json"))


class ConfigureTest(SimTest):
    # command, the setting it leaves in the simulator
    SETTERS = [
        (["global", "frr-timer", "30"], "class 0 key - tag 8 value 0000001e"),
        (["global", "flooding-timer", "10"], "class 0 key - tag 7 value 000a0000"),
        (["global", "ds-te-mode", "2"], "class 0 key - tag 4 value 02000000"),
        (["global", "ietf-te-class", "0x01020304"], "class 0 key - tag 5 value 01020304"),
        (["global", "auto-tunnel"], "class 0 key - tag 11 value -"),
        (["trap", "on"], "class 0 key - tag 10 value -"),
        (["trap", "private", "0x5"], "class 0 key - tag 13 value 0500000000000000"),
        (["interface", "frr-bypass", "5", "9"], "class 1 key 00000005 tag 9 value 00090000"),
        (["auto-backup", "tunnel-id", "10", "20"], "class 8 key - tag 1 value 000a0014"),
        (["debug", "set", "3", "4"], "class 0 key - tag 9 value 0000000300040000"),
    ]

    def test_setters_land_in_the_model_and_undo_removes_them(self):
        self.ok("mpls-te", "on")
        for argv, setting in self.SETTERS:
            with self.subTest(argv=argv):
                self.assertIn(OK, self.ok(*argv))
                self.assertIn(setting, self.sim.settings())
        self.ok("global", "flooding-timer", "10", "--undo")
        self.ok("interface", "frr-bypass", "5", "9", "--undo")
        left = self.sim.settings()
        self.assertFalse(any("tag 7 " in s or s.startswith("class 1 ") for s in left), left)

    def test_read_back_through_queries(self):
        self.ok("mpls-te", "on")
        self.ok("debug", "set", "3", "4")
        self.ok("trap", "on")
        self.assertEqual(json.loads(self.ok("debug", "show", "--json")),
                         [{"debug_flags": 3, "debug_item": 4, "debug_item_list": [0] * 100}])
        self.assertEqual(json.loads(self.ok("trap", "show", "--json")), [{"notify": 1, "capability": 1}])
        self.ok("trap", "off")
        self.assertEqual(json.loads(self.ok("trap", "show", "--json")), [{"notify": 0, "capability": 0}])

    def test_mpls_te_off_tears_the_configuration_down(self):
        self.ok("mpls-te", "on")
        self.ok("global", "frr-timer", "30")
        self.ok("tunnel", "create", "7", "a")
        self.assertIn("Stopping service", self.ok("mpls-te", "off"))
        self.assertEqual(self.sim.settings(), set())
        self.assertEqual(self.show("tunnels"), [])
        self.assertEqual(json.loads(self.ok("status", "--json"))[0]["mpls_te"], "off")


class TableTest(SimTest):
    def test_tunnels_walk_in_key_order_and_counters_follow(self):
        for tnl, name in [(12, "c"), (7, "a"), (9, "b"), (7, "a2")]:  # 7 again replaces the row
            self.ok("tunnel", "create", str(tnl), name)
        rows = self.show("tunnels")
        self.assertEqual([(r["word4"], r["raw_block"], [r[f"word{i}"] for i in range(4)]) for r in rows],
                         [(7, "a2", [7, 0, 0, 0]), (9, "b", [9, 0, 0, 0]), (12, "c", [12, 0, 0, 0])])
        counters = {r["counter"]: r["value"] for r in self.show("counters")}
        self.assertEqual(counters, {"configured": 3, "active": 3, "primary": 3, "bypass": 1,
                                    "next-path-hop-index": 17, "next-hop-list-index": 1})

    def test_tables_from_the_file(self):
        rows = self.show("bw-alloc")
        self.assertEqual([r["word0"] for r in rows], [1, 2, 7])
        self.assertEqual([(e["entry_value_a"], e["entry_value_b"]) for e in rows[2]["entries"]],
                         [(250000, 50000), (750000, 0), (0, 0)])
        self.assertEqual(self.show("dste"), [{"dste_word0": 1, "dste_word1": 2, "dste_bytes": "00" * 48,
                                              "dste_word2": 8}])

    def test_first_next_exact_and_the_codes_at_the_ends(self):
        q = lambda op, tag, v: self.sim.exchange(request(4, op, (tag, v)))[0]
        key = lambda k: struct.pack(">I", k)
        cases = [
            (3, 3, key(2), 0), (3, 3, key(3), 0x40010005),        # exact: known, unknown
            (5, 3, key(2), 0), (5, 3, key(7), 0x40010006),        # next: inside, past the end
            (4, 3, key(0), 0),
            (4, 101, bytes(16), 0x40010006),                      # first of an empty table
            (3, 105, key(7), 0x40010005),
        ]
        for op, tag, value, code in cases:
            with self.subTest(op=op, tag=tag, value=value):
                self.assertEqual(q(op, tag, value), code)


class MalformedTest(SimTest):
    VALID = request(4, 3, (100, b""))

    def test_survives_malformed_requests_and_answers_the_next(self):
        cases = [
            ("shorter than a header", b"\x04\x03\x00", 0x40010008),
            ("payload length beyond the datagram", request(4, 3, (100, b""), length=40), 0x40010008),
            ("payload length mismatch", request(0, 0, (8, b"\0\0\0\1"), length=12), 0x40010008),
            ("truncated item", struct.pack(">BBHIHH", 0, 0, 6, 0, 8, 4) + b"\0\0", 0x40010008),
            ("unknown class", request(5, 0, (1, b"")), 0x40010007),
            ("unknown query tag", request(4, 3, (999, b"")), 0x40010007),
            ("setter without items", request(0, 0), 0x40010008),
            ("keyed setter without a value", request(1, 0, (0, b"\0\0\0\5")), 0x40010008),
            ("tunnel record of the wrong size", request(6, 0, (24, bytes(100))), 0x40010008),
            ("unknown op", request(0, 9, (8, bytes(4))), 0x40010007),
        ]
        for name, datagram, code in cases:
            with self.subTest(name):
                result, _ = self.sim.exchange(datagram)
                if code is not None:
                    self.assertEqual(result, code)
                self.assertEqual(self.sim.exchange(self.VALID)[0], 0)
        self.assertIsNone(self.sim.proc.poll())


class FaultTest(unittest.TestCase):
    # fault, command, code printed, hint expected on standard error
    CASES = [
        ("0:8=0x250c0001", ["global", "frr-timer", "30"], "daemon code (0x250c0001)", None),
        ("0:13=0x6001001a", ["trap", "private", "1"], "TE_MOR_ERR_TE_DISABLED (0x6001001a)", None),
        ("6:*=0x40010001", ["tunnel", "create", "1"], "TE_MOR_ERR_FAIL (0x40010001)", None),
        ("4:*=truncate", ["show", "counters"], "TE_MOR_ERR_FAIL (0x40010001)", None),
        ("4:3=oversize", ["show", "bw-alloc"], "TE_MOR_ERR_FAIL (0x40010001)", None),
        ("4:101=0x40010001", ["show", "tunnels"], "TE_MOR_ERR_FAIL (0x40010001)", None),
        ("0:8=silent", ["global", "frr-timer", "30"], "TE_MOR_ERR_FAIL (0x40010001)", None),
    ]

    def test_front_end_sees_the_injected_codes(self):
        for fault, argv, text, hint in self.CASES:
            with self.subTest(fault=fault):
                sim = Sim("--fault", fault)
                try:
                    sim.tectl("mpls-te", "on")
                    r = sim.tectl(*argv)
                    self.assertEqual(r.returncode, 1, r.stdout)
                    self.assertIn(text, r.stderr)
                    if hint:
                        self.assertIn(hint, r.stderr)
                    self.assertIsNone(sim.proc.poll())
                finally:
                    sim.stop()

    def test_without_daemon_or_with_mpls_te_off(self):
        sim = Sim()
        try:
            r = sim.tectl("trap", "on")  # MPLS-TE never switched on: refused by the library
            self.assertIn("TE_MOR_ERR_TE_DISABLED (0x6001001a)", r.stderr)
            sim.proc.send_signal(signal.SIGINT)
            sim.proc.wait(timeout=10)
            self.assertFalse(os.path.exists(sim.socket_path))
            r = sim.tectl("global", "frr-timer", "1")
            self.assertEqual(r.returncode, 1)
            self.assertIn("TE_MOR_ERR_IPC_OPEN (0x2001000e)", r.stderr)
            self.assertIn("no daemon is listening", r.stderr)
        finally:
            sim.stop()


class ProcessTest(unittest.TestCase):
    def test_second_instance_refuses_and_stale_socket_is_replaced(self):
        first = Sim()
        try:
            r = subprocess.run([SIMD], env=first.env, capture_output=True, text=True, timeout=10)
            self.assertEqual(r.returncode, 1)
            self.assertIn("already listening", r.stderr)
            first.proc.kill()  # leaves its socket file behind
            first.proc.wait()
            self.assertTrue(os.path.exists(first.socket_path))
            again = subprocess.Popen([SIMD], env=first.env, stderr=subprocess.DEVNULL)
            try:
                for _ in range(200):
                    if first.tectl("status").returncode == 0:
                        break
                    time.sleep(0.01)
                self.assertEqual(first.tectl("status").returncode, 0)
            finally:
                again.terminate()
                again.wait(timeout=10)
        finally:
            first.stop()

    def test_bad_options_and_table_files(self):
        with tempfile.NamedTemporaryFile("w", suffix=".txt") as f:
            f.write("bw 1 2 3 4 5 6\nbogus 1\n")
            f.flush()
            for argv, text in [([SIMD, "--tables", f.name], "line 2"),
                               ([SIMD, "--fault", "0:8=maybe"], "bad fault"),
                               ([SIMD, "--frob"], "unknown argument")]:
                with self.subTest(argv=argv):
                    r = subprocess.run(argv, capture_output=True, text=True, timeout=10)
                    self.assertEqual(r.returncode, 2)
                    self.assertIn(text, r.stderr)


class UsageTest(unittest.TestCase):
    def test_bad_arguments_give_usage_never_a_crash(self):
        cases = [[], ["frob"], ["global"], ["global", "frr-timer"], ["global", "frr-timer", "x"],
                 ["global", "frr-timer", "-1"], ["global", "frr-timer", "1", "2"],
                 ["global", "flooding-timer", "70000"], ["global", "frr-timer", "30", "--undo"],
                 ["trap", "on", "--bogus"], ["tunnel", "create"], ["global", "ds-te-mode", "256"]]
        for argv in cases:
            with self.subTest(argv=argv):
                r = subprocess.run([TECTL, *argv], capture_output=True, text=True, timeout=10)
                self.assertEqual(r.returncode, 2, r.stderr)
                self.assertIn("usage:", r.stderr)

    def test_help_on_every_level(self):
        for argv, text in [(["--help"], "show "), (["show", "--help"], "tunnels"), (["global", "--help"], "frr-timer"),
                           (["global", "frr-timer", "--help"], "usage: tectl global frr-timer SECONDS")]:
            with self.subTest(argv=argv):
                r = subprocess.run([TECTL, *argv], capture_output=True, text=True, timeout=10)
                self.assertEqual(r.returncode, 0)
                self.assertIn(text, r.stdout)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[1:])
