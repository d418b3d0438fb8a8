#!/usr/bin/env python3
"""Writes the seed corpora fuzz/corpus/<target>/: a few well-formed replies
per target (header: class, op, payload length, result; items: tag and length
big-endian, then the value). Run from anywhere; add a target's seeds below."""
import os
import struct


def item(tag, value):
    return struct.pack('>HH', tag, len(value)) + value


def reply(result, *items, msg_class=4, op=3):
    payload = b''.join(items)
    return struct.pack('>BBHI', msg_class, op, len(payload), result) + payload


def words(*v):
    return struct.pack('>%dI' % len(v), *v)


def ramp(n, start=1):
    return bytes((start + i) & 0xff for i in range(n))


sample = (struct.pack('>4I4H', 1, 2, 3, 0xffffffff, 1, 2, 3, 4) + b'tunnel-7'.ljust(16, b'\0')
          + words(10, 20, 30, 40) + bytes([3]) + bytes(7))

SEEDS = {
    'reply_reader': {
        'empty-ok': reply(0),
        'daemon-refusal': reply(0x250C00BF),
        'record': reply(0, item(1, sample)),
        'short-record': reply(0, item(1, sample[:20])),
        'two-items': reply(0, item(1, sample), item(2, words(7))),
        'trailing-bytes': reply(0, item(1, sample)) + bytes(12),
    },
    'tunnel_query': {
        'row': reply(0, item(101, ramp(128))),
        'short-row': reply(0, item(101, ramp(40))),
        'not-found': reply(0x40010005),
    },
    'counters': {
        'count': reply(0, item(100, words(42))),
        'short-count': reply(0, item(108, b'\x01\x02')),
        'notify-on': reply(0, item(0, words(1))),
    },
    'bandwidth': {
        'row': reply(0, item(3, ramp(292))),
        'entries': reply(0, item(3, words(1, 2, 3) + bytes([2]) + ramp(280))),
        'dste': reply(0, item(2, ramp(60))),
    },
    'debug': {
        'switches': reply(0, item(6, ramp(206))),
        'short': reply(0, item(6, words(0x80000001))),
    },
}

root = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'corpus')
for target, seeds in SEEDS.items():
    os.makedirs(os.path.join(root, target), exist_ok=True)
    for name, data in seeds.items():
        with open(os.path.join(root, target, name), 'wb') as f:
            f.write(data)
