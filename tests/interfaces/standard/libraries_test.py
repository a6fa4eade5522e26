"""What the libraries of standard names export and need, as the linker left them.

    libraries_test.py BUILD_DIR
"""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "frame"))
from exports_test import C_LIBRARY, START_FILES, Library  # noqa: E402

BUILD = None
LISTS = {"libnuv.so": "libnuv", "nuv/libblas.so.3": "libblas", "nuv/liblapack.so.3": "liblapack"}


class Libraries(unittest.TestCase):
    def setUp(self):
        self.libraries = {file: Library(f"{BUILD}/lib/{file}:{names}") for file, names in LISTS.items()}

    def test_they_export_just_the_names_on_their_lists(self):
        for library in self.libraries.values():
            names = (BUILD / "generated" / "exports" / f"{library.list}.txt").read_text().split()
            self.assertGreater(len(names), 150)
            self.assertEqual(sorted(library.exported()), names)
            # A program's own handler of the C interface takes the place of the one that is weak.
            self.assertEqual({name for name, kind in library.exported().items() if kind != "T"},
                             {"cblas_xerbla"} & set(names))

    def test_their_sonames_are_versioned(self):
        for file, soname in (("libnuv.so", "libnuv.so.0"), ("nuv/libblas.so.3", "libblas.so.3"),
                             ("nuv/liblapack.so.3", "liblapack.so.3")):
            self.assertEqual(self.libraries[file].dynamic("SONAME"), [soname])
            self.assertTrue((self.libraries[file].path.parent / soname).exists())
        self.assertRegex((BUILD / "lib/libnuv.so.0").resolve().name, r"\Alibnuv\.so\.0\.\d+\.\d+\Z")

    def test_they_need_the_library_of_routines_and_the_c_library(self):
        for file, library in self.libraries.items():
            others = {"nuv/liblapack.so.3": {"libblas.so.3"}}.get(file, set())
            self.assertEqual(set(library.dynamic("NEEDED")) - C_LIBRARY, {"libnuv_lapack.so"} | others)

    def test_they_look_for_it_where_it_lies(self):
        for file, library in self.libraries.items():
            path = ["$ORIGIN/..:$ORIGIN"] if file.startswith("nuv/") else ["$ORIGIN"]
            self.assertEqual(library.dynamic("RUNPATH"), path)

    def test_all_they_jump_to_is_there(self):
        routines = set(Library(f"{BUILD}/lib/libnuv_lapack.so:lapack").exported())
        for library in self.libraries.values():
            missing = {name for name, in_c_library in library.undefined() if not in_c_library} - START_FILES - routines
            self.assertEqual(missing, set())

    def test_companions_name_a_layer_and_what_it_calls_back(self):
        for companion, layer in (("libnuv_with_threads.so", "libnuv_orvo_thread.so"),
                                 ("libnuv_with_sequential.so", "libnuv_sequential.so")):
            library = Library(f"{BUILD}/lib/{companion}:none")
            self.assertEqual(set(library.dynamic("NEEDED")) - C_LIBRARY, {layer, "libnuv_lapack.so"})
            self.assertEqual(library.dynamic("RUNPATH"), ["$ORIGIN"])
            self.assertEqual(library.exported(), {})


if __name__ == "__main__":
    BUILD = Path(sys.argv[1])
    unittest.main(argv=sys.argv[:1])
