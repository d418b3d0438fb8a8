#!/usr/bin/env python3
"""te-simd against hostile or careless local clients and a hostile file
system: a client that never reads, a flood, a model that would grow without
bound, a loose socket directory, a file that is not a socket at its path."""
import os
import select
import socket
import stat
import struct
import subprocess
import sys
import tempfile
import time
import unittest

from e2e_test import SIMD, Sim, request

FULL = 0x40010009


class SimHostileTest(unittest.TestCase):
    def raw_client(self, sim):
        s = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        s.bind("")
        s.connect(sim.socket_path)
        return s

    def test_a_client_that_never_reads_does_not_hold_up_the_others(self):
        sim = Sim()
        try:
            lazy = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)  # its queue fills after a few
            lazy.bind("")
            for _ in range(300):
                lazy.sendto(request(4, 3, (100, b"")), sim.socket_path)
            start = time.monotonic()
            result, _ = sim.exchange(request(4, 3, (100, b"")))
            self.assertEqual(result, 0)
            self.assertLess(time.monotonic() - start, 2)
            lazy.close()
        finally:
            sim.stop()

    def test_the_model_stops_growing_at_its_limit(self):
        sim = Sim(tables=False)
        try:
            c = self.raw_client(sim)
            c.settimeout(5)
            codes = []
            for i in range(4097):  # one interface metric per interface index
                c.send(request(1, 0, (0, struct.pack(">I", i)), (8, struct.pack(">I", 1))))
                codes.append(struct.unpack(">I", c.recv(64)[4:8])[0])
            self.assertEqual(set(codes[:4096]), {0})
            self.assertEqual(codes[4096], FULL)
            c.send(request(1, 1, (0, struct.pack(">I", 0)), (8, struct.pack(">I", 1))))  # removal still works
            self.assertEqual(struct.unpack(">I", c.recv(64)[4:8])[0], 0)
            c.close()
        finally:
            sim.stop()

    def test_verbose_log_is_rate_limited_and_timestamped(self):
        sim = Sim("-v")
        try:
            c = self.raw_client(sim)
            c.settimeout(5)
            for _ in range(1500):
                c.send(request(4, 3, (100, b"")))
                c.recv(64)
            c.close()
        finally:
            sim.proc.send_signal(15)
            log = sim.proc.stderr.read().splitlines()
            sim.stop()
        self.assertLess(len(log), 200, log[-5:])
        self.assertTrue(any("suppressed" in line for line in log))
        self.assertRegex(log[-1], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d te-simd: ")

    def test_socket_and_directory_are_private(self):
        for extra, sock_mode, dir_mode in [((), 0o600, 0o700), (("--group",), 0o660, 0o750)]:
            with self.subTest(extra=extra):
                with tempfile.TemporaryDirectory() as root:
                    lipc = os.path.join(root, "lipc")
                    os.mkdir(lipc)
                    os.chmod(lipc, 0o777)
                    env = dict(os.environ, TE_LIPC_DIR=lipc, TE_PLATFORM_DIR=root)
                    proc = subprocess.Popen([SIMD, *extra], env=env, stderr=subprocess.PIPE, text=True)
                    path = os.path.join(lipc, "lipc-0a7280")
                    for _ in range(500):
                        if os.path.exists(path):
                            break
                        time.sleep(0.01)
                    self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), sock_mode)
                    self.assertEqual(stat.S_IMODE(os.stat(lipc).st_mode), dir_mode)
                    proc.terminate()
                    self.assertIn("warning", proc.communicate(timeout=10)[1])

    def test_a_file_that_is_not_a_socket_is_never_removed(self):
        with tempfile.TemporaryDirectory() as root:
            os.chmod(root, 0o700)
            path = os.path.join(root, "lipc-0a7280")
            with open(path, "w") as f:
                f.write("precious")
            env = dict(os.environ, TE_LIPC_DIR=root, TE_PLATFORM_DIR=root)
            r = subprocess.run([SIMD], env=env, capture_output=True, text=True, timeout=10)
            self.assertEqual(r.returncode, 1)
            self.assertIn("not a socket", r.stderr)
            with open(path) as f:
                self.assertEqual(f.read(), "precious")

    def test_ready_fd_says_when_requests_are_answered(self):
        with tempfile.TemporaryDirectory() as root:
            env = dict(os.environ, TE_LIPC_DIR=os.path.join(root, "lipc"), TE_PLATFORM_DIR=root)
            read_end, write_end = os.pipe()
            proc = subprocess.Popen([SIMD, "--ready-fd", str(write_end)], env=env, pass_fds=(write_end,),
                                    stderr=subprocess.DEVNULL)
            os.close(write_end)
            try:
                self.assertTrue(select.select([read_end], [], [], 10)[0])
                line = os.read(read_end, 4096).decode()
                self.assertEqual(line, os.path.join(env["TE_LIPC_DIR"], "lipc-0a7280") + "\n")
                self.assertTrue(stat.S_ISSOCK(os.stat(line.strip()).st_mode))
            finally:
                os.close(read_end)
                proc.terminate()
                proc.wait(timeout=10)
        r = subprocess.run([SIMD, "--ready-fd", "x"], capture_output=True, text=True, timeout=10)
        self.assertEqual(r.returncode, 2)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[1:])
