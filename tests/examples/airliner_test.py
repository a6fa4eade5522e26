"""The modes of the airliner against the published ones, and the sentences and the picture of them."""

import os
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree
from pathlib import Path

AIRLINER = Path(__file__).resolve().parents[2] / "examples" / "airliner"
REPORT = [sys.executable, "-B", AIRLINER / "report_flight.py"]
NUV = os.environ["NUV_COMMAND"]


def array_text(columns):
    values = [f"{value.real!r} {value.imag!r}" for column in columns for value in map(complex, column)]
    return "\n".join(["%%MatrixMarket matrix array complex general", f"{len(columns[0])} {len(columns)}"] + values) + "\n"


class Airliner(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def report(self, values="values.mtx", vectors="vectors.mtx"):
        return subprocess.run([*REPORT, values, vectors], cwd=self.folder, capture_output=True, text=True, check=False)

    def write(self, values, vectors):
        (self.folder / "values.mtx").write_text(array_text([values]), encoding="ascii")
        (self.folder / "vectors.mtx").write_text(array_text(vectors), encoding="ascii")

    def test_modes_are_the_published_ones(self):
        subprocess.run([NUV, "eig", AIRLINER / "airliner.mtx", "--vectors", "vectors.mtx", "-o", "values.mtx"],
                       cwd=self.folder, check=True, capture_output=True)
        result = self.report()
        self.assertEqual(result.returncode, 0, result.stderr)
        lines = result.stdout.splitlines()
        # Periods and halving times as the textbook gives them, in its rounding.
        self.assertEqual([line.split(";")[0] for line in lines], [
            "Short period: a period of 7.08 s (0.9623 rad/s undamped), damping 0.387",
            "Phugoid: a period of 93.46 s (0.06731 rad/s undamped), damping 0.049",
            "Dutch roll: a period of 6.64 s (0.9471 rad/s undamped), damping 0.035",
            "Roll subsidence: no swinging",
            "Spiral: no swinging"])
        for line, half in zip(lines, ("1.86", "210.72", "21.00", "1.23", "94.99")):
            self.assertIn(f"halves in {half} s.", line)
        self.assertTrue(lines[1].endswith("What moves: pitch angle, speed."), lines[1])
        drawing = xml.etree.ElementTree.parse(self.folder / "modes.svg")
        circles = drawing.findall(".//{http://www.w3.org/2000/svg}circle")
        self.assertEqual(len(circles), 8)
        self.assertEqual(len({(circle.get("cx"), circle.get("cy")) for circle in circles}), 8)

    def test_what_grows_doubles(self):
        along, aside = [1.0, 0, 0, 0, 0, 0, 0, 0], [0, 0, 0, 0, 0, 1.0, 0, 0]
        values = [-1 + 2j, -1 - 2j, 0.1 + 1j, 0.1 - 1j, -2j + 1, 2j + 1, -3, 0.5]
        self.write(values, [along] * 4 + [aside] * 4)
        result = self.report()
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("Spiral: no swinging; doubles in 1.39 s.", result.stdout)
        self.assertIn("Phugoid: a period of 6.28 s (1.005 rad/s undamped), damping -0.100; doubles in 6.93 s.",
                      result.stdout)

    def test_what_is_no_flight_is_refused(self):
        along = [1.0, 0, 0, 0, 0, 0, 0, 0]
        self.write([-1 + 2j, -1 - 2j], [along] * 2)
        self.assertIn("1 modes where an airliner has a Short period and a Phugoid", self.report().stderr)
        self.write([-1 + 2j, -1 - 2j], [along[:5]] * 2)
        self.assertIn("vectors must have 8 rows", self.report().stderr)
        self.write([1], [along] * 2)
        self.assertEqual(self.report().returncode, 1)
        (self.folder / "values.mtx").write_text("nothing\n", encoding="ascii")
        self.assertIn("no array of numbers", self.report().stderr)


if __name__ == "__main__":
    unittest.main()
