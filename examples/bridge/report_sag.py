#!/usr/bin/env python3
"""Says in plain sentences how far the bridge sags and where, from the displacements that `nuv solve` computed."""

import argparse
import csv
import math
import re
import sys
from pathlib import Path
from typing import NamedTuple

HERE = Path(__file__).resolve().parent

# Joints whose sags differ by a smaller share are named together: in a symmetric load case a pair is equally low, and
# rounding must not choose between the two.
EQUAL_SAG = 1e-4


class BadInput(Exception):
    """A one-line message for the user."""


class Place(NamedTuple):
    """Where an unknown displacement is measured."""

    joint: str
    direction: str  # "x" along the bridge or "y" up
    x: float  # m along the span


def read_array(path):
    """Columns of a real Matrix Market array file, and its comment lines."""
    lines = path.read_text(encoding="ascii", errors="replace").splitlines()
    if not lines or lines[0].lower().split() != ["%%matrixmarket", "matrix", "array", "real", "general"]:
        raise BadInput(f"{path}:1: expected the header '%%MatrixMarket matrix array real general'")
    comments = [line for line in lines if line.startswith("%")]
    content = [(number, line.split()) for number, line in enumerate(lines, start=1)
               if line.strip() and not line.startswith("%")]
    if not content:
        raise BadInput(f"{path}:{len(lines)}: the file ends before the numbers of rows and columns")
    rows, columns = read_sizes(path, *content[0])
    values = [finite_number(path, number, word) for number, words in content[1:] for word in words]
    if len(values) != rows * columns:
        raise BadInput(f"{path}: {rows} x {columns} values announced, {len(values)} found")
    return [values[j * rows:(j + 1) * rows] for j in range(columns)], comments


def read_sizes(path, line, words):
    if len(words) != 2 or not all(re.fullmatch("[0-9]+", word) for word in words):
        raise BadInput(f"{path}:{line}: expected the numbers of rows and columns, found '{' '.join(words)}'")
    return int(words[0]), int(words[1])


def finite_number(path, line, word):
    try:
        value = float(word)
    except ValueError:
        raise BadInput(f"{path}:{line}: expected a number, found '{word}'") from None
    if not math.isfinite(value):
        raise BadInput(f"{path}:{line}: '{word}' is not a finite displacement")
    return value


def read_joints(path):
    """The place of each unknown in order, and the span in m."""
    with open(path, encoding="ascii", newline="") as file:
        try:
            rows = [(int(row["unknown"]), Place(row["joint"], row["direction"], float(row["x_m"])))
                    for row in csv.DictReader(file)]
        except (KeyError, TypeError, ValueError, csv.Error) as error:
            raise BadInput(f"{path}: not a joint table as make_bridge.py writes it ({error})") from None
    places = [place for number, place in sorted(rows, key=lambda row: row[0]) if number > 0]
    if sorted(number for number, _ in rows if number > 0) != list(range(1, len(places) + 1)):
        raise BadInput(f"{path}: the unknowns are not numbered 1, 2, 3, ...")
    if {place.direction for place in places} != {"x", "y"}:
        raise BadInput(f"{path}: expected unknowns in the directions x and y")
    along = [place.x for _, place in rows]
    return places, max(along) - min(along)


def read_titles(path):
    """The title of each load case, from the comments of the load file."""
    columns, comments = read_array(path)
    found = dict(match.groups() for match in (re.match(r"% column (\d+): (.+)", line) for line in comments) if match)
    return [found.get(str(number), f"load case {number}") for number in range(1, len(columns) + 1)]


def describe(title, displacements, places, span):
    """One sentence on the lowest joints, one on the joint that moves farthest along the bridge."""
    moved = list(zip(displacements, places))
    vertical = [(value, place) for value, place in moved if place.direction == "y"]
    sag = -min(value for value, _ in vertical)
    if sag > 0:
        lowest = [place for value, place in vertical if -value >= sag * (1 - EQUAL_SAG)]
        joints = ("joint " if len(lowest) == 1 else "joints ") + " and ".join(place.joint for place in lowest)
        along = " and ".join(dict.fromkeys(f"{place.x:g} m" for place in lowest))
        first = (f"the bridge sags {sag * 1e3:.2f} mm at {joints}, {along} along the span of {span:g} m, "
                 f"which is 1/{span / sag:.0f} of the span.")
    else:
        first = "no joint of the bridge goes down."
    shift, far = max((pair for pair in moved if pair[1].direction == "x"), key=lambda pair: abs(pair[0]))
    return (f"{title[0].upper()}{title[1:]}: {first} "
            f"Along the bridge joint {far.joint} moves farthest, by {shift * 1e3:+.2f} mm.")


def report(solution, joints, loads):
    places, span = read_joints(joints)
    titles = read_titles(loads)
    columns, _ = read_array(solution)
    if len(columns) != len(titles):
        raise BadInput(f"{solution}: {len(columns)} columns, but {loads} has {len(titles)} load cases")
    for column in columns:
        if len(column) != len(places):
            raise BadInput(f"{solution}: {len(column)} rows, but {joints} has {len(places)} unknowns")
    return [describe(title, column, places, span) for title, column in zip(titles, columns)]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("solution", type=Path, help="displacements in m, a Matrix Market array file")
    parser.add_argument("--joints", type=Path, default=HERE / "joints.csv", help="where each unknown is measured")
    parser.add_argument("--loads", type=Path, default=HERE / "loads.mtx", help="what was solved for; names the cases")
    arguments = parser.parse_args()
    try:
        print("\n".join(report(arguments.solution, arguments.joints, arguments.loads)))
    except (BadInput, OSError) as error:
        print(f"report_sag.py: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
