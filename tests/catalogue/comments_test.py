"""Tests of what is read from the comments of the sources, on files of invented families and on the tree itself."""

import sys
import tempfile
import unittest
from pathlib import Path

TREE = Path(__file__).resolve().parents[2]

sys.path.insert(0, str(TREE / "catalogue"))
from comments import comments, families, family_comments  # noqa: E402

CATALOGUE = """family solvers/widget
layer_family threading/widget

layer    sdcz  ?wdtrf (Int n, T* a)
    Factors a widget.

routine  sd  ?wdsv (Int n, T* a)
    Solves.

routine  sdcz  ?wdsv_c as wdcsv (Int n, T* a)
    Solves.
"""
HEADER = """#pragma once

// Widgets.
//
// n    order

#include "base/types.hpp"

namespace nuv {

/// Factors a widget.
///
/// a    in and out
template <Scalar T>
void xwdtrf(Int n, T* a);

"""


class Comments(unittest.TestCase):
    def texts(self, declarations, header="src/solvers/widget.hpp"):
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            files = {"catalogue/widget.cat": CATALOGUE, header: HEADER + declarations + "\n}\n"}
            for name, text in files.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text)
            return comments(root), family_comments(root)

    def test_a_serial_body_goes_by_the_name_of_its_routine(self):
        own, of_families = self.texts("")
        self.assertEqual(own, {"wdtrf": "Factors a widget.\n\na    in and out"})
        self.assertEqual(of_families, {"solvers/widget": "Widgets.\n\nn    order"})

    def test_a_block_counts_up_to_the_next_empty_line(self):
        own, _ = self.texts("/// Solves.\ntemplate <Scalar T>\nvoid wdsv(Int n,\n          T* a);\nvoid wdcsv(Int n);\n")
        self.assertEqual((own["wdsv"], own["wdcsv"]), ("Solves.", "Solves."))
        own, _ = self.texts("/// Solves.\nvoid wdsv(Int n);\n\nvoid wdcsv(Int n);\n")
        self.assertNotIn("wdcsv", own)

    def test_what_is_the_same_follows_what_it_is_the_same_as(self):
        own, _ = self.texts("/// The same, solved.\nvoid wdsv(Int n);\n/// The same again.\nvoid wdsv(Int n, T* a);\n")
        self.assertEqual(own["wdsv"], "xwdtrf: Factors a widget.\n\na    in and out\n\nwdsv: The same, solved."
                                      "\n\nwdsv: The same again.")

    def test_members_declared_apart(self):
        own, _ = self.texts("/// Real.\nvoid wdsv(Int n);\n\n/// Complex.\nvoid wdsv(Int n, T* a);\n")
        self.assertEqual(own["wdsv"], "Real.\n\nComplex.")

    def test_calls_and_comments_within_a_body_are_no_declarations(self):
        own, _ = self.texts("/// Solves.\nvoid wdsv(Int n) {\n  /// no\n  wdcsv(n);\n}\n")
        self.assertEqual(own["wdsv"], "Solves.")
        self.assertNotIn("wdcsv", own)

    def test_a_family_without_a_header_is_declared_by_a_neighbour(self):
        own, of_families = self.texts("", "src/solvers/all_widgets.hpp")
        self.assertEqual(own["wdtrf"], "Factors a widget.\n\na    in and out")
        self.assertEqual(of_families["solvers/widget"], "Widgets.\n\nn    order")


class TheTree(unittest.TestCase):
    def test_every_routine_says_more_than_its_name(self):
        own, of_families = comments(TREE), family_comments(TREE)
        silent = {f for family, names in families(TREE).items() if family not in of_families for f in names if f not in own}
        self.assertEqual(silent, set())


if __name__ == "__main__":
    unittest.main()
