#!/usr/bin/env python3
"""Puts a picture together from the first few of its singular values and vectors, and says how much of it that is."""

import argparse
import math
import sys
from pathlib import Path

from make_picture import pgm_text

RANKS = (5, 20, 50)
DETAIL_ROWS, DETAIL_COLUMNS = range(56, 116), range(62, 138)  # of the picture, shown in characters
CELL_ROWS, CELL_COLUMNS = 4, 2  # pixels to a character, which is twice as high as wide
DARK_TO_LIGHT = "@%#*+=-:. "
GAP = 3


class BadInput(Exception):
    """Files that are not what is expected of them."""


def read_columns(path):
    """The columns of a Matrix Market array file of real numbers."""
    lines = [line for line in path.read_text(encoding="ascii").splitlines() if line and not line.startswith("%")]
    try:
        rows, columns = map(int, lines[0].split())
        values = [float(line) for line in lines[1:]]
    except (IndexError, ValueError) as error:
        raise BadInput(f"{path}: not an array of real numbers: {error}") from error
    if len(values) != rows * columns:
        raise BadInput(f"{path}: {len(values)} numbers, {rows} by {columns} are {rows * columns}")
    return [values[rows * k:rows * (k + 1)] for k in range(columns)]


def read_decomposition(folder):
    """The singular values, the left and the right vectors, in files as the command in README.md names them."""
    (values,) = read_columns(folder / "values.mtx")
    left, right = read_columns(folder / "left.mtx"), read_columns(folder / "right.mtx")
    if not len(values) == len(left) == len(right):
        raise BadInput(f"{folder}: {len(values)} values, {len(left)} left and {len(right)} right vectors")
    return values, left, right


def approximation(values, left, right, rank):
    """Rows of the sum of the first terms value * left * right^T, which no matrix of that rank comes nearer than."""
    scaled = [[value * x for x in vector] for value, vector in zip(values[:rank], left)]
    return [[sum(map(float.__mul__, weights, parts)) for parts in zip(*right[:rank])] for weights in zip(*scaled)]


def pixels_of(matrix):
    return [[min(255, max(0, round(value))) for value in row] for row in matrix]


def describe(values, left, right, rank):
    share = math.fsum(x * x for x in values[:rank]) / math.fsum(x * x for x in values)
    rows, columns = len(left[0]), len(right[0])
    return (f"Rank {rank}: {share:.3%} of the squared norm, in {rank * (rows + columns + 1)} numbers instead of "
            f"{rows * columns}.")


def detail(pixels):
    """Lines of characters, the denser the darker."""
    def character(row, column):
        cell = [x for line in pixels[row:row + CELL_ROWS] for x in line[column:column + CELL_COLUMNS]]
        return DARK_TO_LIGHT[sum(cell) * len(DARK_TO_LIGHT) // (256 * len(cell))]

    return ["".join(character(row, column) for column in DETAIL_COLUMNS[::CELL_COLUMNS])
            for row in DETAIL_ROWS[::CELL_ROWS]]


def side_by_side(pictures):
    """Details under their titles; pictures are (title, pixels)."""
    width = len(DETAIL_COLUMNS[::CELL_COLUMNS])
    rows = [[title for title, _ in pictures], *zip(*(detail(pixels) for _, pixels in pictures))]
    return [(" " * GAP).join(part.ljust(width) for part in row).rstrip() for row in rows]


def compress(folder):
    values, left, right = read_decomposition(folder)
    pictures = []
    for rank in RANKS:
        pixels = pixels_of(approximation(values, left, right, rank))
        (folder / f"rank-{rank}.pgm").write_text(pgm_text(pixels), encoding="ascii")
        print(describe(values, left, right, rank))
        pictures.append((f"rank {rank}", pixels))
    print("\n" + "\n".join(side_by_side(pictures)))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folder", type=Path, help="where values.mtx, left.mtx and right.mtx are, and the pictures go")
    try:
        compress(parser.parse_args().folder)
    except (BadInput, OSError) as error:
        sys.exit(f"compress.py: {error}")


if __name__ == "__main__":
    main()
