#!/usr/bin/env python3
"""A small SNMPv2c client over UDP (standard library only), for timing an
agent one request at a time without a client program's start-up cost.

  from snmp_client import Client
  with Client(("127.0.0.1", 16100)) as c:
      c.get(["1.3.6.1.2.1.1.3.0"])            # [(oid, (tag, value))]
      for oid, value in c.walk("1.3.6.1.4.1.32473", bulk=50): ...

  bench/snmp_client.py 127.0.0.1:16100 get 1.3.6.1.2.1.1.3.0
  bench/snmp_client.py 127.0.0.1:16100 walk 1.3.6.1.4.1.32473 [--bulk 50]

OIDs are dotted strings (a leading dot is allowed) and come back as tuples
of numbers. A value is its BER tag and the decoded Python value: a number
for INTEGER, Counter32, Gauge32, TimeTicks and Counter64, bytes for OCTET
STRING and Opaque, dotted text for an IpAddress, a tuple for an OID, None
for NULL and for the exceptions noSuchObject, noSuchInstance and
endOfMibView (told apart by their tags, below).
"""
import argparse
import itertools
import socket
import sys

INTEGER, OCTET_STRING, NULL, OID, SEQUENCE = 0x02, 0x04, 0x05, 0x06, 0x30
IP_ADDRESS, COUNTER32, GAUGE32, TIMETICKS, OPAQUE, COUNTER64 = 0x40, 0x41, 0x42, 0x43, 0x44, 0x46
NO_SUCH_OBJECT, NO_SUCH_INSTANCE, END_OF_MIB_VIEW = 0x80, 0x81, 0x82
GET, GETNEXT, RESPONSE, SET, GETBULK = 0xA0, 0xA1, 0xA2, 0xA3, 0xA5
EXCEPTIONS = (NO_SUCH_OBJECT, NO_SUCH_INSTANCE, END_OF_MIB_VIEW)
TYPE_NAMES = {INTEGER: "INTEGER", OCTET_STRING: "STRING", NULL: "NULL", OID: "OID", IP_ADDRESS: "IpAddress",
              COUNTER32: "Counter32", GAUGE32: "Gauge32", TIMETICKS: "Timeticks", OPAQUE: "Opaque",
              COUNTER64: "Counter64", NO_SUCH_OBJECT: "noSuchObject", NO_SUCH_INSTANCE: "noSuchInstance",
              END_OF_MIB_VIEW: "endOfMibView"}
ERRORS = ("noError", "tooBig", "noSuchName", "badValue", "readOnly", "genErr", "noAccess", "wrongType",
          "wrongLength", "wrongEncoding", "wrongValue", "noCreation", "inconsistentValue",
          "resourceUnavailable", "commitFailed", "undoFailed", "authorizationError", "notWritable",
          "inconsistentName")


class SnmpError(Exception):
    """An error status in a response: status (a number), index (1-based) and name."""

    def __init__(self, status, index):
        self.status, self.index = status, index
        self.name = ERRORS[status] if status < len(ERRORS) else str(status)
        super().__init__(f"{self.name} at varbind {index}")


# ---- BER encoding -----------------------------------------------------------

def _length(n):
    if n < 0x80:
        return bytes([n])
    body = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(body)]) + body


def tlv(tag, body):
    return bytes([tag]) + _length(len(body)) + body


def integer(n, tag=INTEGER):
    return tlv(tag, n.to_bytes(max(1, (n.bit_length() + 8) // 8), "big", signed=True))


def parse_oid(text):
    arcs = tuple(int(a) for a in text.strip(".").split("."))
    if len(arcs) < 2 or arcs[0] > 2 or (arcs[0] < 2 and arcs[1] >= 40) or min(arcs) < 0:
        raise ValueError(f"not an OID: {text}")
    return arcs


def oid(arcs):
    if isinstance(arcs, str):
        arcs = parse_oid(arcs)
    body = bytearray()
    for arc in (arcs[0] * 40 + arcs[1], *arcs[2:]):
        chunk = [arc & 0x7F]
        arc >>= 7
        while arc:
            chunk.append(0x80 | (arc & 0x7F))
            arc >>= 7
        body += bytes(reversed(chunk))
    return tlv(OID, bytes(body))


def message(community, pdu_type, request_id, oids, a=0, b=0):
    """A v2c message: a and b are error-status and error-index, or for
    GETBULK non-repeaters and max-repetitions."""
    binds = b"".join(tlv(SEQUENCE, oid(o) + tlv(NULL, b"")) for o in oids)
    pdu = tlv(pdu_type, integer(request_id) + integer(a) + integer(b) + tlv(SEQUENCE, binds))
    return tlv(SEQUENCE, integer(1) + tlv(OCTET_STRING, community) + pdu)


# ---- BER decoding -----------------------------------------------------------

def _read(data, at):
    """The TLV at data[at]: (tag, start of value, end of value)."""
    tag, n = data[at], data[at + 1]
    at += 2
    if n & 0x80:
        width = n & 0x7F
        n = int.from_bytes(data[at:at + width], "big")
        at += width
    if at + n > len(data):
        raise ValueError("truncated BER")
    return tag, at, at + n


def _items(data, start, end):
    while start < end:
        tag, s, e = _read(data, start)
        yield tag, s, e
        start = e


def _decode_oid(body):
    arcs, arc = [], 0
    for byte in body:
        arc = arc << 7 | byte & 0x7F
        if not byte & 0x80:
            arcs.append(arc)
            arc = 0
    first = min(arcs[0] // 40, 2)
    return (first, arcs[0] - 40 * first, *arcs[1:])


def value(tag, body):
    if tag == INTEGER:
        return int.from_bytes(body, "big", signed=True)
    if tag in (COUNTER32, GAUGE32, TIMETICKS, COUNTER64):
        return int.from_bytes(body, "big")
    if tag == OID:
        return _decode_oid(body)
    if tag == IP_ADDRESS:
        return ".".join(str(b) for b in body)
    if tag in (OCTET_STRING, OPAQUE):
        return bytes(body)
    return None


def parse_response(data):
    """(request id, error status, error index, [(oid, (tag, value))])."""
    _, s, e = _read(data, 0)
    (_, vs, ve), (_, cs, ce), (pdu_type, ps, pe) = itertools.islice(_items(data, s, e), 3)
    if pdu_type != RESPONSE:
        raise ValueError(f"not a response: PDU 0x{pdu_type:02x}")
    fields = list(_items(data, ps, pe))
    request_id, status, index = (int.from_bytes(data[a:b], "big", signed=True) for _, a, b in fields[:3])
    binds = []
    for _, bs, be in _items(data, fields[3][1], fields[3][2]):
        (_, os_, oe), (tag, xs, xe) = _items(data, bs, be)
        binds.append((_decode_oid(data[os_:oe]), (tag, value(tag, data[xs:xe]))))
    return request_id, status, index, binds


# ---- the client -------------------------------------------------------------

class Client:
    """One UDP socket to one agent; requests one at a time, each retried
    after timeout seconds, retries times."""

    def __init__(self, address, community="public", timeout=2.0, retries=2):
        self.community = community.encode() if isinstance(community, str) else community
        self.timeout, self.retries = timeout, retries
        self.sock = socket.socket(socket.AF_INET6 if ":" in address[0] else socket.AF_INET, socket.SOCK_DGRAM)
        self.sock.connect(address)
        self.request_id = 1000

    def close(self):
        self.sock.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def request(self, pdu_type, oids, a=0, b=0):
        """Sends one PDU and returns its response's varbinds; an error status
        raises SnmpError, no response after the retries TimeoutError."""
        self.request_id = self.request_id % 0x7FFFFFFF + 1
        datagram = message(self.community, pdu_type, self.request_id, oids, a, b)
        for _ in range(self.retries + 1):
            self.sock.send(datagram)
            self.sock.settimeout(self.timeout)
            try:
                while True:
                    request_id, status, index, binds = parse_response(self.sock.recv(65535))
                    if request_id == self.request_id:  # a late answer to an earlier try is skipped
                        break
            except socket.timeout:
                continue
            if status:
                raise SnmpError(status, index)
            return binds
        raise TimeoutError(f"no response in {self.retries + 1} tries of {self.timeout} s")

    def get(self, oids):
        return self.request(GET, oids)

    def getnext(self, oids):
        return self.request(GETNEXT, oids)

    def getbulk(self, oids, max_repetitions=10, non_repeaters=0):
        return self.request(GETBULK, oids, non_repeaters, max_repetitions)

    def walk(self, root, bulk=0):
        """Yields the varbinds under root in order: GETNEXT one at a time, or
        GETBULK of bulk repetitions."""
        root = parse_oid(root) if isinstance(root, str) else tuple(root)
        at = root
        while True:
            binds = self.getbulk([at], bulk) if bulk else self.getnext([at])
            for name, val in binds:
                if val[0] == END_OF_MIB_VIEW or name[:len(root)] != root:
                    return
                if name <= at:
                    raise ValueError(f"the agent went back: {'.'.join(map(str, name))} after "
                                     f"{'.'.join(map(str, at))}")
                yield name, val
                at = name
            if not binds:
                return


def show(name, val):
    tag, v = val
    if isinstance(v, bytes):
        v = '"' + v.decode("latin-1") + '"' if all(32 <= c < 127 for c in v) else v.hex(" ").upper()
    elif isinstance(v, tuple):
        v = "." + ".".join(map(str, v))
    return f".{'.'.join(map(str, name))} = {TYPE_NAMES.get(tag, hex(tag))}" + ("" if v is None else f": {v}")


def main():
    p = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    p.add_argument("agent", help="HOST:PORT")
    p.add_argument("command", choices=("get", "next", "walk"))
    p.add_argument("oids", nargs="+")
    p.add_argument("-c", "--community", default="public")
    p.add_argument("--bulk", type=int, default=0, help="walk with GETBULK of this many repetitions")
    args = p.parse_args()
    host, _, port = args.agent.rpartition(":")
    try:
        with Client((host.strip("[]"), int(port)), args.community) as c:
            if args.command == "walk":
                binds = [b for root in args.oids for b in c.walk(root, args.bulk)]
            else:
                binds = (c.get if args.command == "get" else c.getnext)(args.oids)
    except (SnmpError, TimeoutError, ValueError, OSError) as e:
        sys.exit(f"snmp_client: {e}")
    for name, val in binds:
        print(show(name, val))


if __name__ == "__main__":
    main()
