"""The header of the C++ interface: overloads by the types of the arguments, with and without workspace."""

from pathlib import Path

from comments import described
from entries import exported_names
from signatures import *
from workspace import Dialect

HEAD = Path(__file__).resolve().parents[1] / "interfaces" / "cpp" / "head.hpp"
# Options that have a type with named constants, by the name of the argument; any other is a Letter.
OPTION_TYPES = {"uplo": "Uplo", "trans": "Op", "transa": "Op", "transb": "Op", "side": "Side", "diag": "Diag", "norm": "Norm",
                "jobz": "Job", "jobu": "Job", "jobvt": "Job", "jobvl": "Job", "jobvr": "Job", "jobvs": "Job",
                "range": "Range"}

SIZES = Dialect(number="double({})", function="workspace::{}", is_letter="workspace::is({}, '{}')")


def is_offered(routine):
    """Bridges within the library have an underscore in their names, or nothing to say."""
    return routine.kind != "special" and "_" not in routine.pattern and bool(routine.arguments)


def value_type(a, precision):
    """Type of an argument, or of what it points to: several truths are words, one is a bool."""
    if a.type == "char" and not (a.pointer or a.out):
        return OPTION_TYPES.get(a.name, "Letter")
    return {"text": "std::string_view", "Int": "int", "Logical": "int" if a.pointer else "bool"}.get(a.type, cxx_type(a.type, precision))


def parameter(a, precision):
    mark = "*" if a.pointer else "&" if a.out else ""
    return f"{'const ' if a.const else ''}{value_type(a, precision)}{mark} {a.name}"


def result_type(routine, precision):
    if routine.has_info:
        return "int"
    return {"Int": "int", "Logical": "bool"}.get(routine.result, cxx_type(routine.result, precision))


def tells_precision(routine):
    return len(routine.precisions) == 1 or any(a.type in ("T", "R") for a in routine.arguments)


def arguments_with_workspace(routine):
    return [a for a in routine.arguments if a.name != "info"]


def arguments_without_workspace(routine):
    return [a for a in arguments_with_workspace(routine) if not a.is_scratch and a.name not in routine.scratch_lengths]


def function_head(routine, function, precision, arguments, marks):
    nodiscard = "[[nodiscard]] " if routine.has_info else ""
    template = "" if tells_precision(routine) else f"<{cxx_type('T', precision)}>"
    prefix = "" if tells_precision(routine) else "template <>\n"
    head = f"{prefix}{nodiscard}inline {result_type(routine, precision)} {function}{template}("
    return wrap(head, [parameter(a, precision) for a in arguments], f"){marks} {{")


def emit_call(routine, precision, exported):
    """Statements that call an exported routine with everything it takes."""
    before, passed, lengths, after = [], [], [], []
    for a in routine.arguments:
        if a.type == "text":
            passed.append(f"{a.name}.data()")
            lengths.append(f"static_cast<int>({a.name}.size())")
        elif a.name == "info" and a.out:
            before.append("int info = 0;")
            passed.append("&info")
        elif a.type == "char":
            lengths.append("1")
            passed.append(a.name if a.pointer else "&" + a.name if a.out else f"{a.name}.place()")
        elif a.type == "Logical" and not a.pointer:
            before.append(f"{'' if a.out else 'const '}int {a.name}_word = {a.name} ? -1 : 0;")
            passed.append(f"&{a.name}_word")
            if a.out:
                after.append(f"{a.name} = ({a.name}_word & 1) != 0;")
        else:
            passed.append(a.name if a.pointer or a.is_function else "&" + a.name)
    result = cxx_type(routine.result, precision)
    value = ""
    if result.startswith("std::complex"):
        before.append(f"{result} value;")
        passed.insert(0, "&value")
        value = "value"
    call = wrap(f"{exported}(", passed + lengths, ")", "    ")
    if routine.result == "Logical":
        return before + [f"return ({call} & 1) != 0;"]
    if routine.result != "void" and not value:
        if after:
            return before + [f"const {result} value = {call};"] + after + ["return value;"]
        return before + [f"return {call};"]
    value = "info" if routine.has_info else value
    return before + [f"{call};"] + after + ([f"return {value};"] if value else [])


def emit_without_workspace(routine, function, precision):
    """The overload that allocates what the other one takes."""
    asks = any(a.workspace.is_asked for a in routine.scratch)
    lines = []
    for a in routine.scratch:
        size = "" if asks else f"{{{SIZES.length(a.workspace, routine.options)}}}"
        lines.append(f"workspace::Memory<{value_type(a, precision)}> {a.name}{size};")
    passed = []
    of_length = {"l" + a.name: f"{a.name}.length()" for a in routine.scratch}
    of_length |= {"ld" + a.name: f"workspace::as_int({SIZES.size(a.workspace.rows, routine.options)})" for a in routine.scratch
                  if a.workspace.rows}
    for a in arguments_with_workspace(routine):
        passed.append(f"{a.name}.data()" if a.is_scratch else of_length.get(a.name, a.name))
    template = "" if tells_precision(routine) else f"<{cxx_type('T', precision)}>"
    call = lambda indent: wrap(f"{function}{template}(", passed, ")", indent)
    if asks:
        lines.append(f"if (const int info = {call('    ')}; info != 0) return info;" if routine.has_info
                     else f"{call('    ')};")
        for a in routine.scratch:
            least = SIZES.size(a.workspace.least, routine.options) if a.workspace.least else ""
            lines.append(f"{a.name}.allocate_answer({least});" if a.workspace.is_asked
                         else f"{a.name}.allocate({SIZES.length(a.workspace, routine.options)});")
    returns = "return " if result_type(routine, precision) != "void" else ""
    lines.append(f"{returns}{call('    ')};")
    return lines


def functions(routine, precision, exported):
    """The overloads of one member, under its own name and that which real and complex members share."""
    template = "" if tells_precision(routine) else f"<{cxx_type('T', precision)}>"
    own = routine.pattern.replace("?", "")
    every = arguments_with_workspace(routine)
    yield function_head(routine, own, precision, every, " noexcept"), emit_call(routine, precision, exported)
    if routine.scratch:
        some = arguments_without_workspace(routine)
        yield function_head(routine, own, precision, some, ""), emit_without_workspace(routine, own, precision)
    if routine.function != own:
        call = lambda arguments: [wrap(f"return {own}{template}(", [a.name for a in arguments], ");", "    ")]
        yield function_head(routine, routine.function, precision, every, " noexcept"), call(every)
        if routine.scratch:
            yield function_head(routine, routine.function, precision, some, ""), call(some)


def emit_template(routine):
    """What the members of a routine specialise that takes its precision as a template argument."""
    result = {"T": "T", "R": "workspace::Real<T>"}.get(routine.result) or result_type(routine, "")
    head = wrap(f"template <class T>\n{result} {routine.pattern.replace('?', '')}(",
                [parameter(a, "") for a in arguments_with_workspace(routine)], ") noexcept;")
    return head


def emit_header(catalogue):
    out = [f"// {GENERATED}\n//", HEAD.read_text().rstrip("\n")]
    for routine in catalogue.routines:
        if not is_offered(routine):
            continue
        out += ["", *(f"/// {line}".rstrip() for line in described(routine).split("\n"))]
        if not tells_precision(routine):
            out.append(emit_template(routine))
        for precision, exported in exported_names(routine):
            for head, body in functions(routine, precision, exported):
                out += [head, *("  " + line for line in body), "}"]
    return "\n".join(out + ["", "}  // namespace nuv", "", "#endif"]) + "\n"


def files(catalogue):
    return {"include/nuv/nuv.hpp": emit_header(catalogue)}
