#!/usr/bin/env python3
"""Names the modes of an airliner's flight, with their periods and damping, and draws where their eigenvalues lie, from
what `nuv eig` computed."""

import argparse
import math
import sys
from pathlib import Path

STATES = ("speed", "angle of attack", "pitch rate", "pitch angle", "sideslip", "roll rate", "yaw rate", "bank angle")
LONGITUDINAL = slice(0, 4)
FLIGHT_SPEED = 774.0  # ft/s; a speed over it is an angle
SPEEDS = (0, 1, 4)
SHOWN = 0.2  # of the largest part; what is smaller has no share in a mode

SCALE = 320.0  # pixels for 1/s
WIDTH, HEIGHT, MARGIN = 420, 720, 40


class BadInput(Exception):
    pass


def read_columns(path):
    """The columns of an array file, in complex numbers."""
    lines = [line for line in path.read_text(encoding="ascii").splitlines() if line and not line.startswith("%")]
    try:
        rows, columns = map(int, lines[0].split())
        numbers = [complex(*map(float, line.split())) for line in lines[1:]]
    except (ValueError, IndexError, TypeError) as error:
        raise BadInput(f"{path}: no array of numbers") from error
    if len(numbers) != rows * columns:
        raise BadInput(f"{path}: {len(numbers)} numbers for {rows} by {columns}")
    return [numbers[j * rows:(j + 1) * rows] for j in range(columns)]


class Mode:
    """An eigenvalue, the one above the real axis of a pair, and how much of each state moves with it."""

    def __init__(self, value, vector):
        self.value = value
        self.parts = [abs(x) / (FLIGHT_SPEED if k in SPEEDS else 1.0) for k, x in enumerate(vector)]
        self.name = ""

    @property
    def is_longitudinal(self):
        return sum(self.parts[LONGITUDINAL]) > sum(self.parts) / 2

    @property
    def swings(self):
        return self.value.imag != 0

    def describe(self):
        size = abs(self.value)
        half = math.log(2) / abs(self.value.real)
        change = "halves" if self.value.real < 0 else "doubles"
        if self.swings:
            motion = (f"a period of {2 * math.pi / self.value.imag:.2f} s ({size:.4g} rad/s undamped), damping "
                      f"{-self.value.real / size:.3f}; {change} in {half:.2f} s")
        else:
            motion = f"no swinging; {change} in {half:.2f} s"
        largest = max(self.parts)
        order = sorted(range(len(STATES)), key=lambda k: -self.parts[k])
        moved = ", ".join(STATES[k] for k in order if self.parts[k] >= SHOWN * largest)
        return f"{self.name}: {motion}. What moves: {moved}."


def name_pair(modes, fast, slow):
    """Two modes of a kind, by how fast they are."""
    if len(modes) != 2:
        raise BadInput(f"{len(modes)} modes where an airliner has a {fast} and a {slow}")
    for mode, name in zip(sorted(modes, key=lambda mode: -abs(mode.value)), (fast, slow)):
        mode.name = name


def named_modes(values, vectors):
    if len(vectors) != len(values) or any(len(vector) != len(STATES) for vector in vectors):
        raise BadInput(f"vectors must have {len(STATES)} rows, and a column for each of the {len(values)} values")
    modes = [Mode(value, vector) for value, vector in zip(values, vectors) if value.imag >= 0]
    along = [mode for mode in modes if mode.is_longitudinal]
    aside = [mode for mode in modes if not mode.is_longitudinal]
    name_pair([mode for mode in along if mode.swings], "Short period", "Phugoid")
    name_pair([mode for mode in aside if not mode.swings], "Roll subsidence", "Spiral")
    swinging = [mode for mode in aside if mode.swings]
    if len(swinging) != 1 or any(not mode.swings for mode in along):
        raise BadInput("these are not the modes of an airliner")
    swinging[0].name = "Dutch roll"
    return sorted(modes, key=lambda mode: (not mode.is_longitudinal, -abs(mode.value)))


def picture(modes):
    """SVG of the complex plane, the imaginary axis near the right edge."""
    def place(value):
        return WIDTH - 2 * MARGIN + value.real * SCALE, HEIGHT / 2 - value.imag * SCALE

    zero = place(0j)
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" viewBox="0 0 {WIDTH} {HEIGHT}">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
             f'<path d="M0 {zero[1]:g}H{WIDTH}M{zero[0]:g} 0V{HEIGHT}" stroke="#bbbbbb"/>',
             f'<text x="{zero[0] + 6:g}" y="16" font-family="sans-serif" font-size="13">imaginary, 1/s</text>']
    for mode in modes:
        for value in {mode.value, mode.value.conjugate()}:
            x, y = place(value)
            lines.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="4" fill="#1f5fa8"/>')
        x, y = place(mode.value)
        lines.append(f'<text x="{x + 8:.1f}" y="{y - 8:.1f}" font-family="sans-serif" font-size="13">{mode.name}</text>')
    return "\n".join(lines + ["</svg>", ""])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("values", type=Path, help="eigenvalues in 1/s, as nuv eig writes them")
    parser.add_argument("vectors", type=Path, help="their vectors, a column each")
    parser.add_argument("-o", "--output", type=Path, default=Path("modes.svg"), help="file for the picture")
    arguments = parser.parse_args()
    try:
        values = read_columns(arguments.values)
        modes = named_modes(values[0] if values else [], read_columns(arguments.vectors))
        arguments.output.write_text(picture(modes), encoding="ascii")
        print("\n".join(mode.describe() for mode in modes))
    except (BadInput, OSError) as error:
        print(f"report_flight.py: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
