"""The bridge's mass matrix against closed forms, and the sentences and the picture of its mode shapes."""

import math
import os
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree
from pathlib import Path

BRIDGE = Path(__file__).resolve().parents[2] / "examples" / "bridge"
sys.dont_write_bytecode = True
sys.path.insert(0, str(BRIDGE))

import make_bridge  # noqa: E402
import report_modes  # noqa: E402
from make_bridge import PANELS, SPAN, Member, Truss  # noqa: E402

NUV = os.environ["NUV_COMMAND"]


def array_text(columns):
    values = [repr(value) for column in columns for value in column]
    return "\n".join(["%%MatrixMarket matrix array real general", f"{len(columns[0])} {len(columns)}"] + values) + "\n"


class Mass(unittest.TestCase):
    def test_one_bar_has_the_consistent_matrix(self):
        bar = Truss({f"B{i}": (2.0 * i, 0.0) for i in range(PANELS + 1)}, [Member("bar", "B0", "B1")], {"bar": 0.01})
        entries = make_bridge.mass(bar)
        numbers = make_bridge.number_unknowns(bar)
        steel = 7850 * 1.2 * 0.01 * 2.0
        deck = make_bridge.DECK_LOAD / 9.81 * make_bridge.PANEL
        for axis in "xy":
            first, second = numbers["B0", axis], numbers["B1", axis]
            self.assertAlmostEqual(entries[first, first], steel / 3 + deck / 2, places=9)
            self.assertAlmostEqual(entries[second, second], steel / 3 + deck, places=9)
            self.assertAlmostEqual(entries[second, first], steel / 6, places=9)
        self.assertNotIn((numbers["B1", "y"], numbers["B0", "x"]), entries)

    def test_moved_as_a_whole_it_is_the_weight_over_gravity(self):
        free = make_bridge.bridge()._replace(held=frozenset())
        weight = -sum(make_bridge.load_cases(free)["own weight and deck"].values())
        whole = sum(value if row == column else 2 * value for (row, column), value in make_bridge.mass(free).items())
        self.assertAlmostEqual(whole / (2 * weight / 9.81), 1, places=12)  # in two directions

    def test_the_script_makes_the_kept_file_byte_for_byte(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([sys.executable, "-B", BRIDGE / "make_bridge.py", folder], check=True)
            self.assertEqual((Path(folder) / "mass.mtx").read_bytes(), (BRIDGE / "mass.mtx").read_bytes())


class Report(unittest.TestCase):
    """report_modes.py as a user runs it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.numbers = make_bridge.number_unknowns(make_bridge.bridge())

    def run_report(self, values, shapes):
        (self.folder / "values.mtx").write_text(array_text([values]), encoding="ascii")
        (self.folder / "shapes.mtx").write_text(array_text(shapes), encoding="ascii")
        return subprocess.run([sys.executable, "-B", BRIDGE / "report_modes.py", self.folder / "values.mtx",
                               self.folder / "shapes.mtx", "-o", self.folder / "modes.svg"],
                              capture_output=True, text=True, check=False)

    def sine(self, waves, factor=1.0):
        shape = [0.0] * len(self.numbers)
        for i in range(1, PANELS):
            shape[self.numbers[f"B{i}", "y"] - 1] = factor * math.sin(waves * math.pi * i / PANELS)
        return shape

    def test_hand_made_shapes(self):
        along = [0.0] * len(self.numbers)
        along[self.numbers["B32", "x"] - 1] = -3.0
        along[self.numbers["B16", "y"] - 1] = 1.0
        run = self.run_report([(2 * math.pi) ** 2, (4 * math.pi) ** 2, (8 * math.pi) ** 2],
                              [self.sine(1), self.sine(2, -0.5), along])
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(run.stdout.splitlines(), [
            "Mode 1: 1.000 Hz, a period of 1.000 s; the floor swings in one half-wave, 100% of the moves are up and "
            "down.",
            "Mode 2: 2.000 Hz, a period of 0.500 s; the floor swings in 2 half-waves, 100% of the moves are up and "
            "down.",
            "Mode 3: 4.000 Hz, a period of 0.250 s; the floor swings in one half-wave, 25% of the moves are up and "
            "down.",
        ])

    def test_picture_shows_each_member_at_rest_and_moved(self):
        self.assertEqual(self.run_report([1.0, 4.0], [self.sine(1), self.sine(2)]).returncode, 0)
        picture = xml.etree.ElementTree.parse(self.folder / "modes.svg").getroot()
        paths = [path.get("d") for path in picture.iter("{http://www.w3.org/2000/svg}path")]
        self.assertEqual(len(paths), 4)
        truss = make_bridge.bridge()
        for path in paths:
            self.assertEqual(path.count("M"), len(truss.members))
        self.assertEqual(paths[0].split("L")[0], "M40.0 120.0", "B0 at rest, 8 m from the left, 8 m above the lower edge")
        middle = next(k for k, member in enumerate(truss.members) if member.end == "B16")
        at_rest, moved = (path.split("M")[middle + 1].split("L")[1].split() for path in paths[:2])
        self.assertEqual(float(at_rest[0]), float(moved[0]))
        self.assertAlmostEqual(float(at_rest[1]) - float(moved[1]), 6 * 5, places=6)
        texts = [text.text for text in picture.iter("{http://www.w3.org/2000/svg}text")]
        self.assertEqual(texts, ["Mode 1: 0.16 Hz", "Mode 2: 0.32 Hz"])

    def test_unfit_files_are_refused(self):
        for values, shapes, message in (
                ([1.0, 2.0], [self.sine(1)], "shapes.mtx: 1 columns, but"),
                ([1.0], [[1.0, 2.0]], "2 rows, but the bridge has 125 unknowns"),
                ([-1.0], [self.sine(1)], "an eigenvalue is -1: a bridge on its supports has positive ones")):
            run = self.run_report(values, shapes)
            self.assertEqual((run.returncode, run.stdout), (1, ""))
            self.assertIn(message, run.stderr)
            self.assertFalse((self.folder / "modes.svg").exists())


class Bridge(unittest.TestCase):
    """The whole way, from the kept files through the command to the sentences in the README."""

    def test_the_bridge_itself(self):
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            subprocess.run([NUV, "eig", BRIDGE / "bridge.mtx", "--with", BRIDGE / "mass.mtx", "--index", "1:4",
                            "--vectors", folder / "shapes.mtx", "-o", folder / "values.mtx"],
                           check=True, stderr=subprocess.DEVNULL)
            run = subprocess.run([sys.executable, "-B", BRIDGE / "report_modes.py", folder / "values.mtx",
                                  folder / "shapes.mtx", "-o", folder / "modes.svg"],
                                 capture_output=True, text=True, check=True)
        lines = run.stdout.splitlines()
        self.assertEqual(len(lines), 4)
        readme = (BRIDGE / "README.md").read_text(encoding="ascii")
        for line in lines:
            self.assertIn(line, readme)

    def test_first_frequency_is_near_that_of_a_beam_that_sags_as_much(self):
        # A beam under its own weight sags by 5 w L^4 / (384 E I), and its first mode has pi^2 / L^2 sqrt(E I / (w / g)):
        # f = pi/2 sqrt(5 g / (384 sag)). The sag of README.md is 105.32 mm.
        beam = math.pi / 2 * math.sqrt(5 * 9.81 / (384 * 0.10532))
        with tempfile.TemporaryDirectory() as name:
            values = Path(name) / "values.mtx"
            subprocess.run([NUV, "eig", BRIDGE / "bridge.mtx", "--with", BRIDGE / "mass.mtx", "--index", "1:1",
                            "-o", values], check=True, stderr=subprocess.DEVNULL)
            (value,) = report_modes.read_array(values)[0][0]
        self.assertLess(abs(report_modes.frequency(value) / beam - 1), 0.1)


if __name__ == "__main__":
    unittest.main()
