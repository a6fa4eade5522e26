#!/usr/bin/env python3
"""Writes the Longley regression as a Matrix Market problem: predictors.mtx and employed.mtx in a folder."""

import argparse
import csv
from pathlib import Path

HERE = Path(__file__).resolve().parent


def read_observations():
    """(names of the predictors, their rows, the response); the numbers as they are written."""
    with (HERE / "observations.csv").open(encoding="ascii", newline="") as file:
        header, *rows = csv.reader(file)
    return header[1:], [row[1:] for row in rows], [row[0] for row in rows]


def array_text(comment, columns):
    lines = ["%%MatrixMarket matrix array real general", f"% {comment}", f"{len(columns[0])} {len(columns)}"]
    return "\n".join(lines + [value for column in columns for value in column]) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folder", type=Path)
    folder = parser.parse_args().folder
    names, rows, response = read_observations()
    columns = [["1"] * len(rows)] + [list(column) for column in zip(*rows)]
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "predictors.mtx").write_text(array_text("columns: intercept, " + ", ".join(names), columns))
    (folder / "employed.mtx").write_text(array_text("employed, in thousands", [response]))


if __name__ == "__main__":
    main()
