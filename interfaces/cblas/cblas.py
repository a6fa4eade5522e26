"""The C interface, made from the catalogue and the rules for row-major calls.

`files` gives the header, sources that call what libnuv_lapack exports, and the list of names.
"""

from entries import PREFIX
from rules import LEVEL1, RULES, UNPUBLISHED, Rule
from signatures import GENERATED, c_type, cxx_type, scalar_types, wrap

ENUMERATIONS = {"trans": "CBLAS_TRANSPOSE", "uplo": "CBLAS_UPLO", "diag": "CBLAS_DIAG", "side": "CBLAS_SIDE"}
SETTINGS = {
    "layout": ("CblasRowMajor", "CblasColMajor"),
    "trans": ("CblasNoTrans", "CblasTrans", "CblasConjTrans"),
    "uplo": ("CblasUpper", "CblasLower"),
    "diag": ("CblasNonUnit", "CblasUnit"),
    "side": ("CblasLeft", "CblasRight"),
}
# Names that no entry of the catalogue stands behind.
BY_HAND = ("cblas_scabs1", "cblas_xerbla")

HEADER_TOP = f"""#ifndef CBLAS_H
#define CBLAS_H

/* {GENERATED}
 *
 * Vector and matrix operations from C. Every operation with a matrix takes the layout first: CblasRowMajor, where the
 * leading dimension is the distance between rows and at least the number of columns, or CblasColMajor, where it is the
 * distance between columns and at least the number of rows. A band that is stored row by row has a row of kl + 1 + ku
 * elements for each row of the matrix, its diagonal at place kl; a packed triangle has its rows one behind the other.
 * Complex numbers and arrays are passed by address. A vector with a negative increment is walked from its far end.
 *
 * A bad argument is reported by its place in the call, from 1 for the first, to cblas_xerbla; nothing is computed or
 * written then. Of several the first is reported. */

#include <stddef.h>

#ifdef __cplusplus
extern "C" {{
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifndef CBLAS_INT
#define CBLAS_INT int
#endif
#ifndef CBLAS_INDEX
#define CBLAS_INDEX size_t
#endif

/* A transposition says what op(A) is where a comment has it: A, its transpose, or its adjoint. Triangle and side are
 * those of the matrix, whatever the layout. */
typedef enum CBLAS_LAYOUT {{ CblasRowMajor = 101, CblasColMajor = 102 }} CBLAS_LAYOUT;
typedef enum CBLAS_TRANSPOSE {{ CblasNoTrans = 111, CblasTrans = 112, CblasConjTrans = 113 }} CBLAS_TRANSPOSE;
typedef enum CBLAS_UPLO {{ CblasUpper = 121, CblasLower = 122 }} CBLAS_UPLO;
typedef enum CBLAS_DIAG {{ CblasNonUnit = 131, CblasUnit = 132 }} CBLAS_DIAG;
typedef enum CBLAS_SIDE {{ CblasLeft = 141, CblasRight = 142 }} CBLAS_SIDE;

/* The older name of CBLAS_LAYOUT, with and without "enum" in front. */
#define CBLAS_ORDER CBLAS_LAYOUT

/* Hears that argument p of the named routine is bad; form and what follows, as for printf, say why. This one prints it
 * on the standard error stream and returns, and the routine returns as well: the library ends no program. Other
 * implementations end it here, with the status -1. An application that wants that, or something else, defines a
 * function of this name. */
void cblas_xerbla(CBLAS_INT p, const char* rout, const char* form, ...);

/* |re z| + |im z| */
float cblas_scabs1(const void* z);
"""

HEADER_BOTTOM = """
#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
"""

STANDARD_HEADER = f"""/* {GENERATED}
 *
 * For programs that include <cblas.h>: this folder is for their include path. */
#include "../cblas.h"
"""


def plain_name(routine):
    return routine.pattern.replace("?", "")


def published(catalogue):
    """(rule, routine, its precisions) of what the interface has of the catalogue; level 1 has no rules."""
    for routine in catalogue.routines:
        if routine.kind not in ("kernel", "level3"):
            continue
        rule = RULES.get(plain_name(routine)) if routine.pattern not in LEVEL1 else Rule()
        if rule is not None:
            names = [(p, routine.pattern.replace("?", p)) for p in routine.precisions]
            yield rule, routine, [(p, name) for p, name in names if name not in UNPUBLISHED]


def has_layout(routine):
    return plain_name(routine) in RULES


def option_of(argument):
    """'trans' for transa; None for what is no option."""
    return argument.name.rstrip("ab") if argument.type == "char" else None


def is_complex(argument, precision):
    return cxx_type(argument.type, precision).startswith("std::complex")


def settings(routine, precision, option):
    """What an option may be: a symmetric update has no adjoint, a Hermitian one no transpose."""
    name = plain_name(routine)
    if option == "trans" and name in ("syrk", "syr2k") and precision in "cz":
        return SETTINGS[option][:2]
    if option == "trans" and name in ("herk", "her2k"):
        return SETTINGS[option][::2]
    return SETTINGS[option]


# ---------------------------------------------------------------------------------------------------------- prototypes


def parameter(argument, precision):
    const = "const " if argument.const else ""
    if argument.type == "char":
        return f"{ENUMERATIONS[option_of(argument)]} {argument.name}"
    by_address = argument.pointer or argument.out
    if is_complex(argument, precision):
        return f"{const if by_address else 'const '}void* {argument.name}"
    return f"{const}{c_type(argument.type, precision)}{'*' if by_address else ''} {argument.name}"


def returns_complex(routine, precision):
    return cxx_type(routine.result, precision).startswith("std::complex")


def prototype(routine, precision, name):
    """(head, parameters)"""
    parameters = ["CBLAS_LAYOUT layout"] if has_layout(routine) else []
    parameters += [parameter(a, precision) for a in routine.arguments]
    if returns_complex(routine, precision):
        return f"void cblas_{name}_sub(", parameters + ["void* result"]
    result = "CBLAS_INDEX" if routine.result == "Int" else c_type(routine.result, precision)
    return f"{result} cblas_{name}(", parameters


def emit_header(catalogue):
    out = [HEADER_TOP]
    for _, routine, members in published(catalogue):
        out.append(f"/* {routine.meaning.replace('Position, from one,', 'Place, from zero,')} */")
        for precision, name in members:
            head, parameters = prototype(routine, precision, name)
            out.append(wrap(head, parameters, ");"))
        out.append("")
    return "\n".join(out).rstrip() + "\n" + HEADER_BOTTOM


# -------------------------------------------------------------------------------------------------------------- checks


def least_leading_dimension(matrix):
    """The C++ condition for what a leading dimension must be at least; see Rule."""
    words = matrix.split()
    if words[0] == "side":
        return "side == CblasLeft ? m : n"
    if words[0].startswith("trans"):
        trans, rows, _, columns = words
        return f"(layout == CblasColMajor) == ({trans} == CblasNoTrans) ? {rows} : {columns}"
    if "by" in words:
        rows, _, columns = words
        return rows if rows == columns else f"layout == CblasColMajor ? {rows} : {columns}"
    # A band, of a height that may not fit an int.
    return f"{words[0]} + std::int64_t{{1}}" if len(words) == 3 else f"{words[0]} + std::int64_t{{{words[2]}}} + 1"


def check(rule, routine, precision, position, argument):
    """The C++ condition that an argument is bad, or None where it can't be."""
    name = argument.name
    place = f"{position}, \"{name}\", {name}"
    option = option_of(argument)
    if option:
        return f"call.unknown({place}, {', '.join(settings(routine, precision, option))})"
    if argument.type != "Int":
        return None
    if name.startswith("ld"):
        return f"call.less({place}, {least_leading_dimension(rule.matrices[name[2:]])})"
    return f"call.{'zero' if name.startswith('inc') else 'negative'}({place})"


def checks(rule, routine, precision):
    conditions = [f"call.unknown(1, \"layout\", layout, {', '.join(SETTINGS['layout'])})"]
    found = [check(rule, routine, precision, i, a) for i, a in enumerate(routine.arguments, 2)]
    return conditions + [condition for condition in found if condition]


# --------------------------------------------------------------------------------------------------------------- calls


def column_major_argument(argument, precision):
    if argument.type == "char":
        return f"letter({argument.name})"
    if is_complex(argument, precision):
        return f"typed({argument.name})"
    return argument.name if argument.pointer or argument.out else f"&{argument.name}"


def call(routine, exported, arguments, indent):
    lengths = ["1" for a in routine.arguments if a.has_hidden_length]
    return wrap(f"{indent}{exported}(", arguments + lengths, ");", indent + "    ")


def column_major_call(routine, precision, exported, indent="  "):
    return call(routine, exported, [column_major_argument(a, precision) for a in routine.arguments], indent)


def exchanged(rule, arguments):
    """The arguments in the order of a row-major call."""
    others = {}
    for one, other in rule.exchanges:
        for prefix in ("", "ld", "inc"):
            others[prefix + one], others[prefix + other] = prefix + other, prefix + one
    by_name = {a.name: a for a in arguments}
    return [by_name.get(others.get(a.name), a) for a in arguments]


def row_major_argument(rule, argument, precision):
    option = option_of(argument)
    if option in ("uplo", "side"):
        return f"letter(other({argument.name}))"
    if option == "trans" and rule.trans:
        return f"letter({rule.trans}({argument.name}))"
    return column_major_argument(argument, precision)


def row_major_call(rule, routine, precision, exported):
    arguments = [row_major_argument(rule, a, precision) for a in exchanged(rule, routine.arguments)]
    result = call(routine, exported, arguments, "    ")
    if precision in "cz" and rule.adjoint == "in place":
        conjugation = "    if (trans == CblasConjTrans) row_major::conjugate(n, typed<T>(x), incx);"
        return "\n".join([conjugation, result, conjugation])
    return result


def row_major_operation(routine, precision):
    """The call of what row_major.hpp has under the name of the routine."""
    arguments = []
    for a in routine.arguments:
        if option_of(a) != "trans":
            arguments.append(f"typed<T>({a.name})" if is_complex(a, precision) else a.name)
    return wrap(f"    row_major::{plain_name(routine)}(", arguments, ");", "        ")


def emit_with_layout(rule, routine, precision, name, exported):
    conditions = checks(rule, routine, precision)
    out = [f"  const Call call{{\"cblas_{name}\"}};", f"  if ({conditions[0]} ||"]
    out += [f"      {condition} ||" for condition in conditions[1:]]
    out[-1] = out[-1].removesuffix(" ||") + ") {"
    out += ["    return;", "  }"]
    by_operation = precision in "cz" and (rule.row_major or rule.adjoint == "copy")
    if precision in "cz" and (by_operation or rule.adjoint):
        out.insert(0, f"  using T = {scalar_types(precision)[0]};")
    out += ["  if (layout == CblasColMajor) {", column_major_call(routine, precision, exported, "    ")]
    if by_operation:
        condition = "" if rule.row_major else " if (trans == CblasConjTrans)"
        out += [f"  }} else{condition} {{", row_major_operation(routine, precision)]
    if not (by_operation and rule.row_major):
        out += ["  } else {", row_major_call(rule, routine, precision, exported)]
    return out + ["  }"]


def emit_plain(routine, precision, exported):
    statement = column_major_call(routine, precision, exported).lstrip()
    if returns_complex(routine, precision):
        return ["  " + statement.replace("(", "(typed(result), ", 1)]
    if routine.result == "Int":
        return [f"  const int place = {statement}", "  return place > 0 ? place - 1 : 0;"]
    return [("  return " if routine.result != "void" else "  ") + statement]


def emit_member(rule, routine, precision, name):
    head, parameters = prototype(routine, precision, name)
    exported = PREFIX[routine.kind] + name
    if has_layout(routine):
        body = emit_with_layout(rule, routine, precision, name, exported)
    else:
        body = emit_plain(routine, precision, exported)
    return "\n".join([wrap(head, parameters, ") {"), *body, "}"])


def level_of(routine):
    return 1 if not has_layout(routine) else 3 if routine.kind == "level3" else 2


def emit_source(catalogue, level):
    out = [f"// {GENERATED}", "", "#include <nuv/cblas.h>", "#include <nuv/nuv_lapack.h>", ""]
    out += ['#include "interfaces/cblas/call.hpp"', '#include "interfaces/cblas/row_major.hpp"']
    out += ["", "using namespace nuv::cblas;"]
    for rule, routine, members in published(catalogue):
        if level_of(routine) == level:
            out += ["\n" + emit_member(rule, routine, precision, name) for precision, name in members]
    return "\n".join(out) + "\n"


def names(catalogue):
    members = [(routine, precision, name) for _, routine, of in published(catalogue) for precision, name in of]
    return sorted([prototype(*member)[0].split()[-1].rstrip("(") for member in members] + list(BY_HAND))


def files(catalogue):
    """Path relative to the output folder -> text."""
    return {
        "include/nuv/cblas.h": emit_header(catalogue),
        "include/nuv/standard/cblas.h": STANDARD_HEADER,
        "exports/cblas.txt": "".join(name + "\n" for name in names(catalogue)),
        **{f"interfaces/cblas/level{level}.cpp": emit_source(catalogue, level) for level in (1, 2, 3)},
    }
