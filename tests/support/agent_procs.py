"""A private SNMP set-up for te-agentx: an snmpd master, te-simd and
te-agentx, all in one directory of the caller's (a temporary one), each
started by its path and stopped by its PID. A system snmpd is never used:
the master listens on a free loopback UDP port and on an AgentX socket in
that directory.

  with Setup(directory, simd=SIMD, agent=AGENT) as s:
      s.start_simd("--tables", path)
      s.start_snmpd()
      s.start_agent("--refresh", "0.5")
      s.wait_refreshes(1)
      snmp_client.Client(s.address) ...

Used by bench/agent_scale.py, the agent's heap test and its end-to-end
tests (tests/e2e/agent_test.py).
"""
import os
import re
import select
import signal
import socket
import subprocess
import sys
import time

SNMPD = "/usr/sbin/snmpd"
REFRESH_WORD = re.compile(r"(\w+)=(\S+)")


def free_udp_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def rss_bytes(pid, field="VmRSS"):
    """A process's resident bytes now, or (VmHWM) at their peak so far."""
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            if line.startswith(field + ":"):
                return int(line.split()[1]) * 1024
    return 0


def refresh_lines(text):
    """The agent's -v refresh lines as dicts of their key=value words (numbers
    as numbers); a line counts when it has a refresh and a rows word."""
    out = []
    for line in text.splitlines():
        words = dict(REFRESH_WORD.findall(line))
        if "refresh" in words and "rows" in words:
            out.append({k: float(v) if re.fullmatch(r"-?\d+(\.\d+)?", v) else v for k, v in words.items()})
    return out


class Setup:
    def __init__(self, directory, simd, agent, snmpd=SNMPD, te_enabled=True):
        self.dir, self.simd_path, self.agent_path, self.snmpd_path = directory, simd, agent, snmpd
        self.env = dict(os.environ, TE_PLATFORM_DIR=os.path.join(directory, "platform"),
                        TE_LIPC_DIR=os.path.join(directory, "lipc"),
                        SNMP_PERSISTENT_DIR=os.path.join(directory, "snmp-persist"), MIBS="")
        os.makedirs(os.path.join(self.env["TE_PLATFORM_DIR"], "services", "1"), exist_ok=True)
        if te_enabled:  # MPLS-TE running on the master node, as `tectl mpls-te on` leaves it
            with open(os.path.join(self.env["TE_PLATFORM_DIR"], "services", "1", "TE"), "w") as f:
                f.write("1\n")
        self.agentx = os.path.join(directory, "agentx.sock")
        self.port = None
        self.simd = self.snmpd = self.agent = None
        self.logs = {}

    @property
    def address(self):
        return ("127.0.0.1", self.port)

    def _log(self, name):
        path = os.path.join(self.dir, name + ".log")
        self.logs[name] = path
        return open(path, "w")

    @property
    def daemon_socket(self):
        """Where the daemon (te-simd, or a test's stand-in) listens."""
        return os.path.join(self.env["TE_LIPC_DIR"], "lipc-0a7280")

    def start_simd(self, *args):
        r, w = os.pipe()
        with self._log("simd") as log:
            self.simd = subprocess.Popen([self.simd_path, "--ready-fd", str(w), *args], env=self.env,
                                         pass_fds=(w,), stderr=log)
        os.close(w)
        with os.fdopen(r) as ready:
            if not ready.readline():
                raise RuntimeError(f"te-simd did not start: {self.log('simd')}")

    def start_snmpd(self, timeout=10, view=None):
        """A master of its own: read-only community public from loopback,
        AgentX on the socket in the directory; ready when that socket appears.
        With view (an OID), as a system's config has it: both communities,
        public and the read-write private, see only that subtree. Started
        again, it keeps its port."""
        if self.port is None:
            self.port = free_udp_port()
        conf = os.path.join(self.dir, "snmpd.conf")
        access = (f"view temor included {view}\nrocommunity public 127.0.0.1 -V temor\n"
                  "rwcommunity private 127.0.0.1 -V temor\n" if view else "rocommunity public 127.0.0.1\n")
        with open(conf, "w") as f:
            f.write(f"agentaddress udp:127.0.0.1:{self.port}\nmaster agentx\nagentXSocket {self.agentx}\n"
                    "agentXPerms 0600 0700\n" + access)
        with self._log("snmpd") as log:
            self.snmpd = subprocess.Popen([self.snmpd_path, "-f", "-Lo", "-C", "-c", conf, "-p",
                                           os.path.join(self.dir, "snmpd.pid"), "-r", "-I", "-smux"],
                                          env=self.env, stdout=log, stderr=subprocess.STDOUT)
        self._until(lambda: os.path.exists(self.agentx), timeout, "snmpd's AgentX socket", self.snmpd)

    def start_agent(self, *args, under=(), ready=False, timeout=15):
        """te-agentx with -v; with ready, returns once it has registered
        with the master (its --ready-fd)."""
        r, w = os.pipe() if ready else (None, None)
        with self._log("agent") as log:
            self.agent = subprocess.Popen([*under, self.agent_path, "-x", self.agentx, "-v", *args,
                                           *(["--ready-fd", str(w)] if ready else [])], env=self.env,
                                          stdout=log, stderr=subprocess.STDOUT, pass_fds=(w,) if ready else ())
        if ready:
            os.close(w)
            try:
                if not select.select([r], [], [], timeout)[0] or not os.read(r, 1):
                    raise RuntimeError(f"te-agentx did not register: {self.log('agent')}")
            finally:
                os.close(r)

    def log(self, name):
        with open(self.logs[name], errors="replace") as f:
            return f.read()

    def refreshes(self):
        return refresh_lines(self.log("agent"))

    def wait_refreshes(self, n, timeout=120):
        """Waits for the agent's n-th refresh line; returns every line so far."""
        self._until(lambda: len(self.refreshes()) >= n, timeout, f"{n} refreshes", self.agent)
        return self.refreshes()

    def _until(self, ready, timeout, what, proc):
        end = time.monotonic() + timeout
        while not ready():
            if proc.poll() is not None:
                raise RuntimeError(f"{what}: the process ended with status {proc.returncode}")
            if time.monotonic() > end:
                raise TimeoutError(f"no {what} within {timeout} s")
            time.sleep(0.01)

    @staticmethod
    def stop(proc, timeout=30):
        """SIGTERM, then the exit status (None for a process never started)."""
        if proc is None:
            return None
        if proc.poll() is None:
            proc.send_signal(signal.SIGTERM)
            try:
                proc.wait(timeout)
            except subprocess.TimeoutExpired:
                proc.kill()
                proc.wait()
        return proc.returncode

    def stop_all(self):
        return [self.stop(p) for p in (self.agent, self.snmpd, self.simd)]

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.stop_all()
        if exc[0] is not None:
            for name in self.logs:
                sys.stderr.write(f"--- {name} log (tail) ---\n{self.log(name)[-2000:]}\n")
