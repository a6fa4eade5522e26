"""The C interface: every routine by value, without workspace and with its full comment."""

from functools import cache
from pathlib import Path

from comments import described, family_comments
from cxx_interface import arguments_without_workspace, is_offered
from entries import exported_names
from signatures import *
from workspace import Dialect

TREE = Path(__file__).resolve().parents[1]
HEAD = TREE / "interfaces" / "c" / "head.h"
# A source for each precision, so that they are compiled side by side.
SOURCES = ("s", "d", "c", "z")
SIZES = Dialect(number="(double){}", function="size_{}", is_letter="is({}, '{}')")


def by_value_name(routine, precision):
    return "nuv_" + routine.pattern.replace("?", precision)


def offered(catalogue):
    """(routine, precision, exported name, name here)"""
    return [(r, p, exported, by_value_name(r, p)) for r in catalogue.routines if is_offered(r)
            for p, exported in exported_names(r)]


def value_type(a, precision):
    return "char" if a.type in ("char", "text") else c_type(a.type, precision)


def parameter(a, precision):
    if a.type == "text":
        return f"const char* {a.name}"
    mark = "*" if a.pointer or a.out else ""
    return f"{'const ' if a.const else ''}{value_type(a, precision)}{mark} {a.name}"


def result_type(routine, precision):
    if routine.has_info or routine.scratch and routine.result == "void":
        return "int"
    return c_type(routine.result, precision)


def prototype(routine, precision, name, tail):
    parameters = [parameter(a, precision) for a in arguments_without_workspace(routine)]
    return wrap(f"{result_type(routine, precision)} {name}(", parameters or ["void"], ")" + tail)


# ----------------------------------------------------------------------------------------------------------- sources


def answer_in_c(routine, a):
    answer = f"(double){a.name}_answer"
    if a.workspace.least:
        answer = f"size_max({answer}, {SIZES.size(a.workspace.least, routine.options)})"
    return f"answered({answer})"


def passed_arguments(routine, scratch, lengths):
    """What the exported routine is given. scratch(argument) stands for a workspace, lengths[name] for its length."""
    passed, hidden = [], []
    for a in routine.arguments:
        if a.is_scratch:
            passed.append(scratch(a))
        elif a.name in lengths:
            passed.append(lengths[a.name])
        elif a.type == "Logical" and not a.pointer:
            passed.append(f"&{a.name}_word")
        elif a.type == "text" or a.is_function or a.pointer or a.out and a.name != "info":
            passed.append(a.name)
        else:
            passed.append("&" + a.name)
        if a.has_hidden_length:
            hidden.append(f"(int)strlen({a.name})" if a.type == "text" else "1")
    return passed + hidden


def logical_words(routine):
    """Statements before and after a call that turn truth into words of logical type and back."""
    logicals = [a for a in routine.arguments if a.type == "Logical" and not a.pointer]
    before = [f"int {a.name}_word = {'*' if a.out else ''}{a.name} ? -1 : 0;" for a in logicals]
    return before, [f"*{a.name} = {a.name}_word & 1;" for a in logicals if a.out]


def emit_plain(routine, precision, exported):
    """Statements of a function whose routine needs no workspace."""
    before, after = logical_words(routine)
    passed = passed_arguments(routine, None, {})
    result = result_type(routine, precision)
    value = ""
    if routine.has_info:
        before.append("int info = 0;")
        value = "info"
    elif result.startswith("nuv_complex"):
        before.append(f"{result} value;")
        passed.insert(0, "&value")
        value = "value"
    call = wrap(f"{exported}(", passed, ")", "    ")
    if routine.result == "Logical":
        return before + [f"return {call} & 1;"]
    if result != "void" and not value:
        if after:
            return before + [f"const {result} value = {call};"] + after + ["return value;"]
        return before + [f"return {call};"]
    return before + [f"{call};"] + after + ([f"return {value};"] if value else [])


def emit_with_scratch(routine, precision, exported):
    """Statements that ask for the sizes of workspaces if they are to be asked, allocate, call and give back."""
    lines, after = logical_words(routine)
    asked = [a for a in routine.scratch if a.workspace.is_asked]
    value = "info" if routine.has_info or routine.result == "void" else "value"
    result = c_type(routine.result, precision) if value == "value" else "int"
    lines.append(f"{result} {value} = 0;")
    if asked:
        lines += [f"{c_type(a.type, precision)} {a.name}_answer = 0;" for a in routine.scratch]
        lines.append("const int ask = -1;")
        lengths = {"l" + a.name: "&ask" for a in asked}
        lines.append(wrap(f"{exported}(", passed_arguments(routine, lambda a: f"&{a.name}_answer", lengths), ");", "    "))
        lines.append("if (info != 0) return info;")
    for a in routine.scratch:
        size = f"{a.name}_size"
        length = answer_in_c(routine, a) if a.workspace.is_asked else SIZES.length(a.workspace, routine.options)
        lines.append(f"const double {size} = {length};")
        t = c_type(a.type, precision)
        lines.append(f"{t}* const {a.name} = scratch({size}, sizeof({t}));")
    lengths = {}
    for a in routine.arguments:
        for s in routine.scratch:
            if a.name == "l" + s.name:
                lines.append(f"const int {a.name} = as_int({s.name}_size);")
                lengths[a.name] = "&" + a.name
            elif a.name == "ld" + s.name:
                lines.append(f"const int {a.name} = as_int({SIZES.size(s.workspace.rows, routine.options)});")
                lengths[a.name] = "&" + a.name
    granted = " && ".join(f"{a.name} != NULL" for a in routine.scratch)
    assigned = "value = " if value == "value" else ""
    call = wrap(f"{assigned}{exported}(", passed_arguments(routine, lambda a: a.name, lengths), ");", "      ")
    lines += [f"if ({granted}) {{", f"  {call}", "} else {", f"  {value} = NUV_NO_MEMORY;", "}"]
    lines += [f"give_back({a.name});" for a in reversed(routine.scratch)]
    return lines + after + [f"return {value};"]


def source_of(precision):
    """The source that has the members of a precision; those of none stand with double precision."""
    return next((letter for letter in SOURCES if letter == scalar_letter(precision)), "d")


def emit_source(catalogue, letter):
    out = [f"/* {GENERATED} */", "", '#include "interfaces/c/scratch.h"']
    for routine, precision, exported, name in offered(catalogue):
        if source_of(precision) != letter:
            continue
        emit = emit_with_scratch if routine.scratch else emit_plain
        out += ["", prototype(routine, precision, name, " {"),
                *("  " + line for line in emit(routine, precision, exported)), "}"]
    return "\n".join(out) + "\n"


# ----------------------------------------------------------------------------------------------------------- headers


def comment(*texts):
    """A comment of C, its paragraphs apart."""
    lines = "\n\n".join(t for t in texts if t).replace("*/", "* /").replace("/*", "/ *").split("\n")
    return "\n".join(["/* " + lines[0]] + [f" * {line}".rstrip() for line in lines[1:]]) + (" */")


@cache
def comments_of_families():
    return family_comments(TREE)


def emit_header(catalogue):
    out = [f"/* {GENERATED}", HEAD.read_text().rstrip("\n")]
    families = dict.fromkeys(r.family for r in catalogue.routines if is_offered(r))
    for family in families:
        out += ["", "", comment(f"---- {family} ----", comments_of_families().get(family, ""))]
        for routine in (r for r in catalogue.routines if r.family == family and is_offered(r)):
            out += ["", comment(described(routine))]
            for precision, _ in exported_names(routine):
                declared = prototype(routine, precision, by_value_name(routine, precision), ";")
                out.append(guarded(declared, result_type(routine, precision)))
    out += ["", "#if defined(__clang__) && defined(__cplusplus)", "#pragma clang diagnostic pop", "#endif"]
    out += ["", "#if defined(__GNUC__)", "#pragma GCC visibility pop", "#endif", "", "#ifdef __cplusplus", "}", "#endif", "",
            "#endif"]
    return "\n".join(out) + "\n"


def guarded(declared, result):
    """On 32-bit x86, C++ finds a complex value of single precision elsewhere than C returns it."""
    if result != "nuv_complex8":
        return declared
    return f"#if !defined(__cplusplus) || defined(__x86_64__)\n{declared}\n#endif"


def documented(header, catalogue):
    """A header with the full comment of each routine in the place of its meaning. Routines stand there in the
    catalogue's order."""
    out, place = [], 0
    for routine in catalogue.routines:
        short = f"/* {routine.meaning} */\n"
        found = header.find(short, place)
        if found >= 0:
            out += [header[place:found], comment(described(routine)) + "\n"]
            place = found + len(short)
    return "".join(out) + header[place:]


def names(catalogue):
    return sorted(name for *_, name in offered(catalogue))


def files(catalogue):
    made = {f"c/by_value_{letter}.c": emit_source(catalogue, letter) for letter in SOURCES}
    made["include/nuv/nuv.h"] = emit_header(catalogue)
    made["exports/c.txt"] = "".join(f"{name}\n" for name in names(catalogue))
    return made
