#!/usr/bin/env python3
"""Checks that the places which must agree with the library's descriptions
do: the simulator answers exactly the library's tags with the library's
sizes, every table has a row kind in the example table file and the
simulator's usage, every tectl command is documented, and the table tags in
the tools' documentation are the library's.

    agreement.py DESCRIBE TE_SIMD TECTL SOURCE_DIR
"""
import os
import re
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

DESCRIBE, SIMD, TECTL, SOURCE = sys.argv[1:5]
UNSUPPORTED, MALFORMED = 0x40010007, 0x40010008


def describe():
    """The library's own descriptions, from the describe program."""
    out = {"table": [], "scalar": [], "query": [], "setter": []}
    for line in subprocess.run([DESCRIBE], capture_output=True, text=True, check=True).stdout.splitlines():
        kind, *fields = line.split()
        out[kind].append(fields)
    return out


LIB = describe()
TABLES = {name: (int(tag), int(size)) for name, tag, size, _, _ in LIB["table"]}
QUERY_TAGS = ({t for t, _ in TABLES.values()} | {int(f[1]) for f in LIB["scalar"]}
              | {int(f[1]) for f in LIB["query"]})
SETTERS = {(int(cls), int(tag)): (int(length), keyed == "keyed")
           for _, _, cls, tag, length, keyed in LIB["setter"]}


class Simulator:
    def __init__(self, *args):
        self.dir = tempfile.TemporaryDirectory()
        env = dict(os.environ, TE_LIPC_DIR=self.dir.name, TE_PLATFORM_DIR=self.dir.name)
        self.path = os.path.join(self.dir.name, "lipc-0a7280")
        self.proc = subprocess.Popen([SIMD, *args], env=env, stderr=subprocess.DEVNULL)
        for _ in range(500):
            if os.path.exists(self.path):
                break
            time.sleep(0.01)
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.sock.bind("")
        self.sock.settimeout(5)
        self.sock.connect(self.path)

    def ask(self, cls, op, *items):
        payload = b"".join(struct.pack(">HH", t, len(v)) + v for t, v in items)
        self.sock.send(struct.pack(">BBHI", cls, op, len(payload), 0) + payload)
        reply = self.sock.recv(65536)
        result = struct.unpack(">I", reply[4:8])[0]
        items, at = [], 8
        while at + 4 <= len(reply):
            tag, length = struct.unpack(">HH", reply[at:at + 4])
            items.append((tag, reply[at + 4:at + 4 + length]))
            at += 4 + length
        return result, items

    def close(self):
        self.sock.close()
        self.proc.terminate()
        self.proc.wait(timeout=10)
        self.dir.cleanup()


class SimulatorAgrees(unittest.TestCase):
    def setUp(self):
        self.sim = Simulator("--tables", os.path.join(SOURCE, "tools/examples/tables.txt"))

    def tearDown(self):
        self.sim.close()

    def test_query_tags_are_the_librarys(self):
        served = {tag for tag in range(0, 512)
                  if self.sim.ask(4, 3, (tag, b""))[0] != UNSUPPORTED}
        self.assertEqual(served, QUERY_TAGS)

    def test_rows_have_the_librarys_sizes(self):
        for name, (tag, size) in TABLES.items():
            with self.subTest(table=name):
                key = (tag, bytes(16 if name == "tunnels" else 4))
                result, items = self.sim.ask(4, 4, key)
                if result == 0:
                    self.assertEqual([(tag, size)], [(t, len(v)) for t, v in items])

    def test_setters_are_the_librarys_with_their_lengths(self):
        accepted = set()
        for cls in [c for c in range(0, 10) if c not in (4, 5)]:
            for tag in range(0, 40):
                length, keyed = SETTERS.get((cls, tag), (4, cls in (1, 2, 3, 7, 9)))
                items = ([(0, bytes(4))] if keyed else []) + [(tag, bytes(length))]
                if self.sim.ask(cls, 0, *items)[0] not in (UNSUPPORTED, MALFORMED):
                    accepted.add((cls, tag))
                if (cls, tag) in SETTERS:
                    items[-1] = (tag, bytes(length + 1))
                    self.assertEqual(self.sim.ask(cls, 0, *items)[0], MALFORMED, (cls, tag))
        self.assertEqual(accepted, set(SETTERS))


class DocumentsAgree(unittest.TestCase):
    def read(self, relative):
        with open(os.path.join(SOURCE, relative)) as f:
            return f.read()

    def test_every_table_in_the_example_file_and_the_usage(self):
        kinds = {line.split()[0] for line in self.read("tools/examples/tables.txt").splitlines()
                 if line.strip() and not line.lstrip().startswith("#")}
        usage = subprocess.run([SIMD, "--help"], capture_output=True, text=True).stdout
        for name in TABLES:
            if name == "tunnels-by-id":
                continue  # the same rows as tunnels
            with self.subTest(table=name):
                self.assertIn(name, kinds)
                self.assertRegex(usage, r"\b%s\b" % re.escape(name))

    def test_table_tags_and_sizes_in_the_tools_docs(self):
        docs = self.read("docs/tools.md")
        for name, (tag, size) in TABLES.items():
            with self.subTest(table=name):
                row = re.search(r"^\|\s*%d\s*\|\s*`%s`\s*\|(.*)$" % (tag, re.escape(name)), docs, re.M)
                self.assertIsNotNone(row, "no row '| %d | `%s` |' in docs/tools.md" % (tag, name))
                sizes = re.findall(r"\((\d+) bytes\)", row.group(1))
                self.assertTrue(all(int(n) == size for n in sizes), row.group(0))

    def test_every_tectl_command_is_documented(self):
        commands = subprocess.run([TECTL, "--commands"], capture_output=True, text=True, check=True)
        docs = self.read("docs/tools.md")
        families = {}  # "| `FAMILY` | `a ...`, `b ...` |" rows list a family's commands
        for line in docs.splitlines():
            m = re.match(r"\|\s*`([a-z-]+)`\s*\|(.*)\|\s*$", line)
            if m:
                families.setdefault(m.group(1), set()).update(re.findall(r"`([a-z0-9-]+)[ `]", m.group(2)))
        for command in commands.stdout.splitlines():
            with self.subTest(command=command):
                family, _, name = command.partition(" ")
                self.assertTrue("`%s" % command in docs or name in families.get(family, ()),
                                "'%s' is not in docs/tools.md" % command)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
