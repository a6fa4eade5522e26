"""Tests of the reference: what the headers say arrives on the pages, every routine and argument has something said of it, and
the files are such that browsers, man and bash take them.

    reference_test.py [NUV_COMMAND]
"""

import json
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from functools import cache
from html.parser import HTMLParser
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "interfaces" / "reference"))
import generate  # noqa: E402, which knows where the others are
import calls  # noqa: E402
from completion import bash_completion  # noqa: E402
from descriptions import FIRST_OF_ROW, Descriptions, joined, papers, parse_comment  # noqa: E402
from entries import Catalogue  # noqa: E402
from fortran_module import emit_module  # noqa: E402
from man_pages import document_page, escape  # noqa: E402
from pages import make_pages, read_catalogue  # noqa: E402
from paragraphs import of_comment, of_markdown  # noqa: E402

PROGRAM = {
    "name": "nuv", "about": "Solves.", "footer": "",
    "arguments": [],
    "options": [{"names": ["-h", "--help"], "value": "", "choices": [], "is_file": False, "is_required": False, "about": "Help"}],
    "commands": [
        {"name": "solve", "about": "Solve.", "footer": ".so what\n  -x  y", "commands": [],
         "arguments": [{"names": ["A"], "value": "TEXT", "choices": [], "is_file": True, "is_required": True, "about": "Matrix"}],
         "options": [
             {"names": ["--method"], "value": "NAME", "choices": ["lu", "band"], "is_file": False, "is_required": False, "about": "How"},
             {"names": ["-o", "--output"], "value": "FILE", "choices": [], "is_file": True, "is_required": False, "about": "File"},
             {"names": ["--force"], "value": "", "choices": [], "is_file": False, "is_required": False, "about": "Force"}]},
        {"name": "make", "about": "Make.", "footer": "", "commands": [], "options": [],
         "arguments": [
             {"names": ["KIND"], "value": "TEXT", "choices": ["general", "positive"], "is_file": False, "is_required": True, "about": "Kind"},
             {"names": ["ROWS"], "value": "INT", "choices": [], "is_file": False, "is_required": True, "about": "Rows"}]}],
}


def program():
    """The definition of the command at hand, or of one that has all that there can be."""
    if len(sys.argv) > 1:
        return json.loads(subprocess.run([sys.argv[1], "describe"], check=True, capture_output=True, text=True).stdout)
    return PROGRAM


@cache
def all_files():
    return generate.all_files(ROOT, "1.2.3", program())


@cache
def pages():
    return {page.name: page for page in make_pages(ROOT)[0]}


def row(page, name):
    return next(r for v in pages()[page].variants for r in v.rows if r.name == name)


def torn_rows(lines):
    """Numbers of the lines of comments that go on with a row of a table, by what they begin with, and stand at the margin, where
    pages lose them: formatters wrap what is too long so. A sentence behind a table begins with a capital."""
    in_table = False
    for number, line in enumerate(lines, 1):
        text = re.sub("^///? ?", "", line)
        if not line.startswith("//") or not text:
            in_table = False
        elif FIRST_OF_ROW.match(text):
            in_table = True
        elif not text.startswith("  "):
            if in_table and re.match(r"[a-z(\d]", text) and "  " not in text:
                yield number
            in_table = False


class Comments(unittest.TestCase):
    def test_rows_are_not_torn(self):
        torn = ["// a  which is", "// long", "/// a  which", "///    is", "/// (long)"]
        whole = ["// a  which is", "//    long", "// b  more", "// Then text", "// goes on.", "/// a  one", "/// f(a)  two", "///",
                 "/// behind", "int code;", "// a word", "// more"]
        self.assertEqual((list(torn_rows(torn)), list(torn_rows(whole))), ([2, 5], []))

    def test_no_row_is_torn_in_this_tree(self):
        sources = [f for folder in ("src", "kernels", "threading") for f in sorted((ROOT / folder).rglob("*.[ch]pp"))]
        self.assertGreater(len(sources), 300)
        found = [f"{f.relative_to(ROOT)}:{number}" for f in sources for number in torn_rows(f.read_text().splitlines())]
        self.assertEqual(found, [])

    def test_a_table_with_all_its_forms(self):
        comment = parse_comment(
            "Does things.\n\nm, n    sizes\na...    matrices, which\n        run on;  ipiv  pivots. Not;  this\nn1 ... n4  four\n\nMore.",
            {"m", "n", "ipiv", "n1", "n4"})
        self.assertEqual(comment.prose, "Does things.\n\n\nMore.")
        self.assertEqual(comment.arguments, {"m": "sizes", "n": "sizes", "a...": "matrices, which run on",
                                             "ipiv": "pivots. Not;  this", "n1 ... n4": "four"})
        self.assertEqual(comment.of("afp"), "matrices, which run on")
        self.assertEqual(comment.of("n3", ["n1", "n2", "n3", "n4", "n5"]), "four")
        self.assertIsNone(comment.of("n5", ["n1", "n2", "n3", "n4", "n5"]))

    def test_what_a_routine_adds_to_its_header(self):
        self.assertEqual(joined("a", "n by n", "destroyed"), "n by n. Here: destroyed")
        self.assertEqual(joined("a", "n by n", "n by n; out T"), "n by n; out T")
        self.assertEqual(joined("a", "n by n; destroyed", "destroyed; out T"), "n by n; destroyed; out T")
        self.assertEqual(joined("a", "order; n", "n elements"), "order; n. Here: n elements")
        self.assertEqual(joined("info", "0, or n + 1", "0, or n + 2"), "0, or n + 2")

    def test_papers(self):
        text = 'By leaps (A. B. Cee and D. Ee, "On (some) leaps",\nJ. Leaps 3, 1999), for n > 0 (N is 1).'
        self.assertEqual(papers(text), ['A. B. Cee and D. Ee, "On (some) leaps", J. Leaps 3, 1999'])

    def test_formulas_stay_in_their_lines(self):
        kinds = [(p.kind, p.text) for p in of_comment("One\ntwo:\n\n    A = B\n      C")]
        self.assertEqual(kinds, [("text", "One two:"), ("code", "A = B\nC")])

    def test_markdown(self):
        kinds = [(p.kind, p.text) for p in of_markdown("# Top\n\nA `b`\nc.\n\n- one\n  more\n- two\n\n```c\ncode\n\n  too\n```\n")]
        self.assertEqual(kinds, [("heading", "Top"), ("text", "A `b` c."), ("item", "one more"), ("item", "two"),
                                 ("code", "code\n\n  too")])


class Routines(unittest.TestCase):
    def test_every_routine_has_a_page_and_a_comment(self):
        topics, _, _ = read_catalogue(ROOT / "catalogue")
        routines = [r for _, of_topic in topics for r in of_topic]
        descriptions = Descriptions(ROOT, routines)
        html = {Path(name).stem for name in all_files() if name.startswith("html/routines/")}
        for routine in routines:
            with self.subTest(routine=routine.pattern, precisions=routine.precisions):
                self.assertIn(routine.pattern.replace("?", ""), html)
                self.assertTrue(descriptions.own_comments(routine), "no comment above its declaration")

    def test_every_argument_is_described(self):
        silent = [f"{page.name}: {r.name}" for page in pages().values() for v in page.variants for r in v.rows if not r.text]
        self.assertEqual(silent, [])

    def test_every_member_has_a_manual_page(self):
        files = all_files()
        for page in pages().values():
            for _, name, _ in page.members:
                text = files[f"man/man3/nuv_{name}.3"]
                self.assertTrue(text.startswith(".TH") or files["man/" + text.split()[1]].startswith(".TH"), name)

    def test_what_headers_say_of_an_argument(self):
        self.assertEqual(row("getrs", "ipiv").text, "n row exchanges, one-based")
        self.assertEqual(row("gesv", "lda").origin, "convention")
        # From the comment that it refers to, and from the top of the header.
        self.assertIn("the matrix in, its factors out", row("hetrf", "a").text)
        self.assertIn("The other triangle of a full matrix", row("hetrf", "uplo").text)
        # Complex members have comments of their own.
        complex_member = pages()["gesvd"].variants[1]
        self.assertIn("2 min(m, n)", next(r.text for r in complex_member.rows if r.name == "lwork"))

    def test_directions(self):
        self.assertEqual([r.direction for r in pages()["gesv"].variants[0].rows],
                         ["in", "in", "in and out", "in", "out", "in and out", "in", "out"])
        self.assertEqual(row("getri", "work").direction, "workspace")

    def test_sources_of_methods(self):
        self.assertIn("Toledo", pages()["getrf"].sources[0])
        self.assertIn("Golub", pages()["gesvd"].sources[0])

    def test_a_page_shows_calls_workspace_and_neighbours(self):
        page = all_files()["html/routines/getri.html"]
        for text in ("nuv::getri(n, a, lda, ipiv)", "int nuv_dgetri(int n, double* a, int lda, const int* ipiv)",
                     "void nuv_lapack_dgetri(", "call dgetri(n, a, lda, ipiv, work, lwork, info)", "lwork = -1",
                     '<a href="getrs.html">'):
            self.assertIn(text, page)

    def test_fortran_calls_are_of_names_that_there_are(self):
        """A published name, which libnuv.so has; without one, what the module declares."""
        module = emit_module(Catalogue(routines=[r for _, of_topic in read_catalogue(ROOT / "catalogue")[0] for r in of_topic]))
        declared = {name: len(names.replace("&", "").split(","))
                    for name, names in re.findall(r"(?:subroutine|function) (\w+)\(([^)]*)\) bind", module)}
        _, _, published = read_catalogue(ROOT / "catalogue")
        self.assertIn("dgesv", published)
        for page in pages().values():
            for variant in page.variants:
                call = calls.fortran(variant).replace("&", "")
                name, names = re.search(r"(?:call|value =) (\w+)\(([^)]*)\)$", call).groups()
                with self.subTest(name=name):
                    self.assertEqual("use nuv_lapack" in call, name not in published)
                    if name not in published:
                        self.assertEqual(len(names.split(",")), declared[name])
        for name, text in (("gesv", "call dgesv(n"), ("syrdb", "call nuv_dsyrdb(jobz"), ("rot2", "call nuv_blas_drot2(")):
            self.assertIn(text, all_files()[f"html/routines/{name}.html"])

    def test_speed_where_it_was_measured(self):
        with tempfile.TemporaryDirectory() as folder:
            result = {"run_name": "dgetri/nuv/500", "FLOP/s": 12.34e9, "of_limit": 0.56}
            Path(folder, "lu_bench.json").write_text(json.dumps({"context": {}, "benchmarks": [result]}))
            files = generate.all_files(ROOT, "1", results=Path(folder))
        self.assertIn("<td>dgetri</td><td>500</td><td>12.3 GFLOP/s</td><td>0.56</td>", files["html/routines/getri.html"])
        self.assertIn("dgetri, size 500: 12.3 GFLOP/s", files["man/man3/nuv_dgetri.3"])
        self.assertNotIn("Speed", files["html/routines/getrs.html"])


class Links(HTMLParser):
    VOID = {"meta", "link", "input", "br", "img"}

    def __init__(self, text):
        super().__init__()
        self.targets, self.open, self.ids = [], [], set()
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        self.targets += [attributes[k] for k in ("href", "src", "action") if k in attributes]
        self.ids.add(attributes.get("id"))
        if tag not in self.VOID:
            self.open.append(tag)

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            raise AssertionError(f"</{tag}> closes another")


class Html(unittest.TestCase):
    def test_tags_match_and_links_lead_somewhere(self):
        files = {name: text for name, text in all_files().items() if name.startswith("html/")}
        static = {f"html/{f.name}" for f in (ROOT / "interfaces/reference/static").iterdir()}
        for name, text in files.items():
            parser = Links(text)
            self.assertEqual(parser.open, [], name)
            for target in parser.targets:
                place, _, anchor = target.partition("#")
                if place:
                    path = (ROOT / name).parent.joinpath(place).resolve().relative_to(ROOT)
                    self.assertIn(str(path), files.keys() | static, f"{name}: {target}")
                else:
                    self.assertIn(anchor, parser.ids, name)

    def test_the_index_names_every_member(self):
        index = all_files()["html/index.html"]
        names = {n for names in re.findall(r'data-names="([^"]*)"', index) for n in names.split()}
        self.assertLessEqual({n for page in pages().values() for _, n, _ in page.members}, names)


class ManualPages(unittest.TestCase):
    def test_text_gives_no_orders(self):
        self.assertEqual(escape(".so x\n'y\\z-"), "\\&.so x\n\\(aqy\\ez\\-")

    @unittest.skipUnless(shutil.which("groff"), "no groff")
    def test_groff_takes_them_without_a_word(self):
        files = all_files()
        chosen = [text for name, text in files.items() if name.startswith("man/") and not text.startswith(".so")][::20]
        chosen += [files["man/man1/nuv.1"], files["man/man7/nuv.7"]]
        done = subprocess.run(["groff", "-man", "-Tascii", "-ww", "-z"], input="".join(chosen), text=True, capture_output=True)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_documents(self):
        page = document_page("nuv", "what", ["# Top\n\nSay `x-y` now.\n\n- one"], "1")
        self.assertIn(".SH Top\n.PP\nSay \\fBx\\-y\\fR now.\n.IP \\(bu 2\none\n", page)


class Documents(unittest.TestCase):
    def test_every_variable_that_the_code_reads_is_told(self):
        folders = ("src", "threading", "tools", "interfaces")
        sources = [f for folder in folders for f in (ROOT / folder).rglob("*") if f.suffix in (".cpp", ".hpp", ".c")]
        read = {name for f in sources for name in re.findall(r'"((?:NUV|OMP)_[A-Z_]+)"', f.read_text())}
        told = set(re.findall(r"`(\w+)`", (ROOT / "docs" / "running.md").read_text()))
        self.assertIn("NUV_ISA", read)
        self.assertLessEqual(read, told)


class Completion(unittest.TestCase):
    def completed(self, *words, files=()):
        """What bash offers for the last word."""
        with tempfile.TemporaryDirectory() as folder:
            for file in files:
                Path(folder, file).touch()
            quoted = " ".join(f"'{w}'" for w in words)
            script = (bash_completion(PROGRAM) + f"\nCOMP_WORDS=({quoted})\nCOMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))\n_nuv\n"
                      'for reply in "${COMPREPLY[@]}"; do echo "$reply"; done\n')
            done = subprocess.run(["bash", "--norc"], input=script, text=True, capture_output=True, cwd=folder)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return sorted(done.stdout.splitlines())

    def test_commands_and_options(self):
        self.assertEqual(self.completed("nuv", ""), ["make", "solve"])
        self.assertEqual(self.completed("nuv", "s"), ["solve"])
        self.assertEqual(self.completed("nuv", "--"), ["--help"])
        self.assertEqual(self.completed("nuv", "solve", "--"), ["--force", "--method", "--output"])
        self.assertEqual(self.completed("nuv", "solve", "A", "--o"), ["--output"])

    def test_values(self):
        for words in (("--method", "l"), ("--method", "=", "l")):
            self.assertEqual(self.completed("nuv", "solve", *words), ["lu"])
        self.assertEqual(self.completed("nuv", "solve", "--method", "="), ["band", "lu"])
        self.assertEqual(self.completed("nuv", "make", ""), ["general", "positive"])
        self.assertEqual(self.completed("nuv", "make", "general", ""), [])

    def test_files(self):
        files = ("a file.mtx", "b.mtx")
        self.assertEqual(self.completed("nuv", "solve", "", files=files), sorted(files))
        self.assertEqual(self.completed("nuv", "solve", "-o", "a", files=files), ["a file.mtx"])
        # The value of an option is no argument, a flag takes none.
        self.assertEqual(self.completed("nuv", "solve", "--method", "lu", "b", files=files), ["b.mtx"])
        self.assertEqual(self.completed("nuv", "solve", "--method", "=", "lu", "b", files=files), ["b.mtx"])
        self.assertEqual(self.completed("nuv", "solve", "--force", "b", files=files), ["b.mtx"])
        self.assertEqual(self.completed("nuv", "solve", "A", "", files=files), [])


class Command(unittest.TestCase):
    def test_the_definition_has_what_completion_needs(self):
        solve = next(c for c in program()["commands"] if c["name"] == "solve")
        told = {name: o for o in solve["arguments"] + solve["options"] for name in o["names"]}
        self.assertTrue(told["A"]["is_file"] and told["A"]["is_required"])
        self.assertTrue(told["-o"]["is_file"])
        self.assertEqual((told["--method"]["value"], told["--method"]["is_file"]), ("NAME", False))
        self.assertLessEqual({"lu", "band"}, set(told["--method"]["choices"]))
        self.assertEqual((told["--force"]["value"], told["--force"]["choices"]), ("", []))

    def test_every_command_and_option_is_told(self):
        manual, page = all_files()["man/man1/nuv.1"], all_files()["html/command.html"]
        for command in program()["commands"]:
            self.assertIn(f".SH nuv {command['name']}\n", manual)
            for option in command["arguments"] + command["options"]:
                for name in option["names"]:
                    self.assertIn(f"\\fB{escape(name)}\\fR", manual)
                    self.assertIn(name, page)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
