#!/usr/bin/env python3
"""Says how fast the bridge swings by itself, and draws its mode shapes, from what `nuv eig` computed."""

import argparse
import math
import sys
from pathlib import Path

from make_bridge import PANELS, SPAN, bridge, number_unknowns
from report_sag import BadInput, read_array

PIXELS_PER_METRE = 5
LARGEST_MOVE = 6.0  # m, as it is drawn
MARGIN = 8.0  # m around each drawing
HEIGHT = 16.0 + 2 * MARGIN
STILL_SHARE = 0.02  # of the largest move; a joint that moves less has no direction


def frequency(eigenvalue):
    """Hz, of an angular frequency squared."""
    if not eigenvalue > 0:
        raise BadInput(f"an eigenvalue is {eigenvalue:g}: a bridge on its supports has positive ones")
    return math.sqrt(eigenvalue) / (2 * math.pi)


def moves_of(truss, vector):
    """(joint, direction) -> move, the largest in any direction being one; held directions don't move."""
    numbers = number_unknowns(truss)
    if len(vector) != len(numbers):
        raise BadInput(f"{len(vector)} rows, but the bridge has {len(numbers)} unknowns")
    largest = max(vector, key=abs)
    return {unknown: vector[number - 1] / largest for unknown, number in numbers.items()}


def half_waves(moves):
    """How often the floor is turned over between the ends of the bridge, and once more."""
    heights = [moves.get((f"B{i}", "y"), 0.0) for i in range(PANELS + 1)]
    floor = max(abs(height) for height in heights)
    signs = [height > 0 for height in heights if abs(height) > STILL_SHARE * floor]
    return 1 + sum(left != right for left, right in zip(signs, signs[1:]))


def describe(number, eigenvalue, moves):
    share = sum(abs(move) for (_, axis), move in moves.items() if axis == "y") / sum(map(abs, moves.values()))
    waves = half_waves(moves)
    shape = "one half-wave" if waves == 1 else f"{waves} half-waves"
    hertz = frequency(eigenvalue)
    return (f"Mode {number}: {hertz:.3f} Hz, a period of {1 / hertz:.3f} s; the floor swings in {shape}, "
            f"{share:.0%} of the moves are up and down.")


def drawing(truss, moves, top):
    """SVG lines of the bridge at rest in grey, and moved over it; top is that of the drawing, in m."""
    def place(joint, factor):
        x, y = truss.joints[joint]
        x += factor * moves.get((joint, "x"), 0.0)
        y += factor * moves.get((joint, "y"), 0.0)
        return (MARGIN + x) * PIXELS_PER_METRE, (top + HEIGHT - MARGIN - y) * PIXELS_PER_METRE

    lines = []
    for factor, color, width in ((0.0, "#bbbbbb", 0.8), (LARGEST_MOVE, "#1f5fa8", 1.6)):
        path = "".join("M{:.1f} {:.1f}L{:.1f} {:.1f}".format(*place(member.start, factor), *place(member.end, factor))
                       for member in truss.members)
        lines.append(f'<path d="{path}" fill="none" stroke="{color}" stroke-width="{width}"/>')
    return lines


def picture(truss, modes):
    width, height = ((SPAN + 2 * MARGIN) * PIXELS_PER_METRE, len(modes) * HEIGHT * PIXELS_PER_METRE)
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:g}" height="{height:g}" '
             f'viewBox="0 0 {width:g} {height:g}">',
             f'<rect width="{width:g}" height="{height:g}" fill="white"/>']
    for k, (eigenvalue, moves) in enumerate(modes):
        lines += drawing(truss, moves, k * HEIGHT)
        lines.append(f'<text x="10" y="{k * HEIGHT * PIXELS_PER_METRE + 20:g}" font-family="sans-serif" font-size="15">'
                     f'Mode {k + 1}: {frequency(eigenvalue):.2f} Hz</text>')
    return "\n".join(lines + ["</svg>", ""])


def report(values, vectors):
    """The sentences, and the picture."""
    truss = bridge()
    eigenvalues = read_array(values)[0][0]
    shapes = read_array(vectors)[0]
    if len(shapes) != len(eigenvalues):
        raise BadInput(f"{vectors}: {len(shapes)} columns, but {values} has {len(eigenvalues)} values")
    modes = [(value, moves_of(truss, shape)) for value, shape in zip(eigenvalues, shapes)]
    sentences = [describe(number, value, moves) for number, (value, moves) in enumerate(modes, start=1)]
    return sentences, picture(truss, modes)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("values", type=Path, help="squares of the angular frequencies in 1/s^2, as nuv eig writes them")
    parser.add_argument("vectors", type=Path, help="the mode shapes, a column each")
    parser.add_argument("-o", "--output", type=Path, default=Path("modes.svg"), help="file for the picture")
    arguments = parser.parse_args()
    try:
        sentences, svg = report(arguments.values, arguments.vectors)
        arguments.output.write_text(svg, encoding="ascii")
        print("\n".join(sentences))
    except (BadInput, OSError) as error:
        print(f"report_modes.py: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
