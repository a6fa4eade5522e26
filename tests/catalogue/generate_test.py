"""Tests of the catalogue's generator, on small catalogues of invented names."""

import collections
import contextlib
import io
import os
import re
import sys
import tempfile
import unittest
from pathlib import Path

CATALOGUE = Path(__file__).resolve().parents[2] / "catalogue"

sys.path.insert(0, str(CATALOGUE))
import generate  # noqa: E402

HEADER = "include/nuv/nuv_lapack.h"
SERVICES = "include/nuv/nuv_services.h"
TYPES = "include/nuv/nuv_types.h"
X_VARIANTS = "include/nuv/nuv_x_variants.h"
MODULE = "include/nuv/nuv_lapack.f90"
DOCUMENTED = "documented/nuv/nuv_lapack.h"
BY_VALUE = "include/nuv/nuv.h"
OVERLOADS = "include/nuv/nuv.hpp"
FAMILIES = "family solvers/widget\nlayer_family threading/widget\n"


def entry(text, meaning="What it is for."):
    return f"{FAMILIES}{text}\n    {meaning}\n"


def files(text):
    return generate.all_files(generate.parse(text))


def unwrapped(text):
    """One statement a line, whatever lines it was broken into."""
    return re.sub(r" *&?\n\s+", " ", text)


def only_routine(text):
    routine, = generate.parse(text).routines
    return routine


class Parsing(unittest.TestCase):
    def refused(self, text, message):
        with self.assertRaises(generate.CatalogueError) as caught:
            generate.parse(text, "widgets.cat")
        self.assertEqual(str(caught.exception), f"widgets.cat:{message}")

    def test_an_entry_in_full(self):
        routine = only_routine(entry("layer  sd  ?getrf (Int m, T* a, Int lda, const Int* ipiv, out R scale) -> Int"))
        self.assertEqual((routine.kind, routine.precisions, routine.pattern, routine.function),
                         ("layer", ("s", "d"), "?getrf", "getrf"))
        self.assertEqual((routine.result, routine.meaning), ("Int", "What it is for."))
        self.assertEqual((routine.family, routine.layer_family), ("solvers/widget", "threading/widget"))
        self.assertEqual(routine.arguments, (
            generate.Argument("Int", "m"),
            generate.Argument("T", "a", pointer=True),
            generate.Argument("Int", "lda"),
            generate.Argument("Int", "ipiv", const=True, pointer=True),
            generate.Argument("R", "scale", out=True)))

    def test_argument_lists_and_meanings_may_run_over_lines(self):
        routine = only_routine(entry("routine  d  ?gemm (char transa, Int m,\n"
                                     "                   Int n,\n\n"
                                     "   # a word about the next line\n"
                                     "\tInt k)", "C := alpha op(A) op(B)\n\n      + beta C"))
        self.assertEqual([a.name for a in routine.arguments], ["transa", "m", "n", "k"])
        self.assertEqual(routine.meaning, "C := alpha op(A) op(B) + beta C")

    def test_comments_stand_anywhere(self):
        routine = only_routine("# widgets\n" + entry("routine d ?one ()  # trailing", "Meaning. # also trailing"))
        self.assertEqual((routine.pattern, routine.arguments, routine.meaning), ("?one", (), "Meaning."))

    def test_precisions(self):
        for text, expected in (("sdcz", ("s", "d", "c", "z")), ("d", ("d",)), ("s,d,sc,dz", ("s", "d", "sc", "dz")),
                               ("cs,zd", ("cs", "zd"))):
            routine = only_routine(entry(f"kernel {text} ?nrm2 (Int n)"))
            self.assertEqual(routine.precisions, expected)
        self.assertEqual(only_routine(entry("routine - ilaenv (Int n)")).precisions, ("",))

    def test_the_question_mark_is_where_the_precision_goes(self):
        for pattern, precisions, names in (
                ("?nrm2", "s,d,sc,dz", ["nuv_blas_snrm2", "nuv_blas_dnrm2", "nuv_blas_scnrm2", "nuv_blas_dznrm2"]),
                ("i?amax", "sz", ["nuv_blas_isamax", "nuv_blas_izamax"])):
            routine = only_routine(entry(f"kernel {precisions} {pattern} (Int n)"))
            self.assertEqual([name for _, name in generate.exported_names(routine)], names)

    def test_exported_names_may_share_a_template(self):
        text = entry("layer sd ?ormqr (Int n)") + "layer cz ?unmqr as ormqr (Int n)\n m\n"
        routine = generate.parse(text).routines[1]
        self.assertEqual((routine.pattern, routine.function), ("?unmqr", "ormqr"))
        made = files(text)
        self.assertIn("void nuv_lapack_xzunmqr(const int* n) {\n  nuv::xormqr<std::complex<double>>(*n);",
                      made["entries/solvers/widget.entries.inc"])
        self.assertIn("nuv_lapack_cunmqr(&n);", made["internal/layer.hpp"])

    def test_prefixes(self):
        for kind, prefix in (("routine", "nuv_lapack_d"), ("layer", "nuv_lapack_d"), ("level3", "nuv_blas_d"),
                             ("kernel", "nuv_blas_d"), ("special", "nuv_blas_d")):
            routine = only_routine(entry(f"{kind} d ?thing (Int n)"))
            self.assertEqual(generate.exported_names(routine), [("d", prefix + "thing")])

    def test_services(self):
        catalogue = generate.parse(
            "service void* find (const char* name)\n  m\n"
            "kernel_service int report_ (const char* name, int length) asks default_report\n  m\n"
            "data const char* const names [5]\n  m\n"
            "hook void* take (size_t size)\n  m\n")
        self.assertEqual([(s.kind, s.name, s.target) for s in catalogue.services], [
            ("service", "find", "find"), ("kernel_service", "report_", "default_report"), ("data", "names", "names"),
            ("hook", "take", "take")])

    def test_families_hold_until_the_next(self):
        catalogue = generate.parse(FAMILIES + "layer d ?a ()\n m\nroutine d ?b ()\n m\n"
                                   "family other\nroutine d ?c ()\n m\n")
        self.assertEqual([(r.family, r.layer_family) for r in catalogue.routines],
                         [("solvers/widget", "threading/widget")] * 2 + [("other", "")])

    def test_a_stub_without_a_routine_is_refused(self):
        self.refused("layer_stub sd ?getrf\n", "1: unknown kind 'layer_stub'")
        self.refused("layer_stub sd ?getrf\n    LU factorisation.\n", "1: unknown kind 'layer_stub'")
        self.refused(FAMILIES + "layer sd ?getrf\n    LU factorisation.\n", "3: not a routine: 'sd ?getrf'")

    def test_errors_name_file_and_line(self):
        self.refused("\n# a comment\nwidget d ?a ()\n  m\n", "3: unknown kind 'widget'")
        self.refused(FAMILIES + "routine d ?a ()\n", "3: an entry needs a meaning")
        self.refused(FAMILIES + "routine d ?a ()\n m\nroutine d ?b (\n  Int n,\n  Int **m)\n  m\n",
                     "5: not an argument: ' Int **m'")
        self.refused(entry("routine d ?a [Int n]"), "3: not a routine: 'd ?a [Int n]'")
        self.refused(entry("routine d ?a (Int n,)"), "3: not an argument: ''")
        self.refused("routine d ?a ()\n m\n", "1: '?a' belongs to no family")
        self.refused("family f\nlayer d ?a ()\n m\n", "2: '?a' belongs to no family")

    def test_a_question_mark_and_precisions_go_together(self):
        for text, pattern in (("d daxpy ()", "daxpy"), ("- ?axpy ()", "?axpy")):
            self.refused(entry("kernel " + text),
                         f"3: '{pattern}': a question mark stands for the precision, and only for it")

    def test_out_goes_with_values_and_const_with_pointers(self):
        for argument in ("out T* a", "const T a", "out const T a"):
            self.refused(entry(f"routine d ?a ({argument})"),
                         f"3: 'out' goes with values and 'const' with pointers: '{argument}'")

    def test_duplicates_are_refused(self):
        self.refused(entry("kernel sd ?a ()") + "kernel dc ?a ()\n m\n", "5: 'nuv_blas_da' stands twice")
        self.refused(entry("kernel dd ?a ()"), "3: 'nuv_blas_da' stands twice")
        self.refused("service int a ()\n m\ndata int a\n m\n", "3: 'a' stands twice")

    def test_a_service_without_a_name_is_refused(self):
        with self.assertRaisesRegex(generate.CatalogueError, r"^widgets\.cat:1: "):
            generate.parse("service ()\n m\n", "widgets.cat")

    def test_a_hook_that_is_no_function_is_refused(self):
        with self.assertRaisesRegex(generate.CatalogueError, r"^widgets\.cat:1: "):
            generate.parse("hook int i_malloc\n m\n", "widgets.cat")

    def test_a_keyword_alone_is_refused_in_plain_words(self):
        for text in ("family\n", "routine\n m\n"):
            with self.assertRaises(generate.CatalogueError) as caught:
                generate.parse(text, "widgets.cat")
            self.assertNotIn("unpack", str(caught.exception))

    def test_unknown_precisions_are_refused(self):
        for precisions in ("sq", "s,,d", "s,dx"):
            with self.subTest(precisions), self.assertRaisesRegex(generate.CatalogueError, r"^widgets\.cat:3: "):
                generate.parse(entry(f"kernel {precisions} ?a ()"), "widgets.cat")

    def test_an_argument_without_a_name_is_refused(self):
        self.refused(entry("routine d ?a (Int n, Int)"), "3: not an argument: ' Int'")

    def test_a_function_stands_for_itself(self):
        for argument in ("out Select select", "Select* select", "const Select* select", "out SelectGeneralised selctg"):
            self.refused(entry(f"routine d ?a ({argument})"), f"3: a function stands for itself: '{argument}'")
        for kind in ("Select", "SelectGeneralised"):
            self.refused(entry(f"routine d ?a (Int n) -> {kind}"), f"3: unknown type '{kind}'")

    def test_unknown_types_are_refused(self):
        for signature in ("(Itn n)", "(Int n) -> Imt"):
            with self.subTest(signature), self.assertRaisesRegex(generate.CatalogueError, r"^widgets\.cat:3: "):
                generate.parse(entry(f"kernel d ?a {signature}"), "widgets.cat")

    def test_an_indented_line_that_continues_nothing_is_refused(self):
        with self.assertRaisesRegex(generate.CatalogueError, r"^widgets\.cat:1: "):
            generate.parse("  kernel d ?a ()\n" + entry("kernel d ?b ()"), "widgets.cat")

    def test_a_family_has_one_namespace(self):
        with self.assertRaisesRegex(generate.CatalogueError, r"^widgets\.cat:5: "):
            generate.parse(entry("routine d ?a ()") + "kernel d ?b ()\n m\n", "widgets.cat")


class Header(unittest.TestCase):
    def prototypes(self, text):
        return unwrapped(files(entry(text))[HEADER])

    def test_every_kind_of_argument_goes_by_reference(self):
        header = self.prototypes("routine d ?a (Int n, Logical l, T x, R r, const T* cv, T* v, const Int* ci, Int* i, "
                                 "const R* cr, out Int info, out T y, out Logical m)")
        self.assertIn("void nuv_lapack_da(const int* n, const int* l, const double* x, const double* r, "
                      "const double* cv, double* v, const int* ci, int* i, const double* cr, int* info, double* y, "
                      "int* m);", header)

    def test_a_function_goes_by_its_address(self):
        header = self.prototypes("routine sz ?a (char sort, Select select, Int n)")
        self.assertIn("void nuv_lapack_sa(const char* sort, nuv_s_select select, const int* n, int sort_length);", header)
        self.assertIn("void nuv_lapack_za(const char* sort, nuv_z_select select, const int* n, int sort_length);", header)
        self.assertIn("typedef int (*nuv_s_select)(const float* wr, const float* wi);", header)
        self.assertIn("typedef int (*nuv_z_select)(const nuv_complex16* w);", header)

    def test_a_function_for_generalised_eigenvalues_is_given_their_parts(self):
        header = self.prototypes("routine sc ?a (char sort, SelectGeneralised selctg, Int n)")
        self.assertIn("void nuv_lapack_sa(const char* sort, nuv_s_select_generalised selctg, const int* n, int sort_length);",
                      header)
        self.assertIn("void nuv_lapack_ca(const char* sort, nuv_c_select_generalised selctg, const int* n, int sort_length);",
                      header)
        self.assertIn("typedef int (*nuv_s_select_generalised)(const float* alphar, const float* alphai, const float* beta);",
                      header)
        self.assertIn("typedef int (*nuv_c_select_generalised)(const nuv_complex8* alpha, const nuv_complex8* beta);", header)

    def test_types_follow_the_precision(self):
        header = self.prototypes("routine sdcz ?a (T* t, R* r) -> R")
        for prototype in ("float nuv_lapack_sa(float* t, float* r);", "double nuv_lapack_da(double* t, double* r);",
                          "float nuv_lapack_ca(nuv_complex8* t, float* r);",
                          "double nuv_lapack_za(nuv_complex16* t, double* r);"):
            self.assertIn(prototype, header)

    def test_a_mixed_precision_has_complex_data(self):
        header = self.prototypes("kernel s,sc,cs ?nrm2 (const T* x) -> R")
        for prototype in ("float nuv_blas_snrm2(const float* x);", "float nuv_blas_scnrm2(const nuv_complex8* x);",
                          "float nuv_blas_csnrm2(const nuv_complex8* x);"):
            self.assertIn(prototype, header)

    def test_lengths_of_characters_come_last_and_in_order(self):
        header = self.prototypes("routine d ?a (char trans, Int n, text name, out char equed, T* b)")
        self.assertIn("void nuv_lapack_da(const char* trans, const int* n, const char* name, char* equed, double* b, "
                      "int trans_length, int name_length, int equed_length);", header)

    def test_results(self):
        for result, prototype in (("Int", "int nuv_blas_ca(const int* n);"),
                                  ("Logical", "int nuv_blas_ca(const int* n);"),
                                  ("R", "float nuv_blas_ca(const int* n);"),
                                  ("T", "void nuv_blas_ca(nuv_complex8* result, const int* n);")):
            self.assertIn(prototype, self.prototypes(f"kernel c ?a (Int n) -> {result}"))
        self.assertIn("void nuv_blas_ca(void);", self.prototypes("kernel c ?a ()"))

    def test_x_variants_have_a_header_of_their_own(self):
        made = files(entry("layer sd ?getrf (Int n)") + "routine d ?getrs (Int n)\n Solves.\n")
        for header, present, absent in ((HEADER, ("sgetrf", "dgetrf", "dgetrs"), "xdgetrf"),
                                        (X_VARIANTS, ("xsgetrf", "xdgetrf"), "getrs")):
            for name in present:
                self.assertIn(f"void nuv_lapack_{name}(const int* n);", made[header])
            self.assertNotIn(absent, made[header])
        self.assertIn("#include <nuv/nuv_x_variants.h>", made["entries/solvers/widget.entries.inc"])

    def test_the_routines_do_not_bring_in_the_services(self):
        made = files(entry("routine d ?a ()") + "service void bind ()\n Binds.\n")
        self.assertNotIn("bind", made[HEADER])
        self.assertEqual(re.findall("#include (.*)", made[HEADER]), ['"nuv_types.h"'])

    def test_services(self):
        header = files("service void bind ()\n Binds.\nweak_service void nothing ()\n m\n"
                       "data const char* names [2]\n m\nhook void* take (size_t size)\n m\n"
                       "hook void give (void* p)\n m\n")[SERVICES]
        for declaration in ("/* Binds. */\nvoid bind (void);", "void nothing (void);", "extern const char* names [2];",
                            "extern void* (*take)(size_t size);", "extern void (*give)(void* p);"):
            self.assertIn(declaration + "\n", header)

    def test_meanings_stand_above(self):
        self.assertIn("/* What it is for. */\nvoid nuv_lapack_da(void);", files(entry("routine d ?a ()"))[HEADER])

    def test_long_prototypes_are_broken(self):
        arguments = ", ".join(f"const T* quite_long_argument_{i}" for i in range(12))
        text = files(entry(f"routine z ?a ({arguments})"))
        for name in (HEADER, "entries/solvers/widget.entries.inc"):
            self.assertLessEqual(max(map(len, text[name].splitlines())), 120)


class EntryPoints(unittest.TestCase):
    def family(self, text, name="entries/solvers/widget.entries.inc"):
        return unwrapped(files(entry(text))[name])

    def test_references_and_lengths_become_values(self):
        text = self.family("routine d ?a (char trans, Int n, text name, const T* a, T alpha, out char equed, "
                           "out Int info)")
        self.assertIn("template void nuv::a<double>(char, nuv::Int, nuv::Text, const double*, double, char&, "
                      "nuv::Int&);", text)
        self.assertIn("void nuv_lapack_da(const char* trans, const int* n, const char* name, const double* a, "
                      "const double* alpha, char* equed, int* info, int, int name_length, int) { "
                      "nuv::a<double>(*trans, *n, nuv::Text{name, name_length}, a, *alpha, *equed, *info);\n}", text)

    def test_functions_pass_through(self):
        self.assertIn("template void nuv::a<double>(nuv_d_select, nuv::Int);\n"
                      "void nuv_lapack_da(nuv_d_select select, const int* n) { nuv::a<double>(select, *n);\n}",
                      self.family("routine d ?a (Select select, Int n)"))

    def test_results_by_value_and_by_leading_pointer(self):
        self.assertIn("int nuv_lapack_ida(const double* x) { return nuv::ia<double>(x);\n}",
                      self.family("routine d i?a (const T* x) -> Int"))
        text = self.family("kernel c ?dotu (const T* x) -> T")
        self.assertIn("NUV_BODY(void, nuv_blas_cdotu)(std::complex<float>* result, const std::complex<float>* x) { "
                      "*result = nuv::kernels::dotu<std::complex<float>>(x);\n}", text)

    def test_bodies_are_not_instantiated_beside_themselves(self):
        self.assertNotIn("template", self.family("kernel d ?scal (Int n)"))
        self.assertIn("template", self.family("routine d ?scal (Int n)"))

    def test_a_routine_without_precision_is_no_template(self):
        text = self.family("routine - ilaenv (Int n) -> Int")
        self.assertIn("int nuv_lapack_ilaenv(const int* n) { return nuv::ilaenv(*n);\n}", text)
        self.assertNotIn("template", text)

    def test_kinds_have_their_namespaces(self):
        for kind, call in (("routine", "nuv::a<double>()"), ("kernel", "nuv::kernels::a<double>()"),
                           ("special", "nuv::kernels::a<double>()"), ("level3", "nuv::threading::a<double>()")):
            self.assertIn(f"  {call};\n", files(entry(f"{kind} d ?a ()"))["entries/solvers/widget.entries.inc"])

    def test_entries_of_the_companions_choose_a_body(self):
        made = files(entry("layer d ?getrf ()") + "family t/l\nlevel3 sd ?gemm ()\n m\nfamily k/a\nkernel z ?a ()\n m\n"
                     "special s ?b ()\n m\n")
        self.assertEqual(made["kernel_entries.S"].splitlines()[3:], ["isa_stub nuv_blas_za", "isa_stub nuv_blas_sb"])
        self.assertEqual(made["layer_entries.S"].splitlines()[3:], [
            "isa_stub nuv_lapack_dgetrf", "isa_stub nuv_blas_sgemm", "isa_stub nuv_blas_dgemm"])

    def test_a_layer_routine_has_two_bodies(self):
        made = files(entry("layer d ?getrf (Int n)"))
        serial = unwrapped(made["entries/solvers/widget.entries.inc"])
        self.assertIn("void nuv_lapack_xdgetrf(const int* n) { nuv::xgetrf<double>(*n);\n}", serial)
        self.assertNotIn("nuv_lapack_dgetrf", serial)
        layer = unwrapped(made["entries/threading/widget.entries.inc"])
        self.assertIn("NUV_BODY(void, nuv_lapack_dgetrf)(const int* n) { nuv::threading::getrf<double>(*n);\n}", layer)
        self.assertNotIn("xdgetrf", layer)


class Wrappers(unittest.TestCase):
    def wrapper(self, text, name="internal/blas.hpp"):
        return unwrapped(files(entry(text))[name])

    def test_pointers_and_their_dimensions_fold_into_views(self):
        text = self.wrapper("kernel d ?gemv (char trans, Int m, T alpha, const T* a, Int lda, T* y, Int incy)")
        self.assertIn("inline void gemv(char trans, Int m, double alpha, Matrix<const double> a, Vector<double> y) { "
                      "nuv_blas_dgemv(&trans, &m, &alpha, a.data, &a.ld, y.data, &y.inc, 1);\n}", text)

    def test_only_a_dimension_of_its_own_name_folds(self):
        text = self.wrapper("kernel d ?odd (const Int* ipiv, Int incx, T* ab, Int lda, T* x, Int n, Int incz, T* last)")
        self.assertIn("inline void odd(const Int* ipiv, Int incx, double* ab, Int lda, double* x, Int n, Int incz, "
                      "double* last) { nuv_blas_dodd(ipiv, &incx, ab, &lda, x, &n, &incz, last);\n}", text)

    def test_texts_pass_their_length_and_characters_one(self):
        text = self.wrapper("special d ?a (text name, char side, out char equed, out Int info)")
        self.assertIn("inline void a(Text name, char side, char& equed, Int& info) { "
                      "nuv_blas_da(name.data, &side, &equed, &info, name.length, 1, 1);\n}", text)

    def test_results(self):
        self.assertIn("inline float nrm2(Vector<const std::complex<float>> x) { "
                      "return nuv_blas_scnrm2(x.data, &x.inc);\n}",
                      self.wrapper("kernel s,sc ?nrm2 (const T* x, Int incx) -> R"))
        self.assertIn("inline std::complex<double> dotu(Int n) { std::complex<double> result; "
                      "nuv_blas_zdotu(&result, &n); return result;\n}", self.wrapper("kernel z ?dotu (Int n) -> T"))

    def test_functions_pass_through(self):
        self.assertIn("inline void a(nuv_z_select select, std::complex<double>* w) { nuv_lapack_za(select, w);\n}",
                      self.wrapper("routine z ?a (Select select, T* w)", "internal/routines.hpp"))

    def test_members_that_no_argument_tells_apart_are_a_template(self):
        text = self.wrapper("routine sd ?lamch (char cmach) -> R", "internal/routines.hpp")
        self.assertIn("template <Scalar T>\nReal<T> lamch(char cmach);\n"
                      "template <>\ninline float lamch<float>(char cmach) { return nuv_lapack_slamch(&cmach, 1);\n}\n"
                      "template <>\ninline double lamch<double>(char cmach) { return nuv_lapack_dlamch(&cmach, 1);\n}", text)
        text = self.wrapper("routine cz ?larnd (Int idist, Int* iseed) -> T", "internal/routines.hpp")
        self.assertIn("template <Scalar T>\nT larnd(Int idist, Int* iseed);\n"
                      "template <>\ninline std::complex<float> larnd<std::complex<float>>(Int idist, Int* iseed) {", text)
        self.assertNotIn("template", self.wrapper("kernel sd ?a (Int n, T alpha) -> T"))

    def test_layer_stubs_and_serial_bodies_have_wrappers_of_the_same_name(self):
        text = "layer d ?getrf (Int n)"
        self.assertIn("inline void getrf(Int n) { nuv_lapack_dgetrf(&n);\n}", self.wrapper(text, "internal/layer.hpp"))
        self.assertIn("inline void getrf(Int n) { nuv_lapack_xdgetrf(&n);\n}",
                      self.wrapper(text, "internal/x_variants.hpp"))
        self.assertNotIn("getrf", self.wrapper(text))

    def test_exported_routines_have_wrappers_too(self):
        self.assertIn("inline void gesv(Int n) { nuv_lapack_dgesv(&n);\n}",
                      self.wrapper("routine d ?gesv (Int n)", "internal/routines.hpp"))


class FortranModule(unittest.TestCase):
    def interface(self, text, name):
        module = files(entry(text))[MODULE].replace(" &\n      ", " ")
        found = re.search(rf"^    (?:subroutine|function) {name}\(.*?^    end \w+$", module, re.M | re.S)
        return found.group(0).splitlines()

    def test_a_subroutine(self):
        self.assertEqual(
            self.interface("routine z ?a (char trans, Int n, const T* x, R* r, Logical l, text name, T y, "
                           "out Int info)", "nuv_lapack_za"),
            ["    subroutine nuv_lapack_za(trans, n, x, r, l, name, y, info, trans_length, name_length) "
             'bind(c, name="nuv_lapack_za")',
             "      import",
             "      character(kind=c_char), intent(in) :: trans",
             "      integer(c_int), intent(in) :: n",
             "      complex(c_double_complex), intent(in), dimension(*) :: x",
             "      real(c_double), intent(inout), dimension(*) :: r",
             "      integer(c_int), intent(in) :: l",
             "      character(kind=c_char), intent(in) :: name",
             "      complex(c_double_complex), intent(in) :: y",
             "      integer(c_int), intent(inout) :: info",
             "      integer(c_int), value :: trans_length",
             "      integer(c_int), value :: name_length",
             "    end subroutine"])

    def test_a_function(self):
        self.assertEqual(self.interface("kernel s,sc ?nrm2 (Int n) -> R", "nuv_blas_scnrm2"),
                         ['    function nuv_blas_scnrm2(n) bind(c, name="nuv_blas_scnrm2")', "      import",
                          "      integer(c_int), intent(in) :: n", "      real(c_float) :: nuv_blas_scnrm2",
                          "    end function"])

    def test_a_complex_result_is_a_first_argument(self):
        self.assertEqual(self.interface("kernel c ?dotu (Int n) -> T", "nuv_blas_cdotu"),
                         ['    subroutine nuv_blas_cdotu(result, n) bind(c, name="nuv_blas_cdotu")', "      import",
                          "      complex(c_float_complex), intent(out) :: result",
                          "      integer(c_int), intent(in) :: n", "    end subroutine"])

    def test_a_character_that_is_set_is_no_input(self):
        self.assertIn("      character(kind=c_char), intent(inout) :: equed",
                      self.interface("routine d ?a (out char equed)", "nuv_lapack_da"))

    def test_characters_behind_a_pointer_are_an_array(self):
        self.assertIn("      character(kind=c_char), intent(in), dimension(*) :: ei",
                      self.interface("routine d ?a (const char* ei)", "nuv_lapack_da"))

    def test_a_procedure_has_an_abstract_interface(self):
        self.assertIn("      procedure(nuv_c_select) :: select",
                      self.interface("routine c ?a (Select select)", "nuv_lapack_ca"))
        module = files(entry("routine d ?a (Int n)"))[MODULE]
        self.assertIn("    function nuv_d_select(wr, wi) bind(c)\n      import\n      real(c_double), intent(in) :: wr\n"
                      "      real(c_double), intent(in) :: wi\n      integer(c_int) :: nuv_d_select\n", module)
        self.assertIn("    function nuv_c_select(w) bind(c)\n      import\n      complex(c_float_complex), intent(in) :: w\n",
                      module)

    def test_a_procedure_for_generalised_eigenvalues_is_given_their_parts(self):
        self.assertIn("      procedure(nuv_z_select_generalised) :: selctg",
                      self.interface("routine z ?a (SelectGeneralised selctg)", "nuv_lapack_za"))
        module = files(entry("routine d ?a (Int n)"))[MODULE]
        self.assertIn("    function nuv_s_select_generalised(alphar, alphai, beta) bind(c)\n      import\n"
                      "      real(c_float), intent(in) :: alphar\n      real(c_float), intent(in) :: alphai\n"
                      "      real(c_float), intent(in) :: beta\n      integer(c_int) :: nuv_s_select_generalised\n", module)
        self.assertIn("    function nuv_z_select_generalised(alpha, beta) bind(c)\n      import\n"
                      "      complex(c_double_complex), intent(in) :: alpha\n"
                      "      complex(c_double_complex), intent(in) :: beta\n", module)

    def test_short_names_take_no_lengths(self):
        self.assertEqual(self.interface("routine d ?potrf (char uplo, Int n)", "nuv_dpotrf"),
                         ['    subroutine nuv_dpotrf(uplo, n) bind(c, name="nuv_lapack_dpotrf")', "      import",
                          "      character(kind=c_char), intent(in) :: uplo", "      integer(c_int), intent(in) :: n",
                          "    end subroutine"])

    def test_the_length_of_a_text_stays(self):
        self.assertIn("(name, job, name_length, job_length)",
                      self.interface("routine d ?env (text name, char job)", "nuv_denv")[0])

    def test_services(self):
        text = ("service void* give (unsigned size, const char* name, const int* code)\n m\n"
                "service void take (void* pointer, double* root, unsigned long id)\n m\n"
                "service void _hidden ()\n m\ndata int word\n m\nhook void* i_malloc (size_t size)\n m\n")
        self.assertEqual(self.interface(text, "give"),
                         ['    function give(size, name, code) bind(c, name="give")', "      import",
                          "      integer(c_int), value :: size",
                          "      character(kind=c_char), intent(in), dimension(*) :: name",
                          "      integer(c_int), intent(in) :: code", "      type(c_ptr) :: give", "    end function"])
        self.assertEqual(self.interface(text, "take")[2:5],
                         ["      type(c_ptr), value :: pointer", "      real(c_double), intent(inout) :: root",
                          "      integer(c_long), value :: id"])
        module = files(entry(text))[MODULE]
        for absent in ("hidden", "word", "i_malloc"):
            self.assertNotIn(absent, module)

    def test_lines_stay_within_the_limit_of_the_language(self):
        arguments = ", ".join(f"const T* quite_long_argument_{i}" for i in range(30))
        module = files(entry(f"routine z ?a ({arguments})"))[MODULE]
        self.assertLessEqual(max(map(len, module.splitlines())), 132)


class StubsAndExports(unittest.TestCase):
    TEXT = (entry("layer d ?getrf (Int n)") + "routine d ?gesv (Int n)\n m\n"
            "family kernels/k\nkernel d ?axpy (Int n)\n m\nspecial d ?rot2 (Int n)\n m\n"
            "family threading/l\nlevel3 d ?gemm (Int n)\n m\n"
            "service void bind ()\n m\ndata int word\n m\n"
            "kernel_service int report_ () asks default_report\n m\nlayer_service int threads ()\n m\n")

    def test_stubs(self):
        lines = files(self.TEXT)["stubs.S"].splitlines()
        self.assertEqual([line for line in lines if "_stub " in line], [
            "configured_kernel_stub report_, default_report",
            "layer_stub threads, threads",
            "layer_stub nuv_lapack_dgetrf, nuv_lapack_dgetrf",
            "configured_kernel_stub nuv_blas_daxpy, nuv_blas_daxpy",
            "kernel_stub nuv_blas_drot2, nuv_blas_drot2",
            "layer_stub nuv_blas_dgemm, nuv_blas_dgemm"])
        self.assertEqual([line for line in lines if line.startswith("#")], ['#include "frame/stub_pattern.S"'])

    def test_each_stub_has_a_body_and_is_offered(self):
        """There is none by its name alone."""
        made = files(self.TEXT)
        stubs = re.findall(r"_stub nuv_(?:lapack|blas)_(\w+),", made["stubs.S"])
        self.assertEqual(stubs, ["dgetrf", "daxpy", "drot2", "dgemm"])
        for name in stubs:
            self.assertRegex(made[HEADER], rf"\bnuv_(lapack|blas)_{name}\(")
            self.assertRegex(made["kernel_entries.S"] + made["layer_entries.S"], rf"isa_stub nuv_(lapack|blas)_{name}\n")

    def test_export_lists(self):
        made = files(self.TEXT)
        expected = {
            "kernel": ["default_report", "nuv_blas_daxpy", "nuv_blas_drot2"],
            "layer": ["nuv_blas_dgemm", "nuv_lapack_dgetrf", "threads"],
            "lapack": ["bind", "nuv_blas_daxpy", "nuv_blas_dgemm", "nuv_blas_drot2", "nuv_lapack_dgesv",
                       "nuv_lapack_dgetrf", "nuv_lapack_xdgetrf", "report_", "threads", "word"],
        }
        for library, names in expected.items():
            self.assertEqual(made[f"exports/{library}.txt"].splitlines(), names)
            globals_, _, locals_ = made[f"exports/{library}.map"].partition("local:")
            self.assertEqual(re.findall(r"^    (\w+);$", globals_, re.M), names)
            self.assertEqual(locals_.split(), ["*;", "};"])


class CommandLine(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def run_on(self, *texts):
        paths = []
        for i, text in enumerate(texts):
            paths.append(str(self.folder / f"{i}.cat"))
            Path(paths[-1]).write_text(text)
        error = io.StringIO()
        with contextlib.redirect_stderr(error):
            status = generate.main(["--output", str(self.folder / "out"), *paths])
        return status, error.getvalue()

    def made(self):
        return {str(path.relative_to(self.folder / "out")): path
                for path in (self.folder / "out").rglob("*") if path.is_file()}

    def test_catalogues_are_read_as_one(self):
        self.assertEqual(self.run_on(entry("routine d ?a ()"), "family kernels/k\nkernel d ?b ()\n m\n"), (0, ""))
        self.assertEqual((self.folder / "out/exports/lapack.txt").read_text(), "nuv_blas_db\nnuv_lapack_da\n")
        self.assertEqual(set(self.made()), {
            HEADER, SERVICES, TYPES, X_VARIANTS, MODULE, DOCUMENTED, BY_VALUE, OVERLOADS,
            *(f"c/by_value_{letter}.c" for letter in "sdcz"), "exports/c.txt",
            "stubs.S", "kernel_entries.S", "layer_entries.S", "internal/blas.hpp", "internal/layer.hpp", "internal/routines.hpp",
            "internal/x_variants.hpp", "entries/solvers/widget.entries.inc", "entries/kernels/k.entries.inc",
            "include/nuv/cblas.h", "include/nuv/standard/cblas.h", "exports/cblas.txt",
            *(f"interfaces/cblas/level{level}.cpp" for level in (1, 2, 3)),
            *(f"standard/{library}_{what}" for library in ("libblas", "liblapack")
              for what in ("jumps.S", "functions.c")),
            *(f"exports/{library}.{suffix}" for library in ("lapack", "kernel", "layer", "libnuv", "libblas", "liblapack")
              for suffix in ("map", "txt"))})

    def test_a_broken_catalogue_gives_one_line_and_no_file(self):
        self.assertEqual(self.run_on(entry("routine d ?a ()"), "nonsense here\n m\n"),
                         (1, "generate.py: 1.cat:1: unknown kind 'nonsense'\n"))
        self.assertEqual(self.made(), {})

    def test_a_name_in_two_files_is_refused(self):
        text = entry("routine d ?a ()")
        self.assertEqual(self.run_on(text, text), (1, "generate.py: names that stand in two files: nuv_lapack_da\n"))
        self.assertEqual(self.made(), {})

    def test_a_name_that_equals_an_x_variant_is_refused(self):
        status, error = self.run_on(entry("layer d ?getrf ()") + "routine d x?getrf ()\n m\n")
        self.assertEqual(status, 1)
        self.assertIn("nuv_lapack_xdgetrf", error)

    def test_a_missing_catalogue(self):
        error = io.StringIO()
        with contextlib.redirect_stderr(error):
            self.assertEqual(generate.main(["--output", str(self.folder / "out"), str(self.folder / "none.cat")]), 1)
        self.assertRegex(error.getvalue(), r"\Agenerate\.py: .*none\.cat'\n\Z")

    def test_only_files_that_change_are_written(self):
        self.assertEqual(self.run_on(entry("layer d ?a (Int n)")), (0, ""))
        for path in self.made().values():
            os.utime(path, (0, 0))
        self.assertEqual(self.run_on(entry("layer d ?a (Int n)")), (0, ""))
        self.assertEqual({path.stat().st_mtime for path in self.made().values()}, {0})
        self.assertEqual(self.run_on(entry("layer d ?a (Int n)", "Another meaning.")), (0, ""))
        self.assertEqual({name for name, path in self.made().items() if path.stat().st_mtime > 0},
                         {HEADER, X_VARIANTS, DOCUMENTED, MODULE, BY_VALUE, OVERLOADS, "internal/layer.hpp",
                          "internal/x_variants.hpp"})


class TheCatalogue(unittest.TestCase):
    """The catalogue as it lies in the tree."""

    def setUp(self):
        self.catalogue = generate.Catalogue()
        for path in sorted(CATALOGUE.glob("*.cat")):
            self.catalogue.add(generate.parse(path.read_text(), path.name))

    def test_only_xerbla_has_a_trailing_underscore(self):
        names = generate.exports(self.catalogue)["lapack"]
        self.assertEqual([name for name in names if name.endswith("_")], ["xerbla_"])

    def test_routines_go_under_their_prefixes(self):
        for routine in self.catalogue.routines:
            for _, name in generate.exported_names(routine):
                self.assertRegex(name, r"^nuv_(lapack|blas)_[a-z]")

    def test_the_names_of_the_frame_are_there(self):
        names = set(generate.exports(self.catalogue)["lapack"])
        self.assertLessEqual({
            "nuv_serv_load_dll", "nuv_serv_load_fun", "nuv_serv_load_thread_fun", "nuv_serv_load_lapack_dll",
            "nuv_serv_load_lapack_fun", "nuv_serv_load_oql_dll", "nuv_serv_load_oql_fun", "nuv_cfg_file",
            "nuv_free_extra_mem", "NUV_CPUIDavailable", "NUV_CPUhasSSE", "NUV_CPUhasSSE2", "NUV_CPUhasSSE3",
            "NUV_CPUhasSSSE3", "NUV_CPUhasSSE41", "NUV_CPUisORVO", "NUV_ThreadID", "NUV_read_env",
            "NUV_shrink_mem_slots", "strlwr_nuv", "remove_cr", "remove_space", "remove_trailing_space", "SearchPath",
            "named_errors", "dll_def_names", "dll_def_names_l", "dll_def_names_oql", "i_malloc", "i_calloc",
            "i_realloc", "i_free", "__nuv_cfg_file_readed_extern", "_BUGWORKAROUND", "nuv_serv_xerbla",
            "nuv_serv_dll_xerbla", "nuv_serv_default_xerbla", "xerbla_", "nuv_serv_lsame", "nuv_lapack_lsamen",
            "nuv_serv_nuv_get_max_threads", "nuv_serv_cpu_detect"}, names)

    def test_every_layer_stub_is_there(self):
        layered = """
            sdcz getrf gbtrf gbtrs gttrs pbtrs potrf pptrf pptrs pttrs tbtrs tptrs sptrs sytrs lasyf laspf geqrf latrd
            laed0 laeh2
            cz hetrs hptrs lahef lahpf unmqr unmlq unmql unmrq hetrd hptrd
            sd ormqr ormlq ormql ormrq sytrd sptrd lasr3"""
        expected, precisions = set(), ""
        for word in layered.split():
            if word in ("sdcz", "cz", "sd"):
                precisions = word
            else:
                expected |= {f"nuv_lapack_{p}{word}" for p in precisions}
        self.assertEqual(len(expected), 110)
        found = [name for r in self.catalogue.routines if r.kind == "layer" for _, name in generate.exported_names(r)]
        self.assertEqual(sorted(found), sorted(expected))

    def test_families_of_stubs(self):
        """Which stubs test the configuration word is a fixed property of each name."""
        special = re.compile(r"nuv_blas_[sdcz](lasr_\w+|rot[23]|(potrf|sytrf)_[lu]_small|gtsv_small|"
                             r"(symv|syr2k?|hemv|her2k?)_nb)$")
        count = collections.Counter()
        level3 = re.compile(r"nuv_blas_[sdcz](gemm|symm|syrk|syr2k|trmm|trsm|hemm|herk|her2k|gemm3m)$")
        for routine in self.catalogue.routines:
            for _, name in generate.exported_names(routine):
                if name.startswith("nuv_blas_"):
                    kind = "special" if special.match(name) else "level3" if level3.match(name) else "kernel"
                    self.assertEqual(routine.kind, kind, name)
                    count[kind] += 1
        self.assertEqual(count, {"kernel": 158, "special": 58, "level3": 32})
        asked = {s.name: (s.kind, s.target) for s in self.catalogue.services if s.kind in generate.STUB_MACRO}
        self.assertEqual(asked, {
            "xerbla_": ("kernel_service", "nuv_serv_default_xerbla"),
            "nuv_serv_nuv_get_max_threads": ("layer_service", "nuv_serv_nuv_get_max_threads")})


if __name__ == "__main__":
    unittest.main()
