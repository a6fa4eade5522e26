"""The Longley example: its data against exact rational arithmetic, the files it writes and the digits it counts."""

import os
import subprocess
import sys
import tempfile
import unittest
from fractions import Fraction
from pathlib import Path

LONGLEY = Path(__file__).resolve().parents[2] / "examples" / "longley"
sys.dont_write_bytecode = True
sys.path.insert(0, str(LONGLEY))

import make_longley  # noqa: E402
import report_digits  # noqa: E402


def exact_problem():
    """(rows with the one of the intercept in front, response), in rational numbers."""
    _, rows, response = make_longley.read_observations()
    return [[Fraction(1)] + [Fraction(x) for x in row] for row in rows], [Fraction(y) for y in response]


def normal_equations():
    """The system for the coefficients, with its right-hand side as last column."""
    rows, response = exact_problem()
    columns = list(zip(*rows))
    return [[sum(x * y for x, y in zip(a, b)) for b in columns + [response]] for a in columns]


def solve(system):
    """Elimination in the arithmetic of the elements."""
    system = [list(row) for row in system]
    size = len(system)
    for k in range(size):
        pivot = max(range(k, size), key=lambda i: abs(system[i][k]))
        system[k], system[pivot] = system[pivot], system[k]
        system[k] = [x / system[k][k] for x in system[k]]
        for i in range(size):
            if i != k:
                system[i] = [x - system[i][k] * y for x, y in zip(system[i], system[k])]
    return [row[-1] for row in system]


def exact_coefficients():
    return solve(normal_equations())


class Data(unittest.TestCase):
    def test_has_sixteen_years_of_six_predictors(self):
        names, rows, response = make_longley.read_observations()
        self.assertEqual(names, ["deflator", "gnp", "unemployed", "armed_forces", "population", "year"])
        self.assertEqual((len(rows), len(response)), (16, 16))
        self.assertEqual([row[-1] for row in rows], [str(year) for year in range(1947, 1963)])

    def test_exact_least_squares_give_the_certified_coefficients_to_all_their_digits(self):
        certified = report_digits.certified_values()
        coefficients = exact_coefficients()
        self.assertEqual(len(certified), len(coefficients) + 1)
        for (name, text), exact in zip(certified, coefficients):
            # Half a unit of the last of 15 digits.
            self.assertLessEqual(abs(Fraction(text) - exact) / abs(exact), Fraction(5, 10 ** 15), name)

    def test_exact_residuals_give_the_certified_standard_deviation(self):
        rows, response = exact_problem()
        coefficients = exact_coefficients()
        residuals = [y - sum(b * x for b, x in zip(coefficients, row)) for row, y in zip(rows, response)]
        variance = sum(r * r for r in residuals) / (len(rows) - len(coefficients))
        name, text = report_digits.certified_values()[-1]
        self.assertEqual(name, "residual_standard_deviation")
        self.assertLessEqual(abs(Fraction(text) ** 2 / variance - 1), Fraction(1, 10 ** 14))

    def test_normal_equations_in_double_precision_lose_half_of_the_digits(self):
        # The control: a problem on which every method does well would show nothing.
        computed = solve([[float(x) for x in row] for row in normal_equations()])
        kept = [report_digits.digits(x, float(exact)) for x, exact in zip(computed, exact_coefficients())]
        self.assertLess(min(kept), 8)


class Files(unittest.TestCase):
    def test_hold_the_problem_column_by_column(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([sys.executable, "-B", LONGLEY / "make_longley.py", Path(folder) / "new"], check=True)
            read = {}
            for name in ("predictors", "employed"):
                lines = (Path(folder) / "new" / f"{name}.mtx").read_text(encoding="ascii").splitlines()
                self.assertEqual(lines[0], "%%MatrixMarket matrix array real general")
                self.assertTrue(lines[1].startswith("% "))
                read[name] = (lines[2], [Fraction(line) for line in lines[3:]])
        rows, response = exact_problem()
        self.assertEqual(read["predictors"], ("16 7", [x for column in zip(*rows) for x in column]))
        self.assertEqual(read["employed"], ("16 1", response))


class Digits(unittest.TestCase):
    def test_count_the_agreeing_ones(self):
        for computed, certified, expected in ((1.001, 1.0, 3.0), (-0.999, -1.0, 3.0), (2.00002, 2.0, 5.0),
                                              (1e-5, 1e-5, 15.0), (1 + 1e-16, 1.0, 15.0), (2.0, 1.0, 0.0),
                                              (-9.0, 1.0, -1.0)):
            self.assertAlmostEqual(report_digits.digits(computed, certified), expected, places=6)

    def test_are_fifteen_at_most(self):
        self.assertEqual(report_digits.digits(1 + 2.0 ** -52, 1.0), 15.0)
        self.assertLessEqual(report_digits.digits(1 + 2.0 ** -49, 1.0), 15.0)


class Report(unittest.TestCase):
    def run_report(self, text):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "coefficients.mtx"
            path.write_text(text)
            return subprocess.run([sys.executable, "-B", LONGLEY / "report_digits.py", path], text=True,
                                  capture_output=True)

    def array(self, values):
        return make_longley.array_text("computed", [[repr(value) for value in values]])

    def test_of_the_certified_coefficients_finds_all_digits_of_them(self):
        certified = [float(text) for _, text in report_digits.certified_values()[:-1]]
        run = self.run_report(self.array(certified))
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        lines = run.stdout.splitlines()
        self.assertEqual(len(lines), 10)
        for line, (name, text) in zip(lines[1:], report_digits.certified_values()):
            self.assertTrue(line.startswith(name.replace("_", " ")), line)
            self.assertIn(text, line)
        self.assertEqual([line.split()[-1] for line in lines[1:8]], ["15.0"] * 7)
        # The year's coefficient times the year is near the intercept: rounded coefficients leave a rounded deviation.
        self.assertGreater(float(lines[8].split()[-1]), 9)

    def test_of_wrong_coefficients_finds_few(self):
        certified = [float(text) for _, text in report_digits.certified_values()[:-1]]
        run = self.run_report(self.array([certified[0] * 1.01] + certified[1:]))
        self.assertEqual(run.returncode, 0)
        self.assertEqual(run.stdout.splitlines()[1].split()[-1], "2.0")
        self.assertLess(float(run.stdout.splitlines()[-1].split()[2]), 2.1)

    def test_files_that_hold_something_else_are_refused(self):
        for text, words in ((self.array([1.0] * 6), "7 coefficients expected, 6 found"),
                            (make_longley.array_text("two", [["1"] * 7] * 2), "expected one column of 7 numbers"),
                            (self.array([1.0] * 7).replace("7 1", "8 1"), "expected one column of 8 numbers"),
                            ("", "expected the numbers of rows and columns")):
            run = self.run_report(text)
            self.assertEqual((run.returncode, run.stdout, run.stderr.count("\n")), (1, "", 1), text)
            self.assertTrue(run.stderr.startswith("report_digits.py: "), run.stderr)
            self.assertIn(words, run.stderr)


class Solution(unittest.TestCase):
    def test_by_orthogonal_factorisation_keeps_nine_digits(self):
        nuv = Path(os.environ["NUV_COMMAND"])
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            subprocess.run([sys.executable, "-B", LONGLEY / "make_longley.py", folder], check=True)
            subprocess.run([nuv, "lstsq", folder / "predictors.mtx", folder / "employed.mtx", "-o", folder / "x.mtx"],
                           check=True, capture_output=True)
            computed = report_digits.read_column(folder / "x.mtx")
        computed.append(report_digits.residual_standard_deviation(computed))
        certified = [float(text) for _, text in report_digits.certified_values()]
        self.assertEqual(len(computed), len(certified))
        # The condition number promises six or seven; nearly eleven are kept.
        self.assertGreater(min(map(report_digits.digits, computed, certified)), 9)


if __name__ == "__main__":
    unittest.main()
