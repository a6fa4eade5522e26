#!/usr/bin/env python3
"""Compares coefficients of the Longley regression with the certified ones: how many digits agree?"""

import argparse
import csv
import math
import sys
from pathlib import Path

from make_longley import read_observations

HERE = Path(__file__).resolve().parent


def certified_values():
    with (HERE / "certified.csv").open(encoding="ascii", newline="") as file:
        return [(row["parameter"], row["estimate"]) for row in csv.DictReader(file)]


def read_column(path):
    """The numbers of a Matrix Market array file with one column."""
    lines = [line.split() for line in path.read_text(encoding="ascii").splitlines() if line and not line.startswith("%")]
    if not lines or len(lines[0]) != 2:
        raise ValueError(f"{path}: expected the numbers of rows and columns behind the comments")
    rows, columns = (int(word) for word in lines[0])
    values = [float(word) for line in lines[1:] for word in line]
    if columns != 1 or len(values) != rows:
        raise ValueError(f"{path}: expected one column of {rows} numbers")
    return values


def digits(computed, certified):
    """Minus the decimal logarithm of the relative error; 15 is as far as the certified values go."""
    error = abs(computed - certified) / abs(certified)
    return 15.0 if error < 1e-15 else -math.log10(error)


def residual_standard_deviation(coefficients):
    _, rows, response = read_observations()
    residuals = [float(y) - math.fsum([coefficients[0]] + [b * float(x) for b, x in zip(coefficients[1:], row)])
                 for row, y in zip(rows, response)]
    return math.sqrt(math.fsum(r * r for r in residuals) / (len(rows) - len(coefficients)))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("coefficients", type=Path)
    try:
        computed = read_column(parser.parse_args().coefficients)
    except (OSError, ValueError) as error:
        sys.exit(f"report_digits.py: {error}")
    certified = certified_values()
    if len(computed) != len(certified) - 1:
        sys.exit(f"report_digits.py: {len(certified) - 1} coefficients expected, {len(computed)} found")
    computed.append(residual_standard_deviation(computed))
    print(f"{'':28}{'computed':>24}{'certified':>26}{'digits':>8}")
    for (name, text), value in zip(certified, computed):
        print(f"{name.replace('_', ' '):28}{value:24.14g}{text:>26}{digits(value, float(text)):8.1f}")
    print(f"at least {min(digits(v, float(t)) for (_, t), v in zip(certified, computed)):.1f} digits agree")


if __name__ == "__main__":
    main()
