#!/usr/bin/env python3
"""Writes sources that call every routine in each form the interfaces have, one source for each precision.

    every_call.py --output DIR CATALOGUE...

The forms of a routine start from the same numbers and have to leave the same: as the library exports it, by overloads of C++
with and without workspace, and by value in C. Where there is workspace, memory is refused to both of the latter, too.
"""

import argparse
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "catalogue"))
import c_interface  # noqa: E402
import cxx_interface  # noqa: E402
from entries import Catalogue, parse  # noqa: E402
from signatures import *  # noqa: E402

INTEGERS = {"n": 3, "m": 4, "k": 2, "nrhs": 2, "sqre": 0, "offset": 0, "icompq": 0, "iu": 2, "iw": 1, "smlsiz": 25,
            "ncvt": 2, "nru": 2, "ncc": 2, "nlvl": 1, "n2": 2, "nzc": 3, "nb": 2, "base": 2, "beta": 2, "mm": 3}
LETTERS = {"uplo": "L", "trans": "N", "transa": "N", "transb": "T", "side": "L", "diag": "N", "norm": "I", "jobz": "V",
           "range": "A", "fact": "N", "equed": "N", "vect": "N", "direct": "F", "storev": "C", "dist": "U", "pivot": "V",
           "normin": "N", "order": "E", "sym": "S", "rsign": "F", "pack": "N", "jobu": "A", "jobvt": "A", "compz": "I",
           "compq": "I", "cmach": "E", "init": "N", "type": "G", "id": "I", "grade": "N", "pivtng": "N", "upper": "F",
           "sim": "F", "jobt": "T", "jobvl": "V", "jobvr": "V", "jobvs": "V", "jobvsl": "V", "jobvsr": "V",
           "sort": "S", "sense": "B", "balanc": "B"}
OPTIONS = {("gesdd", "jobz"): "A", ("larzb", "direct"): "B", ("larzb", "storev"): "R", ("ormbr", "vect"): "Q",
           ("orgbr", "vect"): "Q", ("trevc", "howmny"): "A", ("hseqr", "job"): "S", ("trexc", "compq"): "V",
           ("trsen", "compq"): "V", ("hgeqz", "job"): "S", ("tgsna", "job"): "B", ("tgsna", "howmny"): "A",
           ("ggsvd", "jobu"): "U", ("ggsvd3", "jobu"): "U", ("ggsvp", "jobu"): "U"}
REALS = {"abstol": "0", "vl": "0", "vu": "10", "anorm": "1"}
# Steps of methods, whose arguments mean something only together: they are called for nothing to do.
STEPS = ("lasd1", "lasd2", "lasd3", "lasd6", "lasd7", "lasd8", "laed1", "laed2", "laed3", "laed7", "laed8", "laed9", "laeda",
         "larrv", "larrd", "larrb", "larrj")

# Wide ones, as of tzrzf, which takes more workspace than it answers if its matrix is square; and of ggglm the size that is the
# least.
SIZES_M = {"tzrzf": 3, "latrz": 2, "orglq": 2, "orgrq": 2, "orgl2": 2, "orgr2": 2, "ggglm": 2}
# Those that do nothing for a small one.
ORDERS = {"latm6": 5}


def integer(routine, name):
    if name == "m" and routine.function in SIZES_M:
        return SIZES_M[routine.function]
    if name == "n" and routine.function in ORDERS:
        return ORDERS[routine.function]
    if name.startswith("ld"):
        return 16
    if name in ("lwork", "lrwork", "liwork"):
        return 1000
    if routine.function in STEPS and name in ("n", "m", "k", "nl", "nr"):
        return 0
    return INTEGERS.get(name, 1)


def scalar(a, precision):
    t = cxx_type(a.type, precision)
    if t.startswith("std::complex"):
        return f"{t}(0.5, 0.25)"
    return f"{t}({REALS.get(a.name, '0.5')})"


def declaration(routine, a, precision, index):
    """A variable of the argument's name. What a routine may change stands in the arena."""
    if a.is_function:
        return f"const {cxx_type(a.type, precision)} {a.name} = {selected_by(a.type, precision)};"
    if a.pointer or a.out:
        t = {"Int": "int", "Logical": "int", "char": "char"}.get(a.type, cxx_type(a.type, precision))
        kind = "scratch" if a.is_scratch else "array"
        if a.pointer:
            return f"{t}* const {a.name} = arena.{kind}<{t}>({index});"
        if a.type == "char":
            return f"char& {a.name} = arena.letter({index}, '{LETTERS[a.name]}');"
        return f"{t}& {a.name} = " + (f"arena.zero({index});" if a.name in ("kase", "info") else f"*arena.array<{t}>({index});")
    if a.type == "Int":
        return f"const int {a.name} = {integer(routine, a.name)};"
    if a.type == "Logical":
        return f"const bool {a.name} = true;"
    if a.type == "char":
        return f"const char {a.name} = '{OPTIONS.get((routine.function, a.name), LETTERS.get(a.name, 'N'))}';"
    if a.type == "text":
        return f'const char* const {a.name} = "DGETRF";'
    return f"const {cxx_type(a.type, precision)} {a.name} = {scalar(a, precision)};"


def selected_by(kind, precision):
    """A function that selects some eigenvalues, or the finite ones of a pencil."""
    t = f"const {cxx_type('T', precision)}*"
    if kind == "SelectGeneralised":
        ignored = f"{t}, {t}" if scalar_letter(precision) in "sd" else t
        return f"[]({ignored}, {t} beta) {{ return int(*beta != {cxx_type('T', precision)}(0)); }}"
    if scalar_letter(precision) in "cz":
        return f"[]({t} w) {{ return int(w->real() > 0.5); }}"
    return f"[]({t} wr, {t}) {{ return int(*wr > 0.5); }}"


def exported_call(routine, precision, exported):
    passed, lengths = [], []
    for a in routine.arguments:
        if a.type == "text":
            passed.append(a.name)
            lengths.append("6")
            continue
        if a.type == "char":
            lengths.append("1")
        if a.type == "Logical" and not (a.out or a.pointer):
            passed.append("&true_word")
        else:
            passed.append(a.name if a.pointer or a.is_function else "&" + a.name)
    result = cxx_type(routine.result, precision)
    if result.startswith("std::complex"):
        return f"{exported}({', '.join(['&arena.result<' + result + '>()'] + passed + lengths)});"
    call = f"{exported}({', '.join(passed + lengths)})"
    if routine.result == "Logical":
        return f"arena.result<bool>() = {call} & 1;"
    after = "".join(f" {a.name} &= 1;" for a in routine.arguments if a.type == "Logical" and a.out)
    return (f"{call};" if result == "void" else f"arena.result<{'int' if result == 'Int' else result}>() = {call};") + after


def assigned(routine, precision, call, result):
    if routine.has_info:
        return f"info = {call};"
    if routine.result == "void":
        return f"{call};"
    return f"arena.result<{result}>() = {call};"


def cxx_call(routine, precision, function, arguments):
    template = "" if cxx_interface.tells_precision(routine) else f"<{cxx_type('T', precision)}>"
    truths = [a.name for a in arguments if a.type == "Logical" and a.out]
    passed = [a.name + "_truth" if a.name in truths else a.name for a in arguments]
    call = assigned(routine, precision, f"nuv::{function}{template}({', '.join(passed)})",
                    cxx_interface.result_type(routine, precision))
    before = "".join(f"bool {name}_truth = {name} & 1; " for name in truths)
    return before + call + "".join(f" {name} = {name}_truth;" for name in truths)


def c_call(routine, precision, refused=False):
    passed = [f"&{a.name}" if a.out else a.name for a in cxx_interface.arguments_without_workspace(routine)]
    call = f"{c_interface.by_value_name(routine, precision)}({', '.join(passed)})"
    if refused:
        return f"arena.expect_no_memory({call});"
    if routine.has_info:
        return f"info = {call};"
    if routine.result == "void":
        return f"arena.expect_memory({call});" if routine.scratch else f"{call};"
    result = cxx_interface.result_type(routine, precision)
    return f"arena.result<{result}>() = {call};"


def forms(routine, precision, exported):
    every = cxx_interface.arguments_with_workspace(routine)
    some = cxx_interface.arguments_without_workspace(routine)
    names = dict.fromkeys([routine.pattern.replace("?", ""), routine.function])
    made = [("exported", exported_call(routine, precision, exported))]
    for name in names:
        made.append(("C++", cxx_call(routine, precision, name, every)))
        if routine.scratch:
            made.append(("C++, no workspace", cxx_call(routine, precision, name, some)))
            made.append(("C++, no memory", f"NUV_EXPECT_BAD_ALLOC({cxx_call(routine, precision, name, some)})"))
    made.append(("C", c_call(routine, precision)))
    if routine.scratch:
        made.append(("C, no memory", c_call(routine, precision, refused=True)))
    return made


def emit_test(routine, precision, exported):
    name = routine.pattern.replace("?", precision)
    out = [f"void call_{name}(Arena& arena) {{", f'  arena.begin("{name}");']
    out.append("  for (int form = 0; arena.next(form); ++form) {")
    for index, a in enumerate(routine.arguments):
        # Sizes of workspace, and words, are not used in each form.
        out.append("    [[maybe_unused]] " + declaration(routine, a, precision, index))
    out.append("    switch (form) {")
    for number, (title, call) in enumerate(forms(routine, precision, exported)):
        # Complex values of single precision are C's alone on 32-bit x86.
        if title == "C" and c_interface.result_type(routine, precision) == "nuv_complex8":
            out.append("#ifdef __x86_64__")
        out.append(f'      case {number}: arena.form("{title}"); {{ {call} }} break;')
        if title == "C" and c_interface.result_type(routine, precision) == "nuv_complex8":
            out.append("#endif")
    out += ["      default: arena.form(nullptr);", "    }", "    arena.compare();", "  }", "}"]
    return "\n".join(out)


def emit_source(members, letter):
    out = [f"// {GENERATED}", '#include "interfaces/calls/arena.hpp"', "", "namespace nuv_test {", "namespace {", "",
           "[[maybe_unused]] const int true_word = -1;", ""]
    out += [emit_test(r, p, exported) + "\n" for r, p, exported, _ in members]
    out += ["}  // namespace", "", f"void call_all_{letter}(Arena& arena) {{"]
    out += [f"  call_{r.pattern.replace('?', p)}(arena);" for r, p, *_ in members]
    return "\n".join(out + ["}", "", "}  // namespace nuv_test"]) + "\n"


# ------------------------------------------------------------------------------------------- calls without lengths

# Of a call large enough to go through blocks: other sizes, other letters.
LARGE_INTEGERS = {"n": 100, "m": 100, "k": 40, "nrhs": 20, "ncvt": 20, "nru": 20, "ncc": 20, "kd": 5, "kl": 5, "ku": 5, "nb": 32}
LARGE_LETTERS = {"uplo": "U", "trans": "T", "transa": "T", "side": "R", "norm": "O", "direct": "B", "storev": "R", "vect": "V",
                 "diag": "U", "fact": "E", "pack": "U"}


def table_argument(routine, a, precision):
    """Kind, and values in a small and in a large call, as absent_lengths_test.cpp reads them."""
    if a.is_function:
        return "f"
    if a.type == "char" and not a.pointer:
        small = OPTIONS.get((routine.function, a.name), LETTERS.get(a.name, "N"))
        large = OPTIONS.get((routine.function, a.name), LARGE_LETTERS.get(a.name, small))
        return f"l{small}{large}"
    if a.type in ("Int", "Logical", "char") and a.pointer:
        return "n"
    if a.type in ("Int", "Logical"):
        is_step = routine.function in STEPS
        large = 0 if is_step else LARGE_INTEGERS.get(a.name, integer(routine, a.name))
        small = integer(routine, a.name)
        if a.name.startswith("ld"):
            small = large = 104
        if a.name in ("lwork", "lrwork", "liwork"):
            small = large = 8000
        return f"i{small},{large}"
    return {"float": "s", "double": "d", "std::complex<float>": "c"}.get(cxx_type(a.type, precision), "z")


def emit_table(catalogue):
    """The routines with options."""
    out = [f"// {GENERATED}"]
    for routine, precision, exported, _ in c_interface.offered(catalogue):
        types = {a.type for a in routine.arguments if not a.pointer}
        if "char" not in types or "text" in types:
            continue
        arguments = [table_argument(routine, a, precision) for a in routine.arguments]
        if cxx_type(routine.result, precision).startswith("std::complex"):
            arguments.insert(0, "z")
        out.append(f'{{"{exported}", reinterpret_cast<F>({exported}), "{" ".join(arguments)}"}},')
    return "\n".join(out) + "\n"


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--output", type=Path, required=True, metavar="DIR")
    parser.add_argument("catalogue", type=Path, nargs="+")
    options = parser.parse_args(argv)
    catalogue = Catalogue()
    for file in options.catalogue:
        catalogue.add(parse(file.read_text(), file.name))
    for letter in c_interface.SOURCES:
        members = [m for m in c_interface.offered(catalogue) if c_interface.source_of(m[1]) == letter]
        write_if_changed(options.output / f"every_call_{letter}.cpp", emit_source(members, letter))
    write_if_changed(options.output / "absent_lengths.inc", emit_table(catalogue))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
