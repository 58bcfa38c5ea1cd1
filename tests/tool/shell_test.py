#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""The shell on a pseudo-terminal. Usage: shell_test.py IFCCTL SOURCE-ROOT"""
import os
import re
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from terminal import Terminal

IFCCTL, ROOT = os.path.abspath(sys.argv[1]), sys.argv[2]
PROMPT = "ifcctl> "
HELP = subprocess.run([IFCCTL, "help"], capture_output=True, text=True, timeout=60, env={**os.environ, "IFC_STATE": "none"}).stdout
EDITS = "without libedit" not in " ".join(HELP.split())


class Shell(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        # libedit never frees the names of added functions. In a build with sanitizers they would count as leaks.
        self.environment = {**os.environ, "ASAN_OPTIONS": "detect_leaks=0", "XDG_STATE_HOME": self.folder.name, "HOME": self.folder.name, "TERM": "xterm",
                            "LC_ALL": "C.UTF-8", "IFC_STATE": "", "COLUMNS": "100"}
        self.history = os.path.join(self.folder.name, "ifcctl", "history")

    def start(self, *args, **variables):
        environment = {**self.environment, **variables}
        terminal = Terminal([IFCCTL, *args], environment, self.folder.name, EDITS and environment["TERM"] == "xterm")
        self.addCleanup(terminal.close)
        terminal.expect(PROMPT)
        return terminal

    def call(self, *args, **variables):
        return subprocess.run([IFCCTL, *args], capture_output=True, text=True, timeout=60, env={**self.environment, **variables})

    def line(self, terminal, text):
        """What the terminal shows between the echoed line and the next prompt."""
        terminal.send(text + "\n")
        shown = terminal.expect(PROMPT)
        return shown[shown.index(text) + len(text):].strip("\r\n").removesuffix(PROMPT).replace("\r\n", "\n").strip()

    # ------------------------------------------------------------------ commands

    def test_commands_and_the_end(self):
        shell = self.start()
        self.assertEqual(self.line(shell, "rule add dst_port 53"), "rule 8: LUT1 entry 0, action 8")
        self.assertIn("rule add dst_port 53", self.line(shell, "rule show"))
        shell.send("quit\n")
        self.assertEqual(shell.wait(), 0)

    def test_exit_and_the_end_of_input(self):
        for end in ("exit\n", "\x04"):
            shell = self.start()
            shell.send(end)
            self.assertEqual(shell.wait(), 0, end)

    def test_an_error_does_not_end_it(self):
        shell = self.start("--state", "none")
        self.assertIn("did you mean dst_port?", self.line(shell, "rule add dst_prt 53"))
        self.assertIn("accepted: ", self.line(shell, "no such thing"))
        self.assertIn("# no rules", self.line(shell, "rule show"))
        self.assertEqual(self.line(shell, ""), "")
        self.assertEqual(self.line(shell, "# a comment"), "")
        self.assertEqual(self.line(shell, "rule add dst_port 53"), "rule 8: LUT1 entry 0, action 8")
        shell.send("\x04")
        self.assertEqual(shell.wait(), 0)

    def test_interrupt_drops_the_line(self):
        shell = self.start("--state", "none")
        shell.send("rule add dst_po\x03")
        shell.expect(PROMPT)
        self.assertIn("# no rules", self.line(shell, "rule show"))
        shell.send("rule add \\\n")
        shell.expect("\n> ")
        shell.send("dst\x03")
        shell.expect(PROMPT)
        self.assertIn("# no rules", self.line(shell, "rule show"))

    def test_interrupt_ends_a_command(self):
        for state in ("none", os.path.join(self.folder.name, "chip")):
            shell = self.start("--state", state)
            self.assertIn("rule 8", self.line(shell, "rule add dst_port 53"))
            shell.send("frame replay /dev/stdin\n")
            shell.wait_for_child()
            shell.send("\x03")
            self.assertIn("the command was ended: Interrupt", shell.expect(PROMPT))
            self.assertIn("dst_port 53", self.line(shell, "rule show"))
            shell.send("\x04")
            self.assertEqual(shell.wait(), 0)

    def test_continued_lines(self):
        shell = self.start("--state", "none")
        shell.send("rule add \\\n")
        shell.expect("\n> ")
        shell.send("dst_port 53\n")
        self.assertIn("rule 8: LUT1 entry 0", shell.expect(PROMPT))

    def test_stop_and_go_on(self):
        # Only a shell with jobs can stop a program. Its line is edited too, so Terminal must not wait for ifcctl's editor.
        bash = Terminal([shutil.which("bash"), "--norc", "--noprofile", "-i"], {**self.environment, "PS1": "bash% "}, self.folder.name)
        self.addCleanup(bash.close)

        def stop(key):
            bash.send(key)
            bash.expect(r"Stopped[^\n]*ifcctl[^\n]*\n(?s:.*)bash% ")

        def go_on():
            bash.send("fg\n")
            bash.expect(r"ifcctl --state none\r?\n")
            bash.wait_for_job()

        bash.expect("bash% ")
        bash.send(IFCCTL + " --state none\n")
        bash.expect("\n" + PROMPT)
        bash.send("rule add dst_port 53\n")
        self.assertIn("rule 8", bash.expect("\n" + PROMPT))
        # While a line is typed: it is there again. (Lines that the terminal edits lose what was typed.)
        # Ctrl-Z drops what no program has read yet, so it comes after the editor has shown the line.
        if EDITS:
            bash.wait_for_editor()
        bash.send("rule flu")
        bash.expect("rule flu")
        stop("\x1a")
        bash.send("echo $((6 * 7)) in bash\n")
        bash.expect("[\r\n]42 in bash")
        bash.expect("bash% ")
        go_on()
        if EDITS:
            bash.expect("rule flu")
        bash.send("\x03")
        bash.expect(PROMPT)
        bash.send("rule show\n")
        self.assertIn("rule add dst_port 53", bash.expect(r"dst_port 53[^\n]*\n(?s:.*)" + PROMPT))
        # While a command runs: the command goes on too, and Ctrl-C ends it. It waits for a pipe that nobody writes to:
        # a command that reads the terminal may still get bash's next line after Ctrl-Z.
        os.mkfifo(os.path.join(self.folder.name, "waits"))
        bash.send("frame replay waits\n")
        bash.expect("replay waits\r?\n")
        bash.wait_for_child(generations=2)
        stop("\x1a")
        go_on()
        bash.send("\x03")
        bash.expect("the command was ended: Interrupt")
        bash.expect(PROMPT)
        bash.send("rule del 8\n")
        bash.expect("\n" + PROMPT)
        bash.send("quit\n")
        bash.expect("bash% ")
        bash.send("echo code $?\n")
        bash.expect("[\r\n]code 0")

    def test_another_width(self):
        shell = self.start("--state", "none", COLUMNS="")
        shell.resize(120)
        self.assertIn("rule 11", self.line(shell, "rule add src_ip 10.0.0.1 dst_port 1 vlan_id 7 eth_type ipv4"))
        for columns, folded in ((120, False), (50, True), (140, False)):
            shell.resize(columns)
            for command in ("help counter", "rule show"):
                lines = self.line(shell, command).splitlines()
                self.assertLessEqual(max(map(len, lines)), columns)
            self.assertEqual(any(line.endswith("\\") for line in lines), folded, lines)

    # ------------------------------------------------------------------ the state

    def test_another_process_may_change_the_state(self):
        shell = self.start()
        self.assertIn("rule 8", self.line(shell, "rule add dst_port 53"))
        self.assertIn("dst_port 53", self.call("rule", "show").stdout)
        self.assertEqual(self.call("rule", "add", "vlan_id", "7").returncode, 0)
        shown = self.line(shell, "rule show")
        self.assertIn("dst_port 53", shown)
        self.assertIn("vlan_id 7", shown)

    def test_no_state_lasts_as_long_as_the_shell(self):
        shell = self.start("--state", "none", "--revision", "14")
        self.assertIn("rule 8", self.line(shell, "rule add dst_port 53"))
        self.assertIn("PPE on", self.line(shell, "ppe on") + self.line(shell, "ppe status"))
        self.assertIn("dst_port 53", self.line(shell, "rule show"))
        self.assertEqual(self.call("--state", "none", "rule", "show").stdout, "ppe off\nclassifier disable\n# no rules\n")
        self.assertFalse(os.path.exists(os.path.join(self.folder.name, "ifcctl", "chip.state")))

    def test_options_hold_for_each_command(self):
        trace = os.path.join(self.folder.name, "trace")
        shell = self.start("-j", "--state", "none", "--trace", trace)
        self.assertIn('"rule":8', self.line(shell, "rule add dst_port 53"))
        with open(trace, encoding="utf-8") as file:
            first = file.read()
        self.assertTrue(first.startswith("W "), first[:40])
        self.line(shell, "rule add dst_port 54")
        with open(trace, encoding="utf-8") as file:
            both = file.read()
        self.assertTrue(both.startswith(first))
        self.assertGreater(len(both), len(first))

    # ------------------------------------------------------------------ without a terminal

    def test_no_terminal(self):
        master, slave = os.openpty()
        for stdin, stdout in ((subprocess.DEVNULL, subprocess.PIPE), (slave, subprocess.PIPE), (subprocess.DEVNULL, slave)):
            result = subprocess.run([IFCCTL], stdin=stdin, stdout=stdout, stderr=subprocess.PIPE, text=True, timeout=60, env=self.environment)
            self.assertEqual(result.returncode, 2)
            self.assertIn("command '': accepted: a command, or -b FILE", result.stderr)
            self.assertIn(result.stdout, ("", None))
        os.close(slave)
        os.close(master)

    def test_plain_lines(self):
        for terminal in ("dumb", ""):
            shell = self.start("--state", "none", TERM=terminal)
            self.assertEqual(self.line(shell, "rule add dst_port 53"), "rule 8: LUT1 entry 0, action 8")
            self.assertIn("accepted: ", self.line(shell, "no such thing"))
            shell.send("rule add dst_port 54\x03")
            shell.expect(PROMPT)
            shown = self.line(shell, "rule show")
            self.assertIn("dst_port 53", shown)
            self.assertNotIn("dst_port 54", shown)
            shell.send("\x04")
            self.assertEqual(shell.wait(), 0)

    def test_a_lost_terminal_ends_it(self):
        shell = self.start("--state", "none")
        shell.hang_up()
        self.assertIn(shell.wait(), (0, -signal.SIGHUP))


@unittest.skipUnless(EDITS, "ifcctl was built without libedit")
class Editing(Shell):
    # The tests of Shell are not repeated.
    for name in [name for name in dir(Shell) if name.startswith("test_")]:
        locals()[name] = None

    def completes(self, shell, text, expected):
        """Tab makes `expected` of the text."""
        shell.send(text + "\t")
        shell.expect_line(PROMPT + expected)
        shell.send("\x03")
        shell.expect(PROMPT)

    def lists(self, shell, text):
        """What Tab prints below the text, before the text is there again."""
        shell.send(text + "\t")
        listed = shell.expect("\n(?s:.*)" + re.escape(PROMPT + text))
        shell.send("\x03")
        shell.expect(PROMPT)
        return listed

    def test_completes_words(self):
        shell = self.start("--state", "none")
        for text, expected in (("cla", "classifier "), ("rule val", "rule validate "), ("rule add dst_po", "rule add dst_port "),
                               ("rule add ip_proto icmpv", "rule add ip_proto icmpv6 "), ("rule add dscp cs", "rule add dscp cs"),
                               ("rule add eth_type pppoe_", "rule add eth_type pppoe_disc "),
                               ("rule add dst_port 53 act", "rule add dst_port 53 action "),
                               ("rule add any action ch", "rule add any action channel "),
                               ("rule add any action dscp e", "rule add any action dscp ef "),
                               ("r a dst_port 1 vlan_i", "r a dst_port 1 vlan_id "), ("help reso", "help resource "), ("hel", "help "), ("qu", "quit ")):
            with self.subTest(text):
                self.completes(shell, text, expected)

    def test_lists_candidates(self):
        shell = self.start("--state", "none")
        listed = self.lists(shell, "rule add dst_")
        for word in ("dst_ip", "dst_mac", "dst_port"):
            self.assertIn(word, listed)
        self.assertNotIn("src_ip", listed)
        self.assertIn("a number from 0 to 0xfff", self.lists(shell, "rule add vlan_id "))
        self.assertIn("0 to 7", self.lists(shell, "rule add any action queue "))

    def test_completes_rule_numbers(self):
        for state in ("none", os.path.join(self.folder.name, "chip")):
            shell = self.start("--state", state)
            for n in range(4):
                self.line(shell, f"rule add dst_port {n}")
            listed = self.lists(shell, "rule del 1")
            self.assertIn("10", listed)
            self.assertIn("11", listed)
            self.completes(shell, "rule move 8 before 9", "rule move 8 before 9 ")

    def test_completes_files(self):
        for name in ("one.pcap", "two words", "other.pcap", ".hidden"):
            with open(os.path.join(self.folder.name, name), "w", encoding="utf-8"):
                pass
        os.mkdir(os.path.join(self.folder.name, "folder"))
        shell = self.start("--state", "none")
        self.completes(shell, "set load one", "set load one.pcap ")
        self.completes(shell, "frame replay fol", "frame replay folder/")
        listed = self.lists(shell, "frame replay ")
        self.assertIn("other.pcap", listed)
        self.assertNotIn("two", listed)
        self.assertNotIn("hidden", listed)

    def test_a_line_stays_when_the_width_changes(self):
        shell = self.start("--state", "none", COLUMNS="")
        for columns in (100, 50):
            shell.send("rule add dst_po")
            shell.expect("dst_po$")
            shell.resize(columns)
            self.completes(shell, "", "rule add dst_port ")

    def test_completes_flows(self):
        shell = self.start("--state", "none")
        self.completes(shell, "flow cr", "flow create ")
        self.completes(shell, "flow create ", "flow create 0 ")
        self.completes(shell, "flow create 0 pattern ipv4 ds", "flow create 0 pattern ipv4 dst ")
        self.completes(shell, "flow create 0 pattern tcp src is 1 / end actions que", "flow create 0 pattern tcp src is 1 / end actions queue ")
        self.assertIn("a number", self.lists(shell, "flow create 0 pattern eth / end actions queue index "))

    def test_recalls_lines(self):
        shell = self.start("--state", "none")
        self.line(shell, "rule add dst_port 53")
        self.line(shell, "no such thing")
        shell.send("\x1b[A\x1b[A\n")
        self.assertIn("rule 9: LUT1 entry 1", shell.expect("\n" + PROMPT))
        shell.send("quit\n")
        self.assertEqual(shell.wait(), 0)
        shell = self.start("--state", "none")
        shell.send("\x1b[A")
        shell.expect("quit|rule add dst_port 53")
        shell.send("\n")
        shell.close()

    @unittest.skipUnless(EDITS, "no libedit")
    def test_keys_of_the_terminal(self):
        shell = self.start("--state", "none")
        control_left, control_right, page_up, insert = "\x1b[1;5D", "\x1b[1;5C", "\x1b[5~", "\x1b[2~"
        shell.send("add dst_port 53" + control_left * 3 + "rule " + control_right * 3 + "4\n")
        self.assertIn("rule 8: LUT1 entry 0", shell.expect("\n" + PROMPT))
        self.assertIn("rule add dst_port 534 ", self.line(shell, "rule show"))
        shell.send(page_up + insert + "\n")
        self.assertIn("rule add dst_port 534 ", shell.expect("\n" + PROMPT))

    def test_history_file(self):
        shell = self.start()
        for line in ("rule add dst_port 53", "rule show", "rule show", "  ", "# note"):
            self.line(shell, line)
        shell.send("exit\n")
        self.assertEqual(shell.wait(), 0)
        self.assertEqual(stat.S_IMODE(os.stat(self.history).st_mode), 0o600)
        with open(self.history, encoding="utf-8") as file:
            self.assertEqual(file.read(), "rule add dst_port 53\nrule show\n")
        os.chmod(self.history, 0o644)
        with open(self.history, "a", encoding="utf-8") as file:
            file.write("".join(f"rule add dst_port {n}\n" for n in range(2500)))
        shell = self.start()
        shell.send("\x1b[A\n")
        self.assertIn("rule 9", shell.expect("\n" + PROMPT))
        with open(self.history, encoding="utf-8") as file:
            lines = file.read().splitlines()
        self.assertEqual((len(lines), lines[0], lines[-1]), (1001, "rule add dst_port 1500", "rule add dst_port 2499"))
        self.assertEqual(stat.S_IMODE(os.stat(self.history).st_mode), 0o600)

    def test_a_history_that_cannot_be_kept(self):
        os.makedirs(self.history)
        shell = Terminal([IFCCTL, "--state", "none"], self.environment, self.folder.name)
        self.addCleanup(shell.close)
        self.assertIn("the history is not kept", shell.expect(PROMPT))
        self.assertNotIn("history", self.line(shell, "rule show"))


if __name__ == "__main__":
    program = unittest.main(argv=sys.argv[:1], verbosity=1, exit=False)
    if not program.result.wasSuccessful():
        sys.exit(1)
    if not EDITS:
        print("not installed: libedit-dev, when ifcctl was built")
        sys.exit(77)
