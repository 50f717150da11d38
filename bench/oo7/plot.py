#!/usr/bin/env python3
"""Draws the ratios that `oo7_bench --figures` prints as an SVG file.

    oo7_bench --figures --database medium3 --folder DIR > figures.txt
    plot.py figures.txt oo7.svg

A bar for each operation: the time of the store's references beside SQLite's, from opening to the commit (cold), and in
the same session (hot). The scale is logarithmic; left of the line, the store is faster.
"""

import math
import sys

OPERATIONS = ["Q1", "T6", "T1", "Q7", "T2a", "T2b", "T3b", "SM1", "SM2", "Q2", "Q3", "Q4", "Q8"]
TITLES = {
    "Q1": "10 parts by id", "T6": "root part of each composite", "T1": "walk over all parts", "Q7": "scan of all parts",
    "T2a": "change 495 parts", "T2b": "change all parts", "T3b": "change an indexed date of all",
    "SM1": "insert 10 composite parts", "SM2": "delete 10 composite parts", "Q2": "1 % of the parts by date",
    "Q3": "10 % of the parts by date", "Q4": "by document title", "Q8": "parts joined with documents",
}
LEAST, MOST = 1 / 8, 32
LEFT, WIDTH, ROW, TOP = 235, 420, 34, 46


def x_of(ratio: float) -> float:
    bounded = min(max(ratio, LEAST), MOST)
    return LEFT + WIDTH * math.log(bounded / LEAST) / math.log(MOST / LEAST)


def bar(y: int, ratio: float, colour: str, name: str) -> str:
    start, end = sorted((x_of(1), x_of(ratio)))
    at = end + 5 if ratio >= 1 else x_of(1) + 5
    return (f'<rect x="{start:.1f}" y="{y}" width="{max(end - start, 1):.1f}" height="11" fill="{colour}"/>'
            f'<text x="{at:.1f}" y="{y + 10}" class="value">{name} {ratio:.2g}</text>')


def main(figures: str, picture: str) -> None:
    ratios = {}
    with open(figures, encoding="utf-8") as lines:
        for line in lines:
            name, value, _ = line.split()
            ratios[name] = float(value)
    rows = [operation for operation in OPERATIONS if f"oo7.lazy.{operation}.cold" in ratios]
    if not rows:
        sys.exit(f"{figures} has no figures of the systems lazy and sqlite")
    height = TOP + ROW * len(rows) + 10
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 740 {height}" font-family="sans-serif" font-size="13">',
             '<title>OO7: time of the store / time of SQLite</title>',
             '<style>.value{font-size:11px;fill:#333}.scale{font-size:11px;fill:#666;text-anchor:middle}</style>',
             '<rect width="100%" height="100%" fill="#fff"/>',
             '<text x="10" y="20">time of the store / time of SQLite: cold dark, hot light</text>']
    for power in range(-3, 6):
        x = x_of(2.0 ** power)
        parts.append(f'<line x1="{x:.1f}" y1="{TOP}" x2="{x:.1f}" y2="{height - 6}" stroke="{"#000" if power == 0 else "#ddd"}"/>'
                     f'<text x="{x:.1f}" y="{TOP - 6}" class="scale">{2.0 ** power:g}</text>')
    for row, operation in enumerate(rows):
        y = TOP + ROW * row + 4
        parts.append(f'<text x="10" y="{y + 15}">{operation}: {TITLES[operation]}</text>')
        parts.append(bar(y, ratios[f"oo7.lazy.{operation}.cold"], "#2b5c8a", "cold"))
        parts.append(bar(y + 13, ratios[f"oo7.lazy.{operation}.hot"], "#9cc3e6", "hot"))
    with open(picture, "w", encoding="utf-8") as out:
        out.write("\n".join(parts + ["</svg>"]) + "\n")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2])
