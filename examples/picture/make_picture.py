#!/usr/bin/env python3
"""Draws a grey picture, a truss bridge over a lake before hills, as an image and as a matrix of its brightnesses.

A pixel is 0 for black to 255 for white. It takes the mean of its parts, SAMPLES in each direction.
"""

import argparse
import math
from pathlib import Path

ROWS, COLUMNS = 150, 200
SAMPLES = 3

SKY_ABOVE, SKY_BELOW = 175, 250
SUN, SUN_CENTRE, SUN_RADIUS = 255, (152, 28), 15
FAR_HILLS, NEAR_HILLS, STEEL, STONE = 150, 105, 20, 70

WATER_LINE = 108  # rows from the top
FLOOR, TOP_CHORD, PANEL = 90, 62, 18  # the truss: rows of its chords, columns of a panel
ENDS = (10, 190)
BAR = 1.1  # half the thickness of a bar


def far_hills(x):
    return 68 - 14 * math.sin(x / 31 + 0.4) - 6 * math.sin(x / 11)


def near_hills(x):
    return 88 - 12 * math.sin(x / 43 + 2.2) - 3 * math.sin(x / 7.3)


def distance(x, y, start, end):
    """From a point to a segment."""
    (x0, y0), (x1, y1) = start, end
    along = ((x - x0) * (x1 - x0) + (y - y0) * (y1 - y0)) / ((x1 - x0) ** 2 + (y1 - y0) ** 2)
    along = min(1.0, max(0.0, along))
    return math.hypot(x - x0 - along * (x1 - x0), y - y0 - along * (y1 - y0))


def bars():
    """The truss: chords, verticals, and diagonals that fall towards the middle."""
    left, right = ENDS
    floor = [(x, FLOOR) for x in range(left, right + 1, PANEL)]
    top = [(x, TOP_CHORD) for x in range(left + PANEL, right, PANEL)]
    segments = [(floor[0], floor[-1]), (top[0], top[-1]), (floor[0], top[0]), (floor[-1], top[-1])]
    segments += list(zip(floor[1:-1], top))
    middle = len(top) // 2
    segments += [(top[k], floor[k + 2]) for k in range(middle)]
    segments += [(top[k], floor[k]) for k in range(middle + 1, len(top))]
    return segments


BARS = bars()


def scene(x, y):
    """The brightness above the water."""
    if TOP_CHORD - BAR < y < FLOOR + BAR and any(distance(x, y, *bar) < BAR for bar in BARS):
        return STEEL
    if y > FLOOR and any(abs(x - end) < 6 for end in ENDS):
        return STONE
    if y > near_hills(x):
        return NEAR_HILLS
    if y > far_hills(x):
        return FAR_HILLS
    if math.hypot(x - SUN_CENTRE[0], y - SUN_CENTRE[1]) < SUN_RADIUS:
        return SUN
    return SKY_ABOVE + (SKY_BELOW - SKY_ABOVE) * y / WATER_LINE


def brightness(x, y):
    """At a place in pixels from the upper left corner. The lake mirrors the scene, darker, shaken by waves."""
    if y < WATER_LINE:
        return scene(x, y)
    depth = y - WATER_LINE
    shake = (0.5 + depth / 14) * math.sin(2.2 * math.sqrt(40 + 12 * depth) + x / 9)
    return 25 + 0.7 * scene(x + shake, max(0.0, WATER_LINE - 2.2 * depth))


def draw():
    """Rows of pixels, whole numbers."""
    parts = [(k + 0.5) / SAMPLES for k in range(SAMPLES)]
    return [[round(sum(brightness(column + dx, row + dy) for dx in parts for dy in parts) / SAMPLES ** 2)
             for column in range(COLUMNS)] for row in range(ROWS)]


def pgm_text(pixels):
    """A portable greymap in plain text, at most 17 pixels to a line, as its readers may expect."""
    lines = ["P2", f"{len(pixels[0])} {len(pixels)}", "255"]
    for row in pixels:
        lines += [" ".join(map(str, row[k:k + 17])) for k in range(0, len(row), 17)]
    return "\n".join(lines) + "\n"


def matrix_text(pixels):
    lines = ["%%MatrixMarket matrix array integer general", "% brightness of the pixels; made by make_picture.py",
             f"{len(pixels)} {len(pixels[0])}"]
    return "\n".join(lines + [str(row[column]) for column in range(len(pixels[0])) for row in pixels]) + "\n"


def main():
    parser = argparse.ArgumentParser(description="Writes picture.pgm, and the same as a matrix, picture.mtx.")
    parser.add_argument("folder", nargs="?", type=Path, default=Path("."), help="where to (default: here)")
    folder = parser.parse_args().folder
    folder.mkdir(parents=True, exist_ok=True)
    pixels = draw()
    (folder / "picture.pgm").write_text(pgm_text(pixels), encoding="ascii")
    (folder / "picture.mtx").write_text(matrix_text(pixels), encoding="ascii")


if __name__ == "__main__":
    main()
