#!/usr/bin/env python3
"""Checks that the places which must agree with the library's descriptions
do: the simulator answers exactly the library's tags with the library's
sizes, every table has a row kind in the example table file and the
simulator's usage and a tectl show command, every tectl command is
documented, and the table tags in the tools' documentation are the
library's.

    agreement.py DESCRIBE SOURCE_DIR   (TE_SIMD, TECTL, TE_TABLES as for the e2e tests)
"""
import os
import re
import struct
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))
from e2e_test import MALFORMED, SIMD, TABLES, TECTL, UNSUPPORTED, Sim, request  # noqa: E402

DESCRIBE, SOURCE = sys.argv[1:3]


def describe():
    """The library's own descriptions, from the describe program."""
    out = {"table": [], "list": [], "scalar": [], "query": [], "setter": []}
    for line in subprocess.run([DESCRIBE], capture_output=True, text=True, check=True).stdout.splitlines():
        kind, *fields = line.split()
        out[kind].append(fields)
    return out


LIB = describe()
TABLE_TAGS = {name: (int(tag), int(size)) for name, tag, size, _, _, _ in LIB["table"]}
REPLY_TAGS = {name: int(reply) for name, _, _, _, _, reply in LIB["table"]}
QUERY_TAGS = ({t for t, _ in TABLE_TAGS.values()} | {int(f[1]) for f in LIB["scalar"]}
              | {int(f[1]) for f in LIB["query"]})
# Tables with a list: the record's tag in replies, the list item's tag, one entry's size.
LISTS = {name: tuple(map(int, rest)) for name, *rest in LIB["list"]}
# (class, tag) -> (value length, key length or None); a row name may hold a blank.
SETTERS = {(int(f[-4]), int(f[-3])): (int(f[-2]), 4 if f[-1] == "keyed" else
                                      int(f[-1][4:]) if f[-1].startswith("key=") else None)
           for f in LIB["setter"]}


class SimulatorAgrees(unittest.TestCase):
    def setUp(self):
        self.sim = Sim()
        self.addCleanup(self.sim.stop)

    def ask(self, cls, op, *items):
        return self.sim.exchange(request(cls, op, *items))[0]

    def test_query_tags_are_the_librarys(self):
        served = {tag for tag in range(0, 512) if self.ask(4, 3, (tag, b"")) != UNSUPPORTED}
        self.assertEqual(served, QUERY_TAGS)

    def test_rows_have_the_librarys_sizes(self):
        for name, (tag, size) in TABLE_TAGS.items():
            with self.subTest(table=name):
                result, reply = self.sim.exchange(request(4, 4, (tag, bytes(16 if name == "tunnels" else 4))))
                if result == 0 and name in LISTS:  # the record's item, then whole entries
                    record_tag, list_tag, entry = LISTS[name]
                    self.assertEqual(reply[:4], struct.pack(">HH", record_tag, size))
                    got_tag, length = struct.unpack(">HH", reply[4 + size:8 + size])
                    self.assertEqual((got_tag, length % entry, len(reply)), (list_tag, 0, 8 + size + length))
                elif result == 0:  # first an item of the reply's tag and the table's size
                    self.assertEqual(reply[:4], struct.pack(">HH", REPLY_TAGS[name], size))

    def test_setters_are_the_librarys_with_their_lengths(self):
        accepted = set()
        last_tag = max(tag for _, tag in SETTERS)
        for cls in [c for c in range(0, 10) if c not in (4, 5)]:
            for tag in range(0, last_tag + 2):
                length, key = SETTERS.get((cls, tag), (4, 4 if cls in (1, 2, 3, 7, 9) else None))
                items = ([(0, bytes(key))] if key is not None else []) + [(tag, bytes(length))]
                if self.ask(cls, 0, *items) not in (UNSUPPORTED, MALFORMED):
                    accepted.add((cls, tag))
                if (cls, tag) in SETTERS:
                    items[-1] = (tag, bytes(length + 1))
                    self.assertEqual(self.ask(cls, 0, *items), MALFORMED, (cls, tag))
        self.assertEqual(accepted, set(SETTERS))


class DocumentsAgree(unittest.TestCase):
    def read(self, relative):
        with open(os.path.join(SOURCE, relative)) as f:
            return f.read()

    def test_every_table_in_the_example_file_and_the_usage(self):
        with open(TABLES) as f:
            kinds = {line.split()[0] for line in f if line.strip() and not line.lstrip().startswith("#")}
        usage = subprocess.run([SIMD, "--help"], capture_output=True, text=True).stdout
        for name in set(TABLE_TAGS) - {"tunnels-by-id"}:  # the same rows as tunnels
            with self.subTest(table=name):
                self.assertIn(name, kinds, "table %s has no row in %s" % (name, TABLES))
                self.assertRegex(usage, r"\b%s\b" % re.escape(name), "table %s is not in te-simd's usage" % name)

    def test_table_tags_and_sizes_in_the_tools_docs(self):
        docs = self.read("docs/tools.md")
        for name, (tag, size) in TABLE_TAGS.items():
            with self.subTest(table=name):
                row = re.search(r"^\|\s*%d\s*\|\s*`%s`\s*\|(.*)$" % (tag, re.escape(name)), docs, re.M)
                self.assertIsNotNone(row, "no row '| %d | `%s` |' in docs/tools.md" % (tag, name))
                sizes = re.findall(r"\((\d+) bytes\)", row.group(1))
                self.assertTrue(all(int(n) == size for n in sizes), row.group(0))

    def test_every_table_has_a_tectl_show_command(self):
        commands = subprocess.run([TECTL, "--commands"], capture_output=True, text=True, check=True)
        shown = set(commands.stdout.splitlines())
        for name in TABLE_TAGS:
            with self.subTest(table=name):
                self.assertIn("show " + name, shown, "table %s has no tectl show command" % name)

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
