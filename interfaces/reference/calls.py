"""How a routine is called from each language: C, C++ and Fortran."""

from c_interface import by_value_name
from c_interface import parameter as c_parameter
from c_interface import result_type as c_result
from cxx_interface import arguments_without_workspace, is_offered, tells_precision
from fortran_module import short_name
from signatures import c_prototype, c_type, cxx_type, wrap

WIDTH = 84

FORTRAN_NAMES = {
    "int": "integer",
    "float": "real",
    "double": "double precision",
    "nuv_complex8": "complex",
    "nuv_complex16": "complex*16",
    "char": "character",
}


def has_simple_call(routine):
    return is_offered(routine)


def c_by_reference(routine, precision, exported):
    head, _, parameters = c_prototype(routine, precision, exported).partition("(")
    return wrap(head + "(", parameters.rstrip(")").split(", "), ");", limit=WIDTH)


def c_by_value(routine, precision):
    name = by_value_name(routine, precision)
    parameters = [c_parameter(a, precision) for a in arguments_without_workspace(routine)]
    return wrap(f"{c_result(routine, precision)} {name}(", parameters, ");", limit=WIDTH)


def cxx(routine, precision):
    value = "const int info = " if routine.has_info else "const auto value = " if routine.result != "void" else ""
    template = "" if tells_precision(routine) else f"<{cxx_type('T', precision)}>"
    name = routine.pattern.replace("?", "")
    names = [a.name for a in arguments_without_workspace(routine)]
    return wrap(f"{value}nuv::{name}{template}(", names, ");", limit=WIDTH)


def fortran_by_module(routine, precision, exported):
    """(name, arguments behind the others) by which the module has a routine that has no published name."""
    if is_offered(routine):
        return short_name(routine, precision), []
    return exported, ["1" for a in routine.arguments if a.has_hidden_length]


def fortran(variant):
    """A call by the published name, which libnuv.so has and which needs nothing else; by the module where there is none."""
    routine = variant.routine
    precision, name, exported = variant.principal
    lines, lengths = [], []
    if name not in variant.published:
        name, lengths = fortran_by_module(routine, precision, exported)
        lines = ["use nuv_lapack"]
    names = [a.name for a in routine.arguments] + lengths
    head = f"call {name}(" if routine.result == "void" else f"value = {name}("
    call = wrap(head, names, ")", limit=WIDTH - 2).replace("\n", " &\n")
    declarations = {}
    for a in routine.arguments:
        base = "character" if a.has_hidden_length else c_type(a.type, precision)
        kind = FORTRAN_NAMES.get(base, base)
        if a.type == "text":
            kind = "character(*)"
        if a.is_function:
            kind = f"procedure({kind})"
        declarations.setdefault(kind, []).append(f"{a.name}(*)" if a.pointer and a.type != "text" else a.name)
    if routine.result != "void":
        declarations.setdefault(FORTRAN_NAMES[c_type(routine.result, precision)], []).append(name)
    lines += [wrap(f"{kind} :: ", names, "", limit=WIDTH - 2).replace("\n", " &\n") for kind, names in declarations.items()]
    return "\n".join(lines + [call])
