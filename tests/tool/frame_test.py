#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Frames through the tool: send, replay, fields, explain. Usage: frame_test.py IFCCTL SOURCE-ROOT"""
import gzip
import json
import os
import shutil
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import unittest

from capture_file import records

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
os.environ["IFC_STATE"] = "none"  # each run begins with a fresh chip
STACK = os.path.join(ROOT, "examples", "stack.pcap")
# Ethernet, IPv4 10.0.0.1 to 224.0.0.1, UDP 0x1234 to 53, no data.
DNS = "01005e0000010a0b0c0d0e0f08004500001c00010000401190ce0a000001e0000001123400350008ffff"
RULE = ("ppe on", "classifier enable", "rule add dst_port 53 ip_proto udp action queue 3 dscp 46")


def run(*args, text=None):
    return subprocess.run([IFCCTL, *args], input=text, capture_output=True, timeout=60)


def batch(*lines, args=()):
    result = run(*args, "-b", "-", text=("\n".join(lines) + "\n").encode())
    return result.returncode, result.stdout.decode(), result.stderr.decode()


def opened_in(folder, pid):
    """The files of this folder that the process has open."""
    files = []
    for name in os.listdir(f"/proc/{pid}/fd"):
        try:
            files.append(os.readlink(f"/proc/{pid}/fd/{name}"))
        except FileNotFoundError:  # closed in between
            pass
    return [file for file in files if file.startswith(folder)]


class Frames(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def test_send(self):
        code, out, err = batch(*RULE, "frame send " + DNS, "result check lut1 1", "counter show 9")
        self.assertEqual((code, err), (0, ""))
        self.assertIn("hits: LUT1-1\n", out)
        self.assertIn("the last frame hit exactly this\n", out)
        self.assertIn("    9          1                 42\n", out)
        code, out, _ = batch(*RULE, "frame send " + DNS, args=("-j",))
        sent = json.loads(out.splitlines()[-1])
        self.assertEqual((sent["rule"], sent["hits"]), (9, {"lut0": [], "lut1": [1]}))
        leaves = bytes.fromhex(sent["out"])
        self.assertEqual(leaves[15] >> 2, 46)
        words = struct.unpack(">10H", leaves[14:34])
        total = sum(words)
        self.assertEqual((total & 0xFFFF) + (total >> 16), 0xFFFF, "the header's checksum is right")

    def test_the_switch(self):
        _, out, _ = batch("ppe on", RULE[2], "frame send " + DNS)
        self.assertIn("hits: none\n", out)
        self.assertIn("the classifier is off\n", out)

    def test_a_miss(self):
        _, out, _ = batch(*RULE, "frame send " + DNS.replace("0035", "0036"), "result check none")
        self.assertIn("hits: none\n", out)
        self.assertIn("the last frame hit exactly this\n", out)

    def test_explain(self):
        code, out, _ = batch(*RULE, "rule add dst_port 54", "rule explain 9 " + DNS, "rule explain " + DNS, args=("-j",))
        self.assertEqual(code, 0)
        one, every = (json.loads(line) for line in out.splitlines()[-2:])
        self.assertTrue(one["hits"])
        self.assertEqual([c["holds"] for c in one["conditions"]], [True, True])
        self.assertEqual([rule["rule"] for rule in every], [9, 10], "nearest first")
        self.assertEqual(every[1]["conditions"][0]["frame"], 0x35)
        self.assertFalse(every[1]["hits"])
        code, out, _ = batch(*RULE, f"rule explain 9 {STACK}:1")
        self.assertEqual(code, 0)
        self.assertIn("FAILS", out)

    def test_replay(self):
        code, out, err = batch(*RULE, "frame replay " + STACK, args=("-j",))
        self.assertEqual((code, err), (0, ""))
        total = json.loads(out.splitlines()[-1])
        self.assertEqual((total["capture"], total["frames"]), ("stack.pcap", len(records(STACK))))
        port53 = [json.loads(line)["fields"].get("DPORT") for line in run("frame", "fields", STACK).stdout.splitlines()].count(53)
        self.assertGreater(port53, 0)
        self.assertEqual(total["hit"], port53)

    def test_replay_writes_what_was_acted_upon(self):
        for extra, expected in (("", len(records(STACK))), (" --only-hits", 1)):
            out = self.path("out.pcap")
            code, _, err = batch(*RULE, f"frame replay {STACK} -o {out}{extra}")
            self.assertEqual((code, err), (0, ""))
            self.assertEqual(len(records(out)), expected)

    def test_the_same_fields_from_every_kind_of_file(self):
        plain = run("frame", "fields", STACK).stdout
        self.assertEqual(len(plain.splitlines()), len(records(STACK)))
        with open(STACK, "rb") as file:
            data = file.read()
        for packer in ("gzip", "zstd", "xz"):
            if shutil.which(packer) is None:
                if os.environ.get("IFC_TEST_STRICT", "0") not in ("0", "OFF", ""):
                    self.fail(f"not installed: {packer}")
                print(f"SKIPPED captures packed by {packer}: not installed", file=sys.stderr)
                continue
            packed = subprocess.run([packer, "-c"], input=data, stdout=subprocess.PIPE, check=True).stdout
            with open(self.path(packer), "wb") as file:
                file.write(packed)
            self.assertEqual(run("frame", "fields", self.path(packer)).stdout, plain, packer)
        self.assertEqual(run("frame", "fields", "-", text=data).stdout, plain)
        with open(self.path("a.pcapng"), "wb") as file:  # section, interface, a packet block each
            file.write(struct.pack("<IIIHHqI", 0x0A0D0D0A, 28, 0x1A2B3C4D, 1, 0, -1, 28))
            file.write(struct.pack("<IIHHII", 1, 20, 1, 0, 65535, 20))
            for frame in records(STACK):
                padded = frame + bytes(-len(frame) % 4)
                size = 32 + len(padded)
                file.write(struct.pack("<IIIIIII", 6, size, 0, 0, 0, len(frame), len(frame)) + padded + struct.pack("<I", size))
        self.assertEqual(run("frame", "fields", self.path("a.pcapng")).stdout, plain)

    def test_truncated_captures_do_not_crash(self):
        with open(STACK, "rb") as file:
            data = file.read()
        for length in (0, 1, 23, 24, 25, 39, 40, 41, 100, len(data) - 1):
            with open(self.path("cut"), "wb") as file:
                file.write(data[:length])
            result = run("frame", "fields", self.path("cut"))
            self.assertIn(result.returncode, (0, 2), length)
            self.assertEqual(result.returncode != 0, bool(result.stderr), length)

    def test_a_damaged_packed_capture(self):
        with open(STACK, "rb") as file:
            packed = gzip.compress(file.read())
        # Its last eight bytes are a checksum and a length: the unpacked data is complete, but wrong.
        for name, data in (("sum", packed[:-8] + bytes(4) + packed[-4:]), ("cut", packed[:-4]), ("short", packed[:-90])):
            with open(self.path(name), "wb") as file:
                file.write(data)
            result = run("frame", "fields", self.path(name))
            self.assertEqual(result.returncode, 2, name)
            self.assertEqual(result.stderr.count(b"capture '" + self.path(name).encode()), 1, result.stderr)
            out = self.path("out.pcap")
            code, _, err = batch(*RULE, f"frame replay {self.path(name)} -o {out}")
            self.assertEqual((code, os.path.exists(out)), (2, False), err)

    def header(self, link=1, major=2, minor=4):
        return struct.pack("<IHHIIII", 0xA1B2C3D4, major, minor, 0, 0, 65535, link)

    def test_file_headers(self):
        with open(STACK, "rb") as file:
            frames = file.read()[24:]
        for name, header, part in (("raw", self.header(link=101), "link type RAW"), ("fcs", self.header(link=0x24000001), "FCS"),
                                   ("version", self.header(major=3), "accepted: pcap or pcapng"), ("text", b"hello " * 9, "accepted: pcap or pcapng"),
                                   ("empty", None, "empty")):
            with open(self.path(name), "wb") as file:
                file.write(b"" if header is None else header + frames)
            result = run("frame", "fields", self.path(name))
            self.assertEqual((result.returncode, result.stdout), (2, b""), name)
            self.assertIn(part, result.stderr.decode())
        swapped = struct.pack(">IHHIIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1) + struct.pack(">IIII", 1, 2, 42, 42) + bytes.fromhex(DNS)
        with open(self.path("swapped"), "wb") as file:
            file.write(swapped)
        self.assertEqual(json.loads(run("frame", "fields", self.path("swapped")).stdout)["fields"]["DPORT"], 53)

    def test_frames_that_were_cut(self):
        with open(self.path("cut"), "wb") as file:
            frame = bytes.fromhex(DNS)
            file.write(self.header() + struct.pack("<IIII", 1, 2, 42, 1000) + frame + struct.pack("<IIII", 1, 2, 42, 0) + frame)
        code, out, _ = batch(*RULE, f"frame replay {self.path('cut')} -o {self.path('out')}")
        self.assertEqual(code, 0)
        self.assertIn("1 frame cut off when captured\n", out)
        with open(self.path("out"), "rb") as file:
            data = file.read()
        self.assertEqual(struct.unpack_from("<II", data, 32), (42, 1000))
        self.assertEqual(struct.unpack_from("<II", data, 32 + 16 + 42), (42, 42), "never shorter than what was captured")

    def test_where_the_output_goes(self):
        replay = f"frame replay {STACK} -o "
        folder = self.path("folder")
        os.mkdir(folder)
        code, _, err = batch(*RULE, replay + folder)
        self.assertEqual(code, 2)
        self.assertIn("it is a folder", err)
        self.assertEqual(os.listdir(folder), [])
        # A file with the name of an unfinished file belongs to somebody else.
        beside = self.path("out.pcap.part")
        with open(beside, "w") as file:
            file.write("mine")
        self.assertEqual(batch(*RULE, replay + self.path("out.pcap"))[0], 0)
        with open(beside) as file:
            self.assertEqual(file.read(), "mine")
        # A link stays a link, its target is replaced and keeps its mode.
        os.chmod(self.path("out.pcap"), 0o640)
        os.symlink("out.pcap", self.path("link"))
        self.assertEqual(batch(*RULE, replay + self.path("link") + " --only-hits")[0], 0)
        self.assertTrue(os.path.islink(self.path("link")))
        self.assertEqual(len(records(self.path("out.pcap"))), 1)
        self.assertEqual(os.stat(self.path("out.pcap")).st_mode & 0o777, 0o640)
        if os.geteuid() == 0:
            os.chown(self.path("out.pcap"), 65534, 65534)
            self.assertEqual(batch(*RULE, replay + self.path("out.pcap"))[0], 0)
            self.assertEqual(os.stat(self.path("out.pcap")).st_uid, 65534)
        os.symlink("nowhere", self.path("dangling"))
        self.assertEqual(batch(*RULE, replay + self.path("dangling"))[0], 2)
        # A pipe is written, not replaced.
        pipe = self.path("pipe")
        os.mkfifo(pipe)
        reader = subprocess.Popen(["cat", pipe], stdout=subprocess.PIPE)
        self.assertEqual(batch(*RULE, replay + pipe)[0], 0)
        data = reader.communicate(timeout=60)[0]
        self.assertEqual(len(data) > 24, True)
        self.assertTrue(stat.S_ISFIFO(os.stat(pipe).st_mode))
        # A file replaced by itself.
        with open(STACK, "rb") as file, open(self.path("self"), "wb") as copy:
            copy.write(file.read())
        self.assertEqual(batch(*RULE, f"frame replay {self.path('self')} -o {self.path('self')}")[0], 0)
        self.assertEqual(len(records(self.path("self"))), len(records(STACK)))

    def test_a_signal_leaves_no_unfinished_file(self):
        folder = self.path("folder")
        os.mkdir(folder)
        try:
            os.close(os.open(folder, os.O_TMPFILE | os.O_WRONLY))
        except OSError:
            self.skipTest("this file system has no files without a name")
        out = os.path.join(folder, "out")
        with open(out, "wb") as file:
            file.write(b"old")
        for number in (signal.SIGINT, signal.SIGTERM):
            with subprocess.Popen([IFCCTL, "frame", "replay", "-", "-o", out], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL) as program:
                program.stdin.write(self.header() + struct.pack("<IIII", 1, 2, 42, 42) + bytes.fromhex(DNS))
                program.stdin.flush()
                while not opened_in(os.path.realpath(folder), program.pid):
                    self.assertIsNone(program.poll())
                program.send_signal(number)
                self.assertEqual(program.wait(timeout=60), -number)
            with open(out, "rb") as file:
                self.assertEqual((os.listdir(folder), file.read()), (["out"], b"old"))

    def test_captures_and_options_in_any_order(self):
        usual = batch(*RULE, f"frame replay {STACK} --misses iface 3")
        self.assertEqual(usual[0], 0)
        for words in (f"--misses {STACK} iface 3", f"iface 3 --misses {STACK}"):
            self.assertEqual(batch(*RULE, "frame replay " + words), usual)
        self.assertEqual(batch("frame fields iface 3 " + STACK), batch(f"frame fields {STACK} iface 3"))
        self.assertIn("-o '-': accepted: the file to write", batch(f"frame replay {STACK} -o -")[2])
        code, _, err = batch("frame replay --misses")
        self.assertEqual(code, 2)
        self.assertIn("frame replay '': accepted: a capture file, or - for standard input", err)

    @unittest.skipUnless(os.path.exists("/dev/full"), "no /dev/full")
    def test_output_that_fails(self):
        with open("/dev/full", "wb") as full:
            for command in (("frame", "fields", STACK), ("rule", "list")):
                result = subprocess.run([IFCCTL, *command], stdout=full, stderr=subprocess.PIPE, timeout=60)
                self.assertEqual(result.returncode, 6, command)
                self.assertIn(b"standard output: No space left", result.stderr)
        for command in (("classifier", "enable"), ("rule", "add", "dst_port", "80")):
            result = run("--trace", "/dev/full", *command)
            self.assertEqual(result.returncode, 6, command)
            self.assertIn(b"--trace '/dev/full': No space left", result.stderr)
        code, _, err = batch(*RULE, f"frame replay {STACK} -o /dev/full")
        self.assertEqual(code, 6)
        self.assertIn("/dev/full", err)
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/full").st_mode))

    def test_odd_names(self):
        name = os.fsencode(self.path("odd")) + b"\xff.pcap"
        with open(STACK, "rb") as file, open(name, "wb") as copy:
            copy.write(file.read())
        result = run("-j", "frame", "replay", name)
        self.assertEqual((result.returncode, json.loads(result.stdout)["frames"]), (0, len(records(STACK))))
        self.assertEqual(run("frame", "replay", STACK, "-o", "").returncode, 2)
        self.assertEqual(run("-b", self.folder.name).returncode, 2)

    def test_refusals(self):
        for line, part in (("frame send 0", "frame"), ("rule explain 10", "FILE:NUMBER"), ("rule explain 9 /no/such:1", "No such file"),
                           ("rule explain 9 " + STACK, "FILE:NUMBER"), ("frame send xy", "frame"), ("frame replay /no/such", "/no/such"),
                           (f"rule explain 9 {STACK}:9999", "9999"), ("rule explain 40 " + DNS, "40"),
                           ("frame send " + DNS + " iface 32", "iface")):
            code, _, err = batch(*RULE, line)
            self.assertIn(code, (2, 3), line)
            self.assertEqual(err.count("\n"), 1, err)
            self.assertIn(part, err)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
