"""How a routine is called from each language: C, C++ and Fortran."""

from signatures import c_prototype, c_type, cxx_type, wrap

FORTRAN_NAMES = {
    "int": "integer",
    "float": "real",
    "double": "double precision",
    "nuv_complex8": "complex",
    "nuv_complex16": "complex*16",
    "char": "character",
}


def call_arguments(routine):
    """Those that a caller gives where workspaces are taken and info is the result."""
    left_out = {a.name for a in routine.scratch} | routine.scratch_lengths | {"info"}
    return [a for a in routine.arguments if a.name not in left_out]


def has_simple_call(routine):
    return routine.kind in ("routine", "layer") and routine.has_info


def c_by_reference(routine, precision, exported):
    head, _, parameters = c_prototype(routine, precision, exported).partition("(")
    return wrap(head + "(", parameters.rstrip(")").split(", "), ");", limit=84)


def c_by_value(routine, precision, name):
    parameters = []
    for a in call_arguments(routine):
        base = "char" if a.has_hidden_length else c_type(a.type, precision)
        parameters.append(f"{'const ' if a.const else ''}{base}{'*' if a.pointer or a.out else ''} {a.name}")
    return wrap(f"int nuv_{name}(", parameters, ");", limit=84)


def cxx(routine):
    return wrap(f"const int info = nuv::{routine.function}(", [a.name for a in call_arguments(routine)], ");", limit=84)


def fortran(routine, precision, name):
    names = [a.name for a in routine.arguments]
    head = f"call {name}(" if routine.result == "void" else f"value = {name}("
    call = wrap(head, names, ")", limit=82).replace("\n", " &\n")
    declarations = {}
    for a in routine.arguments:
        base = "character" if a.has_hidden_length else c_type(a.type, precision)
        kind = FORTRAN_NAMES.get(base, base)
        if a.type == "text":
            kind = "character(*)"
        declarations.setdefault(kind, []).append(f"{a.name}(*)" if a.pointer and a.type != "text" else a.name)
    if routine.result != "void":
        declarations.setdefault(FORTRAN_NAMES[c_type(routine.result, precision)], []).append(name)
    lines = [wrap(f"{kind} :: ", names, "", limit=82).replace("\n", " &\n") for kind, names in declarations.items()]
    return "\n".join(lines + [call])


def type_in_words(argument, precision):
    """As a reader of any of the languages would say it."""
    words = {"Int": "integer", "Logical": "logical", "char": "character", "text": "text", "float": "real",
             "double": "double", "std::complex<float>": "complex", "std::complex<double>": "double complex"}
    return words[cxx_type(argument.type, precision) if argument.type in ("T", "R") else argument.type]
