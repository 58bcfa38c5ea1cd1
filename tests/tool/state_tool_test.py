#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""The chip that the tool keeps in a state file. Usage: state_tool_test.py IFCCTL"""
import fcntl
import json
import os
import random
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

IFCCTL = sys.argv[1]
KILLS = 200
FRAME = "ffffffffffff0200000000010800450000200001000040110000c0000201c0000202100013c4000c000000000000"  # UDP to 5060


class StateTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.file = os.path.join(self.folder.name, "chip")

    def run_tool(self, *args, text=None, **variables):
        environment = {"PATH": os.environ["PATH"], **variables}
        return subprocess.run([IFCCTL, *args], input=text, capture_output=True, text=True, timeout=60, env=environment)

    def tool(self, *args, text=None):
        return self.run_tool(*args, text=text, IFC_STATE=self.file)

    def good(self, *args, text=None):
        result = self.tool(*args, text=text)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stderr)
        return result.stdout

    def bad(self, code, *args, parts=()):
        result = self.tool(*args)
        self.assertEqual(result.returncode, code, result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        for part in parts:
            self.assertIn(part, result.stderr)
        return result

    def content(self):
        with open(self.file, "rb") as file:
            return file.read()

    def write(self, content):
        with open(self.file, "wb") as file:
            file.write(content)

    def rules(self):
        return len(json.loads(self.good("-j", "rule", "list")))

    # ------------------------------------------------------------------ what lasts

    def test_a_rule_lasts(self):
        self.good("rule", "add", "dst_port", "5060", "ip_proto", "udp")
        self.assertEqual(self.rules(), 1)
        self.good("table", "verify")
        self.good("rule", "add", "dst_port", "5061")
        self.assertEqual(self.rules(), 2)
        self.good("rule", "clear")
        self.assertEqual(self.rules(), 0)

    def test_switches_actions_and_counters_last(self):
        self.good("-b", "-", text="ppe on\nclassifier enable\nrule add dst_port 5060 action channel 3 queue 2\n")
        self.assertTrue(json.loads(self.good("-j", "classifier", "status"))["classifier"])
        self.good("rule", "add", "dst_port", "80", "action", "queue", "1")  # refused while the PPE is off
        for _ in range(3):
            sent = json.loads(self.good("-j", "frame", "send", FRAME))
            self.assertEqual(sent["action"]["channel"], 3)
        self.assertIn(f"{sent['rule']}", self.good("counter", "show", str(sent["rule"])))
        packets = re.findall(r"\b3\b", self.good("counter", "show", str(sent["rule"])))
        self.assertTrue(packets, "three frames were counted")
        self.assertEqual(self.good("result", "check", "lut1", str(sent["rule"] - 8)), "the last frame hit exactly this\n")

    def test_the_file_of_each_way_to_name_it(self):
        option = os.path.join(self.folder.name, "option")
        self.good("--state", option, "rule", "add", "dst_port", "1")
        self.assertTrue(os.path.exists(option))
        self.assertFalse(os.path.exists(self.file))
        home = os.path.join(self.folder.name, "home")
        result = self.run_tool("rule", "add", "dst_port", "1", HOME=home)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertTrue(os.path.exists(os.path.join(home, ".local/state/ifcctl/chip.state")))
        xdg = os.path.join(self.folder.name, "xdg")
        self.assertEqual(self.run_tool("ppe", "on", HOME=home, XDG_STATE_HOME=xdg).returncode, 0)
        self.assertTrue(os.path.exists(os.path.join(xdg, "ifcctl/chip.state")))

    def test_none_is_a_fresh_chip(self):
        self.good("rule", "add", "dst_port", "1")
        before = self.content()
        self.assertEqual(self.good("--state", "none", "rule", "list"), self.run_tool("rule", "list", IFC_STATE="none").stdout)
        self.good("--state", "none", "rule", "add", "dst_port", "2")
        self.assertEqual(self.content(), before)
        for words, part in (("--state", ""), "accepted: a file, or none"), (("--device", "debugfs", "--state", "none"), "only with --device sim"):
            result = self.tool(*words, "rule", "list")
            self.assertEqual(result.returncode, 2)
            self.assertIn(part, result.stderr)

    def test_a_batch_without_a_named_file_is_not_kept_and_says_so(self):
        home = os.path.join(self.folder.name, "home")
        result = self.run_tool("-b", "-", text="rule add dst_port 1\n", HOME=home)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stderr, "ifcctl: the batch runs on a fresh chip that is not kept; --state FILE keeps it\n")
        self.assertFalse(os.path.exists(home))
        result = self.run_tool("rule", "add", "dst_port", "1")  # no variable names a folder
        self.assertEqual(result.returncode, 0)
        self.assertIn("a fresh chip that is not kept", result.stderr)

    def test_nothing_is_written_when_nothing_changed(self):
        self.good("rule", "list")
        self.assertFalse(os.path.exists(self.file))
        self.good("rule", "add", "dst_port", "1")
        before = os.stat(self.file)
        self.good("rule", "list")
        self.good("table", "dump")
        after = os.stat(self.file)
        self.assertEqual((before.st_ino, before.st_mtime_ns), (after.st_ino, after.st_mtime_ns))

    def test_a_batch_that_fails_keeps_what_took_effect(self):
        result = self.tool("-b", "-", text="rule add dst_port 1\nrule add dst_port 2\nrule add dst_prt 3\nrule clear\n")
        self.assertEqual(result.returncode, 2)
        self.assertIn("stopped, 2 lines took effect", result.stderr)
        self.assertEqual(self.rules(), 2)

    def test_a_time_out_lasts_as_it_left_the_chip(self):
        self.good("rule", "add", "dst_port", "1")
        self.bad(4, "--done-after", "0", "op", "write_all_ifc_rule_to_hw", parts=["did not report completion"])
        self.assertEqual(self.rules(), 1)

    # ------------------------------------------------------------------ the revision

    def test_a_state_has_its_revision(self):
        self.good("--revision", "14", "rule", "add", "dst_port", "1")
        self.good("rule", "list")
        self.good("--revision", "14", "rule", "list")
        before = self.content()
        self.bad(2, "--revision", "3", "rule", "add", "dst_port", "2", parts=["--revision '3'", "accepted: 14", self.file])
        self.assertEqual(self.content(), before)

    # ------------------------------------------------------------------ files that are refused

    def test_what_is_no_state_is_refused_and_stays(self):
        self.good("rule", "add", "dst_port", "1")
        whole = self.content()
        flipped = bytearray(whole)
        flipped[1000] ^= 4
        newer = bytearray(whole)
        newer[8] = 2
        for content, reason in ((b"", "is cut short"), (whole[:-1], "is cut short"), (whole[:9], "is cut short"),
                                (whole + b"\0", "bytes after its end"), (bytes(flipped), "checksum"),
                                (bytes(newer), "a newer ifcctl"), (b"hello, world\n" * 400, "is no ifcctl state file")):
            self.write(content)
            for command in (("rule", "list"), ("rule", "add", "dst_port", "2")):
                result = self.bad(2, *command, parts=[f"--state '{self.file}'", reason, "it stays as it is"])
                self.assertEqual(result.stdout, "")
            self.assertEqual(self.content(), content)
        self.bad(2, "--state", self.folder.name, "rule", "list", parts=["a file that can be read"])
        pipe = os.path.join(self.folder.name, "pipe")
        os.mkfifo(pipe)
        self.bad(2, "--state", pipe, "rule", "list", parts=["is cut short"])

    def test_a_file_in_use_waits_and_is_then_refused(self):
        self.good("rule", "add", "dst_port", "1")
        with open(self.file + ".lock", "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            since = time.monotonic()
            self.bad(5, "rule", "list", parts=["another ifcctl", "nothing was changed"])
            self.assertGreater(time.monotonic() - since, 2)
            waiting = subprocess.Popen([IFCCTL, "-j", "rule", "list"], stdout=subprocess.PIPE, env={"IFC_STATE": self.file})
            time.sleep(0.2)
            self.assertIsNone(waiting.poll())
            fcntl.flock(lock, fcntl.LOCK_UN)
            self.assertEqual(len(json.loads(waiting.communicate(timeout=30)[0])), 1)

    def test_two_at_once_take_turns(self):
        programs = [subprocess.Popen([IFCCTL, "rule", "add", "dst_port", str(n)], stdout=subprocess.DEVNULL,
                                     env={"IFC_STATE": self.file}) for n in range(12)]
        self.assertEqual([program.wait(timeout=60) for program in programs], [0] * 12)
        self.assertEqual(self.rules(), 12)

    def test_no_folders_are_made_for_a_named_file(self):
        name = os.path.join(self.folder.name, "a", "b", "chip")
        for run in (lambda: self.tool("--state", name, "rule", "show"), lambda: self.run_tool("rule", "show", IFC_STATE=name)):
            result = run()
            self.assertEqual((result.returncode, result.stdout), (2, ""))
            self.assertIn("a file in a folder that exists; there is no ", result.stderr)
            self.assertEqual(os.listdir(self.folder.name), [])
        home = os.path.join(self.folder.name, "home")
        self.assertEqual(self.run_tool("rule", "add", "dst_port", "1", HOME=home).returncode, 0)
        self.assertTrue(os.path.exists(os.path.join(home, ".local/state/ifcctl/chip.state")))

    def test_a_place_that_cannot_be_written(self):
        # Below a file there is no folder, for root too.
        self.write(b"")
        below = os.path.join(self.file, "chip")
        result = self.run_tool("rule", "list", IFC_STATE=below)
        self.assertEqual(result.returncode, 2)
        self.assertIn("Not a directory", result.stderr)
        # The lock's name is taken by a folder: commands that only read work, what changes is refused.
        os.remove(self.file)
        self.good("rule", "add", "dst_port", "1")
        before = self.content()
        os.remove(self.file + ".lock")
        os.mkdir(self.file + ".lock")
        self.assertEqual(self.rules(), 1)
        self.bad(6, "rule", "add", "dst_port", "2", parts=["the change is not saved, the old state stays", "Is a directory"])
        self.assertEqual(self.content(), before)
        # The same for the unfinished file.
        os.rmdir(self.file + ".lock")
        os.mkdir(self.file + ".new")
        self.assertEqual(self.rules(), 1)
        self.bad(6, "rule", "add", "dst_port", "2", parts=["is not saved"])
        self.assertEqual(self.content(), before)

    def test_output_that_cannot_be_written_does_not_lose_the_state(self):
        with open("/dev/full", "wb") as full:
            result = subprocess.run([IFCCTL, "rule", "add", "dst_port", "1"], stdout=full, stderr=subprocess.PIPE,
                                    env={"IFC_STATE": self.file}, timeout=60)
        self.assertEqual(result.returncode, 6)
        self.assertEqual(self.rules(), 1)

    # ------------------------------------------------------------------ kill -9

    def test_a_kill_leaves_the_old_state_or_the_new(self):
        chance = random.Random(1)
        longest = 0.0
        for _ in range(5):
            since = time.monotonic()
            self.good("rule", "add", "dst_port", "1")
            self.good("rule", "clear")
            longest = max(longest, (time.monotonic() - since) / 2)
        old = new = killed = 0
        count = 0
        for n in range(KILLS):
            adds = count < 20
            words = ["rule", "add", "dst_port", str(1000 + n)] if adds else ["rule", "clear"]
            program = subprocess.Popen([IFCCTL, *words], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                       env={"IFC_STATE": self.file})
            time.sleep(chance.uniform(0, longest * 1.2))
            program.send_signal(signal.SIGKILL)
            killed += program.wait(timeout=60) == -signal.SIGKILL
            found = self.rules()
            wanted = count + 1 if adds else 0
            self.assertIn(found, (count, wanted))
            self.good("table", "verify")
            old += found == count
            new += found == wanted
            count = found
        self.assertGreater(killed, 10)
        self.assertGreater(old, 10)
        self.assertGreater(new, 10)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
