#!/usr/bin/env python3
"""Writes the stiffness and mass matrices and the load vectors of a plane railway truss bridge.

The bridge is a subdivided Pratt truss with a curved top chord (README.md has the drawing). A pin-jointed bar of area A
and length L with direction cosines (c, s) resists a displacement of its ends by the forces

    EA/L * | k -k |   with   k = | c*c c*s |
           |-k  k |              | c*s s*s |

and the stiffness matrix is the sum over all bars, with the held directions of the supports struck out. The mass matrix is
consistent with the same linear displacements along a bar: of its mass m, in either direction,

    m/6 * | 2 1 |
          | 1 2 |

and the deck's mass stands on the floor beams' joints.
Units are metre, newton and pascal throughout; x runs along the bridge, y points up.
"""

import argparse
import csv
import math
from pathlib import Path
from typing import NamedTuple

YOUNGS_MODULUS = 210e9  # Pa, structural steel
GRAVITY = 9.81  # m/s^2
STEEL_WEIGHT = 7850 * GRAVITY  # N/m^3
CONNECTION_FACTOR = 1.2  # gusset plates, bolts and wind bracing, as a share of the members' weight

PANEL = 4.0  # m, distance of the floor beams
PANELS = 32
SPAN = PANEL * PANELS
HEIGHT_AT_MIDSPAN = 16.0  # m
TOP_CHORD_CURVE = 1 / 512  # 1/m, the top chord is the parabola y = HEIGHT_AT_MIDSPAN - TOP_CHORD_CURVE (x - SPAN/2)^2

SECTION_AREAS = {  # m^2
    "top chord": 0.080,
    "end posts": 0.070,
    "bottom chord": 0.070,
    "verticals": 0.030,
    "diagonals": 0.040,
    "sub-struts": 0.010,
    "hangers": 0.006,
}

# All loads are those of one of the two trusses, that is half of what the bridge carries.
DECK_LOAD = 15e3  # N/m, floor beams, stringers, sleepers and rails
TRAIN_LOAD = 40e3  # N/m
BRAKING_LOAD = 10e3  # N/m, along the bridge
AXLE_LOAD = 110e3  # N
AXLES = (-7.0, -5.25, -3.5, 3.5, 5.25, 7.0)  # m from the middle of a six-axle locomotive


class Member(NamedTuple):
    group: str
    start: str
    end: str


class Truss(NamedTuple):
    joints: dict  # name -> (x, y) in m, in the order in which the unknowns are numbered
    members: list
    areas: dict  # group -> section area in m^2
    held: frozenset = frozenset()  # (joint, direction) pairs that a support holds


def bridge():
    """The whole bridge on its supports: a pin at the left end, a roller at the right one."""
    held = frozenset({("B0", "x"), ("B0", "y"), (f"B{PANELS}", "y")})
    return Truss(bridge_joints(), bridge_members(), SECTION_AREAS, held)


def bridge_joints():
    """Joints from left to right. Letters: B bottom chord, T top chord, M middle of a diagonal; number: floor beam."""
    joints = {}
    for i in range(PANELS + 1):
        joints[f"B{i}"] = (i * PANEL, 0.0)
        if i % 2:
            upper = i + 1 if slopes_up(i) else i - 1
            joints[f"M{i}"] = (i * PANEL, top_chord_height(upper) / 2)
        elif 0 < i < PANELS:
            joints[f"T{i}"] = (i * PANEL, top_chord_height(i))
    return joints


def bridge_members():
    members = [Member("bottom chord", f"B{i}", f"B{i + 1}") for i in range(PANELS)]
    members += [Member("top chord", f"T{i}", f"T{i + 2}") for i in range(2, PANELS - 2, 2)]
    members += [Member("verticals", f"B{i}", f"T{i}") for i in range(2, PANELS, 2)]
    for i in range(1, PANELS, 2):
        low, high = (i - 1, i + 1) if slopes_up(i) else (i + 1, i - 1)
        group = "end posts" if i in (1, PANELS - 1) else "diagonals"
        members += [
            Member(group, f"B{low}", f"M{i}"),
            Member(group, f"M{i}", f"T{high}"),
            Member("sub-struts", f"M{i}", f"B{high}"),
            Member("hangers", f"M{i}", f"B{i}"),
        ]
    return members


def slopes_up(i):
    """Whether the diagonal above floor beam i rises to the right.

    A Pratt truss lets its diagonals fall towards midspan, which puts them in tension; the end posts go the other way.
    """
    return i == 1 or PANELS // 2 < i < PANELS - 1


def top_chord_height(i):
    return HEIGHT_AT_MIDSPAN - TOP_CHORD_CURVE * (i * PANEL - SPAN / 2) ** 2


def number_unknowns(truss):
    """Maps (joint, direction) to 1, 2, ... in the order of the joints; held directions get no number."""
    free = [(joint, axis) for joint in truss.joints for axis in "xy" if (joint, axis) not in truss.held]
    return {unknown: number for number, unknown in enumerate(free, start=1)}


def length_and_direction(truss, member):
    (x0, y0), (x1, y1) = truss.joints[member.start], truss.joints[member.end]
    length = math.sqrt((x1 - x0) ** 2 + (y1 - y0) ** 2)
    return length, {"x": (x1 - x0) / length, "y": (y1 - y0) / length}


def stiffness(truss):
    """Lower triangle {(row, column): N/m}, one-based, without zeros.

    The bars' shares are summed exactly, so the order of the members does not matter and opposite shares cancel to zero.
    """
    numbers = number_unknowns(truss)
    shares = {}
    for member in truss.members:
        length, cosine = length_and_direction(truss, member)
        axial = YOUNGS_MODULUS * truss.areas[member.group] / length
        ends = [(joint, axis, sign) for joint, sign in ((member.start, -1), (member.end, 1)) for axis in "xy"]
        free = [(numbers[joint, axis], sign * cosine[axis]) for joint, axis, sign in ends if (joint, axis) in numbers]
        for row, row_cosine in free:
            for column, column_cosine in free:
                if row >= column:
                    shares.setdefault((row, column), []).append(axial * (row_cosine * column_cosine))
    entries = {place: math.fsum(terms) for place, terms in shares.items()}
    return {place: value for place, value in entries.items() if value != 0}


def mass(truss):
    """Lower triangle {(row, column): kg}, one-based, without zeros: members and deck, without the train."""
    numbers = number_unknowns(truss)
    shares = {}

    def add(joints, share):
        for axis in "xy":
            unknowns = [numbers.get((joint, axis)) for joint in joints]
            if None not in unknowns:
                shares.setdefault((max(unknowns), min(unknowns)), []).append(share)

    for member in truss.members:
        whole = member_weight(truss, member) / GRAVITY
        add((member.start, member.start), whole / 3)
        add((member.end, member.end), whole / 3)
        add((member.start, member.end), whole / 6)
    for (joint, _), load in line_load("y", DECK_LOAD).items():
        add((joint, joint), load / GRAVITY)
    return {place: math.fsum(terms) for place, terms in shares.items()}


def own_weight(truss):
    """Half of every member's weight at each of its ends."""
    forces = {}
    for member in truss.members:
        for joint in (member.start, member.end):
            add_force(forces, joint, "y", -member_weight(truss, member) / 2)
    return forces


def member_weight(truss, member):
    length, _ = length_and_direction(truss, member)
    return STEEL_WEIGHT * CONNECTION_FACTOR * truss.areas[member.group] * length


def line_load(axis, load):
    """A load in N/m over the whole deck, gathered by the floor beams: half a panel's share at the two ends."""
    shares = [0.5 if i in (0, PANELS) else 1.0 for i in range(PANELS + 1)]
    return {(f"B{i}", axis): share * PANEL * load for i, share in enumerate(shares)}


def locomotive(middle):
    """Six axles around x = middle; the stringers hand each one to its two floor beams by the lever rule."""
    forces = {}
    for offset in AXLES:
        i, rest = divmod((middle + offset) / PANEL, 1)
        add_force(forces, f"B{int(i)}", "y", -AXLE_LOAD * (1 - rest))
        if rest > 0:
            add_force(forces, f"B{int(i) + 1}", "y", -AXLE_LOAD * rest)
    return forces


def add_force(forces, joint, axis, value):
    forces[joint, axis] = forces.get((joint, axis), 0.0) + value


def load_cases(truss):
    """Title -> {(joint, direction): N}, support joints included."""
    permanent = own_weight(truss)
    for (joint, axis), force in line_load("y", -DECK_LOAD).items():
        add_force(permanent, joint, axis, force)
    return {
        "own weight and deck": permanent,
        "train over the whole bridge": line_load("y", -TRAIN_LOAD),
        "locomotive at midspan": locomotive(SPAN / 2),
        "locomotive at quarter span": locomotive(SPAN / 4),
        "train braking towards the roller": line_load("x", BRAKING_LOAD),
    }


def write_stiffness(path, truss):
    write_symmetric(path, truss, stiffness(truss), "Stiffness", "N/m")


def write_mass(path, truss):
    write_symmetric(path, truss, mass(truss), "Mass", "kg")


def write_symmetric(path, truss, entries, what, unit):
    size = len(number_unknowns(truss))
    lines = [
        "%%MatrixMarket matrix coordinate real symmetric",
        f"% 1. {what} matrix of a plane truss bridge: span {SPAN:g} m, {len(truss.joints)} joints, "
        f"{len(truss.members)} members; made by make_bridge.py.",
        f"% 2. Unit: {unit}. Row and column k belong to unknown k of joints.csv.",
        f"% 3. Supports are eliminated: B0 is held in x and y (pin), B{PANELS} in y (roller).",
        "% 4. Positive definite; the lower triangle is stored, by columns.",
        f"{size} {size} {len(entries)}",
    ]
    by_columns = sorted(entries.items(), key=lambda entry: entry[0][::-1])
    lines += [f"{row} {column} {value!r}" for (row, column), value in by_columns]
    write_lines(path, lines)


def write_loads(path, truss):
    cases = load_cases(truss)
    numbers = number_unknowns(truss)
    lines = [
        "%%MatrixMarket matrix array real general",
        "% 1. Load vectors of the bridge in bridge.mtx, one load case per column; made by make_bridge.py.",
        "% 2. Unit: N. Row k acts on unknown k of joints.csv; x along the bridge, y up.",
    ]
    lines += [f"% column {number}: {title}" for number, title in enumerate(cases, start=1)]
    lines += [f"{len(numbers)} {len(cases)}"]
    lines += [repr(forces.get(unknown, 0.0)) for forces in cases.values() for unknown in numbers]
    write_lines(path, lines)


def write_joints(path, truss):
    """One line per joint and direction; the number 0 marks a direction that a support holds."""
    numbers = number_unknowns(truss)
    with open(path, "w", encoding="ascii", newline="") as file:
        table = csv.writer(file, lineterminator="\n")
        table.writerow(["unknown", "joint", "direction", "x_m", "y_m"])
        for joint, (x, y) in truss.joints.items():
            for axis in "xy":
                table.writerow([numbers.get((joint, axis), 0), joint, axis, x, y])


def write_lines(path, lines):
    with open(path, "w", encoding="ascii", newline="\n") as file:
        file.write("\n".join(lines) + "\n")


def main():
    parser = argparse.ArgumentParser(description="Writes bridge.mtx, mass.mtx, loads.mtx and joints.csv.")
    parser.add_argument("folder", nargs="?", type=Path, default=Path(__file__).resolve().parent,
                        help="where to write them (default: beside this script)")
    folder = parser.parse_args().folder
    truss = bridge()
    write_stiffness(folder / "bridge.mtx", truss)
    write_mass(folder / "mass.mtx", truss)
    write_loads(folder / "loads.mtx", truss)
    write_joints(folder / "joints.csv", truss)


if __name__ == "__main__":
    main()
