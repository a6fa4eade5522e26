"""The Fortran module: interfaces of all routines and services.

A routine stands there twice, under its exported name with a length behind each character, as the library takes it, and
under a short one without: `call nuv_dpotrf('L', n, a, lda, info)`.
"""

import re

from cxx_interface import is_offered
from entries import exported_names
from signatures import *

FORTRAN_TYPES = {
    "int": "integer(c_int)",
    "unsigned": "integer(c_int)",
    "unsigned long": "integer(c_long)",
    "size_t": "integer(c_size_t)",
    "float": "real(c_float)",
    "double": "real(c_double)",
    "nuv_complex8": "complex(c_float_complex)",
    "nuv_complex16": "complex(c_double_complex)",
    "char": "character(kind=c_char)",
    "void*": "type(c_ptr)",
}


# Functions that callers pass, as the module declares them: what they tell, and the parts of an eigenvalue.
SELECTIONS = {"Select": ("an eigenvalue", ("wr", "wi"), ("w",)),
              "SelectGeneralised": ("a generalised eigenvalue", ("alphar", "alphai", "beta"), ("alpha", "beta"))}


def abstract_interfaces():
    out = ["  abstract interface"]
    for selection, (what, real_parts, complex_parts) in SELECTIONS.items():
        for letter in "sdcz":
            name, names = cxx_type(selection, letter), complex_parts if letter in "cz" else real_parts
            out += ["", f"    ! Whether {what} is wanted: 1 if so, else 0.", f"    function {name}({', '.join(names)}) bind(c)",
                    "      import", *(f"      {FORTRAN_TYPES[c_type('T', letter)]}, intent(in) :: {a}" for a in names),
                    f"      integer(c_int) :: {name}", f"    end function {name}"]
    return out + ["", "  end interface"]


def argument(a, precision):
    if a.has_hidden_length:
        letters = ", dimension(*)" if a.pointer else ""
        return f"character(kind=c_char), intent({'inout' if a.out else 'in'}){letters}"
    if a.is_function:
        return f"procedure({c_type(a.type, precision)})"
    base = FORTRAN_TYPES[c_type(a.type, precision)]
    if not a.pointer:
        return f"{base}, intent({'inout' if a.out else 'in'})"
    return f"{base}, intent({'in' if a.const else 'inout'}), dimension(*)"


def interface(meaning, name, binding, arguments, result):
    """A subroutine, or a function if it has a result; arguments are (name, declaration)."""
    kind = "function" if result else "subroutine"
    head = wrap(f"    {kind} {name}(", [a for a, _ in arguments], f') bind(c, name="{binding}")', "      ", 100)
    out = ["", f"    ! {meaning}", head.replace("\n", " &\n"), "      import"]
    out += [f"      {declaration} :: {a}" for a, declaration in arguments]
    if result:
        out.append(f"      {result} :: {name}")
    return out + [f"    end {kind}"]


def routine_interface(routine, precision, name, exported, with_lengths):
    result = c_type(routine.result, precision)
    by_pointer = result.startswith("nuv_complex")
    arguments = [(a.name, argument(a, precision)) for a in routine.arguments]
    if by_pointer:
        arguments.insert(0, ("result", f"{FORTRAN_TYPES[result]}, intent(out)"))
    if with_lengths:
        arguments += [(f"{a.name}_length", "integer(c_int), value") for a in routine.arguments if a.has_hidden_length]
    value = "" if result == "void" or by_pointer else FORTRAN_TYPES[result]
    return interface(routine.meaning, name, exported, arguments, value)


def short_name(routine, precision):
    return "nuv_" + routine.pattern.replace("?", precision)


def short_interface(routine, precision, exported):
    """A length that matters, that of a text, stays, and with it those of other characters."""
    has_text = any(a.type == "text" for a in routine.arguments)
    return routine_interface(routine, precision, short_name(routine, precision), exported, has_text)


def service_argument(text):
    """(name, declaration) of an argument in a service's declaration."""
    const, base, pointer, name = re.fullmatch(r"(const )?((?:unsigned )?\w+)(\*?) (\w+)", text.strip()).groups()
    if not pointer:
        return name, FORTRAN_TYPES[base] + ", value"
    if base == "void":
        return name, "type(c_ptr), value"
    # The services take numbers one by one, and texts.
    dimension = ", dimension(*)" if base == "char" else ""
    return name, f"{FORTRAN_TYPES[base]}, intent({'in' if const else 'inout'}){dimension}"


def service_interface(service):
    result, arguments = re.fullmatch(r"(.*?)\s*\w+\s*\((.*)\)", service.declaration).groups()
    parsed = [service_argument(a) for a in arguments.split(",")] if arguments.strip() else []
    value = "" if result == "void" else FORTRAN_TYPES[result.removeprefix("const ")]
    return interface(service.meaning, service.name, service.name, parsed, value)


def emit_module(catalogue):
    out = [f"! {GENERATED}", "!"]
    out += ["! Every routine stands here under two names: nuv_lapack_dpotrf takes the length of each character behind its",
            "! last argument, nuv_dpotrf takes none. The values of complex functions are a first argument.",
            "module nuv_lapack", "  use, intrinsic :: iso_c_binding", "  implicit none", *abstract_interfaces(), "  interface"]
    for routine in catalogue.routines:
        for precision, exported in exported_names(routine):
            out += routine_interface(routine, precision, exported, exported, True)
            if is_offered(routine):
                out += short_interface(routine, precision, exported)
    for service in catalogue.services:
        # No name in Fortran begins with an underscore.
        if service.kind not in ("data", "hook") and not service.name.startswith("_"):
            out += service_interface(service)
    return "\n".join(out + ["", "  end interface", "end module nuv_lapack"]) + "\n"


def files(catalogue):
    return {"include/nuv/nuv_lapack.f90": emit_module(catalogue)}
