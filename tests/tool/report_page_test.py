#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""report in a browser: widths, colours, keyboard, screen readers. Usage: report_page_test.py IFCCTL SOURCE-ROOT"""
import os
import subprocess
import sys
import tempfile
import unittest

import browser

browser.need()
IFCCTL, ROOT = sys.argv[1], sys.argv[2]
with open(os.path.join(ROOT, "examples/gateway.ifc"), encoding="utf-8") as file:
    GATEWAY = [line for line in file.read().splitlines() if line and not line.startswith("#")]
CAPTURES = ["--capture", os.path.join(ROOT, "examples/stack.pcap"), os.path.join(ROOT, "examples/framings.pcap")]
LONG = "rule add dst_ip 2001:db8:1111:2222:3333:4444:5555:6666 src_ip 2001:db8:1111:2222:3333:4444:5555:6666/ffff:ffff:ffff:fffe:ffff:ffff:ffff:fffe"
PAGES = {
    "gateway": (GATEWAY, CAPTURES),
    "empty": ([], []),
    "full": (["ppe on"] + [f"rule add vlan_id {n} action queue {n % 8} channel 1" for n in range(1, 40)] + ["rule add dst_port 53 action cpu"], CAPTURES),
    "faulty": ([LONG, "rule add dst_port 1", "rule add dst_port 1", "op ifc_delete_lut1 0", "op ifc_set_lut1_rules 20 1 0 28 0 0xffff 0 53"],
               ["--title", "A-title-without-any-space-" * 6]),
}
SIZES = [(width, scheme) for width in (390, 1400) for scheme in ("light", "dark")]

# The contrast of each visible text: [ratio, text, size in pixels].
CONTRASTS = """
const parse = text => { const n = text.match(/[0-9.]+/g).map(Number); return [n[0], n[1], n[2], n.length > 3 ? n[3] : 1]; };
const over = (top, under) => top.slice(0, 3).map((c, n) => c * top[3] + under[n] * (1 - top[3])).concat(1);
const light = ([r, g, b]) => [r, g, b].map(c => c / 255).map(c => c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4)
    .reduce((sum, c, n) => sum + c * [0.2126, 0.7152, 0.0722][n], 0);
const ratio = (a, b) => { const [x, y] = [light(a), light(b)].sort((p, q) => q - p); return (x + 0.05) / (y + 0.05); };
const ground = element => {
    const layers = [];
    for (let at = element; at; at = at.parentElement) layers.push(parse(getComputedStyle(at).backgroundColor));
    return layers.reverse().reduce((under, top) => over(top, under), [255, 255, 255, 1]);
};
const found = [];
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
for (let node; node = walker.nextNode();) {
    const element = node.parentElement, name = element.localName;
    if (!node.data.trim() || ['style', 'title', 'desc'].includes(name)) continue;
    const range = document.createRange(); range.selectNode(node);
    const box = range.getBoundingClientRect();
    if (box.width < 2 || box.height < 2 || box.bottom < 0) continue;
    const style = getComputedStyle(element);
    const drawn = element.namespaceURI.endsWith('svg');
    let under = ground(element), size = parseFloat(style.fontSize);
    if (drawn) {
        const path = element.parentElement.querySelector(':scope > path');
        if (element.classList.contains('name')) under = over(parse(getComputedStyle(path).fill), under);
        size *= element.ownerSVGElement.getScreenCTM().a;
    }
    found.push([ratio(over(parse(drawn ? style.fill : style.color), under), under), node.data.trim(), size]);
}
return found;
"""
TOO_WIDE = """
return [...document.querySelectorAll('body *')].filter(e => e.getBoundingClientRect().right > innerWidth + 0.5 || e.scrollWidth > e.clientWidth + 1
    && getComputedStyle(e).display !== 'inline' && !e.closest('thead') && !e.closest('svg')).map(e => e.outerHTML.slice(0, 120));
"""


def cases(pages=PAGES, sizes=SIZES):
    return [(name, width, scheme) for name in pages for width, scheme in sizes]


class ReportPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.pages = {}
        for name, (lines, words) in PAGES.items():
            cls.pages[name] = os.path.join(cls.folder.name, name + ".html")
            batch = "\n".join([*lines, " ".join(["report -o", cls.pages[name], *words])]) + "\n"
            result = subprocess.run([IFCCTL, "--state", "none", "-b", "-"], input=batch, capture_output=True, text=True, timeout=60)
            assert result.returncode == 0, result.stderr
        cls.browser = browser.Browser()

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()
        cls.folder.cleanup()

    def show(self, case):
        """Loads a page and returns its width."""
        name, width, scheme = case
        self.browser.show(self.pages[name], width, scheme)
        return width

    def test_no_message_and_no_request(self):
        for case in cases():
            with self.subTest(case):
                self.show(case)
                self.assertEqual(self.browser.messages(), [])
                self.assertEqual(self.browser.run("return performance.getEntriesByType('resource').map(e => e.name)"), [])
                self.assertEqual(self.browser.run("return document.compatMode"), "CSS1Compat")

    def test_nothing_is_wider_than_the_screen(self):
        for case in cases(sizes=[(width, "light") for width in (320, 390, 600, 781, 1000, 1400)]):
            with self.subTest(case):
                width = self.show(case)
                self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), width)
                self.assertEqual(self.browser.run(TOO_WIDE), [])

    def test_contrast_and_size_of_text(self):
        for case in cases():
            with self.subTest(case):
                width = self.show(case)
                texts = self.browser.run(CONTRASTS)
                self.assertGreater(len(texts), 60)
                self.assertEqual([text for text in texts if text[0] < 4.5], [])
                self.assertEqual([text for text in texts if text[2] < 10], [], f"too small at {width}")

    def test_the_judges_find_faults(self):
        self.browser.show(self.pages["gateway"], 390)
        self.browser.run("document.querySelector('main').insertAdjacentHTML('afterbegin', '<p style=\"color:#999;width:500px\">faint</p>')")
        self.assertEqual([text for ratio, text, _ in self.browser.run(CONTRASTS) if ratio < 4.5], ["faint"])
        self.assertTrue(any("faint" in element for element in self.browser.run(TOO_WIDE)))
        self.browser.run("document.querySelector('.map a path').style.fill = '#666'")
        self.assertEqual(len([text for ratio, text, _ in self.browser.run(CONTRASTS) if ratio < 4.5]), 1)
        self.browser.show(self.pages["gateway"], 1400)
        self.browser.run("document.querySelector('.map a path').style.fill = '#666'")
        self.assertEqual([text for ratio, text, _ in self.browser.run(CONTRASTS) if ratio < 4.5], ["rule 0"])
        self.browser.run("console.error('x')")
        self.assertEqual(len(self.browser.messages()), 1)

    def test_content_is_visible(self):
        for case in cases(["gateway"]):
            with self.subTest(case):
                width = self.show(case)
                headings = self.browser.run("return [...document.querySelectorAll('h1,h2,h3')].filter(e => e.checkVisibility())"
                                            ".map(e => [Number(e.localName[1]), e.innerText])")
                self.assertEqual([text for level, text in headings if level < 3],
                                 ["Classifier report", "Tables", "Rules", "Traffic", "Who decides before whom", "Findings", "Free capacity"])
                levels = [level for level, _ in headings]
                self.assertTrue(all(after <= before + 1 for before, after in zip(levels, levels[1:])), levels)
                maps = self.browser.run("return [...document.querySelectorAll('svg.map')].map(e => e.getBoundingClientRect().height)")
                self.assertEqual([height > 40 for height in maps], [width > 780, width <= 780] * 2)
                rules = self.browser.run("return [...document.querySelectorAll('tr[id^=rule-]')].map(e => e.innerText)")
                self.assertEqual(len(rules), 9)
                self.assertIn("dst_ip 2001:db8:40::/48", rules[-1])
                bars = self.browser.run("return [...document.querySelectorAll('.traffic td.frames .fill')]"
                                        ".map(e => Math.round(100 * e.getBoundingClientRect().width / e.parentElement.getBoundingClientRect().width))")
                self.assertEqual(bars, [round(100 * n / 53) for n in (9, 1, 1, 1, 1, 2, 24, 53)])

    def test_keyboard(self):
        for case in cases(["gateway"]):
            with self.subTest(case):
                self.show(case)
                self.browser.press("TAB")
                focus = "const e = document.activeElement, b = e.getBoundingClientRect();"
                self.assertEqual(self.browser.run(focus + "return [e.innerText, b.top >= 0, b.left >= 0]"), ["Skip to the content", True, True])
                self.browser.press("ENTER")
                self.assertEqual(self.browser.run("return location.hash"), "#main")
                seen = []
                for _ in range(60):
                    self.browser.press("TAB")
                    target = self.browser.run(focus + "return [e.getAttribute('href'), b.height > 0, e.matches(':focus-visible'),"
                                              " getComputedStyle(e).outlineStyle, getComputedStyle(e.querySelector('path') || e).stroke]")
                    if target[0] is None:
                        break
                    self.assertEqual(target[1:3], [True, True], target)
                    self.assertTrue(target[3] != "none" or target[4] != "none", f"{target} has no visible focus")
                    seen.append(target[0])
                # Each rule of the visible map, in its order; then the links of the sections.
                self.assertEqual(seen[:9], [f"#rule-{n}" for n in (0, 11, 15, 17, 20, 23, 28, 31, 34)])
                self.assertEqual(len(seen), 9 + 9 + 4)

    def test_screen_readers(self):
        for case in cases(["gateway"]):
            with self.subTest(case):
                self.show(case)
                nodes = [node for node in self.browser.command("Accessibility.getFullAXTree")["nodes"] if not node["ignored"]]
                of = {}
                for node in nodes:
                    of.setdefault(node["role"]["value"], []).append(node.get("name", {}).get("value", ""))
                self.assertEqual(of["table"], ["What each rule matches and does", "Frames by the rule that decided",
                                               "By shape, most frames first, with the command that explains the first one",
                                               "Pairs of rules whose order matters", "More rules that fit, by shape"])
                self.assertEqual(len(of["columnheader"]), 3 + 5 + 3 + 3 + 4)
                self.assertEqual(len(of["rowheader"]), 9 + 10 + 10 + 2 + 9)
                for role in ("banner", "main", "contentinfo"):
                    self.assertEqual(len(of[role]), 1, role)
                self.assertEqual(of["navigation"], ["Sections"])
                self.assertEqual(len(of["region"]), 6)
                self.assertTrue(all(of["link"]), "a link without a name")
                self.assertEqual(sorted(name for role in ("group", "graphics-document", "SvgRoot") for name in of.get(role, [])
                                        if name.startswith("Map of")), [
                    "Map of LUT0 Eight places, each for one wide rule. The list of rules names the place of each rule.",
                    "Map of LUT1 32 entries in two sub-tables of 16. A chain of entries is one rule. The list of rules names the "
                    "place of each rule."])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
