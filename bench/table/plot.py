#!/usr/bin/env python3
"""Draws how the cost of a frame grows with its bodies. Usage: plot.py FILE.json FILE.svg; the first is what
scripts/bench.sh --json wrote."""
import json
import statistics
import sys

WIDTH, HEIGHT, LEFT, BOTTOM, TOP, RIGHT = 720, 420, 70, 50, 20, 190
LINES = [("in step by bodies", "ours", "#0b5fa5", "receive path"),
         ("in step by bodies", "floor", "#8fb8dc", "its floor"),
         ("decode by bodies", "ours", "#b3430e", "decode and release"),
         ("decode by bodies", "floor", "#e3aa8c", "its floor")]
MICROSECONDS = {"us": 1, "ns": 1e-3}


def points(rows, what, side):
    return [(int(row["load"]), statistics.median(row[side]) * MICROSECONDS[row["unit"]])
            for row in rows if row["what"] == what]


def main(source, target):
    rows = json.load(open(source, encoding="utf-8"))
    series = [(points(rows, what, side), colour, label) for what, side, colour, label in LINES]
    most_x = max(x for line, _, _ in series for x, _ in line)
    most_y = max(y for line, _, _ in series for _, y in line)

    def place(x, y):
        return (LEFT + x / most_x * (WIDTH - LEFT - RIGHT), HEIGHT - BOTTOM - y / most_y * (HEIGHT - BOTTOM - TOP))

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
           f'font-size="12"><rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>']
    for step in range(6):
        (x, bottom), (left, y) = place(most_x * step / 5, 0), place(0, most_y * step / 5)
        out.append(f'<line x1="{left}" y1="{y:.1f}" x2="{WIDTH - RIGHT}" y2="{y:.1f}" stroke="#ddd"/>'
                   f'<text x="{left - 8}" y="{y + 4:.1f}" text-anchor="end">{most_y * step / 5:.0f}</text>'
                   f'<text x="{x:.1f}" y="{bottom + 18}" text-anchor="middle">{most_x * step / 5:.0f}</text>')
    out.append(f'<text x="{(LEFT + WIDTH - RIGHT) / 2}" y="{HEIGHT - 10}" text-anchor="middle">rigid bodies</text>'
               f'<text x="16" y="{HEIGHT / 2}" transform="rotate(-90 16 {HEIGHT / 2})" '
               f'text-anchor="middle">microseconds for a frame</text>')
    for line, colour, label in series:
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in (place(*point) for point in line))
        x, y = place(*line[-1])
        out.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        out += [f'<circle cx="{px}" cy="{py}" r="3" fill="{colour}"/>'
                for px, py in (pair.split(",") for pair in path.split())]
        out.append(f'<text x="{x + 8:.1f}" y="{y + 4:.1f}" fill="{colour}">{label}</text>')
    open(target, "w", encoding="utf-8").write("\n".join(out + ["</svg>\n"]))


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2])
