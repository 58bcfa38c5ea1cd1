#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Options, help, and abbreviated words. Usage: options_test.py IFCCTL SOURCE-ROOT"""
import json
import os
import pty
import re
import subprocess
import sys
import tempfile
import unittest

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
ENVIRONMENT = {**os.environ, "IFC_STATE": "none", "COLUMNS": ""}


def run(*args, text=None, **variables):
    return subprocess.run([IFCCTL, *args], input=text, capture_output=True, text=True, timeout=60, env={**ENVIRONMENT, **variables})


class Options(unittest.TestCase):
    maxDiff = None

    def good(self, *args, text=None, **variables):
        result = run(*args, text=text, **variables)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def bad(self, code, *args, parts=(), text=None):
        result = run(*args, text=text)
        self.assertEqual((result.returncode, result.stdout), (code, ""), result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        for part in parts:
            self.assertIn(part, result.stderr)
        return result

    # ------------------------------------------------------------------ options

    def test_long_options_have_two_dashes(self):
        self.bad(2, "-json", "rule", "show", parts=("option '-json'", "did you mean --json?"))
        self.bad(2, "-jp", "rule", "show", parts=("option '-jp'", "short ones apart"))
        self.bad(2, "--jsn", "rule", "show", parts=("option '--jsn'", "did you mean --json?"))
        self.assertEqual(json.loads(self.good("--json", "rule", "show")), [])

    def test_arguments_of_options(self):
        self.bad(2, "--json=1", "rule", "show", parts=("--json '1': accepted: no value",))
        self.bad(2, "--debug", parts=("--debug ''",))
        self.bad(2, "--debug=9", "rule", "show", parts=("--debug '9': accepted: a number from 0 to 3",))
        self.bad(2, "--debug=1", "--debug", "2", "rule", "show", parts=("the option once",))
        self.bad(2, "--revision", "256", "rule", "show", parts=("0 to 255",))
        self.bad(2, "--state=", "rule", "show", parts=("--state '': accepted: a file, or none",))
        self.bad(2, "-b", "-", "rule", "show", parts=("a command or -b FILE, not both",), text="")
        self.bad(2, parts=("a command, or -b FILE",))
        self.assertEqual(self.good("--debug=0", "--", "rule", "show"), "ppe off\nclassifier disable\n# no rules\n")

    def test_version(self):
        self.assertRegex(self.good("-V"), r"^ifcctl \d+\.\d+\n$")
        self.assertEqual(self.good("--version"), self.good("-V"))

    def test_pretty_json(self):
        flat, pretty = self.good("-j", "resource", "show"), self.good("-j", "-p", "resource", "show")
        self.assertEqual((flat.count("\n"), json.loads(flat)), (1, json.loads(pretty)))
        self.assertIn('\n  "lut0_free": 8,\n', pretty)

    def test_rules_brief_and_in_detail(self):
        lines = "ppe on\nrule add dst_port 53 vlan_id 7 action queue 3\nrule add src_port 9\nrule list\n"
        brief = self.good("-br", "-b", "-", text=lines)
        self.assertTrue(brief.endswith("\n 9  dst_port 53 vlan_id 7 -> queue 3\n10  src_port 9 -> no action\n"), brief)
        self.assertEqual(self.good("--brief", "-b", "-", text=lines), brief)
        detailed = self.good("-d", "-b", "-", text=lines)
        self.assertTrue(detailed.endswith("rule 9: LUT1 entries 0-1\n  dst_port 53\n  vlan_id 7\n  action queue 3\n"
                                          "rule 10: LUT1 entry 2\n  src_port 9\n  no action\n"), detailed)
        self.assertEqual(self.good("-br", "rule", "show"), "no rules\n")

    def test_statistics(self):
        frame = "020000000002" "020000000001" "0800" "450000200000000040110000" "0a0000010a000002" "04000035000c0000" "00000000"
        lines = f"classifier enable\nrule add dst_port 53\nrule add vlan_id 7\nframe send {frame}\nrule show\ncounter show\n"
        self.assertIn("\nrule  packets  bytes  place         conditions\n   8        1     46  LUT1 entry 0  dst_port 53\n",
                      self.good("-s", "-b", "-", text=lines))
        self.assertEqual(len(self.good("-s", "counter", "show").splitlines()), 41)
        self.assertEqual(len(self.good("counter", "show").splitlines()), 1)
        self.assertNotIn("packets  bytes  place", self.good("-b", "-", text=lines))

    def test_list_and_ls_are_show(self):
        for words in (("rule",), ("counter",), ("resource",), ("action", "9")):
            shown = self.good(words[0], "show", *words[1:])
            for verb in ("list", "ls", "l"):
                self.assertEqual(self.good(words[0], verb, *words[1:]), shown)

    def test_colour(self):
        rule = "rule add dst_port 53\nrule add dst_port 53 vlan_id 7\nrule show\n"
        plain = self.good("-b", "-", text=rule)
        self.assertNotIn("\033", plain)
        for option in ("-c", "-color", "--color", "--color=always", "-c=always"):
            out = self.good(option, "-b", "-", text=rule, NO_COLOR="1")
            self.assertIn("\033[33mwarning:\033[0m", out)
            self.assertIn("\033[2m  # 8:".replace("  ", " "), out)
            self.assertEqual(re.sub("\033\\[[0-9;]*m", "", out), plain)
        self.assertNotIn("\033", self.good("--color=never", "-b", "-", text=rule))
        self.assertNotIn("\033", self.good("-c", "-j", "-b", "-", text=rule))
        self.bad(2, "--color=red", "rule", "show", parts=("--color 'red': accepted: auto, always or never",))

    def test_colour_on_a_terminal(self):
        def on_terminal(**variables):
            master, slave = pty.openpty()
            with subprocess.Popen([IFCCTL, "rule", "show"], stdout=slave, env={**ENVIRONMENT, "TERM": "xterm", **variables}) as program:
                os.close(slave)
                out = b""
                try:
                    while True:
                        piece = os.read(master, 4096)
                        if not piece:
                            break
                        out += piece
                except OSError:
                    pass
                program.wait(timeout=60)
            os.close(master)
            return out
        self.assertIn(b"\033[2m# no rules", on_terminal(NO_COLOR=""))
        self.assertNotIn(b"\033", on_terminal(NO_COLOR="1"))
        self.assertNotIn(b"\033", on_terminal(NO_COLOR="", TERM="dumb"))

    def test_dry_run(self):
        note = "ifcctl: dry run on a copy; nothing is changed\n"
        with tempfile.TemporaryDirectory() as folder:
            state = ("--state", os.path.join(folder, "chip"))
            result = run("-n", *state, "rule", "add", "dst_port", "53")
            self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "rule 8: LUT1 entry 0, action 8\n", note))
            self.assertEqual(os.listdir(folder), [])
            self.good(*state, "rule", "add", "dst_port", "53")
            with open(state[1], "rb") as file:
                before = file.read()
            for words in (("rule", "flush"), ("rule", "clear"), ("ppe", "on"), ("classifier", "enable"), ("counter", "reset"),
                          ("action", "set", "8", "cpu"), ("rule", "insert", "vlan_id", "7"), ("op", "clear_all_ifc_rules"),
                          ("flow", "flush", "0"), ("rule", "del", "8")):
                result = run("--dry-run", *state, *words)
                self.assertEqual((result.returncode, result.stderr), (0, note), words)
                with open(state[1], "rb") as file:
                    self.assertEqual(file.read(), before, words)
            out = run("-n", *state, "-b", "-", text="rule add vlan_id 7\nrule show\n").stdout
            self.assertIn("rule add vlan_id 7", out)
            for words in (("set", "save", os.path.join(folder, "x")), ("frame", "replay", "x", "-o", os.path.join(folder, "x"))):
                result = run("-n", *state, *words)
                self.assertEqual(result.returncode, 2)
                self.assertIn("without -n; this command writes a file", result.stderr)
            self.assertEqual(run("-n", *state, "set", "save").returncode, 0)
            self.assertEqual(sorted(os.listdir(folder)), ["chip", "chip.lock"])

    def test_a_batch_that_goes_on_after_errors(self):
        lines = "rule add dst_port 1\nrule adx\nrule del 39\nrule add dst_port 2\n"
        stopped = run("-b", "-", text=lines)
        self.assertEqual((stopped.returncode, stopped.stdout.count("\n"), stopped.stderr.count("\n")), (2, 1, 1))
        for option in ("-force", "--force"):
            result = run(option, "-b", "-", text=lines)
            self.assertEqual((result.returncode, result.stdout), (2, "rule 8: LUT1 entry 0, action 8\nrule 9: LUT1 entry 1, action 9\n"))
            messages = result.stderr.splitlines()
            self.assertEqual(len(messages), 3)
            self.assertTrue(messages[0].startswith("ifcctl: standard input:2: rule 'adx'"), messages)
            self.assertTrue(messages[1].startswith("ifcctl: standard input:3: rule del '39'"), messages)
            self.assertEqual(messages[2], "ifcctl: standard input: 2 lines failed, 2 lines took effect")
        self.assertEqual(run("-force", "-b", "-", text="rule del 39\nrule adx\n").returncode, 3, "the first failure")
        self.assertEqual(run("-force", "-b", "-", text="rule add dst_port 1\n").returncode, 0)

    def test_no_line_is_wider_than_the_terminal(self):
        stack = os.path.join(ROOT, "examples", "stack.pcap")
        gateway = os.path.join(ROOT, "examples", "gateway.ifc")
        with open(gateway, encoding="utf-8") as file:
            rules = file.read()
        lines = ("rule show", "rule check", "rule explain " + stack + ":66", "frame send " + "ff" * 100, "frame replay " + stack, "set save",
                 "resource show", "resource show fits dst_port 5", "rule validate dst_port 5 vlan_id 7", "rule insert dst_port 80 vlan_id 7",
                 "rule add dst_port 80 vlan_id 7", "rule move LUT1-0 last", "table verify", "set load -n " + gateway, "table map", "help rule add",
                 "flow create 0 pattern ipv4 / udp dst is 5 / end actions queue index 2 / end", "rule del dst_port 80 vlan_id 7")
        for args in ((), ("-d",), ("-br",), ("-s",)):
            for columns in (60, 80, 120):
                out = self.good(*args, "-b", "-", text=rules + "\n".join(lines) + "\n", COLUMNS=str(columns))
                wide = [line for line in out.splitlines() if len(line) > columns]
                self.assertEqual(wide, [], (args, columns))

    def test_what_set_save_folds_is_read_as_before(self):
        rule = "rule add dst_mac 01:02:03:04:05:06 src_ip 192.168.100.0/24 dst_port 5060-5070 vlan_id 7 ip_proto udp\n"
        folded = self.good("-b", "-", text=rule + "set save\n", COLUMNS="60").split("\n", 1)[1]
        self.assertLessEqual(max(map(len, folded.splitlines()[1:])), 60)
        whole = self.good("-b", "-", text=rule + "set save\n").split("\n", 1)[1]
        self.assertEqual(self.good("-b", "-", text=folded + "set save\n").split("\n", 1)[1], whole)

    def test_text_for_programs_is_not_folded(self):
        rule = "rule add src_ip 192.168.100.0/24 dst_ip 192.168.200.0/24 dst_port 5060-5070 vlan_id 7 ip_proto udp\n"
        for words in ("counter export", "counter export --openmetrics", "counter export -o /dev/stdout"):
            whole = self.good("-b", "-", text=rule + words + "\n")
            self.assertEqual(self.good("-c", "-b", "-", text=rule + words + "\n", COLUMNS="60"), whole)
            self.assertGreater(max(map(len, whole.splitlines())), 100)

    # ------------------------------------------------------------------ descriptors

    def test_closed_standard_descriptors_get_no_file(self):
        with tempfile.TemporaryDirectory() as folder:
            state, trace, out = (os.path.join(folder, name) for name in ("chip", "trace", "out"))
            self.good("--state", state, "rule", "add", "dst_port", "53")
            for closed, code in (("<&- >&- 2>&-", 6), (">&-", 6), ("<&- 2>&-", 0)):
                result = subprocess.run(["sh", "-c", f'exec "$0" "$@" {closed}', IFCCTL, "--state", state, "--trace", trace, "rule", "show"],
                                        capture_output=True, timeout=60, env=ENVIRONMENT)
                self.assertEqual(result.returncode, code, closed)
                with open(trace, encoding="ascii") as file:
                    self.assertNotIn("rule", file.read(), closed)
                subprocess.run(["sh", "-c", f'exec "$0" "$@" {closed}', IFCCTL, "--state", state, "set", "save", out], timeout=60,
                               capture_output=True, env=ENVIRONMENT)
                with open(out, encoding="utf-8") as file:
                    self.assertEqual(file.read(), self.good("--state", state, "set", "save"), closed)
            self.assertEqual(os.path.getsize(state + ".lock"), 0)

    # ------------------------------------------------------------------ help

    def test_help_anywhere(self):
        everything = self.good("--help")
        for words in (("-h",), ("help",), ("help", "--help")):
            self.assertEqual(self.good(*words), everything, words)
        of_add = self.good("help", "rule", "add")
        self.assertIn("rule add [auto] MATCH... [action WORD...]", of_add)
        self.assertIn("\n  dst_port ", of_add)
        self.assertIn("\n  queue ", of_add)
        for words in (("rule", "add", "help"), ("rule", "add", "--help"), ("r", "a", "help"), ("rule", "add", "dst_port", "5", "--help")):
            self.assertEqual(self.good(*words), of_add, words)
        of_rule = self.good("rule", "help")
        self.assertIn("  rule show", of_rule)
        self.assertNotIn("  set load", of_rule)
        self.assertNotIn("\n  queue ", self.good("help", "rule", "find"))
        self.assertEqual(self.good("rule", "help", "add"), of_add)
        self.assertEqual(json.loads(self.good("-j", "rule", "help")), {"help": of_rule})
        self.assertIn("ifc_set_action", self.good("op", "help"))

    def test_help_needs_no_device(self):
        for words in (("help",), ("help", "rule", "add"), ("rule", "help"), ("rule", "add", "--help"), ("-j", "set", "help")):
            expected = self.good(*words)
            for place in (("--state", "/dev/null"), ("--state", "/no/such/folder/chip"), ("--device", "debugfs:/no/such/folder")):
                self.assertEqual(self.good(*place, *words), expected, (place, words))
        self.bad(2, "--state", "/dev/null", "rule", "show", parts=("--state '/dev/null'",))

    def test_each_placeholder_is_explained_once(self):
        for subject in ("rule", "table", "report", "flow", "counter", "frame", "set"):
            lines = [line.split()[0] for line in self.good("help", subject, COLUMNS="200").splitlines()]
            names = [word for word in lines if word.isupper()]
            self.assertEqual(sorted(names), sorted(set(names)), subject)

    def test_every_command_is_in_the_help(self):
        everything = self.good("help", COLUMNS="200")
        for command in ("rule add", "rule show", "ppe on", "classifier enable", "action set", "counter show", "result check", "op OPERATION",
                        "set load", "table verify", "resource show", "frame replay"):
            self.assertIn("\n  " + command, everything)

    def test_help_fits_the_terminal(self):
        for columns in (60, 80, 120):
            for words in (("help",), ("help", "rule"), ("help", "frame", "replay")):
                lines = self.good(*words, COLUMNS=str(columns)).splitlines()
                self.assertLessEqual(max(map(len, lines)), columns, words)

    @unittest.skipUnless(os.path.exists("/dev/full"), "no /dev/full")
    def test_help_that_cannot_be_written(self):
        with open("/dev/full", "wb") as full:
            for words in (("--help",), ("help", "rule"), ("-V",)):
                result = subprocess.run([IFCCTL, *words], stdout=full, stderr=subprocess.PIPE, timeout=60, env=ENVIRONMENT)
                self.assertEqual(result.returncode, 6, words)
                self.assertIn(b"No space left", result.stderr)

    # ------------------------------------------------------------------ abbreviations

    def test_abbreviations(self):
        shown = self.good("rule", "show")
        for words in (("r", "s"), ("rule", "sh"), ("ru", "sho")):
            self.assertEqual(self.good(*words), shown, words)
        lines = "r a dst_port 53\nrule delete 8\nc e\nclass st\n"
        self.assertEqual(self.good("--state", "none", "-b", "-", text=lines),
                         "rule 8: LUT1 entry 0, action 8\ndeleted: rule 8, LUT1 entry 0\nIFC :Enable .\n")

    def test_words_of_other_tools_are_answered_with_ours(self):
        for words, part in ((("rule", "remove", "8"), "did you mean del?"), (("rule", "rm", "8"), "did you mean del?"),
                            (("rule", "dump"), "did you mean show?"), (("rule", "APPEND"), "did you mean add?"),
                            (("ppe", "enable"), "did you mean on?"), (("classifier", "show"), "did you mean status?"),
                            (("counter", "clear"), "did you mean reset?"), (("flow", "dump", "0"), "did you mean list?"),
                            (("RULE", "show"), "did you mean rule?"), (("rule", "-s", "show"), "options stand before the command"),
                            (("rule", "add", "ip_proto", "TCP"), "did you mean tcp?"), (("rule", "add", "dscp", "EF"), "did you mean ef?"),
                            (("rule", "add", "ip_proto", "icmp6"), "did you mean icmpv6?"),
                            (("frame", "replay", "x", "--miss"), "did you mean --misses?"),
                            (("resource", "show", "fit", "vlan_id", "7"), "did you mean fits?")):
            self.bad(2, *words, parts=(part,))

    def test_an_unclear_verb_is_refused(self):
        self.bad(2, "rule", "f", parts=("rule 'f': accepted: one of flush find in full",))
        self.bad(2, "rule", "", parts=("rule ''",))
        self.bad(2, "", parts=("command ''",))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
