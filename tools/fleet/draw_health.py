#!/usr/bin/env python3
"""Draws learned against predicted states of health, by climate and charging habit, as an SVG.

Usage: draw_health.py < ANSWER > PICTURE

ANSWER has a line of names and then the lines of the fourth statement of docs/fleet.md, separated by
tabs (clickhouse-client --format TSVWithNames). A point is the middle learned state of health of the
periods with one predicted state; its line reaches from the lowest to the highest tenth.
"""

import csv
import sys

GROUPS = {("0", "0"): ("cool, seldom full", "#4477aa"), ("0", "1"): ("cool, kept full", "#228833"),
          ("1", "0"): ("warm, seldom full", "#aa7700"), ("1", "1"): ("warm, kept full", "#cc3311")}
SIDE, LEFT, TOP = 480, 60, 20

HEAD = """<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" font-family="sans-serif" font-size="13">
<style>svg {{ background: #fff; fill: #222; stroke: #222 }} text {{ stroke: none }} .grid {{ stroke: #ddd }}
@media (prefers-color-scheme: dark) {{ svg {{ background: #1c1c1c; fill: #ddd; stroke: #ddd }} .grid {{ stroke: #444 }} }}</style>"""


def main():
    rows = list(csv.DictReader(sys.stdin, delimiter="\t"))
    if not rows or not {"warm", "kept_full", "predicted", "low", "middle", "high"} <= set(rows[0]):
        sys.exit("draw_health.py: standard input has no answer of the statement; expected a line of names and its rows")
    lowest = 5 * (min(float(row[name]) for row in rows for name in ("predicted", "low")) // 5)

    def x(percent):
        return LEFT + SIDE * (100 - percent) / (100 - lowest)

    def y(percent):
        return TOP + SIDE * (100 - percent) / (100 - lowest)

    parts = [HEAD.format(width=LEFT + SIDE + 30, height=TOP + SIDE + 60 + 20 * len(GROUPS))]
    for percent in range(int(lowest), 101, 5 if lowest < 90 else 1):
        parts.append(f'<path class="grid" d="M{x(percent):.1f} {TOP}v{SIDE}M{LEFT} {y(percent):.1f}h{SIDE}"/>'
                     f'<text x="{x(percent):.1f}" y="{TOP + SIDE + 18}" text-anchor="middle">{percent}</text>'
                     f'<text x="{LEFT - 8}" y="{y(percent) + 4:.1f}" text-anchor="end">{percent}</text>')
    parts.append(f'<path stroke-dasharray="4" d="M{LEFT} {TOP}l{SIDE} {SIDE}"/>'
                 f'<text x="{LEFT + SIDE / 2}" y="{TOP + SIDE + 38}" text-anchor="middle">state of health predicted, %</text>'
                 f'<text transform="translate(16 {TOP + SIDE / 2}) rotate(-90)" text-anchor="middle">state of health learned, %</text>')
    drawn = [key for key in GROUPS if any((row["warm"], row["kept_full"]) == key for row in rows)]
    for index, key in enumerate(drawn):
        name, colour = GROUPS[key]
        for row in rows:
            if (row["warm"], row["kept_full"]) == key:
                middle = float(row["predicted"]) + 0.5  # of the whole per cent
                at = x(middle) + 3 * index - 4.5  # side by side
                parts.append(f'<path stroke="{colour}" stroke-width="2" d="M{at:.1f} {y(float(row["low"])):.1f}'
                             f'V{y(float(row["high"])):.1f}"/><circle cx="{at:.1f}" cy="{y(float(row["middle"])):.1f}" r="4" '
                             f'fill="{colour}" stroke="none"><title>{name}: {row["phones"]} phones</title></circle>')
        below = TOP + SIDE + 60 + 20 * index
        parts.append(f'<path stroke="{colour}" stroke-width="4" d="M{LEFT} {below - 4}h24"/>'
                     f'<text x="{LEFT + 32}" y="{below}">{name}</text>')
    print("\n".join([*parts, "</svg>"]))


if __name__ == "__main__":
    main()
