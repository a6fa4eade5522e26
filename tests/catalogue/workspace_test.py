"""Tests of the sizes of workspaces in the catalogue: how they are read, and what code they become."""

import sys
import unittest
from pathlib import Path

CATALOGUE = Path(__file__).resolve().parents[2] / "catalogue"

sys.path.insert(0, str(CATALOGUE))
from entries import CatalogueError, parse  # noqa: E402
from workspace import Dialect, SizeError, parse_workspace  # noqa: E402


def value(text, **arguments):
    """A size for given arguments, by way of the code that is made for it."""
    dialect = Dialect(number="{}", function="{}", is_letter="{} == '{}'")
    options = {name for name, argument in arguments.items() if isinstance(argument, str)}
    code = dialect.length(parse_workspace(text), options)
    # C's choices in Python's words.
    while "?" in code:
        code = python_choice(code)
    return eval(code, {"max": max, "min": min, "log2": lambda n: max(0, n - 1).bit_length()}, arguments)


def python_choice(code):
    """The innermost (test ? chosen : other) of a line of C."""
    question = code.rindex("?")
    opening = matching(code, question, -1)
    closing = matching(code, question, 1)
    colon = code.index(":", question)
    test, chosen, other = code[opening + 1 : question], code[question + 1 : colon], code[colon + 1 : closing]
    return f"{code[:opening]}(({chosen}) if ({test.replace('||', 'or')}) else ({other})){code[closing + 1 :]}"


def matching(code, place, step):
    depth = 0
    while True:
        place += step
        depth += {"(": step, ")": -step}.get(code[place], 0)
        if depth < 0:
            return place


class Sizes(unittest.TestCase):
    def test_sums_and_products(self):
        self.assertEqual(value("3*n + 2", n=5), 17)
        self.assertEqual(value("(n + 1)*(m - 2)", n=4, m=5), 15)
        self.assertEqual(value("n - (m - 1)", n=9, m=3), 7)
        self.assertEqual(value("n - m - 1", n=9, m=3), 5)

    def test_functions(self):
        self.assertEqual(value("max(n, 2*m, 3)", n=1, m=4), 8)
        self.assertEqual(value("min(n, m)", n=1, m=4), 1)
        self.assertEqual([value("log2(n)", n=n) for n in (1, 2, 3, 4, 5)], [0, 1, 2, 2, 3])

    def test_choices(self):
        self.assertEqual([value("side is L ? n : m", side=s, n=2, m=3) for s in "LR"], [2, 3])
        self.assertEqual([value("norm is O|1|I ? n : 0", norm=s, n=2) for s in "O1IF"], [2, 2, 2, 0])
        text = "job is N ? 4*n : job is P ? 6*n : n*n"
        self.assertEqual([value(text, job=s, n=10) for s in "NPI"], [40, 60, 100])
        self.assertEqual(value("k*(side is L ? n : m)", side="R", k=2, n=5, m=7), 14)
        self.assertEqual([value("icompq is 2 ? n : 0", icompq=i, n=4) for i in (1, 2)], [0, 4])

    def test_matrices(self):
        workspace = parse_workspace("(side is L ? n : m) by k")
        self.assertEqual(sorted(workspace.names()), ["k", "m", "n", "side"])
        self.assertEqual(workspace.columns.operands, ("k",))
        self.assertEqual(value("n by k", n=3, k=5), 15)
        self.assertEqual(value("n by k", n=3, k=0), 3)

    def test_questions(self):
        self.assertTrue(parse_workspace("query").is_asked)
        asked = parse_workspace("query, at least 2*m")
        self.assertTrue(asked.is_asked)
        self.assertEqual((asked.names(), asked.least.kind, asked.rows), (["m"], "*", None))

    def test_what_is_no_size_is_refused(self):
        for text, complaint in (("3*", "the end"), ("max(n", "the end where ) is wanted"), ("n m", "'m' too many"),
                                ("side is L", "the end where ? is wanted"), ("*", "'*' is no size"), ("", "the end")):
            with self.assertRaises(SizeError) as caught:
                parse_workspace(text)
            self.assertIn(complaint, str(caught.exception))


class Entries(unittest.TestCase):
    def parsed(self, arguments):
        entry = f"family solvers/widget\nroutine  sd  ?wdtrf ({arguments})\n    Factors a widget.\n"
        routine, = parse(entry).routines
        return routine

    def refused(self, arguments, complaint):
        with self.assertRaises(CatalogueError) as caught:
            self.parsed(arguments)
        self.assertIn(complaint, str(caught.exception))

    def test_brackets_belong_to_an_argument(self):
        routine = self.parsed("Int n, T* work [max(1, n)], Int* iwork[query], Int liwork, T* swork [kept], out Int info")
        self.assertEqual([a.name for a in routine.scratch], ["work", "iwork"])
        self.assertEqual([a.workspace.text if a.workspace else None for a in routine.arguments],
                         [None, "max(1, n)", "query", None, "kept", None])
        self.assertTrue(routine.has_info)

    def test_sizes_speak_of_arguments(self):
        self.refused("Int n, T* work [2*m]", "the size of work wants m")
        self.refused("out Int n, T* work [n]", "the size of work wants n")
        self.refused("Int n, T* work [query]", "wants lwork")
        self.refused("Int n, T* work [n by n]", "wants ldwork")
        self.refused("Int n, T* work [query, at least m], Int lwork", "wants m")

    def test_brackets_go_with_what_is_written(self):
        self.refused("Int n, const T* work [n]", "brackets")
        self.refused("Int n [n], T* work", "brackets")


class TheCatalogue(unittest.TestCase):
    def test_every_workspace_has_its_size(self):
        routines = [r for file in CATALOGUE.glob("*.cat") for r in parse(file.read_text(), file.name).routines]
        unsized = [f"{r.pattern}: {a.name}" for r in routines for a in r.arguments
                   if a.name.endswith("work") and a.pointer and not a.const and a.workspace is None]
        self.assertEqual(unsized, [])

    def test_every_length_belongs_to_a_workspace(self):
        # iparmq is told how much workspace its caller has.
        routines = [r for file in CATALOGUE.glob("*.cat") for r in parse(file.read_text(), file.name).routines]
        of_nothing = [f"{r.pattern}: {a.name}" for r in routines for a in r.arguments
                      if a.name in ("lwork", "lrwork", "liwork") and a.name[1:] not in [s.name for s in r.scratch]]
        self.assertEqual(of_nothing, ["iparmq: lwork"])


if __name__ == "__main__":
    unittest.main()
