#!/usr/bin/env python3
"""docs/snmp.md says what te-agentx serves: its tables of the modules the
MIB imports, of the status objects and of the arcs under the base agree
with the module te-agentx writes (--print-mib) and the objects it lists
(--list-oids).

  agent_docs_test.py TE_AGENTX DOCS/snmp.md
An empty TE_AGENTX (no agent built) skips the test (status 77).
"""
import re
import subprocess
import sys


def run(agent, option):
    return subprocess.run([agent, option], capture_output=True, text=True, timeout=30, check=True).stdout


def doc_rows(text):
    """The cells of the markdown table rows, backquotes removed."""
    return [[c.strip().strip("`") for c in line.strip("|\n").split("|")]
            for line in text.splitlines() if line.startswith("| `")]


def main():
    agent, docs = sys.argv[1:3]
    if not agent:
        print("te-agentx is not built: skipped")
        sys.exit(77)
    with open(docs) as f:
        rows = doc_rows(f.read())
    failures = []

    imports = re.search(r"IMPORTS(.*?);", run(agent, "--print-mib"), re.S).group(1)
    served = {m: set(re.split(r"[\s,]+", names.strip()))
              for names, m in re.findall(r"((?:[\w-]+,?\s+)+?)FROM\s+([\w-]+)", imports)}
    documented = {r[0]: {n.strip("` ") for n in r[1].split(",")} for r in rows if r[0].startswith("SNMPv2-")}
    if served != documented:
        failures.append(f"imports: the module has {served}, the docs {documented}")

    objects = [line.split()[:2] for line in run(agent, "--list-oids").splitlines()]  # OID, name (and more)
    base = objects[0][0].rsplit(".", 2)[0]  # the first object is base.1.1
    arcs = lambda oid: oid[len(base):]
    status = {arcs(o): n for o, n in objects if re.fullmatch(r"\.1\.\d+", arcs(o)) and not n.endswith("Rows")}
    documented = {r[0]: r[1] for r in rows if re.fullmatch(r"\.1\.\d+", r[0])}
    if status != documented:
        failures.append(f"status objects: the agent has {status}, the docs {documented}")
    rows_objects = [n for o, n in objects if arcs(o).startswith(".1.7.")]
    if not rows_objects or not all(re.fullmatch(r"temor\w+Rows", n) for n in rows_objects):
        failures.append(f"rows objects under .1.7: {rows_objects}")

    top = {arcs(o).split(".")[1] for o, _ in objects}
    documented = {r[0].split(".")[1] for r in rows if re.match(r"\.\d+(\.[A-Z]|$)", r[0])}
    if not top <= documented:
        failures.append(f"arcs under the base: the agent serves {sorted(top)}, the docs describe {sorted(documented)}")

    for f in failures:
        print("FAIL:", f)
    if not failures:
        print(f"{len(served)} imported modules, {len(status)} status objects, arcs {sorted(top)} agree")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
