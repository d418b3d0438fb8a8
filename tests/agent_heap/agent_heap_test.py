#!/usr/bin/env python3
"""te-agentx keeps its heap over many refreshes: against te-simd with the
example tables and a private snmpd, with walks of its whole tree between
refreshes, it makes 1,000 refreshes; then SIGTERM ends it with status 0.

- The heap in use (the heap word of its -v refresh line) after the last
  refresh is within 10% of the heap after the tenth.
- Built with the sanitizers, the agent's exit handlers run (the sanitizer's
  statistics at exit are printed) and LeakSanitizer, one of them, finds
  nothing (it would say so and make the exit status non-zero); the heap
  figure, which the sanitizer's allocator does not keep, is not compared.

  agent_heap_test.py TE_SIMD TE_AGENTX TABLES [--sanitized] [--refreshes N]

--sanitized: the agent is built with the sanitizers. An empty TE_AGENTX (no
agent built) skips the test (status 77).
"""
import argparse
import os
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "support"))
sys.path.insert(0, os.path.join(HERE, "..", "..", "bench"))
import agent_procs  # noqa: E402
import snmp_client  # noqa: E402

BASE_OID = "1.3.6.1.4.1.32473"


def main():
    p = argparse.ArgumentParser()
    p.add_argument("simd")
    p.add_argument("agent")
    p.add_argument("tables")
    p.add_argument("--sanitized", action="store_true")
    p.add_argument("--refreshes", type=int, default=1000)
    args = p.parse_args()
    simd, agent, tables, refreshes = args.simd, args.agent, args.tables, args.refreshes
    if not agent:
        print("te-agentx is not built: skipped")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as d, agent_procs.Setup(d, simd, agent) as s:
        s.start_simd("--tables", tables)
        s.start_snmpd()
        if args.sanitized:  # statistics at exit: the exit handlers, the leak check among them, ran
            s.env["ASAN_OPTIONS"] = ":".join(filter(None, [os.environ.get("ASAN_OPTIONS"), "atexit=1"]))
        s.start_agent("--refresh", "0.01")
        walked = 0
        with snmp_client.Client(s.address, timeout=5) as c:
            for n in (10, refreshes // 4, refreshes // 2, refreshes * 3 // 4):
                s.wait_refreshes(n, timeout=600)
                walked += sum(1 for _ in c.walk(BASE_OID, 25))  # the request paths too
        lines = s.wait_refreshes(refreshes, timeout=600)
        status = s.stop(s.agent)
        log = s.log("agent")
    failures = []
    if status != 0:
        failures.append(f"exit status {status}")
    if args.sanitized and "AddressSanitizer exit stats" not in log:
        failures.append("the agent ended without its exit handlers (no leak check)")
    if "LeakSanitizer" in log or "ERROR: AddressSanitizer" in log:
        failures.append("the sanitizers reported:\n" + log[log.find("=="):][:4000])
    if walked == 0:
        failures.append("the walks found no object")
    tenth, last = lines[9], lines[refreshes - 1]
    sanitized = args.sanitized
    growth = (last["heap"] - tenth["heap"]) / tenth["heap"] if tenth["heap"] else float("inf")
    if not sanitized and abs(growth) > 0.10:
        failures.append(f"heap {tenth['heap']:.0f} bytes after refresh 10, {last['heap']:.0f} after "
                        f"{refreshes} ({growth:+.1%})")
    print(f"{refreshes} refreshes, {walked} objects walked; heap in use after 10: {tenth['heap']:.0f} bytes, "
          f"after {refreshes}: {last['heap']:.0f}" + (" (sanitizer build: not compared)" if sanitized else ""))
    for f in failures:
        print("FAIL:", f)
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
