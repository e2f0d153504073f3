"""Draws the table of scripts/bench: how far each measure is from its target.

    picture.py < TABLE > PICTURE.svg
"""

import re
import sys
from html import escape

WIDTH, ROW, LEFT, TARGET = 860, 22, 470, 190
UNITS = {"CPU": "us of CPU a MiB", "instr.": "instructions"}

rows, title = [], ""
for line in sys.stdin:
    if re.match(r"\S.*\s(ratio|spread)\b", line):
        title = re.split(r"\s{2,}", line)[0]
    target = re.match(r"\s+-> (\S+) ([<>]=) ([\d.]+)(.*?): pinned ([\d.]+)", line)
    if target:
        unit, order, limit, reference, figure = target.groups()
        limit, figure = float(limit), float(figure)
        reached = limit / figure if order == "<=" else figure / limit
        wanted = f"{order} {limit:g}{reference or ' ' + UNITS.get(unit, unit)}"
        rows.append((f"{title}: {wanted}", figure, reached))

height = ROW * (len(rows) + 2)
print(f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
      'font-family="sans-serif" font-size="12">')
print(f'<rect width="{WIDTH}" height="{height}" fill="white"/>')
print(f'<text x="{LEFT + TARGET}" y="15" text-anchor="middle">target</text>')
for index, (name, figure, reached) in enumerate(rows):
    y = ROW * (index + 1)
    colour = "#3a7d44" if reached >= 1 else "#c8803a"
    print(f'<text x="{LEFT - 8}" y="{y + 15}" text-anchor="end">{escape(name)}</text>')
    print(f'<rect x="{LEFT}" y="{y + 3}" width="{min(reached, 1.8) * TARGET:.0f}" height="{ROW - 6}" fill="{colour}"/>')
    print(f'<text x="{LEFT + 6}" y="{y + 15}" fill="white">{figure:g}</text>')
print(f'<line x1="{LEFT + TARGET}" x2="{LEFT + TARGET}" y1="20" y2="{height - ROW + 4}" stroke="black"/>')
print("</svg>")
