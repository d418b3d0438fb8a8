#!/usr/bin/env python3
"""Independent check of the wire: a daemon and a TLV codec written here from
the documented host contract, driving a C client of the shared library."""
import os
import socket
import struct
import subprocess
import sys
import tempfile
import threading

def tlv(tag, value=b""):
    return struct.pack(">HH", tag, len(value)) + value


def message(cls, op, result, items):
    payload = b"".join(tlv(t, v) for t, v in items)
    return struct.pack(">BBHI", cls, op, len(payload), result) + payload


class Daemon:
    """Answers each request with the next scripted datagram (else result 0)."""

    def __init__(self, lipc_dir):
        self.path = os.path.join(lipc_dir, "lipc-0a7280")
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.sock.bind(self.path)
        self.sock.settimeout(0.2)
        self.script, self.received, self.stop = [], [], False
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def serve(self):
        while not self.stop:
            try:
                data, sender = self.sock.recvfrom(65536)
            except socket.timeout:
                continue
            self.received.append(data)
            self.sock.sendto(self.script.pop(0) if self.script else message(4, 0, 0, []), sender)

    def close(self):
        self.stop = True
        self.thread.join()
        self.sock.close()
        os.unlink(self.path)


checks = []  # True for each check that held


def check(name, got, want):
    checks.append(got == want)
    if got != want:
        print(f"FAIL {name}: got {got!r}, want {want!r}")


def main():
    client = sys.argv[1]
    with tempfile.TemporaryDirectory() as root:
        env = dict(os.environ, TE_LIPC_DIR=root, TE_PLATFORM_DIR=os.path.join(root, "p"))

        def run(*args):
            out = subprocess.run([client, *args], env=env, capture_output=True, text=True,
                                 timeout=60, check=True).stdout
            return out.split("\n")[:-1]

        check("no daemon: open fails", run("open"), ["-1"])

        daemon = Daemon(root)
        try:
            # (What the library makes of short or overlong replies, and which
            # requests it refuses to send, the transport tests cover.)
            cases = [
                # (name, request, scripted reply, expected result)
                ("bare result", message(1, 7, 0, [(12, b"")]), message(4, 7, 0x250C00BF, []), 0x250C00BF),
                ("items both ways",
                 message(2, 3, 0, [(0x0101, struct.pack(">I", 9)), (0x0102, b"abc")]),
                 message(4, 3, 0, [(0x0201, struct.pack(">IH", 1, 2))]), 0),
            ]
            for name, request, answer, result in cases:
                daemon.script = [answer]
                daemon.received.clear()
                got_rc, _, got_reply = run("send", request.hex())[0].partition(" ")
                check(name + ": request bytes", daemon.received, [request])
                check(name + ": result", int(got_rc, 16), result)
                check(name + ": reply bytes", bytes.fromhex(got_reply), answer)

            # Several exchanges on one held socket.
            daemon.received.clear()
            reqs = [message(1, i, 0, [(5, bytes([i]))]) for i in range(3)]
            daemon.script = [message(4, 0, 100 + i, []) for i in range(3)]
            lines = run("send", *(r.hex() for r in reqs))
            check("held socket results", [int(l.split()[0], 16) for l in lines], [100, 101, 102])
            check("held socket requests", daemon.received, reqs)
        finally:
            daemon.close()
    print(f"{checks.count(True)} passed, {checks.count(False)} failed")
    return 0 if all(checks) else 1


if __name__ == "__main__":
    sys.exit(main())
