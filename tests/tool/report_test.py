#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""report: the page as a file, without a browser. Usage: report_test.py IFCCTL SOURCE-ROOT"""
import html.parser
import json
import os
import re
import resource
import subprocess
import sys
import tempfile
import unittest

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
STACK = os.path.join(ROOT, "examples/stack.pcap")
FRAMINGS = os.path.join(ROOT, "examples/framings.pcap")
with open(os.path.join(ROOT, "examples/gateway.ifc"), encoding="utf-8") as file:
    GATEWAY = [line for line in file.read().splitlines() if line and not line.startswith("#")]
VOID = {"meta", "link"}
SECTIONS = ["Tables", "Rules", "Traffic", "Who decides before whom", "Findings", "Free capacity"]


class Page(html.parser.HTMLParser):
    """The page as a list of elements and texts. It must be well-formed."""

    def __init__(self, text):
        super().__init__(convert_charrefs=True)
        self.open, self.ids, self.links, self.headings, self.elements, self.texts = [], [], [], [], [], []
        self.feed(text)
        self.close()
        assert not self.open, self.open

    def handle_starttag(self, tag, attributes):
        self.handle_startendtag(tag, attributes)
        if tag not in VOID:
            self.open.append(tag)

    def handle_startendtag(self, tag, attributes):
        names = [name for name, _ in attributes]
        assert len(names) == len(set(names)), (tag, attributes)
        attributes = dict(attributes)
        self.elements.append((tag, attributes))
        if "id" in attributes:
            self.ids.append(attributes["id"])
        if attributes.get("href", "").startswith("#"):
            self.links.append(attributes["href"][1:])
        if re.fullmatch("h[1-6]", tag):
            self.headings.append([int(tag[1]), ""])

    def handle_endtag(self, tag):
        assert self.open and self.open.pop() == tag, f"</{tag}>"

    def handle_data(self, data):
        if self.open and self.open[-1] == "style":
            return
        self.texts.append(data)
        if any(re.fullmatch("h[1-6]", tag) for tag in self.open):
            self.headings[-1][1] += data

    def text(self):
        return " ".join(" ".join(self.texts).split())


class Report(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.out = self.path("page.html")

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def another_folder(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        return folder.name

    def tool(self, *args, text=None, **options):
        environment = {"IFC_STATE": "none", "SOURCE_DATE_EPOCH": "1700000000", **options.pop("env", {})}
        return subprocess.run([IFCCTL, *args], input=text, capture_output=True, text=True, timeout=60, env=environment, **options)

    def report(self, *words, rules=GATEWAY, args=()):
        lines = [*rules, " ".join(("report -o", self.out, *words))]
        result = self.tool(*args, "-b", "-", text="\n".join(lines) + "\n")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        with open(self.out, encoding="utf-8") as file:
            content = file.read()
        self.assertEqual(os.listdir(self.folder.name), [os.path.basename(self.out)], "no unfinished file is left")
        return content, result.stdout.splitlines()[-1]

    # ------------------------------------------------------------------ the page

    def test_sections_and_links(self):
        for rules in ([], GATEWAY, ["rule add any"] * 3, [f"rule add vlan_id {n}" for n in range(1, 41)],
                      ["op ifc_set_lut1_rules 20 1 0 28 0 0xffff 0 53"]):
            for words in ((), ("--capture", STACK)):
                page = Page(self.report(*words, rules=rules)[0])
                self.assertEqual([text for level, text in page.headings if level == 2], SECTIONS)
                self.assertEqual([text for level, text in page.headings if level == 1], ["Classifier report"])
                levels = [level for level, _ in page.headings]
                self.assertTrue(all(after <= before + 1 for before, after in zip(levels, levels[1:])), levels)
                self.assertEqual(len(page.ids), len(set(page.ids)), "an id twice")
                self.assertEqual(set(page.links) - set(page.ids), set(), "a link to nowhere")
                ids = {name for _, attributes in page.elements for name in attributes.get("aria-labelledby", "").split()}
                self.assertEqual(ids - set(page.ids), set())

    def test_the_page_stands_alone(self):
        content = self.report("--capture", STACK)[0]
        page = Page(content)
        self.assertNotRegex(content, r"(?i)https?://|//[a-z]|@import|url\(|<script|javascript:| on[a-z]+=")
        for tag, attributes in page.elements:
            self.assertNotIn("src", attributes)
            self.assertRegex(attributes.get("href", "#"), "^(#|data:,$)")
        self.assertIn("default-src 'none'", dict(page.elements[[e[1].get("http-equiv") for e in page.elements].index(
            "Content-Security-Policy")][1])["content"])
        self.assertLess(len(content), 200000)

    def test_tables_and_pictures_have_names(self):
        page = Page(self.report("--capture", STACK)[0])
        tags = [tag for tag, _ in page.elements]
        self.assertEqual(tags.count("caption"), tags.count("table"))
        for tag, attributes in page.elements:
            if tag == "th":
                self.assertIn(attributes.get("scope"), ("col", "row"))
            if tag == "svg":
                self.assertTrue(attributes.get("aria-hidden") == "true" or attributes.get("aria-labelledby"), attributes)
        self.assertEqual(tags.count("title"), 1 + 4 + 2 * 9 + 1, "of the page, of four maps, of each rule in two of them, of the arcs")
        self.assertEqual(tags.count("desc"), 5)
        self.assertEqual(sum(attributes.get("class") == "arc" for _, attributes in page.elements), 2)

    def test_content(self):
        content, out = self.report("--capture", STACK, FRAMINGS)
        self.assertEqual(out, f"report: {self.out}: 9 rules, 2 findings")
        text = Page(content).text()
        for part in ("2023-11-14 22:13 UTC", "92 frames of stack.pcap, framings.pcap", "39 decided by a rule, 53 without a rule",
                     "src_ip 192.168.1.0/24", "dst_port 16384/0xc000", "LUT1 entries 16-20", "dscp ef",
                     "untagged, eth_type ipv4 ip_proto icmp", f"rule explain {STACK}:11", "IPv6 prefix /33 to /64",
                     "rule 11 (src_ip 192.168.1.0/24 dst_ip 192.168.1.1 ip_proto tcp ...) and rule 31"):
            self.assertIn(part, text)

    def test_the_same_input_gives_the_same_page(self):
        self.assertEqual(self.report("--capture", STACK), self.report("--capture", STACK))

    def test_json(self):
        report = json.loads(self.report("--capture", STACK, FRAMINGS, args=("-j",))[1])
        lines = "\n".join([*GATEWAY, f"frame replay {STACK} {FRAMINGS} --misses", "rule check", "table map", "resource show"])
        replay, check, tables, free = map(json.loads, self.tool("-j", "-b", "-", text=lines + "\n").stdout.splitlines()[-4:])
        for rule in report["rules"]:
            other = next(r for r in replay["rules"] if r["rule"] == rule["rule"])
            self.assertEqual([rule[key] for key in ("hits", "frames", "bytes")], [other[key] for key in ("hits", "frames", "bytes")])
        self.assertEqual([(m["shape"], m["frames"], m["explain"]) for m in report["replay"]["misses"]],
                         [(m["shape"], m["frames"], m["explain"]) for m in replay["selected"]["shapes"]])
        self.assertEqual(report["findings"]["rule_check"], check)
        self.assertEqual(report["overlaps"], [{"decides": f["rule"], "not": f["other"]} for f in check if f["kind"] == "overlap"])
        self.assertEqual((report["tables"]["lut1"], report["shapes"]), (tables["lut1"], free["shapes"]))
        self.assertIsNone(json.loads(self.report(args=("-j",))[1])["replay"])

    def test_only_overlaps_that_matter(self):
        rules = ["rule add vlan_id 7 action cpu", "rule add ip_proto udp action cpu", "rule add dst_port 53 action cpu nbq 3"]
        report = json.loads(self.report(rules=rules, args=("-j",))[1])
        self.assertEqual(report["overlaps"], [{"decides": 8, "not": 10}, {"decides": 9, "not": 10}])

    def test_the_words_of_actions_and_conditions(self):
        rules = ["ppe on", "rule add dst_port ge 5 src_port ne 7 vlan_id any action dscp ef cpu mc off queue 3 channel 0"]
        content = self.report(rules=rules)[0]
        for piece in ("<b>dst_port</b> ge 5", "<b>src_port</b> ne 7", "<b>vlan_id</b> any", "<b>dscp</b> ef", "<b>cpu</b></span>",
                      "<b>queue</b> 3"):
            self.assertIn("<span>" + piece, content)

    def test_counters_of_the_chip(self):
        frame = "frame send 01005e0000010a0b0c0d0e0f08004500001c00010000401190ce0a000001e0000001123400350008ffff"
        rules = ["classifier enable", "rule add dst_port 53", frame, frame]
        report = json.loads(self.report(rules=rules, args=("-j",))[1])
        self.assertEqual([(rule["frames"], rule["bytes"]) for rule in report["rules"]], [(2, 84)])
        self.assertIn("The counters of the chip", Page(self.report(rules=rules)[0]).text())

    def test_a_replay_changes_nothing(self):
        state = self.path("chip")
        for words in (["classifier", "enable"], ["rule", "add", "ip_proto", "udp"], ["frame", "replay", STACK]):
            self.assertEqual(self.tool("--state", state, *words).returncode, 0)
        with open(state, "rb") as file:
            before = file.read()
        result = self.tool("--state", state, "report", "-o", self.out, "--capture", STACK)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        with open(state, "rb") as file:
            self.assertEqual(file.read(), before)

    def test_findings(self):
        rules = ["rule add dst_port 1", "rule add dst_port 1", "op ifc_delete_lut1 0"]
        content, out = self.report(rules=rules)
        text = Page(content).text()
        self.assertRegex(text, "LUT1-0 word 0: hardware 0x[0-9a-f]+, shadow 0x0 ")
        self.assertIn("no rule, LUT1-0: ", text)
        self.assertNotIn("they agree", text)
        wanted = os.path.join(self.another_folder(), "x.set")
        with open(wanted, "w", encoding="utf-8") as file:
            file.write("rule add vlan_id 7\n")
        report = json.loads(self.report("--set", wanted, rules=["rule add dst_port 1"], args=("-j",))[1])
        self.assertEqual([d["kind"] for d in report["findings"]["set_verify"]["shadow_file"]], ["file only", "tables only"])
        self.assertIn("set verify x.set", Page(self.report("--set", wanted)[0]).text())

    def test_many_shapes(self):
        name = os.path.join(self.another_folder(), "<i>&'.pcap")
        with open(name, "wb") as file:
            file.write(bytes.fromhex("d4c3b2a1020004000000000000000000ffff000001000000"))
            for n in range(25):
                file.write(bytes(8) + 2 * (60).to_bytes(4, "little") + bytes(12) + (0x9000 + n).to_bytes(2, "big") + bytes(46))
        page = Page(self.report("--capture", name)[0])
        self.assertIn("And 5 frames of 5 other shapes.", page.text())
        self.assertIn("25 frames of <i>&'.pcap, replayed", page.text())

    def test_text_of_users_is_escaped(self):
        title = "</title><script>alert(1)</script>\"'&\x1b\u202e\udcff"
        result = subprocess.run([IFCCTL, "--state", "none", "report", "-o", self.out, "--title", title], capture_output=True,
                                timeout=60)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        with open(self.out, encoding="utf-8") as file:
            content = file.read()
        self.assertNotIn("<script", content)
        shown = "</title><script>alert(1)</script>\"'&\ufffd\ufffd\ufffd"
        self.assertEqual(Page(content).headings[0], [1, shown])

    def test_special_chips(self):
        text = Page(self.report(args=("--revision", "14"), rules=["rule add dst_port 1"])[0]).text()
        self.assertIn("This revision of the chip does not use LUT0.", text)
        text = Page(self.report(rules=["op ifc_set_lut1_rules 20 1 0 28 0 0xffff 0 53"])[0]).text()
        self.assertIn("rule 28, LUT1 entry 20: no end flag, never hits", text)

    def test_the_pictures_of_the_readme(self):
        with open(os.path.join(ROOT, "README.md"), encoding="utf-8") as file:
            named = set(re.findall(r"docs/images/[a-z-]+\.png", file.read()))
        here = {"docs/images/" + name for name in os.listdir(os.path.join(ROOT, "docs/images"))}
        self.assertEqual(named, here)
        for name in named:
            with open(os.path.join(ROOT, name), "rb") as file:
                content = file.read()
            self.assertTrue(content.startswith(b"\x89PNG") and len(content) < 150000, name)

    # ------------------------------------------------------------------ the file

    def refused(self, code, message, *words, **options):
        before = sorted(os.listdir(self.folder.name))
        result = self.tool("report", *words, **options)
        self.assertEqual((result.returncode, result.stdout), (code, ""), result.stderr)
        self.assertIn(message, result.stderr)
        self.assertEqual(sorted(os.listdir(self.folder.name)), before)

    def test_refusals(self):
        self.refused(2, "report '': accepted: -o FILE")
        self.refused(2, "-o '': accepted: the file to write", "-o")
        self.refused(2, "report '-x': accepted: ", "-x")
        self.refused(2, "report 'iface 3': accepted: only together with --capture", "-o", self.out, "iface", "3")
        self.refused(2, "capture '/nowhere'", "-o", self.out, "--capture", "/nowhere")
        self.refused(2, "/nowhere", "-o", self.out, "--set", "/nowhere")
        self.refused(2, f"report '{self.folder.name}': accepted: a file; this is a folder", "-o", self.folder.name)
        self.refused(6, "report '/dev/full': No space left on device", "-o", "/dev/full")
        self.refused(6, "No such file or directory", "-o", self.path("none/page.html"))
        self.refused(6, "Not a directory", "-o", STACK + "/page.html")

    def test_a_full_disk_leaves_the_old_page(self):
        with open(self.out, "w", encoding="utf-8") as file:
            file.write("old")
        # Python ignores SIGXFSZ, and so does the tool then: its write fails.
        self.refused(6, "File too large", "-o", self.out, restore_signals=False,
                     preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096)))
        with open(self.out, encoding="utf-8") as file:
            self.assertEqual(file.read(), "old")

    def test_a_device_gets_the_page_alone(self):
        result = self.tool("report", "-o", "/dev/stdout")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertTrue(result.stdout.startswith("<!DOCTYPE html>") and result.stdout.endswith("</html>\n"), result.stdout[-80:])
        result = self.tool("-j", "report", "-o", "/dev/null")
        self.assertEqual(json.loads(result.stdout)["rules"], [])

    def test_standard_output(self):
        page = self.report("--capture", STACK)[0]
        result = self.tool("-b", "-", text="\n".join([*GATEWAY, f"report -o - --capture {STACK}"]))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(result.stdout[result.stdout.index("<!DOCTYPE html>"):], page)
        self.assertFalse(os.path.exists("-"))
        result = self.tool("-j", "report", "-o", "-")
        self.assertEqual((result.returncode, result.stdout), (2, ""))
        self.assertIn("-o '-': accepted: a file; with --json", result.stderr)

    def test_an_existing_page_is_replaced(self):
        with open(self.out, "w", encoding="utf-8") as file:
            file.write("old")
        os.chmod(self.out, 0o640)
        self.assertTrue(self.report()[0].startswith("<!DOCTYPE html>"))
        self.assertEqual(os.stat(self.out).st_mode & 0o777, 0o640)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
