"""The rail example: its files, and the sinking that the command finds against a closed form."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

RAIL = Path(__file__).resolve().parents[2] / "examples" / "rail"
sys.dont_write_bytecode = True
sys.path.insert(0, str(RAIL))

import make_rail  # noqa: E402

POINTS = 4001
STEP = 0.01


class Rail(unittest.TestCase):
    def solve(self, *options, ballast=make_rail.BALLAST, points=POINTS):
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            make_rail.write_files(folder, ballast, points, STEP)
            run = subprocess.run([os.environ["NUV_COMMAND"], "solve", "rail.mtx", "wheel.mtx", *options], cwd=folder,
                                 text=True, capture_output=True)
        return run, [float(line) for line in run.stdout.splitlines()[2:]]

    def test_sinks_as_far_as_an_endless_one(self):
        for options in ((), ("--spd",)):
            run, sinking = self.solve(*options)
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertEqual(len(sinking), POINTS)
            middle = POINTS // 2
            self.assertEqual(max(sinking), sinking[middle])
            # Differences of second order over a hundredth of the wave's length.
            self.assertAlmostEqual(sinking[middle] / make_rail.sinking_of_an_endless_rail(), 1, places=3)
            for left, right in zip(sinking, reversed(sinking)):
                self.assertAlmostEqual(left, right, delta=1e-6 * sinking[middle])

    def test_balances_the_wheel(self):
        _, sinking = self.solve()
        self.assertAlmostEqual(sum(sinking) * make_rail.BALLAST * STEP / make_rail.WHEEL, 1, places=6)

    def test_is_singular_to_working_precision_without_ballast(self):
        run, _ = self.solve("--spd", ballast=0, points=40001)
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertIn("rail.mtx: the matrix is singular to working precision", run.stderr)


if __name__ == "__main__":
    unittest.main()
