"""The routines of the catalogue under the names of the published collection, as gfortran calls them on Linux.

Most are jumps, since their conventions are the same. A small C function stands where they differ: a complex value comes
back in registers, not through a pointer, and a true logical is 1.
"""

from entries import PUBLISHED_LIBRARIES, exported_names
from signatures import *


def standard_name(published):
    return published.name + "_"


def offered(catalogue, library):
    """(published name, routine, precision, exported name) of each routine that goes by a name of this library."""
    named = {p.name: p for p in catalogue.published if p.library == library}
    for routine in catalogue.routines:
        for precision, exported in exported_names(routine):
            published = named.get(routine.pattern.replace("?", precision))
            if published and not published.written:
                yield published, routine, precision, exported


def lacking(catalogue, library):
    """Published names of a library behind which there is nothing yet."""
    found = {published.name for published, *_ in offered(catalogue, library)}
    return [p.name for p in catalogue.published if p.library == library and not p.written and p.name not in found]


def exported_standard_names(catalogue, library):
    written = [p for p in catalogue.published if p.library == library and p.written]
    return [standard_name(p) for p in [p for p, *_ in offered(catalogue, library)] + written]


def logicals_returned(routine):
    return [a.name for a in routine.arguments if a.type == "Logical" and a.out]


def needs_function(routine, precision):
    return (cxx_type(routine.result, precision).startswith("std::complex") or routine.result == "Logical"
            or bool(logicals_returned(routine)))


def emit_jumps(catalogue, library):
    out = [f"/* {GENERATED} */", '#include "interfaces/standard/jump_pattern.S"', ""]
    out += [f"standard_jump {standard_name(published)}, {exported}"
            for published, routine, precision, exported in offered(catalogue, library)
            if not needs_function(routine, precision)]
    return "\n".join(out) + "\n"


def emit_function(name, routine, precision, exported):
    parameters = c_parameters(routine, precision)
    passed = [p.split()[-1] for p in parameters]
    result = c_type(routine.result, precision)
    if result.startswith("nuv_complex"):
        parameters = parameters[1:]
        body = [f"{result} value;", wrap(f"{exported}(", ["&value"] + passed[1:], ");", "      "), "return value;"]
    elif routine.result == "Logical":
        body = [wrap(f"return {exported}(", passed, ") & 1;", "      ")]
    else:
        body = [wrap(f"{exported}(", passed, ");", "      ")] + [f"*{a} &= 1;" for a in logicals_returned(routine)]
    return "\n".join([wrap(f"{result} {name}(", parameters, ") {"), *("  " + line for line in body), "}"])


def emit_functions(catalogue, library):
    out = [f"/* {GENERATED} */", "", "#include <nuv/nuv_lapack.h>"]
    for published, routine, precision, exported in offered(catalogue, library):
        if needs_function(routine, precision):
            out += ["", emit_function(standard_name(published), routine, precision, exported)]
    return "\n".join(out) + "\n"


def files(catalogue):
    made = {}
    for library in PUBLISHED_LIBRARIES:
        made[f"standard/{library}_jumps.S"] = emit_jumps(catalogue, library)
        made[f"standard/{library}_functions.c"] = emit_functions(catalogue, library)
    return made


def exports(catalogue, c_names, names_by_value):
    """Library -> names; those of the C interface go with libblas, and libnuv has all, with the calls by value."""
    names = {library: exported_standard_names(catalogue, library) for library in PUBLISHED_LIBRARIES}
    names["libblas"] += c_names
    return {**names, "libnuv": sum(names.values(), []) + names_by_value}
