#!/usr/bin/env python3
"""The generated dissector (temor.lua) read by tshark: a captured tectl
session decoded request by request and reply by reply, hostile datagrams
read without a Lua error, and every class, tag and field of the
descriptions named."""
import json
import os
import random
import re
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

# The byte-order check of a cross build has no tectl.
os.environ.setdefault("TECTL", "tectl")
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import e2e_test as e2e  # noqa: E402  (Sim, tectl, request)

LUA = os.environ["TEMOR_LUA"]
GEN = os.environ.get("DISSECTOR_GEN")
TSHARK = shutil.which("tshark")
DAEMON = "lipc-0a7280"


# ---- captures ---------------------------------------------------------------------

def _option(code, data):
    return struct.pack("<HH", code, len(data)) + data + bytes(-len(data) % 4)


def _block(kind, body):
    return struct.pack("<II", kind, 12 + len(body)) + body + struct.pack("<I", 12 + len(body))


def pcapng(packets, interface=DAEMON):
    """A capture as te-simd writes one: exported PDUs naming temor, the
    direction in the packet flags, the peer and byte order in a comment.
    packets: (time, inbound, peer, byte order, datagram)."""
    out = _block(0x0A0D0D0A, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1))
    out += _block(1, struct.pack("<HHI", 252, 0, 0) + _option(2, interface.encode()) + _option(9, b"\x09") + _option(0, b""))
    for when, inbound, peer, order, data in packets:
        pdu = struct.pack(">HH", 12, 8) + b"temor\0\0\0" + struct.pack(">HH", 0, 0) + data
        ns = int(when * 1e9)
        body = struct.pack("<IIIII", 0, ns >> 32, ns & 0xFFFFFFFF, len(pdu), len(pdu)) + pdu + bytes(-len(pdu) % 4)
        body += _option(2, struct.pack("<I", 1 if inbound else 2))
        body += _option(1, f"peer {peer}\nbyte order {order}-endian".encode()) + _option(0, b"")
        out += _block(6, body)
    return out


class Relay(threading.Thread):
    """Stands in the daemon's place in a local-IPC directory of its own and
    forwards each datagram to te-simd and its reply back, noting both as a
    capture does (the peer is the client's socket name)."""

    def __init__(self, sim):
        super().__init__(daemon=True)
        self.dir = tempfile.TemporaryDirectory()
        self.env = dict(sim.env, TE_LIPC_DIR=self.dir.name)
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.sock.bind(os.path.join(self.dir.name, DAEMON))
        self.sock.settimeout(0.2)
        self.upstream = sim.socket_path
        self.packets = []
        self.running = True
        self.start()

    def run(self):
        while self.running:
            try:
                data, peer = self.sock.recvfrom(65536)
            except socket.timeout:
                continue
            # An abstract socket name (a leading zero byte) is written with @.
            name = "@" + peer[1:].decode(errors="replace") if isinstance(peer, bytes) else peer
            self.packets.append((time.time(), True, name, sys.byteorder, data))
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as up:
                up.bind("")
                up.settimeout(5)
                up.connect(self.upstream)
                up.send(data)
                try:
                    reply = up.recv(65536)
                except socket.timeout:
                    continue
            self.packets.append((time.time(), False, name, sys.byteorder, reply))
            self.sock.sendto(reply, peer)

    def stop(self):
        self.running = False
        self.join()
        self.sock.close()
        self.dir.cleanup()


def dissect(capture, *extra):
    """tshark's two passes over a capture with the dissector: the JSON
    packets and the standard error."""
    r = subprocess.run([TSHARK, "-r", capture, "-X", "lua_script:" + LUA, "-2", "-Y", "temor or frame",
                        "-T", "json", "--no-duplicate-keys", *extra],
                       capture_output=True, text=True, errors="replace", timeout=120)
    return json.loads(r.stdout or "[]"), r.stderr


def info_column(capture):
    """The Info column of each packet, from tshark's two passes."""
    r = subprocess.run([TSHARK, "-r", capture, "-X", "lua_script:" + LUA, "-2", "-Y", "temor or frame",
                        "-T", "fields", "-e", "_ws.col.Info"], capture_output=True, text=True, errors="replace", timeout=120)
    return r.stdout.splitlines()


def lua_errors(stderr):
    return [l for l in stderr.splitlines() if "Lua" in l or "lua" in l]


def walk(node, out):
    """Every temor.* field of a decoded tree, in order: name -> [values]."""
    if isinstance(node, dict):
        for k, v in node.items():
            if k.startswith("temor.") and not isinstance(v, dict):
                out.setdefault(k, []).extend(v if isinstance(v, list) else [v])
            else:
                walk(v, out)
    elif isinstance(node, list):
        for v in node:
            walk(v, out)
    return out


def experts(node, out):
    """The texts of every expert info of a tree."""
    if isinstance(node, dict):
        for k, v in node.items():
            if k == "_ws.expert.message":
                out.extend(v if isinstance(v, list) else [v])
            else:
                experts(v, out)
    elif isinstance(node, list):
        for v in node:
            experts(v, out)
    return out


def temor_of(packet):
    return packet["_source"]["layers"].get("temor")


def same(expected, shown):
    """A value tectl printed and the one tshark shows: numbers alike, byte
    runs as hex with or without colons, text as text."""
    if isinstance(expected, int):
        try:
            return int(shown, 0) == expected
        except ValueError:
            return False
    plain = shown.replace(":", "")
    if expected in (shown, plain):
        return True
    try:  # a byte run that tectl shows as the text it holds
        return bytes.fromhex(plain).rstrip(b"\0").decode() == expected
    except ValueError:
        return False


def flatten(row):
    """A tectl --json row as filter suffixes and their values in order."""
    out = {}
    for k, v in row.items():
        if isinstance(v, list) and v and isinstance(v[0], dict):
            for obj in v:
                for m, e in obj.items():
                    out.setdefault(k + "." + m, []).append(e)
        elif isinstance(v, list):
            out.setdefault(k, []).extend(v)
        else:
            out.setdefault(k, []).append(v)
    return out


def filter_word(s):
    return re.sub(r"[^a-z0-9]", "_", s)


# ---- the descriptions -------------------------------------------------------------

def described():
    """What dissector_gen --expect lists: fields, classes, setters, queries."""
    lines = subprocess.run([GEN, "--expect"], capture_output=True, text=True, check=True).stdout.splitlines()
    out = {"field": [], "class": [], "setter": [], "query": []}
    for line in lines:
        kind, _, rest = line.partition(" ")
        out[kind].append(rest)
    return out


def setter_request(cls, tag, key_length, length, op=0):
    """A request of a setter row: its key item (a key of 4 bytes 7, a name
    "p1"), then a value of the row's length."""
    items = []
    if key_length >= 0:
        items.append((0, struct.pack(">I", 7) if key_length == 4 else b"p1".ljust(key_length, b"\0")[:key_length]))
    items.append((tag, bytes(i % 251 + 1 for i in range(length))))
    return e2e.request(cls, op, *items)


@unittest.skipIf(TSHARK is None, "tshark is not installed (scripts/install-deps.sh wire)")
class WireTest(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.addCleanup(self.tmp.cleanup)

    def write(self, packets, name="cap.pcapng"):
        path = os.path.join(self.tmp.name, name)
        with open(path, "wb") as f:
            f.write(pcapng(packets))
        return path


class SessionTest(WireTest):
    def commands(self, env):
        """tectl's setter commands with arguments, from its own command list
        and usage lines (1 for numbers, "p1" for names), then its reading
        commands (show ..., FAMILY show, status)."""
        sets, shows = [], []
        for command in e2e.tectl(env, "--commands").stdout.splitlines():
            words = command.split()
            if words[0] in ("mpls-te", "service") or words[-1] in ("on", "off") or words == ["show", "settings"]:
                continue
            usage = e2e.tectl(env, *words, "--help").stdout
            args = re.search(r"^usage: tectl %s(.*)$" % re.escape(command), usage, re.M).group(1).split()
            args = ["p1" if a.strip("[]") in ("NAME", "KEY") and words[0] == "path" or a == "NAME" else "1"
                    for a in args if a != "[--undo]" and not a.startswith("[")]
            (shows if "show" in words or words == ["status"] else sets).append(words + args)
        return sets, shows

    def test_a_tectl_session_is_decoded_whole(self):
        # The session goes through a relay that captures it; te-simd captures
        # it too where it can (--capture): both captures hold the same
        # datagrams in the same order.
        own = os.path.join(self.tmp.name, "simd.pcapng")
        SIMD_CAPTURES = "--capture" in subprocess.run([e2e.SIMD, "--help"], capture_output=True, text=True).stdout
        with e2e.Sim(*(["--capture", own] if SIMD_CAPTURES else [])) as sim:
            relay = Relay(sim)
            try:
                env = relay.env
                self.assertEqual(e2e.tectl(env, "mpls-te", "on").returncode, 0)
                sets, shows = self.commands(env)
                self.assertGreater(len(sets), 40)
                for argv in [["tunnel", "create", "7", "t7"], ["path", "p1", "create"]] + sets:
                    e2e.tectl(env, *argv)
                printed = []  # (what was read, rows, first packet, last packet)
                for argv in shows:
                    before = len(relay.packets)
                    r = e2e.tectl(env, "--json", *argv)
                    self.assertEqual(r.returncode, 0, argv)
                    what = argv[1] if argv[0] == "show" else argv[0]
                    printed.append((what, r.json if isinstance(r.json, list) else [r.json], before, len(relay.packets)))
                settings = e2e.tectl(env, "--json", "show", "settings").json
            finally:
                relay.stop()
        for capture in [self.write(relay.packets, "relay.pcapng")] + ([own] if SIMD_CAPTURES else []):
            with self.subTest(capture=os.path.basename(capture)):
                self.check_session(capture, len(relay.packets), printed, settings)

    def check_session(self, capture, count, printed, settings):
        packets, stderr = dissect(capture)
        self.assertEqual(lua_errors(stderr), [])
        self.assertEqual(len(packets), count)
        decoded = []
        for n, p in enumerate(packets):
            t = temor_of(p)
            self.assertIsNotNone(t, n)
            self.assertEqual(experts(t, []), [], (n + 1, t))
            self.assertIn("temor.request_in" if n % 2 else "temor.response_in", walk(t, {}), n + 1)
            decoded.append(walk(t, {}))

        # Replies: every field of every row tectl printed, in order, where
        # the dissector has a filter name for it.
        names = set(subprocess.run([GEN, "--names"], capture_output=True, text=True, check=True).stdout.split())
        compared = set()
        for what, rows, first, last in printed:
            prefix, rows = self.as_fields(what, rows)
            shown = {}
            for d in decoded[first:last]:
                if d.get("temor.reply") == ["1"] and d.get("temor.result") == ["0x00000000"]:
                    for k, v in d.items():
                        if k.startswith(prefix):
                            shown.setdefault(k[len(prefix):], []).extend(v)
            expected = {}
            for row in rows:
                for k, v in flatten(row).items():
                    expected.setdefault(k, []).extend(v)
            with self.subTest(read=what):
                for k, values in expected.items():
                    if prefix + k not in names or (what == "p2mp-dests" and k in ("key", "selector")):
                        continue  # filled by the library or tectl (a p2mp-dests row's key is the request's)
                    got = shown.get(k, [])
                    if what == "trap":  # the notification state is read for both of its columns
                        values = values * len(got)
                    self.assertEqual(len(got), len(values), (what, k, values, got))
                    for e, g in zip(values, got):
                        self.assertTrue(same(e, g), (what, k, e, g))
                    compared.add(what)
        self.assertGreater(len(compared), 15, compared)

        # Requests: each setting te-simd holds is the value of the last
        # request of its setter and key.
        requests = [d for d in decoded if d.get("temor.reply") == ["0"]]
        for s in settings:
            family, name = s["setter"].split(" ", 1)
            field = "temor.%s.%s" % (filter_word(family), filter_word(name))
            with self.subTest(setter=s["setter"]):
                mine = [d for d in requests if d.get("temor.setter") == [s["setter"]] and
                        (s["key"] is None or same(s["key"], d.get("temor.key.id", d.get("temor.key.name", [""]))[0]))]
                self.assertTrue(mine, s)
                self.check_setting(s, field, mine[-1])

    @staticmethod
    def as_fields(what, rows):
        """The filter prefix of what a reading command printed, and its rows
        with the keys the dissector gives them."""
        if what == "counters":
            return "temor.scalar.", [{filter_word(r["counter"]): r["value"] for r in rows}]
        if what == "trap":
            return "temor.", rows
        if what in ("paths", "path"):
            return "temor.expath.", [{("hop" if k == "hops" else k): v for k, v in r.items()} for r in rows]
        return "temor.%s." % filter_word(what), rows

    def check_setting(self, s, field, shown):
        value = s["value"]
        if value == "on":
            return
        if isinstance(value, dict):
            for k, v in flatten(value).items():
                got = shown.get(field + "." + k, [])
                self.assertTrue(got and all(same(e, g) for e, g in zip(v, got)), (s, k, got))
            return
        if field + ".metric" in shown:  # a metric, then the selector's octet
            got = struct.pack(">IB", int(shown[field + ".metric"][0]), int(shown[field + ".selector"][0])) + bytes(3)
            self.assertEqual(got.hex(), value, s)
            return
        if field not in shown:  # a record sent longer than its layout: te-simd shows its bytes
            self.assertTrue(any(f.startswith(field + ".") for f in shown), s)
            return
        got = shown[field][0]
        if isinstance(value, str) and not same(value, got):
            # A number in the sender's byte order: te-simd reports its bytes.
            self.assertEqual(int.from_bytes(bytes.fromhex(value), sys.byteorder), int(got, 0), s)
        else:
            self.assertTrue(same(value, got), (s, got))


class HostileTest(WireTest):
    @staticmethod
    def requests(rng, n):
        """n requests: of every setter row and query, a third of them mutated
        (bytes changed, cut short, lengthened: lengths that lie), some noise."""
        d = described()
        seeds = [setter_request(*map(int, s.split()[:4])) for s in d["setter"]]
        seeds += [e2e.request(4, op, (int(q.split()[0]), struct.pack(">I", 1))) for q in d["query"] for op in (3, 4, 5)]
        seeds += [e2e.request(0xF0, 3, (0, bytes(4)))]
        for i in range(n):
            req = bytearray(rng.choice(seeds))
            if i % 3 == 0:
                for _ in range(rng.randrange(1, 4)):
                    req[rng.randrange(len(req))] = rng.randrange(256)
                if rng.random() < 0.3:
                    req = req[:rng.randrange(len(req) + 1)]
                elif rng.random() < 0.3:
                    req += rng.randbytes(rng.randrange(30))
            elif i % 7 == 0:
                req = bytearray(rng.randbytes(rng.randrange(40)))
            yield bytes(req)

    def check(self, capture, count, *wanted):
        decoded, stderr = dissect(capture)
        self.assertEqual(lua_errors(stderr), [])
        self.assertEqual(len(decoded), count)
        texts = experts(decoded, [])
        self.assertFalse([x for x in texts if "dissector fault" in x])
        for w in wanted:
            self.assertTrue(any(w in x for x in texts), w)

    def test_random_and_mutated_datagrams_are_read_without_a_lua_error(self):
        # Requests and answers of every degree of sense, from peers of
        # either byte order; some requests stay unanswered.
        rng = random.Random(28)
        answer = e2e.random_answer(rng)
        packets, t = [], 1.0
        for req in self.requests(rng, 1500):
            peer = "c%d" % rng.randrange(4)
            order = rng.choice(["big", "little"])
            packets.append((t, True, peer, order, req))
            if rng.random() < 0.9:
                packets.append((t + 0.001, False, peer, order, answer(req.ljust(10, b"\0"))))
            t += 0.01
        self.check(self.write(packets), len(packets), "shorter than the header", "runs past the payload",
                   "payload length", "without a reply", "not expected in this reply")

    def test_te_simds_capture_of_hostile_requests_is_read_without_a_lua_error(self):
        # The same kind of requests sent to te-simd, read from its own capture.
        capture = os.path.join(self.tmp.name, "simd.pcapng")
        sent = 0
        with e2e.Sim("--capture", capture) as sim:
            if sim.proc.poll() is not None:
                self.skipTest("te-simd writes no captures")
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as s:
                s.bind("")
                s.settimeout(0.5)
                s.connect(sim.socket_path)
                for req in self.requests(random.Random(29), 400):
                    s.send(req)
                    sent += 1
                    try:
                        s.recv(65536)
                        sent += 1
                    except socket.timeout:
                        pass
        self.check(capture, sent, "shorter than the header", "payload length")


class ReplyCheckTest(WireTest):
    REQUEST, REPLY = 0, 1

    def test_a_reply_is_checked_against_its_request(self):
        # Each row: a request, its reply, which of the two is checked, an
        # expert text it must get (None: none), and what its Info shows.
        d = described()
        table = d["query"][0].split()  # a table: its rows have a tag of their own
        scalar = next(q.split() for q in d["query"] if q.split()[1] == "configured")
        word = next(q.split() for q in d["query"] if q.split()[1] == "tunnels-by-id")  # keyed by a number
        ask_scalar = e2e.request(4, 3, (int(scalar[0]), b""))
        rows = [
            (e2e.request(4, 3, (int(table[0]), struct.pack(">I", 1))), e2e.request(4, 3, (0xFFFF, bytes(4))),
             self.REPLY, "rows have tag", "GET %s" % table[1]),
            (ask_scalar, e2e.request(4, 3, (int(scalar[0]) + 1, bytes(4))), self.REPLY, "configured is tag",
             "GET configured"),
            (ask_scalar, e2e.request(4, 3, (int(scalar[0]), struct.pack(">I", 9))), self.REPLY, None,
             "GET configured → OK"),
            (ask_scalar, b"\x04\x03", self.REPLY, "shorter than the header", "reply of 2 bytes [malformed]"),
            # a reply padded out with zeros: one warning for its empty items
            (ask_scalar, e2e.request(4, 3, (int(scalar[0]), bytes(4)), *[(0, b"")] * 3), self.REPLY,
             "2 more items of tag 0", "→ OK [unexpected items]"),
            # a table keyed by a number asked with a key cut short
            (e2e.request(4, 3, (int(word[0]), b"\x01")), e2e.request(4, 3), self.REQUEST,
             "key of 1 bytes, 4 expected", "GET %s [malformed]" % word[1]),
        ]
        packets, t = [], 1.0
        for n, (req, reply, *_) in enumerate(rows):
            packets += [(t, True, "c%d" % n, "little", req), (t + 0.25, False, "c%d" % n, "little", reply)]
            t += 1
        packets.append((t, True, "c0", "little", rows[0][0]))  # never answered
        capture = self.write(packets)
        decoded, stderr = dissect(capture)
        self.assertEqual(lua_errors(stderr), [])
        infos = info_column(capture)
        for n, (_, _, which, expert, info) in enumerate(rows):
            with self.subTest(row=n):
                texts = experts(temor_of(decoded[2 * n + which]), [])
                if expert is None:
                    self.assertEqual(texts, [])
                else:
                    self.assertTrue(any(expert in x for x in texts), texts)
                self.assertIn(info, infos[2 * n + which])
                self.assertEqual(walk(temor_of(decoded[2 * n + 1]), {}).get("temor.time"), ["0.250000000"])
        self.assertTrue(infos[-1].endswith("[no reply]"), infos[-1])


class HostOrderTest(WireTest):
    def test_values_in_the_senders_byte_order_follow_the_capture(self):
        # The private trap mask and the bundle IGP shortcut value travel as
        # the sender's machine holds them: the same number from a big- and
        # a little-endian host decodes alike, and a reply matches its peer's
        # request even when another peer's request came in between.
        mask, shortcut = 0x0102030405060708, 0x0A0B0C0D
        packets, t = [], 1.0
        for order in ("big", "little"):
            packets += [
                (t, True, "@a-" + order, order, e2e.request(0, 0, (13, mask.to_bytes(8, order)))),
                (t + 0.1, True, "@b-" + order, order,
                 e2e.request(7, 0, (0, struct.pack(">I", 3)), (3, shortcut.to_bytes(4, order)))),
                (t + 0.2, False, "@a-" + order, order, e2e.request(0, 0)),
                (t + 0.3, False, "@b-" + order, order, e2e.request(0, 0)),
            ]
            t += 1
        decoded, stderr = dissect(self.write(packets))
        self.assertEqual(lua_errors(stderr), [])
        fields = [walk(temor_of(p), {}) for p in decoded]
        for base in (0, 4):
            self.assertEqual(fields[base]["temor.trap.private"], [str(mask)])
            self.assertEqual(fields[base + 1]["temor.bundle.igp_shortcut"], [str(shortcut)])
            self.assertEqual(fields[base + 2]["temor.request_in"], [str(base + 1)])
            self.assertEqual(fields[base + 3]["temor.request_in"], [str(base + 2)])


class DescribedBytesTest(WireTest):
    def test_a_value_the_setter_builds_decodes_by_its_rows_layout(self):
        # The debug switches' value (flags, then the item in a 4-byte slot)
        # and one with no layout (the 16 bytes of a tunnel's Scrlsp).
        d = {s.split(" ", 5)[4] + " " + s.split(" ", 5)[5]: s.split() for s in described()["setter"]}
        debug, scrlsp = d["debug set"], d["tunnel scrlsp"]
        packets = [(1.0, True, "c", "little", e2e.request(int(debug[0]), 0, (int(debug[1]), bytes.fromhex("0102030400070000")))),
                   (2.0, True, "c", "little", setter_request(*map(int, scrlsp[:4])))]
        decoded, stderr = dissect(self.write(packets))
        self.assertEqual(lua_errors(stderr), [])
        fields = [walk(temor_of(p), {}) for p in decoded]
        self.assertEqual((fields[0]["temor.debug.set.debug_flags"], fields[0]["temor.debug.set.debug_item"]),
                         ([str(0x01020304)], ["7"]))
        self.assertEqual(len(bytes.fromhex(fields[1]["temor.tunnel.scrlsp"][0].replace(":", ""))), 16)


@unittest.skipUnless(os.environ.get("TE_CAPTURE_KEEP"), "run by ctest after e2e.ByteOrderTest")
class ByteOrderTest(WireTest):
    def test_te_simds_capture_of_its_byte_order_decodes_right(self):
        # te-simd's capture of the private trap mask and a bundle's IGP
        # shortcut sent in its own byte order (big-endian from the s390x
        # build), and of its settings report holding them.
        capture = os.environ["TE_CAPTURE_KEEP"]
        decoded, stderr = dissect(capture)
        self.assertEqual(lua_errors(stderr), [])
        fields = [walk(temor_of(p), {}) for p in decoded]
        self.assertEqual(len(fields), 6)
        self.assertTrue(all(f["temor.peer"] and f.get("temor.request_in", f.get("temor.response_in")) for f in fields))
        self.assertEqual([experts(temor_of(p), []) for p in decoded], [[]] * 6)
        mask, shortcut = str(0x0102030405060708), str(0x0A0B0C0D)
        self.assertEqual(fields[0]["temor.trap.private"], [mask])
        self.assertEqual(fields[2]["temor.bundle.igp_shortcut"], [shortcut])
        self.assertEqual(fields[2]["temor.key.id"], ["5"])
        report = fields[5]  # the settings te-simd holds, as it holds them
        self.assertEqual(report["temor.trap.private"], [mask])
        self.assertEqual(report["temor.bundle.igp_shortcut"], [shortcut])
        self.assertEqual(sorted(report["temor.setter"]), ["bundle igp-shortcut", "trap private"])


class DescriptionTest(WireTest):
    def test_every_field_class_and_tag_of_the_descriptions_is_named(self):
        d = described()
        # tshark -G reads no -X script: the dissector goes where a user puts
        # it, the personal plugins folder.
        plugins = os.path.join(self.tmp.name, ".local", "lib", "wireshark", "plugins")
        os.makedirs(plugins)
        shutil.copy(LUA, plugins)
        env = dict(os.environ, HOME=self.tmp.name)
        r = subprocess.run([TSHARK, "-G", "fields"], capture_output=True, text=True, env=env)
        self.assertEqual(lua_errors(r.stderr), [])
        registered = {line.split("\t")[2] for line in r.stdout.splitlines() if "\ttemor." in line}
        self.assertEqual(set(d["field"]) - registered, set())
        values = subprocess.run([TSHARK, "-G", "values"], capture_output=True, text=True, env=env).stdout
        for c in d["class"]:
            number, name = c.split(" ", 1)
            self.assertIn("V\ttemor.class\t%s\t%s" % (number, name), values)
        # One request per setter row and per query: each named, none unknown.
        packets, names, t = [], [], 1.0
        for s in d["setter"]:
            cls, tag, key_length, length, family, name = s.split(" ", 5)
            packets.append((t, True, "c", "little", setter_request(int(cls), int(tag), int(key_length), int(length))))
            names.append(family + " " + name)
            t += 1
        for q in d["query"]:
            tag, name = q.split(" ", 1)
            packets.append((t, True, "c", "little", e2e.request(4, 4, (int(tag), b""))))
            names.append(name)
            t += 1
        capture = self.write(packets)
        decoded, stderr = dissect(capture)
        self.assertEqual(lua_errors(stderr), [])
        self.assertEqual(len(decoded), len(names))
        for p, info, name in zip(decoded, info_column(capture), names):
            self.assertIn(" %s" % name, info)
            self.assertFalse([x for x in experts(temor_of(p), []) if "nknown" in x or "has no" in x], name)


if __name__ == "__main__":
    unittest.main()
