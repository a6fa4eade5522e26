"""The picture example: its drawing, the sums of a few terms, and what the command makes of them."""

import contextlib
import io
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PICTURE = Path(__file__).resolve().parents[2] / "examples" / "picture"
sys.dont_write_bytecode = True
sys.path.insert(0, str(PICTURE))

import compress  # noqa: E402
import make_picture  # noqa: E402
from make_picture import COLUMNS, ROWS  # noqa: E402

NUV = os.environ["NUV_COMMAND"]


def read_pgm(path):
    magic, columns, rows, most, *pixels = path.read_text(encoding="ascii").split()
    assert (magic, most) == ("P2", "255")
    columns, rows, pixels = int(columns), int(rows), [int(word) for word in pixels]
    assert len(pixels) == rows * columns
    return [pixels[columns * k:columns * (k + 1)] for k in range(rows)]


def array_text(columns):
    values = [repr(float(value)) for column in columns for value in column]
    return "\n".join(["%%MatrixMarket matrix array real general", f"{len(columns[0])} {len(columns)}"] + values) + "\n"


FOLDER = None  # with picture.pgm and picture.mtx


def setUpModule():
    global FOLDER
    name = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(name.cleanup)
    FOLDER = Path(name.name) / "new"
    subprocess.run([sys.executable, "-B", PICTURE / "make_picture.py", FOLDER], check=True)


class Drawing(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.pixels = read_pgm(FOLDER / "picture.pgm")

    def test_shows_what_it_should(self):
        self.assertEqual((len(self.pixels), {len(row) for row in self.pixels}), (ROWS, {COLUMNS}))
        self.assertTrue(all(0 <= pixel <= 255 for row in self.pixels for pixel in row))
        self.assertEqual(self.pixels[28][152], make_picture.SUN)
        self.assertEqual(self.pixels[0][0], make_picture.SKY_ABOVE)
        for row, column in ((make_picture.FLOOR, 20), (make_picture.TOP_CHORD, 100), (75, 100)):
            self.assertLess(self.pixels[row][column], 70, "steel")
        self.assertLess(sum(self.pixels[-1]), sum(self.pixels[0]), "water is darker than sky")

    def test_is_the_same_as_an_image_and_as_a_matrix(self):
        columns = compress.read_columns(FOLDER / "picture.mtx")
        self.assertEqual([list(row) for row in zip(*columns)], self.pixels)

    def test_has_lines_that_all_readers_take(self):
        self.assertLessEqual(max(map(len, (FOLDER / "picture.pgm").read_text(encoding="ascii").splitlines())), 70)


class Sums(unittest.TestCase):
    """Of terms that are known: 2 and 1 times unit vectors."""

    VALUES, LEFT, RIGHT = [200.0, 10.0], [[1.0, 0.0], [0.0, 1.0]], [[0.0, 1.0, 0.0], [0.6, 0.0, 0.8]]

    def test_have_the_first_terms(self):
        for rank, matrix in ((1, [[0, 200, 0], [0, 0, 0]]), (2, [[0, 200, 0], [6, 0, 8]])):
            self.assertEqual(compress.approximation(self.VALUES, self.LEFT, self.RIGHT, rank), matrix)

    def test_are_described(self):
        self.assertEqual(compress.describe(self.VALUES, self.LEFT, self.RIGHT, 1),
                         "Rank 1: 99.751% of the squared norm, in 6 numbers instead of 6.")
        self.assertEqual(compress.describe([3.0, 4.0], self.LEFT, self.RIGHT, 1)[:15], "Rank 1: 36.000%")

    def test_become_pixels(self):
        self.assertEqual(compress.pixels_of([[-3.0, 12.4, 12.6, 255.4, 300.0]]), [[0, 12, 13, 255, 255]])

    def test_are_shown_side_by_side(self):
        dark, light = ([[brightness] * COLUMNS for _ in range(ROWS)] for brightness in (0, 255))
        lines = compress.side_by_side([("dark", dark), ("light", light), ("dark again", dark)])
        width = len(compress.DETAIL_COLUMNS) // compress.CELL_COLUMNS
        self.assertEqual(len(lines), 1 + len(compress.DETAIL_ROWS) // compress.CELL_ROWS)
        self.assertEqual(lines[0], "dark".ljust(width + 3) + "light".ljust(width + 3) + "dark again")
        self.assertEqual(set(lines[1:]), {"@" * width + " " * (width + 6) + "@" * width})
        row, column = compress.DETAIL_ROWS[0], compress.DETAIL_COLUMNS[0]
        light[row][column] = 0
        self.assertEqual(compress.detail(light)[0][:2], ". ", "seven eighths of white")


class Files(unittest.TestCase):
    def test_that_hold_something_else_are_refused(self):
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            good = {"values.mtx": array_text([[2, 1]]), "left.mtx": array_text([[1, 0], [0, 1]]),
                    "right.mtx": array_text([[1, 0], [0, 1]])}
            for file, text, message in (
                    ("left.mtx", array_text([[1, 0]]), "2 values, 1 left and 2 right vectors"),
                    ("right.mtx", array_text([[1, 0]]), "2 values, 2 left and 1 right vectors"),
                    ("values.mtx", array_text([[2, 1, 0]]), "3 values, 2 left and 2 right vectors"),
                    ("values.mtx", "", "values.mtx: not an array of real numbers"),
                    ("left.mtx", "2 2\n1\nx\n0\n1\n", "left.mtx: not an array of real numbers"),
                    ("right.mtx", "2 2\n1\n0\n0\n", "right.mtx: 3 numbers, 2 by 2 are 4")):
                for each, content in {**good, file: text}.items():
                    (folder / each).write_text(content, encoding="ascii")
                run = subprocess.run([sys.executable, "-B", PICTURE / "compress.py", folder], capture_output=True,
                                     text=True)
                self.assertEqual((run.returncode, run.stdout, run.stderr.count("\n")), (1, "", 1), run.stderr)
                self.assertTrue(run.stderr.startswith("compress.py: "), run.stderr)
                self.assertIn(message, run.stderr)
            run = subprocess.run([sys.executable, "-B", PICTURE / "compress.py", folder / "none"], capture_output=True,
                                 text=True)
            self.assertEqual((run.returncode, run.stderr.count("\n")), (1, 1), run.stderr)


class Picture(unittest.TestCase):
    """The whole way, to the sentences and characters in README.md."""

    @classmethod
    def setUpClass(cls):
        cls.account = subprocess.run(
            [NUV, "svd", "picture.mtx", "--left", "left.mtx", "--right", "right.mtx", "-o", "values.mtx"],
            cwd=FOLDER, check=True, capture_output=True, text=True).stderr
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            compress.compress(FOLDER)
        cls.output = output.getvalue()

    def test_is_as_the_readme_shows_it(self):
        readme = (PICTURE / "README.md").read_text(encoding="ascii")
        self.assertIn("```\n" + self.output + "```\n", readme)
        self.assertEqual(self.output.count("of the squared norm"), 3)
        self.assertIn("has rank 107, not 150", readme)
        self.assertIn("\nrank               107   ", self.account)
        values = compress.read_columns(FOLDER / "values.mtx")[0]
        self.assertIn(f"{values[0] ** 2 / sum(x * x for x in values):.1%} of the squared norm", readme)

    def test_comes_nearer_by_what_the_values_say(self):
        values, left, right = compress.read_decomposition(FOLDER)
        picture = read_pgm(FOLDER / "picture.pgm")
        for rank in compress.RANKS:
            matrix = compress.approximation(values, left, right, rank)
            lost = sum((x - y) ** 2 for row, line in zip(picture, matrix) for x, y in zip(row, line))
            self.assertAlmostEqual(lost / sum(x * x for x in values[rank:]), 1, places=9)
            self.assertEqual(read_pgm(FOLDER / f"rank-{rank}.pgm"), compress.pixels_of(matrix))

    def test_is_whole_with_all_terms(self):
        self.assertEqual(compress.pixels_of(compress.approximation(*compress.read_decomposition(FOLDER), ROWS)),
                         read_pgm(FOLDER / "picture.pgm"))


if __name__ == "__main__":
    unittest.main()
