#!/usr/bin/env python3
"""Writes the equations of a rail on ballast under one wheel, a band system of order 100,000.

A rail of bending stiffness EI on ballast that pushes back with k w for each metre sinks by w under the load q:

    EI w'''' + k w = q

Differences at points h apart give five diagonals, EI / h^4 (1 -4 6 -4 1) + k on the main one. Beyond the ends the rail is
held. Units are metre and newton.
"""

import argparse
from pathlib import Path

POINTS = 100_000
STEP = 0.01  # m, 1 km of rail
BENDING_STIFFNESS = 210e9 * 3.038e-5  # N m^2, a rail of 60 kg/m
BALLAST = 5e7  # N/m^2, reaction of each metre to a metre of sinking
WHEEL = 110e3  # N, in the middle


def sinking_of_an_endless_rail(ballast=BALLAST):
    """Under the wheel, in m (E. Winkler, Die Lehre von der Elasticitaet und Festigkeit, 1867)."""
    return WHEEL / (2 * ballast) * (ballast / (4 * BENDING_STIFFNESS)) ** 0.25


def diagonals(ballast, step):
    bending = BENDING_STIFFNESS / step ** 4
    return (6 * bending + ballast, -4 * bending, bending)


def write_files(folder, ballast=BALLAST, points=POINTS, step=STEP):
    folder.mkdir(parents=True, exist_ok=True)
    values = [repr(value) for value in diagonals(ballast, step)]
    with open(folder / "rail.mtx", "w", encoding="ascii") as file:
        file.write("%%MatrixMarket matrix coordinate real symmetric\n"
                   f"% Rail on ballast: sinking in m to load in N/m, points {step} m apart; made by make_rail.py\n"
                   f"{points} {points} {3 * points - 3}\n")
        for column in range(1, points + 1):
            for row in range(column, min(points, column + 2) + 1):
                file.write(f"{row} {column} {values[row - column]}\n")
    with open(folder / "wheel.mtx", "w", encoding="ascii") as file:
        file.write("%%MatrixMarket matrix coordinate real general\n"
                   f"{points} 1 1\n"
                   f"{(points + 1) // 2} 1 {WHEEL / step!r}\n")


def main():
    parser = argparse.ArgumentParser(description="Writes rail.mtx and wheel.mtx.")
    parser.add_argument("folder", nargs="?", type=Path, default=Path("."), help="where to (default: here)")
    parser.add_argument("--ballast", type=float, default=BALLAST,
                        help=f"N/m^2, reaction of each metre of ballast to a metre of sinking (default: {BALLAST:g})")
    arguments = parser.parse_args()
    write_files(arguments.folder, arguments.ballast)
    if arguments.ballast > 0:
        print(f"An endless rail would sink {1000 * sinking_of_an_endless_rail(arguments.ballast):.3f} mm.")


if __name__ == "__main__":
    main()
