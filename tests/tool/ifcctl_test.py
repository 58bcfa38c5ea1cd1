#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""The operator's tool from outside. Usage: ifcctl_test.py IFCCTL SOURCE-ROOT"""
import json
import os
import subprocess
import sys
import tempfile
import unittest

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
os.environ["IFC_STATE"] = "none"  # each run begins with a fresh chip
EMPTY = "".join(f"\nLUT0-{n}: valid:0\n" for n in range(8)) + "".join(f"\nLUT1-{n}: valid:0\n" for n in range(32))


def run(*args, text=None):
    return subprocess.run([IFCCTL, *args], input=text, capture_output=True, text=True, timeout=60)


def read_lines(name):
    with open(name, encoding="utf-8") as file:
        return file.read().splitlines()


def batch(*lines, args=()):
    return run(*args, "-b", "-", text="\n".join(lines) + "\n")


class Batch(unittest.TestCase):
    maxDiff = None

    def good(self, *lines, args=()):
        result = batch(*lines, args=args)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def test_time_out(self):
        result = batch("rule add dst_port 1", "table dump", args=("--done-after", "0"))
        self.assertEqual(result.returncode, 4)
        self.assertIn("did not report completion", result.stderr)
        self.assertEqual(result.stdout, "")

    def test_options(self):
        self.assertEqual(run("--no-such").returncode, 2)
        self.assertEqual(run().returncode, 2)
        self.assertEqual(run("-b", "/no/such/file").returncode, 2)
        self.assertEqual(run("--debug", "9", "table", "dump").returncode, 2)
        self.assertEqual(run("--trace", "/no/such/folder/file", "table", "dump").returncode, 2)
        self.assertEqual(run("--help").returncode, 0)

    def test_a_batch_that_cannot_be_read(self):
        self.assertIn("(No such file or directory)", run("-b", "/no/such/file").stderr)
        self.assertIn("(Is a directory; lines that took effect: 0)", run("-b", "/").stderr)
        with tempfile.TemporaryDirectory() as folder:
            trace = os.path.join(folder, "trace")
            closed = subprocess.run(["sh", "-c", 'exec "$0" "$@" <&-', IFCCTL, "--trace", trace, "-b", "-"], capture_output=True,
                                    text=True, timeout=60)
        self.assertEqual(closed.returncode, 2)
        self.assertIn("--batch '-': accepted: a file that can be read, or - (Bad file descriptor)", closed.stderr)

    def test_control_characters_in_messages(self):
        for line, message in (("rule ax\x1b[31m\x7f\u009b dst_port 1", r"rule 'ax\x1b[31m\x7f\x9b': accepted: add insert"),
                              ("rule add dst_ip 10.0.0.1\0junk", r"word '10.0.0.1\x00junk': accepted: text without NUL bytes; stopped")):
            result = batch(line)
            self.assertEqual(result.returncode, 2)
            self.assertIn(message, result.stderr)
        for words in (("rule", "a\x1bc"), ("--de\x1bbug",)):
            result = run(*words)
            self.assertEqual(result.returncode, 2)
            self.assertNotIn("\x1b", result.stderr)
            self.assertIn("\\x1b", result.stderr)

    def test_the_files_of_a_module(self):
        with tempfile.TemporaryDirectory() as folder:
            def write(name, data):
                with open(os.path.join(folder, name), "wb") as file:
                    file.write(data)

            device = ("--device", "debugfs:" + folder)
            self.assertEqual(run(*device, "rule", "list").returncode, 2)
            entry = (0x8000 | 28).to_bytes(4, "little") + b"\x50\x00\xff\xff"
            for name, data in (("command", b""), ("lut0", bytes(8 * 41 * 4)), ("lut1", entry + bytes(31 * 8)),
                               ("send_to_ppe", b"1\n"), ("status", b"backend sim revision 12\n")):
                write(name, data)
            old = run(*device, "resource", "show")
            self.assertEqual((old.returncode, old.stdout), (5, ""))
            self.assertIn("status: no 'revision=': the module is of another version", old.stderr)
            write("status", b"IFC :Enable .\nbackend sim revision 12\nrevision=12 timeouts=3\n")
            shown = run(*device, "resource", "show", "fits", "auto", "vlan_id", "7")
            self.assertEqual((shown.returncode, shown.stderr), (0, ""))
            self.assertIn("LUT1 31 of 32 entries free, in runs of 15 16\n", shown.stdout)

    # ------------------------------------------------------------------ good lines

    def test_empty_tables(self):
        self.assertEqual(self.good("# nothing", "", "   # more of it", "table dump"), EMPTY)
        self.assertEqual(run("table", "dump").stdout, EMPTY)

    def test_a_rule_and_its_action(self):
        out = self.good("ppe on", "rule add src_ip 192.168.1.0/24 dst_port 5060 ip_proto udp "
                        "action dscp 46 queue 7 channel 1 # voice", "table dump")
        dump = EMPTY
        for n, line in enumerate((
                "end:0, Type:1, Direction:0, Command:0, Field:SIPv4, Mask:ffffff00, Key:c0a80100\n  Action: enable:0, OWF:0\n",
                "end:0, Type:0, Sel:0, Command:0, Field:DPORT, Mask:ffff, Key:13c4\n  Action: enable:0, OWF:0\n",
                "end:1, Type:0, Sel:0, Command:0, Field:IPv4_PROTOCOL, Mask:00ff, Key:0011\n"
                "  Action: enable:41, OWF:0, channel:1, queue:7, IPv4 DSCP:184\n")):
            dump = dump.replace(f"\nLUT1-{n}: valid:0\n", f"\nLUT1-{n}: valid:1, {line}")
        self.assertEqual(out, "rule 10: LUT1 entries 0-2, action 10\n" + dump)

    def test_every_field_has_a_word(self):
        listed = self.good(*(f"rule add {w} 1" for w in ("iface", "frame_type", "vpm0", "cvlan_vpm", "vlan_prio", "cvlan_id",
                             "cvlan_prio", "gemport", "ip_tos", "src_port", "pppoe_sid", "dst_mac_type", "udf9")), "rule show", args=("-d",))
        for text in ("iface 1", "frame_type 1", "vlan_vpm 1", "cvlan_vpm 1", "vlan_prio 1", "cvlan_id 1", "cvlan_prio 1", "gem_port 1",
                     "ipv4_dscp 0x1", "src_port 1", "pppoe_sid 0x1", "dst_mac_type 1", "udf9 0x1"):
            self.assertIn(f"\n  {text}\n", listed)

    def test_ipv6(self):
        out = self.good("rule add auto dst_ip 2001:db8:1::/48 ip_proto tcp", "rule show", args=("-d",))
        self.assertIn("dipv6_127_96 0x20010db8\n", out)
        self.assertIn("dipv6_95_64 0x10000/0xffff0000\n", out)
        self.assertIn("ipv6_next_header tcp\n", out)
        self.assertNotIn("dipv6_63_32", out)
        self.assertIn("automatic deletion does not know DIPv6_127_96", out)
        self.assertNotIn("note", self.good("rule add auto src_ip 10.0.0.0/8 ip_proto tcp"))

    def test_commands_and_masks(self):
        out = self.good("rule add dst_port ge 1024 src_port le 99 vlan_id ne 7 eth_type 0x8800/0xff00", "rule show", args=("-d",))
        for line in ("dst_port ge 1024\n", "src_port le 99\n", "vlan_id ne 7\n", "eth_type 0x8800/0xff00\n"):
            self.assertIn(line, out)

    def test_a_single_mac_goes_last(self):
        line = "rule add dst_mac 01:02:03:04:05:06 dst_port 80"
        self.assertRegex(self.good(line, "table dump"), r"LUT1-0: .*Field:DPORT")
        self.assertRegex(self.good(line, "table dump", args=("--keep-order",)), r"LUT1-0: .*Field:DMAC")

    def test_delete_and_find(self):
        rule = "dst_mac 01:02:03:04:05:06 dst_port 80"
        out = self.good("ppe on", f"rule add {rule} action queue 1", f"rule find {rule}", f"rule del {rule}", "table dump",
                        "action show 10")
        self.assertEqual(out, "rule 10: LUT1 entries 0-2, action 10\nrule 10: LUT1 entries 0-2\n"
                         "deleted: rule 10, LUT1 entries 0-2\n" + EMPTY + "  Action: enable:0, OWF:0\n")

    def test_rules_that_the_automatic_deletion_cannot_find(self):
        for args, rule, reason in (
                (("--keep-order",), "dst_mac 01:02:03:04:05:06 dst_port 80", "a condition after a MAC"),
                ((), "dst_mac 01:02:03:04:05:06 src_mac 01:02:03:04:05:06", "two MAC conditions"),
                ((), "dst_mac 01:02:00:00:00:00/16", "takes one LUT1 entry"),
                ((), "dst_ip 2001:db8::/32", "does not know DIPv6_127_96"),
                ((), "flow_label 5", "does not know FLOW_LABEL")):
            result = batch(f"rule add auto {rule}", f"rule del auto {rule}", args=args)
            self.assertEqual(result.returncode, 3)
            self.assertIn(reason, result.stderr)
            self.assertIn("rule del N", result.stderr)
            for delete in ("del id", "del"):
                number = result.stdout.split()[1].rstrip(":")
                self.assertTrue(self.good(f"rule add auto {rule}", f"rule {delete} {number}", "table dump", "table verify",
                                          args=args).endswith(EMPTY + "hardware and shadow agree\n"))
            # By its conditions too: the set compares all of them.
            self.assertTrue(self.good(f"rule add {rule}", f"rule del {rule}", "table dump", args=args).endswith(EMPTY))

    def test_a_deletion_that_would_take_others_along(self):
        lines = ("rule add dst_mac 01:02:03:04:05:06", "rule add dst_mac 01:02:ff:ff:ff:ff", "rule del auto dst_mac 01:02:03:04:05:06")
        self.assertIn("the automatic deletion of rule 9 would also take rule 11\n", self.good(*lines[:2], "rule check"))
        self.assertEqual(self.good(*lines, args=("--inexact",)).count("deleted:"), 2)
        self.assertEqual(self.good(*lines[:2], "rule del id LUT1-0").count("deleted: rule 9"), 1)
        self.assertEqual(self.good(*lines[:2], "rule del dst_mac 01:02:03:04:05:06").count("deleted:"), 1)

    def test_a_mac_mask_that_lut1_holds_wider(self):
        rule = "dst_mac 00:01:02:03:04:05/00:ff:ff:ff:ff:ff"
        self.assertIn("rule 9: LUT1 entries 0-1", self.good("rule add auto " + rule, args=("--inexact",)))
        self.assertIn("rule 0: LUT0 rule 0", self.good("rule add " + rule))

    def test_wide_rules(self):
        rule = " ".join(f"{f} 1" for f in ("vlan_id", "vlan_prio", "cvlan_id", "cvlan_prio", "dst_port", "src_port", "ip_proto",
                                           "eth_type", "iface"))
        out = self.good(f"rule add {rule}", "rule read 0", f"rule del {rule}", "table dump")
        self.assertIn("rule 0: LUT0 rule 0, action 0\n", out)
        self.assertIn("LUT0- 0 field:14 SINF, Enable, CMD:0, Mask:1f, Key:1\n", out)
        self.assertIn("same\n", out)
        self.assertTrue(out.endswith(EMPTY))

    def test_read_a_narrow_rule(self):
        self.assertIn("hardware:\n0xc01c 0xffff0050\nshadow:\n0xc01c 0xffff0050\nsame\n",
                      self.good("rule add dst_port 80", "rule read 8"))

    def test_switch_counters_results(self):
        out = self.good("classifier status", "classifier enable", "classifier status", "classifier disable", "classifier status",
                        "counter bind 3 5", "counter show 3", "counter reset", "result check none")
        self.assertEqual(out, "IFC :Disable .\nIFC :Enable .\nIFC :Disable .\nentry    packets              bytes\n"
                         "    3          0                  0\nthe last frame hit exactly this\n")

    def test_actions(self):
        out = self.good("ppe on", "action set 9 channel 3 queue 2 vpm0 1 vo0 2 vprio0 3 vid0 100 cpu nbq 4", "action show 9",
                        "action clear 9", "action show 9")
        self.assertTrue(out.endswith("  Action: enable:101, OWF:0, channel:3, queue:2, vpm0:1, vo0:2, vid0:0x3064\n"
                                     "  Action: enable:0, OWF:0\n"), out)

    def test_resources(self):
        out = self.good("resource show")
        self.assertTrue(out.startswith("LUT0 8 of 8 rules free\nLUT1 32 of 32 entries free, in runs of 16 16\n"), out)
        three = "dst_port 1 src_port 2 vlan_id 3"
        out = self.good(*[f"rule add {three}"] * 3, f"resource show fits {three}", args=("-j",)).splitlines()
        fits = json.loads(out[-1])["fits"]
        self.assertEqual(fits, 15)
        result = batch(*[f"rule add {three}"] * (3 + fits + 1))
        self.assertEqual(result.stderr.split(":")[2], "19", "exactly so many fit")

    def test_json(self):
        lines = ("ppe on", "rule add dst_mac 01:02:03:04:05:06 dst_port 80 action queue 1 channel 2", "rule list", "rule find dst_port 80 "
                 "dst_mac 01:02:03:04:05:06", "rule read 8", "rule validate src_port 1", "table dump", "table verify", "counter show",
                 "action show 10", "classifier status", "resource show fits dst_port 1", "result check none", "rule del id 10", "rule clear")
        documents = [json.loads(line) for line in self.good(*lines, args=("-j",)).splitlines()]
        self.assertEqual(len(documents), len(lines))
        rule = documents[1]
        self.assertEqual((rule["rule"], rule["table"], rule["first"], rule["last"]), (10, "LUT1", 0, 2))
        self.assertEqual(rule["conditions"][1], {"field": "DMAC", "id": 1, "command": "eq", "key": "01:02:03:04:05:06",
                                                 "mask": "ff:ff:ff:ff:ff:ff"})
        self.assertEqual(documents[2][0]["actions"]["queue"], 1)
        self.assertEqual(len(documents[6]["lut0"]), 8)
        self.assertEqual(len(documents[8]), 40)

    def test_trace_of_one_rule(self):
        with tempfile.TemporaryDirectory() as folder:
            name = os.path.join(folder, "trace")
            self.good("rule add dst_port 80", args=("--trace", name))
            self.assertLess(len(read_lines(name)), 40, "only what differs")
            self.good("rule add auto dst_port 80", args=("--trace", name))
            lines = read_lines(name)
        self.assertGreaterEqual(len(lines), 2 * (528 + 128), "the layer rewrites its tables")
        self.assertEqual(lines[:3], ["W 0xbfb50210 0x00000000", "W 0xbfb50204 0x00000a03", "R 0xbfb50204 0x80000a03"])

    def test_revisions(self):
        rule = "rule add " + " ".join(f"{f} 1" for f in ("vlan_id", "vlan_prio", "cvlan_id", "cvlan_prio", "dst_port", "src_port",
                                                         "ip_proto", "eth_type", "iface"))
        self.assertIn("rule 16: LUT1 entries 0-8", self.good(rule, "table verify", args=("--revision", "14")))
        result = batch(rule.replace("add", "add auto"), "table verify", args=("--revision", "14"))
        self.assertIn("warning: on this revision of the chip LUT0 is not written", result.stdout)
        self.assertEqual(result.returncode, 3)
        self.assertIn("LUT0-0 word 0: hardware 0x0, shadow 0x", result.stdout)

    def test_debug_messages_go_to_standard_error(self):
        result = batch("rule add auto dst_port 80", args=("--debug", "1"))
        self.assertEqual(result.stdout, "rule 8: LUT1 entry 0, action 8\n")
        self.assertRegex(result.stderr, r"placement\.cpp \[\d+\]: action index is 8\n")

    def test_operations_by_name(self):
        self.assertEqual(self.good("ppe on", "op ifc_set_action 8 0 1 3 5 0 0", "op ifc_dump_action 8"),
                         "channel:3, queue:5\n= 0\n  Action: enable:1, OWF:0, channel:3, queue:5\n= 0\n")
        self.assertEqual(json.loads(self.good("op lut1_has_free_rule 3", args=("-j",)))["answer"], "= 0\n")

    def test_the_gateway(self):
        gateway = read_lines(os.path.join(ROOT, "examples", "gateway.ifc"))
        out = self.good(*gateway)
        self.assertIn("LUT0 rule 0", out)
        self.assertEqual(out.count("rule "), 9 + 1)
        self.assertNotIn("warning", out)

if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
