#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Makes the pictures of docs/images in a headless browser. Usage: pictures.py REPORT.html TERMINAL.txt FOLDER"""
import html
import os
import re
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../tests/tool"))
import browser

browser.need()
REPORT, TERMINAL, FOLDER = sys.argv[1:]
WIDTH = 1160
# The colours of a terminal, by the numbers of an SGR sequence.
COLOURS = {"30": "color:#10161c", "46": "background:#7fc8bf", "43": "background:#e3bd7c", "42": "background:#a9c98f",
           "45": "background:#b9b0e0", "97": "color:#fff", "41": "background:#b0443c", "2": "color:#98a4b0"}
TERMINAL_PAGE = """<!DOCTYPE html><meta charset="utf-8"><style>body{margin:0;background:#171c22}
pre{display:inline-block;margin:0;padding:22px 26px;color:#dde3e8;font:15px/1.164 "DejaVu Sans Mono",monospace}</style><pre>%s</pre>"""


def terminal_page(text):
    """The output of a terminal as a page."""
    out = ""
    for piece in re.split("(\x1b\\[[0-9;]*m)", text):
        sequence = re.fullmatch("\x1b\\[([0-9;]*)m", piece)
        if not sequence:
            out += html.escape(piece)
        elif sequence.group(1) == "0":
            out += "</span>"
        else:
            out += '<span style="' + ";".join(COLOURS[number] for number in sequence.group(1).split(";")) + '">'
    return TERMINAL_PAGE % out


def save(name, content):
    with open(os.path.join(FOLDER, name), "wb") as file:
        file.write(content)


def bottom(window, element):
    return window.run("return Math.ceil(document.querySelector(arguments[0]).getBoundingClientRect().bottom + scrollY)", element)


def main():
    window = browser.Browser()
    try:
        for scheme in ("light", "dark"):
            window.show(REPORT, WIDTH, scheme)
            tables, rules, traffic = (bottom(window, name) for name in ("#tables", "#rules", "#traffic > table"))
            save(f"report-{scheme}.png", window.picture(0, 0, WIDTH, tables + 18))
            save(f"traffic-{scheme}.png", window.picture(0, rules + 18, WIDTH, traffic - rules + 8))
        page = TERMINAL + ".html"
        with open(TERMINAL, encoding="utf-8") as text, open(page, "w", encoding="utf-8") as file:
            file.write(terminal_page(text.read()))
        window.show(page, WIDTH)
        width, height = window.run("const b = document.querySelector('pre').getBoundingClientRect(); return [Math.ceil(b.right), Math.ceil(b.bottom)]")
        save("table-map.png", window.picture(0, 0, width, height))
    finally:
        window.close()


main()
