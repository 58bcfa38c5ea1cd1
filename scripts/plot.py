#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Draws cost curves as SVG. Usage: plot.py FIGURES FOLDER. A line of FIGURES: "PLOT:CURVE X NANOSECONDS"."""
import math
import sys

WIDTH, HEIGHT, LEFT, BOTTOM, TOP, RIGHT = 640, 400, 70, 50, 40, 150
PLOTS = {
    "rules": ("cost-by-rules.svg", "Parse, match and count a frame", "rules", False,
              {"fast": "fast engine", "plain": "plain engine"}),
    "bytes": ("cost-by-bytes.svg", "Checksum of a range", "bytes", True,
              {"vector": "with vectors", "scalar": "without vectors", "plain": "plain word loop"}),
}
COLOURS = ["#0b6bcb", "#2e7d32", "#b3261e"]


def text(x, y, what, anchor="middle", more=""):
    return f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}" {more}>{what}</text>'


def draw(name, curves):
    file, title, unit, by_powers, names = PLOTS[name]
    points = [p for curve in curves.values() for p in curve]
    xs, ys = [p[0] for p in points], [p[1] for p in points]
    low_y, high_y = 10 ** math.floor(math.log10(min(ys))), 10 ** math.ceil(math.log10(max(ys)))

    def place_x(x):
        first, last = min(xs), max(xs)
        part = math.log(x / first) / math.log(last / first) if by_powers else (x - first) / (last - first)
        return LEFT + part * (WIDTH - LEFT - RIGHT)

    def place_y(y):
        return HEIGHT - BOTTOM - math.log(y / low_y) / math.log(high_y / low_y) * (HEIGHT - BOTTOM - TOP)

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" font-family="sans-serif" '
           'font-size="12">', f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
           text((LEFT + WIDTH - RIGHT) / 2, 22, title, more='font-size="15"'),
           text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 12, unit),
           text(18, HEIGHT / 2, "nanoseconds", more=f'transform="rotate(-90 18 {HEIGHT / 2:.0f})"')]
    y = low_y
    while y <= high_y:
        out += [f'<line x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{place_y(y):.1f}" y2="{place_y(y):.1f}" '
                'stroke="#ddd"/>', text(LEFT - 6, place_y(y) + 4, f"{y:g}", "end")]
        y *= 10
    for x in sorted(set(xs)):
        out += [text(place_x(x), HEIGHT - BOTTOM + 18, f"{x:g}")]
    for (curve, label), colour in zip(names.items(), COLOURS):
        line = sorted(curves[curve])
        path = " ".join(f"{place_x(x):.1f},{place_y(y):.1f}" for x, y in line)
        out += [f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>']
        out += [f'<circle cx="{place_x(x):.1f}" cy="{place_y(y):.1f}" r="3" fill="{colour}"/>' for x, y in line]
        out += [text(place_x(line[-1][0]) + 10, place_y(line[-1][1]) + 4, label, "start", f'fill="{colour}"')]
    return file, "\n".join(out + ["</svg>", ""])


def main():
    figures, folder = sys.argv[1:]
    plots = {}
    with open(figures, encoding="ascii") as lines:
        for line in lines:
            name, x, y = line.split()
            plot, curve = name.split(":")
            plots.setdefault(plot, {}).setdefault(curve, []).append((float(x), float(y)))
    for plot, curves in plots.items():
        file, content = draw(plot, curves)
        with open(f"{folder}/{file}", "w", encoding="ascii") as out:
            out.write(content)
        print(f"{folder}/{file}")


main()
