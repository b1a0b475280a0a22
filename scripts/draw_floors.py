#!/usr/bin/env python3
"""Draws docs/floors.svg: the floors of Source/ and the includes between its folders.

    draw_floors.py           writes docs/floors.svg
    draw_floors.py --check   fails when the file differs from what would be drawn

The floors come from the line FLOORS= of tests/check_includes.sh, the arrows from the #include lines. An arrow that
others imply is left out.
"""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
DRAWING = ROOT / "docs" / "floors.svg"
WIDTH, ROW, BOX_HEIGHT, MARGIN, GAP = 760, 76, 40, 20, 24


def read_floors():
    """The floors from the lowest to the highest; each is a list of folders."""
    text = (ROOT / "tests" / "check_includes.sh").read_text()
    line = re.search(r'^(?:readonly )?FLOORS="([^"]*)"', text, re.M).group(1)
    return [floor.split(",") for floor in line.split()]


def folder_of(path):
    """The floor's folder of a file below Source/; files in Source/ itself are `main`."""
    return path.parts[0] if len(path.parts) > 1 else "main"


def read_includes(folders):
    """How many include lines lead from one folder to another."""
    counts = {}
    source = ROOT / "Source"
    for file in sorted(source.rglob("*")):
        if file.suffix not in (".h", ".cpp"):
            continue
        here = folder_of(file.relative_to(source))
        for header in re.findall(r'^#include "([^"]+)"', file.read_text(), re.M):
            there = folder_of(Path(header))
            if here != there and here in folders and there in folders:
                counts[here, there] = counts.get((here, there), 0) + 1
    return counts


def leave_out_implied(counts):
    """The includes that no chain of others implies: from A to C is left out where A reaches C through B."""
    reach = {}
    for here, there in counts:
        reach.setdefault(here, set()).add(there)

    def reaches(here, there):
        return any(step == there or reaches(step, there) for step in reach.get(here, ()))

    return {(here, there): count for (here, there), count in counts.items()
            if not any(step != there and reaches(step, there) for step in reach[here])}


def place_boxes(floors):
    """Left, top and width of each folder's box, the highest floor at the top."""
    boxes = {}
    for level, floor in enumerate(floors):
        width = (WIDTH - 2 * MARGIN - GAP * (len(floor) - 1)) / len(floor) if len(floor) > 1 else 300
        left = MARGIN if len(floor) > 1 else (WIDTH - width) / 2
        for index, folder in enumerate(floor):
            top = MARGIN + (len(floors) - 1 - level) * ROW
            boxes[folder] = (left + index * (width + GAP), top, width)
    return boxes


def draw(floors, counts):
    """The drawing as SVG text. An arrow is as thick as its includes are many."""
    boxes = place_boxes(floors)
    height = 2 * MARGIN + (len(floors) - 1) * ROW + BOX_HEIGHT
    lines = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" font-family="sans-serif" font-size="15">',
        "<title>Floors of Source: includes point down</title>",
        f'<rect width="{WIDTH}" height="{height}" fill="#ffffff"/>',
        '<defs><marker id="tip" markerUnits="userSpaceOnUse" markerWidth="9" markerHeight="9" refX="8" refY="4.5" '
        'orient="auto"><path d="M0,0 L9,4.5 L0,9 z" fill="#5b7083"/></marker></defs>',
    ]
    level_of = {folder: level for level, floor in enumerate(floors) for folder in floor}
    for (here, there), count in sorted(counts.items()):
        x1, y1, w1 = boxes[here]
        x2, y2, w2 = boxes[there]
        distance = level_of[here] - level_of[there]
        shift = (distance - 1) * 16 * (-1 if (level_of[here] + level_of[there]) % 2 else 1)
        start = (x1 + w1 / 2 + shift, y1 + BOX_HEIGHT if distance > 0 else y1)
        end = (x2 + w2 / 2 + shift, y2 if distance > 0 else y2 + BOX_HEIGHT)
        bend = shift * 4
        middle = ((start[0] + end[0]) / 2 + bend, (start[1] + end[1]) / 2)
        lines.append(
            f'<path d="M{start[0]:.0f},{start[1]:.0f} Q{middle[0]:.0f},{middle[1]:.0f} {end[0]:.0f},{end[1]:.0f}" '
            f'fill="none" stroke="#5b7083" stroke-opacity="0.7" stroke-width="{1 + min(count, 40) / 16:.1f}" '
            f'marker-end="url(#tip)"><title>{here} includes {there}: {count}</title></path>')
    for folder, (left, top, width) in boxes.items():
        lines.append(f'<rect x="{left:.0f}" y="{top}" width="{width:.0f}" height="{BOX_HEIGHT}" rx="6" '
                     'fill="#eaf1f7" stroke="#2f4858"/>')
        lines.append(f'<text x="{left + width / 2:.0f}" y="{top + 25}" text-anchor="middle" fill="#1b2a33">{folder}</text>')
    return "\n".join(lines + ["</svg>", ""])


def main():
    floors = read_floors()
    folders = {folder for floor in floors for folder in floor}
    text = draw(floors, leave_out_implied(read_includes(folders)))
    if "--check" in sys.argv[1:]:
        if not DRAWING.exists() or DRAWING.read_text() != text:
            sys.exit("docs/floors.svg is out of date: run scripts/draw_floors.py")
        return
    DRAWING.write_text(text)


if __name__ == "__main__":
    main()
