"""Types and parameter lists of the catalogue's routines in C and C++."""

CXX_TYPES = {
    "s": ("float", "float"),
    "d": ("double", "double"),
    "c": ("std::complex<float>", "float"),
    "z": ("std::complex<double>", "double"),
}
# Pointers to functions, which nuv_lapack.h declares.
FUNCTION_TYPES = {"Select": "nuv_{}_select", "SelectGeneralised": "nuv_{}_select_generalised"}
C_TYPES = {"Int": "int", "Logical": "int", "std::complex<float>": "nuv_complex8", "std::complex<double>": "nuv_complex16"}

GENERATED = "Made from the catalogue by generate.py; not to be edited."


def scalar_types(precision):
    """(T, R) of a precision; a mixed one such as 'cs' takes the complex letter for T."""
    return CXX_TYPES.get(scalar_letter(precision), ("", ""))


def scalar_letter(precision):
    return next((p for p in precision if p in "cz"), precision[:1])


def cxx_type(name, precision):
    t, r = scalar_types(precision)
    if name in FUNCTION_TYPES:
        return FUNCTION_TYPES[name].format(scalar_letter(precision))
    return {"T": t, "R": r}.get(name, name)


def c_type(name, precision):
    cxx = cxx_type(name, precision)
    return C_TYPES.get(cxx, cxx)


def c_parameters(routine, precision):
    parameters = []
    for a in routine.arguments:
        base = "char" if a.has_hidden_length else c_type(a.type, precision)
        const = "const " if a.const or not (a.pointer or a.out) else ""
        parameters.append(f"{base} {a.name}" if a.is_function else f"{const}{base}* {a.name}")
    if routine.result != "void" and cxx_type(routine.result, precision).startswith("std::complex"):
        parameters.insert(0, f"{c_type(routine.result, precision)}* result")
    parameters += [f"int {a.name}_length" for a in routine.arguments if a.has_hidden_length]
    return parameters


def c_prototype(routine, precision, exported):
    result = c_type(routine.result, precision)
    if result.startswith("nuv_complex"):
        result = "void"
    return f"{result} {exported}({', '.join(c_parameters(routine, precision)) or 'void'})"


def qualified_type(name, precision):
    """A type as it is spelt outside namespace nuv."""
    return {"text": "nuv::Text", "Int": "nuv::Int", "Logical": "nuv::Logical"}.get(name, cxx_type(name, precision))


def cxx_parameters(routine, precision):
    parameters = []
    for a in routine.arguments:
        base = qualified_type(a.type, precision)
        const = "const " if a.const else ""
        parameters.append(f"{const}{base}{'*' if a.pointer else '&' if a.out else ''}")
    return parameters


def wrap(head, items, tail, indent="    ", limit=118):
    """head + items joined by commas + tail, broken where a line would be too long."""
    lines, line = [], head
    for i, item in enumerate(items):
        piece = item + (", " if i + 1 < len(items) else tail)
        if len(line) + len(piece.rstrip()) > limit:
            lines.append(line.rstrip())
            line = indent
        line += piece
    if not items:
        line += tail
    return "\n".join(lines + [line])


def write_if_changed(path, text):
    if not path.exists() or path.read_text() != text:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
