"""Tests of the interfaces by value that are made from the catalogue, on invented routines."""

import re
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "catalogue"))
import c_interface  # noqa: E402
import cxx_interface  # noqa: E402
from entries import parse  # noqa: E402


def catalogue(text):
    return parse(f"family solvers/widget\n{text}\n    What it is for.\n")


def unwrapped(text):
    return re.sub(r"\n\s+", " ", text)


class Overloads(unittest.TestCase):
    def functions(self, text):
        """Heads and bodies of all overloads, each in one line."""
        header = cxx_interface.emit_header(catalogue(text)).partition("/// What it is for.")[2]
        found = re.findall(r"^(?:template <>\n)?(?:\[\[nodiscard\]\] )?inline .*?^}$", header, re.M | re.S)
        return [unwrapped(f).replace("\n", " ") for f in found]

    def test_arguments_by_value_and_info_returned(self):
        self.assertEqual(self.functions("routine d ?wdsv (char uplo, Int n, const T* a, T* b, out R x, out Int info)"), [
            "[[nodiscard]] inline int wdsv(Uplo uplo, int n, const double* a, double* b, double& x) noexcept { "
            "int info = 0; nuv_lapack_dwdsv(uplo.place(), &n, a, b, &x, &info, 1); return info; }"])

    def test_a_size_is_computed(self):
        with_workspace, without = self.functions("routine d ?wdsv (char side, Int m, Int n, T* work [side is L ? n : 2*m])")
        self.assertIn("wdsv(Side side, int m, int n, double* work) noexcept {", with_workspace)
        self.assertEqual(without, "inline void wdsv(Side side, int m, int n) { workspace::Memory<double> "
                                  "work{(workspace::is(side, 'L') ? double(n) : 2 * double(m))}; wdsv(side, m, n, work.data()); }")

    def test_sizes_are_asked_for_and_arguments_checked_meanwhile(self):
        _, without = self.functions("routine z ?wdsv (Int n, T* work [query], Int lwork, R* rwork [3*n], Int* iwork "
                                    "[query, at least n], Int liwork, out Int info)")
        self.assertEqual(without, "[[nodiscard]] inline int wdsv(int n) { workspace::Memory<std::complex<double>> work; "
            "workspace::Memory<double> rwork; workspace::Memory<int> iwork; if (const int info = wdsv(n, work.data(), "
            "work.length(), rwork.data(), iwork.data(), iwork.length()); info != 0) return info; work.allocate_answer(); "
            "rwork.allocate(3 * double(n)); iwork.allocate_answer(double(n)); return wdsv(n, work.data(), work.length(), "
            "rwork.data(), iwork.data(), iwork.length()); }")

    def test_sizes_are_asked_of_routines_without_info(self):
        _, without = self.functions("routine d ?wdsv (Int n, T* work [query], Int lwork)")
        self.assertEqual(without, "inline void wdsv(int n) { workspace::Memory<double> work; wdsv(n, work.data(), work.length()); "
                                  "work.allocate_answer(); wdsv(n, work.data(), work.length()); }")

    def test_a_matrix_has_its_leading_dimension(self):
        _, without = self.functions("routine d ?wdsv (Int n, Int k, T* work [n by k], Int ldwork)")
        self.assertIn("wdsv(n, k, work.data(), workspace::as_int(double(n)));", without)
        self.assertIn("work{workspace::max(double(n), 1) * workspace::max(double(k), 1)}", without)

    def test_values(self):
        self.assertIn("inline std::complex<float> dotw(int n) noexcept { std::complex<float> value; "
                      "nuv_lapack_cdotw(&value, &n); return value; }", self.functions("routine c ?dotw (Int n) -> T"))
        self.assertIn("inline bool isw(double x) noexcept { return (nuv_lapack_disw(&x) & 1) != 0; }",
                      self.functions("routine d ?isw (R x) -> Logical"))

    def test_truths(self):
        made, = self.functions("routine d ?wdsv (Logical left, out Logical right, T x)")
        self.assertIn("(bool left, bool& right, double x)", made)
        self.assertIn("const int left_word = left ? -1 : 0; int right_word = right ? -1 : 0;", made)
        self.assertIn("right = (right_word & 1) != 0;", made)

    def test_arrays_of_truths_are_words(self):
        made, = self.functions("routine d ?wdsv (const Logical* chosen, T x)")
        self.assertIn("(const int* chosen, double x)", made)
        self.assertIn("nuv_lapack_dwdsv(chosen, &x);", made)

    def test_functions_pass_through(self):
        made, = self.functions("routine z ?wdsv (Select select, T x)")
        self.assertIn("(nuv_z_select select, std::complex<double> x)", made)
        self.assertIn("nuv_lapack_zwdsv(select, &x);", made)
        made, = self.functions("routine d ?wdsv (SelectGeneralised selctg, T x)")
        self.assertIn("(nuv_d_select_generalised selctg, double x)", made)
        self.assertIn("nuv_lapack_dwdsv(selctg, &x);", made)

    def test_texts(self):
        made, = self.functions("routine - wdenv (text name, char c) -> Int")
        self.assertIn("(std::string_view name, Letter c)", made)
        self.assertIn("nuv_lapack_wdenv(name.data(), c.place(), static_cast<int>(name.size()), 1)", made)

    def test_a_precision_that_no_argument_tells_is_asked_for(self):
        self.assertEqual([f.split("{")[0] for f in self.functions("routine sd ?lawd (char c) -> R")],
                         ["template <> inline float lawd<float>(Letter c) noexcept ",
                          "template <> inline double lawd<double>(Letter c) noexcept "])

    def test_members_go_by_the_shared_name_too(self):
        names = [re.search(r"(\w+)\(", f).group(1) for f in self.functions("routine z ?unwd as orwd (T* a, T* work [1])")]
        self.assertEqual(names, ["unwd", "unwd", "orwd", "orwd"])

    def test_bridges_within_the_library_are_left_out(self):
        for text in ("routine d ?wdsv_small (T* a)", "routine d ?wdsv ()", "routine d x?wdsv ()"):
            self.assertEqual(self.functions(text), [])


class ByValue(unittest.TestCase):
    def source(self, text, letter="d"):
        return unwrapped(c_interface.emit_source(catalogue(text), letter).split("\n\n", 2)[2]).replace("\n", " ").strip()

    def declaration(self, text):
        header = c_interface.emit_header(catalogue(text))
        return [unwrapped(line) for line in re.findall(r"^\w+ nuv_\w*wd\w*\(.*?;$", header, re.M | re.S)]

    def test_arguments_by_value_and_info_returned(self):
        text = "routine d ?wdsv (char uplo, Int n, const T* a, T b, out R x, out Int info)"
        self.assertEqual(self.declaration(text), ["int nuv_dwdsv(char uplo, int n, const double* a, double b, double* x);"])
        self.assertEqual(self.source(text), "int nuv_dwdsv(char uplo, int n, const double* a, double b, double* x) { "
                         "int info = 0; nuv_lapack_dwdsv(&uplo, &n, a, &b, x, &info, 1); return info; }")

    def test_functions_pass_through(self):
        text = "routine d ?wdsv (char sort, Select select, out Int sdim, out Int info)"
        self.assertEqual(self.declaration(text), ["int nuv_dwdsv(char sort, nuv_d_select select, int* sdim);"])
        self.assertIn("nuv_lapack_dwdsv(&sort, select, sdim, &info, 1);", self.source(text))

    def test_workspace_is_allocated_and_given_back(self):
        self.assertEqual(self.source("routine d ?wdsv (Int n, T* work [3*n])"),
            "int nuv_dwdsv(int n) { int info = 0; const double work_size = 3 * (double)n; double* const work = "
            "scratch(work_size, sizeof(double)); if (work != NULL) { nuv_lapack_dwdsv(&n, work); } else { "
            "info = NUV_NO_MEMORY; } give_back(work); return info; }")

    def test_sizes_are_asked_for(self):
        made = self.source("routine c ?wdsv (T* work [query], Int lwork, R* rwork [5], out Int info)", "c")
        self.assertIn("nuv_lapack_cwdsv(&work_answer, &ask, &rwork_answer, &info); if (info != 0) return info;", made)
        self.assertIn("const double work_size = answered((double)work_answer);", made)
        self.assertIn("const int lwork = as_int(work_size); if (work != NULL && rwork != NULL) { "
                      "nuv_lapack_cwdsv(work, &lwork, rwork, &info); }", made)
        self.assertIn("give_back(rwork); give_back(work); return info;", made)

    def test_values(self):
        self.assertEqual(self.source("routine s ?lanwd (Int n, R* work [n]) -> R", "s").split("{")[0], "float nuv_slanwd(int n) ")
        self.assertIn("value = NUV_NO_MEMORY", self.source("routine s ?lanwd (Int n, R* work [n]) -> R", "s"))
        self.assertIn("nuv_complex8 value; nuv_lapack_cdotwd(&value, &n); return value;",
                      self.source("routine c ?dotwd (Int n) -> T", "c"))
        self.assertIn("return nuv_lapack_disw(&x) & 1;", self.source("routine d ?isw (R x) -> Logical"))

    def test_complex_values_of_single_precision_are_hidden_where_two_languages_differ(self):
        header = c_interface.emit_header(catalogue("routine cz ?dotwd (Int n) -> T"))
        self.assertIn("#if !defined(__cplusplus) || defined(__x86_64__)\nnuv_complex8 nuv_cdotwd(int n);\n#endif\n"
                      "nuv_complex16 nuv_zdotwd(int n);", header)

    def test_texts_end_at_their_zero(self):
        self.assertIn("nuv_lapack_wdenv(name, &c, (int)strlen(name), 1)",
                      self.source("routine - wdenv (text name, char c) -> Int"))

    def test_comments_stay_comments(self):
        self.assertEqual(c_interface.comment("a */ b", "", "c /* d\ne"), "/* a * / b\n *\n * c / * d\n * e */")

    def test_a_header_gets_its_comments_in_full(self):
        described = c_interface.documented("top\n/* What it is for. */\nint a;\n", catalogue("routine d ?gesv (Int n)"))
        self.assertRegex(described, r"\Atop\n/\* What it is for\.\n \*\n \* Solves A X = B [^/]*\*/\nint a;\n\Z")


if __name__ == "__main__":
    unittest.main()
