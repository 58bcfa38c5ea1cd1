#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""counter watch on a terminal. Usage: counter_watch_test.py IFCCTL SOURCE-ROOT"""
import fcntl
import os
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

IFCCTL = sys.argv[1]
ENVIRONMENT = {**os.environ, "COLUMNS": "", "TERM": "xterm"}
ENTER, LEAVE = "\x1b[?1049h", "\x1b[?1049l"
DNS = "020000000002" "020000000001" "81000007" "0800" "450000200000000040110000" "0a0000010a000002" "04000035000c0000" "00000000"
SECONDS = 30


class Watch(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.state = os.path.join(folder.name, "chip.state")
        self.tool("classifier", "enable")
        self.tool("rule", "add", "dst_port", "53", "ip_proto", "udp", "vlan_id", "7")
        self.seen, self.status = "", None

    def tool(self, *words):
        subprocess.run([IFCCTL, "--state", self.state, *words], check=True, timeout=60, stdout=subprocess.DEVNULL, env=ENVIRONMENT)

    def start(self, *words, stdin=None, columns=80):
        """Runs the tool on a new terminal; stdin: a pipe with this text in place of the keyboard."""
        self.pid, self.master = pty.fork()
        if self.pid == 0:
            fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            if stdin is not None:
                reader, writer = os.pipe()
                os.write(writer, stdin.encode())
                os.close(writer)
                os.dup2(reader, 0)
            os.execve(IFCCTL, [IFCCTL, "--state", self.state, *words], ENVIRONMENT)
        self.addCleanup(self.end)
        self.settings = termios.tcgetattr(self.master)

    def end(self):
        if self.status is None:
            os.kill(self.pid, signal.SIGKILL)
            os.waitpid(self.pid, 0)
            self.status = -signal.SIGKILL
        if self.master is not None:
            os.close(self.master)
            self.master = None

    def read(self, seconds):
        if self.master is None or not select.select([self.master], [], [], seconds)[0]:
            return
        try:
            self.seen += os.read(self.master, 65536).decode()
        except OSError:  # the last descriptor of the terminal is closed
            time.sleep(seconds)

    def until(self, found):
        end = time.monotonic() + SECONDS
        while not found():
            self.assertLess(time.monotonic(), end, self.seen)
            self.read(0.05)

    def expect(self, pattern):
        """Waits for the pattern; what precedes its end is forgotten."""
        self.until(lambda: re.search(pattern, self.seen))
        found = re.search(pattern, self.seen)
        self.seen = self.seen[found.end():]
        return found

    def wait(self, flags=0):
        def ended():
            pid, status = os.waitpid(self.pid, os.WNOHANG | flags)
            if pid and os.WIFSTOPPED(status):
                return True
            if pid:
                self.status = os.waitstatus_to_exitcode(status)
            return bool(pid)
        self.until(ended)
        return self.status

    def restored(self):
        self.until(lambda: LEAVE in self.seen)
        self.assertTrue(self.seen.endswith("\x1b[?25h" + LEAVE), self.seen)
        self.assertEqual(termios.tcgetattr(self.master)[:4], self.settings[:4])

    def is_raw(self):
        return not termios.tcgetattr(self.master)[3] & (termios.ICANON | termios.ECHO)

    def test_counts_appear_and_q_quits(self):
        self.start("counter", "watch", "0.2")
        self.expect(re.escape(ENTER))
        self.expect(r"reading 1, every 0\.2 s, q quits")
        self.expect(r"  10        0      0          -        -  LUT1 entr")
        self.assertTrue(self.is_raw())
        self.tool("frame", "send", DNS)
        self.expect(r"  10        1     50 ")
        self.assertNotIn(LEAVE, self.seen)
        os.write(self.master, b"xq")
        self.assertEqual(self.wait(), 0)
        self.restored()

    def test_a_limit(self):
        self.start("counter", "watch", "0.1", "-n", "2")
        self.expect("reading 2 of 2, ")
        self.assertEqual(self.wait(), 0)
        self.restored()

    def test_signals(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGQUIT, signal.SIGHUP):
            with self.subTest(number):
                self.seen, self.status = "", None
                self.start("counter", "watch", "10")
                self.expect("reading 1, ")
                os.kill(self.pid, number)
                self.assertEqual(self.wait(), -number)
                self.restored()
                self.end()

    def test_the_interrupt_key(self):
        self.start("counter", "watch", "10")
        self.expect("reading 1, ")
        os.write(self.master, b"\x03")
        self.assertEqual(self.wait(), -signal.SIGINT)
        self.restored()

    def test_stopped_and_continued(self):
        self.start("counter", "watch", "10")
        self.expect("reading 1, ")
        os.write(self.master, b"\x1a")
        self.wait(os.WUNTRACED)
        self.assertIsNone(self.status)
        self.restored()
        self.seen = ""
        os.kill(self.pid, signal.SIGCONT)
        self.expect(re.escape(ENTER))
        self.expect("reading 1, ")
        self.assertTrue(self.is_raw())
        os.write(self.master, b"q")
        self.assertEqual(self.wait(), 0)
        self.restored()

    def test_lines_are_cut_at_the_edge(self):
        self.start("counter", "watch", "10")
        self.expect("dst_port 53")
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", 4, 22, 0, 0))
        text = self.expect(r"(?s)\x1b\[H(reading.*?)\x1b\[J").group(1).split("\x1b[K")
        self.assertEqual([line.strip("\r\n") for line in text if line], ["reading 1, every 10 s,", "", "rule  packets  bytes  ", "  10        0      0  "])

    def test_the_terminal_goes_away(self):
        self.start("counter", "watch", "10")
        self.expect("reading 1, ")
        os.close(self.master)
        self.master = None
        self.assertIn(self.wait(), (0, -signal.SIGHUP))

    def test_commands_from_a_pipe_and_keys_from_the_terminal(self):
        self.start("-b", "-", stdin="counter watch 10\nrule show -s\n")
        self.expect("reading 1, ")
        self.assertTrue(self.is_raw())
        os.write(self.master, b"q")
        self.assertEqual(self.wait(), 0)
        self.expect(re.escape(LEAVE))
        self.expect(r"^rule  packets  bytes  place ")
        self.assertEqual(termios.tcgetattr(self.master)[:4], self.settings[:4])

    def test_an_error_restores_the_terminal(self):
        self.start("counter", "watch", "0.5")
        self.expect("reading 1, ")
        with open(self.state, "w", encoding="ascii") as file:
            file.write("nothing")
        self.assertEqual(self.wait(), 2)
        self.expect(re.escape(LEAVE))
        self.expect("ifcctl: --state .*: accepted: a state file")
        self.assertEqual(termios.tcgetattr(self.master)[:4], self.settings[:4])

    def test_a_simple_terminal_gets_lines(self):
        ENVIRONMENT["TERM"] = "dumb"
        self.addCleanup(ENVIRONMENT.__setitem__, "TERM", "xterm")
        self.start("counter", "watch", "-n", "1")
        self.expect("reading 1 of 1\r\nrule ")
        self.assertEqual(self.wait(), 0)
        self.assertNotIn("\x1b", self.seen)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
