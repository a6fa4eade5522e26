#!/usr/bin/env python3
"""Turns the catalogue of exported names into everything that would otherwise repeat a name.

    generate.py --output DIR CATALOGUE...

Each `emit_*` function makes one kind of file. A file is only touched when its text changes, so that a new meaning
rebuilds nothing.
"""

import argparse
import sys
from pathlib import Path

import c_interface
import cxx_interface
import fortran_module
import standard_names
from entries import *
from signatures import *

sys.path.append(str(Path(__file__).resolve().parents[1] / "interfaces" / "cblas"))
import cblas  # noqa: E402

STUB_MACRO = {
    "kernel": "configured_kernel_stub",
    "kernel_service": "configured_kernel_stub",
    "special": "kernel_stub",
    "level3": "layer_stub",
    "layer": "layer_stub",
    "layer_service": "layer_stub",
}

# ------------------------------------------------------------------------------------------- entry points and wrappers


def emit_entry_points(routines, x_variant, namespace):
    """The extern "C" functions of one family: references and hidden lengths become plain values, and the templates
    get their explicit instantiations. Behind the stubs they are bodies, one for each instruction set."""
    bodies = namespace != "nuv"
    out = [f"// {GENERATED}", ""]
    if bodies:
        out += ['#include "base/body.hpp"', '#include "base/types.hpp"']
    else:
        out.append("#include <nuv/nuv_lapack.h>")
    if x_variant and any(routine.kind == "layer" for routine in routines):
        out.append("#include <nuv/nuv_x_variants.h>")
    for routine in routines:
        function = ("x" if x_variant and routine.kind == "layer" else "") + routine.function
        out.append("")
        for precision, exported in exported_names(routine, x_variant and routine.kind == "layer"):
            values = []
            for a in routine.arguments:
                if a.type == "text":
                    values.append(f"nuv::Text{{{a.name}, {a.name}_length}}")
                else:
                    values.append(a.name if a.pointer or a.is_function else "*" + a.name)
            template = f"<{scalar_types(precision)[0]}>" if precision else ""
            call = f"{namespace}::{function}{template}"
            if template and not bodies:
                result = qualified_type(routine.result, precision)
                out.append(wrap(f"template {result} {call}(", cxx_parameters(routine, precision), ");"))
            if bodies:
                head, parameters = body_declaration(routine, precision, exported)
            else:
                head, _, parameters = c_prototype(routine, precision, exported).partition("(")
            # Lengths of single characters are taken and not used.
            for a in routine.arguments:
                if a.type == "char":
                    parameters = parameters.replace(f"int {a.name}_length", "int")
            complex_result = cxx_type(routine.result, precision).startswith("std::complex")
            before = "*result = " if complex_result else "return " if routine.result != "void" else ""
            out.append(wrap(head + "(", [p for p in parameters.rstrip(")").split(", ") if p != "void"], ") {"))
            out.append("  " + wrap(f"{before}{call}(", values, ");", "      "))
            out.append("}")
    return "\n".join(out) + "\n"


def body_declaration(routine, precision, exported):
    """Head and parameters of a body: the prototype in C++ types under a name of its own."""
    parameters = ", ".join(c_parameters(routine, precision))
    for c_name, cxx_name in (("nuv_complex8", "std::complex<float>"), ("nuv_complex16", "std::complex<double>")):
        parameters = parameters.replace(c_name, cxx_name)
    result = c_type(routine.result, precision)
    return f"NUV_BODY({'void' if result.startswith('nuv_complex') else result}, {exported})", parameters


def folded(arguments):
    """Groups the arguments of a wrapper: a pointer and the leading dimension or increment behind it become one view.
    Yields (view class or None, argument)."""
    i = 0
    while i < len(arguments):
        a = arguments[i]
        following = arguments[i + 1].name if i + 1 < len(arguments) else ""
        if a.pointer and following == "ld" + a.name:
            yield "Matrix", a
            i += 2
        elif a.pointer and following == "inc" + a.name:
            yield "Vector", a
            i += 2
        else:
            yield None, a
            i += 1


def tells_precision(routine):
    """Whether the arguments tell the members of a routine apart."""
    return len(routine.precisions) == 1 or any(a.type in ("T", "R") for a in routine.arguments)


def wrapper_parameters(routine, precision):
    parameters = []
    for view, a in folded(routine.arguments):
        base = {"text": "Text"}.get(a.type, cxx_type(a.type, precision))
        const = "const " if a.const else ""
        if view:
            parameters.append(f"{view}<{const}{base}> {a.name}")
        elif a.type == "text":
            parameters.append(f"Text {a.name}")
        else:
            parameters.append(f"{const}{base}{'*' if a.pointer else '&' if a.out else ''} {a.name}")
    return parameters


def emit_wrapper_template(routine):
    """The template whose specialisations are the wrappers of a routine that takes its precision as an argument."""
    result = {"R": "Real<T>"}.get(routine.result, routine.result)
    return "template <Scalar T>\n" + wrap(f"{result} {routine.function}(", wrapper_parameters(routine, ""), ");")


def emit_wrapper(routine, precision, exported):
    """An inline function under the plain name that calls one exported function."""
    passed, lengths = [], []
    complex_result = cxx_type(routine.result, precision).startswith("std::complex")
    if complex_result:
        passed.append("&result")
    for view, a in folded(routine.arguments):
        if view:
            passed += [f"{a.name}.data", f"&{a.name}.{'ld' if view == 'Matrix' else 'inc'}"]
        elif a.type == "text":
            passed.append(f"{a.name}.data")
            lengths.append(f"{a.name}.length")
        else:
            passed.append(a.name if a.pointer or a.is_function else "&" + a.name)
            if a.type == "char":
                lengths.append("1")
    result = cxx_type(routine.result, precision)
    head = f"inline {result} {routine.function}"
    if not tells_precision(routine):
        head = f"template <>\n{head}<{scalar_types(precision)[0]}>"
    lines = [wrap(head + "(", wrapper_parameters(routine, precision), ") {")]
    if complex_result:
        lines.append(f"  {result} result;")
    before = "return " if routine.result != "void" and not complex_result else ""
    lines.append("  " + wrap(f"{before}{exported}(", passed + lengths, ");", "      "))
    if complex_result:
        lines.append("  return result;")
    return "\n".join(lines + ["}"])


def emit_wrappers(routines, namespace, purpose, x_variant=False):
    header = "nuv_x_variants.h" if x_variant else "nuv_lapack.h"
    out = ["#pragma once", "", f"// {GENERATED}", f"// {purpose}", "", f"#include <nuv/{header}>", ""]
    out += ['#include "base/matrix.hpp"', '#include "base/types.hpp"', "", f"namespace nuv::{namespace} {{"]
    for routine in routines:
        out += ["", f"// {routine.meaning}"]
        if not tells_precision(routine):
            out.append(emit_wrapper_template(routine))
        out += [emit_wrapper(routine, p, exported) for p, exported in exported_names(routine, x_variant)]
    return "\n".join(out + ["", f"}}  // namespace nuv::{namespace}"]) + "\n"


# ---------------------------------------------------------------------------------------------------- public headers

PUSH_VISIBILITY = """
#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif
"""

TYPES_HEADER = f"""#ifndef NUV_TYPES_H
#define NUV_TYPES_H

/* {GENERATED}
 *
 * Complex numbers as the language at hand has them. */

#ifdef __cplusplus
#include <complex>
typedef std::complex<float> nuv_complex8;
typedef std::complex<double> nuv_complex16;
#else
#include <complex.h>
typedef float _Complex nuv_complex8;
typedef double _Complex nuv_complex16;
#endif

#endif
"""

SERVICES_TOP = f"""#ifndef NUV_SERVICES_H
#define NUV_SERVICES_H

/* {GENERATED}
 *
 * What the library offers beside its routines: error reports, configuration, memory, and functions that compiled callers
 * expect. */

#include <stddef.h>

#include "nuv_types.h"
{PUSH_VISIBILITY}"""

HEADER_TOP = f"""#ifndef NUV_LAPACK_H
#define NUV_LAPACK_H

/* {GENERATED}
 *
 * Every function under nuv_lapack_ and nuv_blas_ follows the Fortran calling convention: all arguments by reference,
 * matrices column by column with a leading dimension, and behind the last argument the length of each character
 * argument, by value (1 will do: only the first character of an option counts). A complex function gives its value
 * through a leading pointer. */

#include "nuv_types.h"
{PUSH_VISIBILITY}
/* Functions of the caller that select eigenvalues: given one, by its real and its imaginary part or as a complex
 * number, they return 1 if it is wanted and 0 if not; of other numbers the lowest bit counts. */
typedef int (*nuv_s_select)(const float* wr, const float* wi);
typedef int (*nuv_d_select)(const double* wr, const double* wi);
typedef int (*nuv_c_select)(const nuv_complex8* w);
typedef int (*nuv_z_select)(const nuv_complex16* w);

/* The same for generalised eigenvalues alpha / beta. */
typedef int (*nuv_s_select_generalised)(const float* alphar, const float* alphai, const float* beta);
typedef int (*nuv_d_select_generalised)(const double* alphar, const double* alphai, const double* beta);
typedef int (*nuv_c_select_generalised)(const nuv_complex8* alpha, const nuv_complex8* beta);
typedef int (*nuv_z_select_generalised)(const nuv_complex16* alpha, const nuv_complex16* beta);
"""

X_VARIANTS_TOP = f"""#ifndef NUV_X_VARIANTS_H
#define NUV_X_VARIANTS_H

/* {GENERATED}
 *
 * The serial bodies of the routines with a threaded form, for thread layers, which call them back: nuv_lapack_xdgetrf
 * has the arguments of nuv_lapack_dgetrf, and leaves it to the layer to check them where that routine does so. */

#include "nuv_types.h"
{PUSH_VISIBILITY}"""

HEADER_BOTTOM = """
#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
"""


def library_members(routine):
    """(precision, exported name) of all that libnuv_lapack exports for a routine, x-variants last."""
    names = exported_names(routine)
    return names + exported_names(routine, x_variant=True) if routine.kind == "layer" else names


def emit_services_header(catalogue):
    """Apart from the routines, so that what needs a service alone is not compiled again for each new routine."""
    out = [SERVICES_TOP]
    for service in catalogue.services:
        out.append(f"/* {service.meaning} */")
        if service.kind == "data":
            out.append(f"extern {service.declaration};")
        elif service.kind == "hook":
            result, arguments = re.fullmatch(r"(.*?)\s*\w+\s*(\(.*\))", service.declaration).groups()
            out.append(f"extern {result} (*{service.name}){arguments};")
        else:
            out.append(service.declaration.replace("()", "(void)") + ";")
    return "\n".join(out) + "\n" + HEADER_BOTTOM


def c_declarations(routine, members):
    out = ["", f"/* {routine.meaning} */"]
    for precision, exported in members:
        head, _, parameters = c_prototype(routine, precision, exported).partition("(")
        out.append(wrap(head + "(", parameters.rstrip(")").split(", "), ");"))
    return out


def emit_c_header(catalogue):
    out = [HEADER_TOP]
    for routine in catalogue.routines:
        out += c_declarations(routine, exported_names(routine))
    return "\n".join(out) + "\n" + HEADER_BOTTOM


def emit_x_variants_header(catalogue):
    out = [X_VARIANTS_TOP]
    for routine in catalogue.routines:
        if routine.kind == "layer":
            out += c_declarations(routine, exported_names(routine, x_variant=True))
    return "\n".join(out) + "\n" + HEADER_BOTTOM


# -------------------------------------------------------------------------------------------------- stubs and exports


def emit_stubs(catalogue):
    out = [f"/* {GENERATED} */", '#include "frame/stub_pattern.S"', ""]
    for service in catalogue.services:
        if service.kind in STUB_MACRO:
            out.append(f"{STUB_MACRO[service.kind]} {service.name}, {service.target}")
    for routine in catalogue.routines:
        if routine.kind in STUB_MACRO:
            out += [f"{STUB_MACRO[routine.kind]} {name}, {name}" for _, name in exported_names(routine)]
    return "\n".join(out) + "\n"


def emit_isa_stubs(catalogue, *kinds):
    out = [f"/* {GENERATED} */", '#include "frame/isa_pattern.S"', ""]
    for routine in catalogue.routines:
        if routine.kind in kinds:
            out += [f"isa_stub {name}" for _, name in exported_names(routine)]
    return "\n".join(out) + "\n"


def exports(catalogue):
    """Library -> sorted exported names."""
    lapack = [s.name for s in catalogue.services if s.kind != "layer_only"]
    kernel = [s.target for s in catalogue.services if s.kind == "kernel_service"]
    layer = [s.target for s in catalogue.services if s.kind in ("layer_service", "layer_only")]
    for routine in catalogue.routines:
        lapack += [name for _, name in library_members(routine)]
        names = [name for _, name in exported_names(routine)]
        if routine.kind in ("kernel", "special"):
            kernel += names
        if routine.kind in ("layer", "level3"):
            layer += names
    names = {"lapack": lapack, "kernel": kernel, "layer": layer}
    names |= standard_names.exports(catalogue, cblas.names(catalogue), c_interface.names(catalogue))
    return {library: sorted(exported) for library, exported in names.items()}


def emit_version_script(names):
    return f"/* {GENERATED} */\n{{\n  global:\n" + "".join(f"    {n};\n" for n in names) + "  local:\n    *;\n};\n"


# ------------------------------------------------------------------------------------------------------------- main


def all_files(catalogue):
    """Path relative to the output folder -> text."""
    of_kind = lambda *kinds: [r for r in catalogue.routines if r.kind in kinds]
    files = {
        "include/nuv/nuv_lapack.h": emit_c_header(catalogue),
        "include/nuv/nuv_services.h": emit_services_header(catalogue),
        "include/nuv/nuv_types.h": TYPES_HEADER,
        "include/nuv/nuv_x_variants.h": emit_x_variants_header(catalogue),
        "stubs.S": emit_stubs(catalogue),
        "kernel_entries.S": emit_isa_stubs(catalogue, "kernel", "special"),
        "layer_entries.S": emit_isa_stubs(catalogue, "level3", "layer"),
        "internal/blas.hpp": emit_wrappers(
            of_kind("kernel", "special", "level3"), "blas", "Typed calls of the kernel and level-3 stubs."),
        "internal/layer.hpp": emit_wrappers(of_kind("layer"), "layer", "Typed calls of the layer stubs."),
        "internal/x_variants.hpp": emit_wrappers(
            of_kind("layer"), "x_variant", "Typed calls of the serial bodies behind the layer stubs.", x_variant=True),
        "internal/routines.hpp": emit_wrappers(
            of_kind("routine"), "routine_call", "Typed calls of the plain routines, for programs outside the library."),
    }
    for family in dict.fromkeys(r.family for r in catalogue.routines):
        members = [r for r in catalogue.routines if r.family == family]
        files[f"entries/{family}.entries.inc"] = emit_entry_points(members, True, NAMESPACE[members[0].kind])
    for family in dict.fromkeys(r.layer_family for r in of_kind("layer")):
        members = [r for r in catalogue.routines if r.kind == "layer" and r.layer_family == family]
        files[f"entries/{family}.entries.inc"] = emit_entry_points(members, False, "nuv::threading")
    files |= standard_names.files(catalogue)
    files |= cblas.files(catalogue)
    files |= c_interface.files(catalogue) | cxx_interface.files(catalogue) | fortran_module.files(catalogue)
    # What is compiled here has short comments, so that a new one rebuilds nothing; what is installed has them in full.
    files["documented/nuv/nuv_lapack.h"] = c_interface.documented(files["include/nuv/nuv_lapack.h"], catalogue)
    for library, names in exports(catalogue).items():
        files[f"exports/{library}.map"] = emit_version_script(names)
        files[f"exports/{library}.txt"] = "".join(n + "\n" for n in names)
    return files


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--output", type=Path, required=True, metavar="DIR")
    parser.add_argument("catalogue", type=Path, nargs="+")
    options = parser.parse_args(argv)
    try:
        catalogue = Catalogue()
        for file in options.catalogue:
            catalogue.add(parse(file.read_text(), file.name))
        twice = {n for names in exports(catalogue).values() for n in names if names.count(n) > 1}
        if twice:
            raise CatalogueError(f"names that stand in two files: {', '.join(sorted(twice))}")
    except (CatalogueError, OSError) as error:
        print(f"generate.py: {error}", file=sys.stderr)
        return 1
    for name, text in all_files(catalogue).items():
        write_if_changed(options.output / name, text)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
