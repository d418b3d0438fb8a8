#!/usr/bin/env python3
"""te-simd --capture and --relay: the pcapng file read back by a small reader
of its own and by tshark (without any dissector). Needs te-simd only, so a
cross build runs ByteOrderTest with its te-simd under the emulator."""
import json
import os
import shlex
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

SIMD = os.environ["TE_SIMD"]
EMULATOR = shlex.split(os.environ.get("TE_SIMD_EMULATOR", ""))
BYTE_ORDER = os.environ.get("TE_BYTE_ORDER", sys.byteorder)  # te-simd's: big or little
TABLES = os.environ.get("TE_TABLES")
KEEP = os.environ.get("TE_CAPTURE_KEEP")  # where ByteOrderTest leaves its capture
TSHARK = shutil.which("tshark")
SOCKET = "lipc-0a7280"
PDU_HEADER = bytes([0, 12, 0, 8]) + b"temor\0\0\0" + bytes(4)
IN, OUT = 1, 2  # the packet block's direction flags


def request(cls, op, *items, length=None):
    payload = b"".join(struct.pack(">HH", tag, len(v)) + v for tag, v in items)
    return struct.pack(">BBHI", cls, op, len(payload) if length is None else length, 0) + payload


def options(data, order):
    """A block's options as (code, value) pairs, up to the end option."""
    found, pos = [], 0
    while pos + 4 <= len(data):
        code, n = struct.unpack_from(order + "HH", data, pos)
        if code == 0:
            break
        found.append((code, data[pos + 4:pos + 4 + n]))
        pos += 4 + (n + 3) // 4 * 4
    return found


def read_capture(path, lengths=None):
    """The interface's (link type, name) and each record as (direction, peer,
    byte order, datagram), checking the framing of every block; each
    record's length on the socket goes to lengths when given."""
    with open(path, "rb") as f:
        data = f.read()
    order = {b"\x1a\x2b\x3c\x4d": ">", b"\x4d\x3c\x2b\x1a": "<"}[data[8:12]]
    interface, records, pos = None, [], 0
    while pos < len(data):
        kind, size = struct.unpack_from(order + "II", data, pos)
        assert size % 4 == 0 and pos + size <= len(data), (pos, size)
        assert struct.unpack_from(order + "I", data, pos + size - 4)[0] == size
        body = data[pos + 8:pos + size - 4]
        if kind == 1:
            link = struct.unpack_from(order + "H", body)[0]
            interface = (link, dict(options(body[8:], order))[2].decode())
        elif kind == 6:
            _, _, _, cap, orig = struct.unpack_from(order + "5I", body)
            assert cap <= orig and body[20:20 + len(PDU_HEADER)] == PDU_HEADER
            if lengths is not None:
                lengths.append(orig - len(PDU_HEADER))
            opts = options(body[20 + (cap + 3) // 4 * 4:], order)
            comments = [v.decode() for c, v in opts if c == 1]
            flags = [struct.unpack(order + "I", v)[0] for c, v in opts if c == 2]
            assert len(comments) == 1 and len(flags) == 1, opts
            peer, byte_order = comments[0].split("\n")
            assert peer.startswith("peer ") and byte_order.startswith("byte order "), comments
            records.append((flags[0] & 3, peer[5:], byte_order[11:], body[20 + len(PDU_HEADER):20 + cap]))
        pos += size
    return interface, records


def tshark_fields(*args):
    """What tshark (no dissector for the datagrams) shows of each record."""
    r = subprocess.run([TSHARK, *args, "-T", "json", "-e", "frame.p2p_dir", "-e", "frame.comment",
                        "-e", "exported_pdu.prot_name", "-e", "frame.interface_name"],
                       capture_output=True, text=True, timeout=60)
    assert r.returncode == 0, r.stderr
    keys = ("frame.p2p_dir", "frame.comment", "exported_pdu.prot_name", "frame.interface_name")
    return [tuple(p["_source"]["layers"][k][0] for k in keys) for p in json.loads(r.stdout)]


def as_tshark(interface, records):
    """tshark's view of records read with read_capture: p2p_dir 1 is received."""
    return [({IN: "1", OUT: "0"}[d], f"peer {p}\nbyte order {b}", "temor", interface[1]) for d, p, b, _ in records]


class Simd:
    """te-simd (under the emulator in a cross build) in a local-IPC
    directory of its own, started and waited for until it listens."""

    def __init__(self, lipc, *args, stdout=None):
        self.lipc, self.socket_path = lipc, os.path.join(lipc, SOCKET)
        env = dict(os.environ, TE_LIPC_DIR=lipc)
        self.proc = subprocess.Popen([*EMULATOR, SIMD, *args], env=env, stdout=stdout, stderr=subprocess.PIPE)
        for _ in range(1000):
            if os.path.exists(self.socket_path) or self.proc.poll() is not None:
                break
            time.sleep(0.01)
        assert self.proc.poll() is None, self.proc.communicate()[1]
        self.err = None

    def stop(self):
        """Stops it (once); its standard error."""
        if self.err is None:
            if self.proc.poll() is None:
                self.proc.send_signal(signal.SIGTERM)
            self.err = self.proc.communicate(timeout=30)[1].decode()
            assert self.proc.returncode == 0, self.err
        return self.err


class Client:
    """A client socket with an abstract name, as the library's."""

    def __init__(self, path, timeout=10):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.sock.bind("")
        self.sock.settimeout(timeout)
        self.sock.connect(path)
        self.name = "@" + self.sock.getsockname()[1:].decode()

    def exchange(self, datagram):
        self.sock.send(datagram)
        return self.sock.recv(65536)


class CaptureCase(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.addCleanup(self.dir.cleanup)

    def path(self, name):
        return os.path.join(self.dir.name, name)

    def client(self, path, timeout=10):
        c = Client(path, timeout)
        self.addCleanup(c.sock.close)
        return c

    def simd(self, lipc, *args, **kw):
        s = Simd(self.path(lipc), *args, **kw)
        self.addCleanup(s.stop)
        return s


class CaptureTest(CaptureCase):
    # One of each: a request, one too short for a header, te-simd's own
    # settings report, a value in the sender's byte order.
    DATAGRAMS = [request(4, 3, (100, b"")), b"\x04\x03\x00", request(0xF0, 3, (0, bytes(4))),
                 request(0, 0, (13, (0x8000000000000001).to_bytes(8, BYTE_ORDER)))]

    def exchanges(self, sim):
        """Sends DATAGRAMS from two clients and one without a name (which
        gets no reply); the records the capture must hold, in order."""
        want = []
        for client in (self.client(sim.socket_path), self.client(sim.socket_path)):
            for d in self.DATAGRAMS:
                want += [(IN, client.name, BYTE_ORDER + "-endian", d),
                         (OUT, client.name, BYTE_ORDER + "-endian", client.exchange(d))]
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as unnamed:
            unnamed.sendto(self.DATAGRAMS[0], sim.socket_path)
        return want + [(IN, "(unnamed)", BYTE_ORDER + "-endian", self.DATAGRAMS[0])]

    def test_file_holds_every_datagram_written_out_while_running(self):
        capture = self.path("c.pcapng")
        sim = self.simd("lipc", "--capture", capture)
        want = self.exchanges(sim)
        time.sleep(1.3)  # written out within a second, not only at the end
        interface = (252, sim.socket_path)
        self.assertEqual(read_capture(capture), (interface, want))
        sim.stop()
        self.assertEqual(read_capture(capture), (interface, want))
        if TSHARK:
            self.assertEqual(tshark_fields("-r", capture), as_tshark(interface, want))

    def test_odd_peers_and_sizes(self):
        # A path-named client whose name holds a line break (it must not
        # forge the comment's byte-order line), an empty datagram, the
        # longest a header describes, and one longer still (cut, with its
        # length kept).
        capture = self.path("c.pcapng")
        sim = self.simd("lipc", "--capture", capture)
        odd = self.path("odd\nbyte order big-endian\\")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as c:
            c.bind(odd)
            c.settimeout(10)
            c.connect(sim.socket_path)
            sizes = [0, 8 + 0xFFFF, 70000]
            replies = []
            for n in sizes:
                c.send((request(4, 3, (100, bytes(0xFFFF - 4))) + bytes(n - 8 - 0xFFFF)) if n else b"")
                replies.append(c.recv(65536))
        sim.stop()
        lengths = []
        records = read_capture(capture, lengths)[1]
        name = odd.replace("\\", "\\x5c").replace("\n", "\\x0a")
        self.assertEqual({(r[1], r[2]) for r in records}, {(name, BYTE_ORDER + "-endian")})
        self.assertEqual(lengths, [n for pair in zip(sizes, map(len, replies)) for n in pair])
        self.assertEqual([len(r[3]) for r in records][4], 8 + 0xFFFF + 1)  # what the buffer held of it
        malformed = struct.unpack(">I", replies[2][4:8])[0]
        self.assertEqual(malformed, struct.unpack(">I", replies[0][4:8])[0])  # answered as the empty one is

    def test_live_into_tshark(self):
        if not TSHARK:
            self.skipTest("no tshark on PATH")
        sim = self.simd("lipc", "--capture", "-", stdout=subprocess.PIPE)
        reader = subprocess.Popen([TSHARK, "-i", "-", "-c", "2", "-T", "json", "-e", "frame.p2p_dir", "-e",
                                   "exported_pdu.prot_name"], stdin=sim.proc.stdout, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, text=True)
        sim.proc.stdout.close()
        client = self.client(sim.socket_path)
        client.exchange(self.DATAGRAMS[0])
        out, err = reader.communicate(timeout=30)
        self.assertEqual(reader.returncode, 0, err)
        layers = [p["_source"]["layers"] for p in json.loads(out)]
        self.assertEqual([(l["frame.p2p_dir"][0], l["exported_pdu.prot_name"][0]) for l in layers],
                         [("1", "temor"), ("0", "temor")])
        self.assertIsNone(sim.proc.poll(), "te-simd stopped with its reader")
        client.exchange(self.DATAGRAMS[0])  # and goes on answering once the reader is gone
        self.assertIn("capture stopped", sim.stop())

    def test_a_stalled_reader_holds_up_neither_replies_nor_exit(self):
        # A pipe nobody reads, sent far more than it and te-simd's own
        # buffer hold: every request is still answered, records past the
        # buffer are dropped whole, SIGTERM still ends te-simd promptly, and
        # what the pipe got is whole blocks.
        sim = self.simd("lipc", "--capture", "-", stdout=subprocess.PIPE)
        client = self.client(sim.socket_path)
        big = request(4, 3, (100, bytes(3900)))  # a record just under a pipe's atomic write
        for _ in range(1200):
            self.assertTrue(client.exchange(big))
        start = time.monotonic()
        sim.proc.send_signal(signal.SIGTERM)
        self.assertEqual(sim.proc.wait(timeout=10), 0)
        self.assertLess(time.monotonic() - start, 3)
        captured = self.path("c.pcapng")
        with open(captured, "wb") as f:
            f.write(sim.proc.stdout.read())
        sim.err = sim.proc.stderr.read().decode()
        sim.proc.stdout.close(), sim.proc.stderr.close()
        self.assertEqual(sim.err.count("capture reader is not keeping up: dropping records"), 1, sim.err)
        self.assertIn("records dropped", sim.err)
        interface, records = read_capture(captured)
        self.assertEqual(interface, (252, sim.socket_path))
        self.assertTrue(records and all(r[3] == big for r in records if r[0] == IN), len(records))


class RelayTest(CaptureCase):
    def test_passes_requests_and_replies_and_captures_both(self):
        daemon = self.simd("daemon", *(["--tables", TABLES] if TABLES else []))
        capture = self.path("r.pcapng")
        relay = self.simd("relay", "--relay", daemon.lipc, "--capture", capture)
        # Each client's replies come back to it, as the daemon gives them.
        direct, want = self.client(daemon.socket_path), []
        for client in (self.client(relay.socket_path), self.client(relay.socket_path)):
            for d in CaptureTest.DATAGRAMS[:3]:
                reply = client.exchange(d)
                self.assertEqual(reply, direct.exchange(d))
                want += [(IN, client.name, BYTE_ORDER + "-endian", d), (OUT, client.name, BYTE_ORDER + "-endian", reply)]
        relay.stop()
        self.assertEqual(read_capture(capture), ((252, daemon.socket_path), want))

    def test_without_a_daemon_requests_go_unanswered_until_one_listens(self):
        capture = self.path("r.pcapng")
        relay = self.simd("relay", "--relay", self.path("daemon"), "--capture", capture)
        client, d = self.client(relay.socket_path, timeout=1), CaptureTest.DATAGRAMS[0]
        with self.assertRaises(socket.timeout):
            client.exchange(d)
        client.sock.settimeout(10)
        daemon = self.simd("daemon")
        reply = client.exchange(d)
        err = relay.stop()
        self.assertIn(f"te-simd: no daemon listens on {daemon.socket_path} (No such file or directory): "
                      "requests go unanswered until one does", err)
        self.assertIn(f"te-simd: the daemon at {daemon.socket_path} takes requests again", err)
        self.assertEqual([r[:2] for r in read_capture(capture)[1]], [(IN, client.name)] * 2 + [(OUT, client.name)])
        self.assertEqual(read_capture(capture)[1][-1][3], reply)


    def test_a_client_let_go_for_a_new_one_while_its_reply_waits(self):
        # kMaxClients clients, then one more while the daemon's replies to
        # all of them wait: the oldest is let go, the relay goes on.
        daemon_dir = self.path("daemon")
        os.mkdir(daemon_dir)
        # The replies come from sockets of the daemon's name (bound there
        # in turn): one socket's send buffer holds some 60 unread.
        repliers = []
        for _ in range(33):
            s = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
            self.addCleanup(s.close)
            s.bind(os.path.join(daemon_dir, SOCKET))
            s.settimeout(10)
            repliers.append(s)
            if len(repliers) < 33:
                os.unlink(os.path.join(daemon_dir, SOCKET))
        daemon = repliers.pop()
        relay = self.simd("relay", "--relay", daemon_dir)
        relay_side = []
        for _ in range(1024):
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as c:
                c.bind("")
                c.sendto(CaptureTest.DATAGRAMS[0], relay.socket_path)
                relay_side.append(daemon.recvfrom(65536)[1])
        relay.proc.send_signal(signal.SIGSTOP)
        try:
            for n, address in enumerate(relay_side):
                repliers[n % len(repliers)].sendto(request(4, 3), address)
            late = self.client(relay.socket_path)
            late.sock.send(CaptureTest.DATAGRAMS[0])
        finally:
            relay.proc.send_signal(signal.SIGCONT)
        self.assertEqual(daemon.recv(65536), CaptureTest.DATAGRAMS[0])  # the new client's, passed on
        self.assertIsNone(relay.proc.poll(), relay.stop())
        relay.stop()


class CaptureUsageTest(CaptureCase):
    def test_refused_before_listening(self):
        os.mkdir(self.path("lipc"), 0o700)
        cases = [  # arguments, message after "te-simd: "
            (["--capture", self.path("no/such")], f"cannot write the capture file {self.path('no/such')}: "
                                                  "No such file or directory"),
            (["--capture", self.dir.name], f"cannot write the capture file {self.dir.name}: Is a directory"),
            (["--capture", "-"], "cannot write the capture file -: standard output is a terminal"),
            (["--capture"], "option --capture needs a value"),
            (["--relay", self.path("lipc")], f"--relay {self.path('lipc')} is te-simd's own $TE_LIPC_DIR"),
            (["--relay", self.dir.name, "--fault", "*:*=silent"], "option --fault has no use with --relay"),
            (["--relay", self.dir.name, "--state", self.path("s")], "option --state has no use with --relay"),
        ]
        env = dict(os.environ, TE_LIPC_DIR=self.path("lipc"))
        for end in os.openpty():
            self.addCleanup(os.close, end)
        terminal = end  # standard output of every case: only '-' minds it
        for args, message in cases:
            with self.subTest(args=args):
                r = subprocess.run([*EMULATOR, SIMD, *args], env=env, stdout=terminal,
                                   stderr=subprocess.PIPE, text=True, timeout=30)
                self.assertEqual(r.returncode, 2, r.stderr)
                self.assertTrue(r.stderr.startswith("te-simd: " + message), r.stderr)
                self.assertEqual(os.listdir(self.path("lipc")), [])


class ByteOrderTest(CaptureCase):
    """The two values that travel in the sender's byte order, captured with
    te-simd's byte order named (big-endian from the s390x build). The
    capture stays at $TE_CAPTURE_KEEP for readers of it."""

    def test_capture_names_te_simds_byte_order(self):
        capture = KEEP or self.path("byte-order.pcapng")
        os.makedirs(os.path.dirname(capture), exist_ok=True)
        sim = self.simd("lipc", "--capture", capture)
        client = self.client(sim.socket_path)
        sent = [request(0, 0, (13, (0x0102030405060708).to_bytes(8, BYTE_ORDER))),  # the private trap mask
                request(7, 0, (0, (5).to_bytes(4, "big")), (3, (0x0A0B0C0D).to_bytes(4, BYTE_ORDER))),  # bundle 5's IGP shortcut
                request(0xF0, 3, (0, bytes(4)))]  # the settings te-simd holds now
        replies = [client.exchange(d) for d in sent]
        self.assertEqual([r[4:8] for r in replies], [bytes(4)] * 3)
        for value in (sent[0][-8:], sent[1][-4:]):
            self.assertIn(value, replies[2])  # kept as sent
        sim.stop()
        interface, records = read_capture(capture)
        self.assertEqual([(r[0], r[2], r[3]) for r in records],
                         [(d, BYTE_ORDER + "-endian", g) for pair in zip(sent, replies) for d, g in zip((IN, OUT), pair)])
        if TSHARK:
            self.assertEqual(tshark_fields("-r", capture), as_tshark(interface, records))


if __name__ == "__main__":
    unittest.main()
