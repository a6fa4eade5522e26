"""The catalogue as Python objects: what an entry may say, and how it is read.

docs/architecture.md tells the form of an entry; `parse` below is its definition.
"""

import re
from dataclasses import dataclass, field

from workspace import SizeError, Workspace, parse_workspace

# What an entry may speak of; a value is of one of these types or there is none.
# Functions that the caller passes, which tell whether an eigenvalue belongs to those that are wanted: one of a matrix, or a
# generalised one, in two or three parts.
FUNCTION_TYPES = ("Select", "SelectGeneralised")
TYPES = ("Int", "Logical", "T", "R", "char", "text", *FUNCTION_TYPES, "float", "double", "std::complex<float>",
         "std::complex<double>")
# A mixed precision is written as in the name: scasum, csscal.
PRECISIONS = ("s", "d", "c", "z", "sc", "dz", "cs", "zd")
ROUTINE_KINDS = ("routine", "layer", "level3", "kernel", "special")
PUBLISHED_KINDS = ("published", "written")
SERVICE_KINDS = ("service", "weak_service", "kernel_service", "layer_service", "layer_only", "data", "hook")
PUBLISHED_LIBRARIES = ("libblas", "liblapack")
PREFIX = {"routine": "nuv_lapack_", "layer": "nuv_lapack_", "level3": "nuv_blas_", "kernel": "nuv_blas_", "special": "nuv_blas_"}
NAMESPACE = {"routine": "nuv", "layer": "nuv", "level3": "nuv::threading", "kernel": "nuv::kernels", "special": "nuv::kernels"}


class CatalogueError(Exception):
    pass


@dataclass(frozen=True)
class Argument:
    """One argument of a routine. `type` is Int, Logical, T, R, char, text, a type of functions or a C++ type; by value in
    C++ unless `pointer` or `out`; always by reference in C, which a function is anyway. `workspace` tells what stands in
    brackets behind it."""

    type: str
    name: str
    const: bool = False
    pointer: bool = False
    out: bool = False
    workspace: Workspace = None

    @property
    def is_scratch(self):
        """Whether it is nothing but memory that the routine wants for a time."""
        return self.workspace is not None and not self.workspace.is_kept

    @property
    def is_function(self):
        return self.type in FUNCTION_TYPES

    @property
    def has_hidden_length(self):
        return self.type in ("char", "text")


@dataclass(frozen=True)
class Routine:
    kind: str
    precisions: tuple
    pattern: str
    arguments: tuple
    result: str
    meaning: str
    family: str
    layer_family: str
    alias: str = ""

    @property
    def function(self):
        """Name of the C++ function template, and of the wrappers that call a stub: that of the exported names, or what
        `as` says, so that ?ormqr and ?unmqr are one template."""
        return self.alias or self.pattern.replace("?", "")

    @property
    def scratch(self):
        return [a for a in self.arguments if a.is_scratch]

    @property
    def scratch_lengths(self):
        """Names of the arguments that tell how long its workspaces are: lwork, ldwork."""
        return {prefix + a.name for a in self.scratch for prefix in ("l", "ld")}

    @property
    def options(self):
        """Names of the arguments that are letters."""
        return {a.name for a in self.arguments if a.type == "char"}

    @property
    def has_info(self):
        return any(a.name == "info" and a.out for a in self.arguments)


@dataclass(frozen=True)
class Service:
    """A function or datum whose C declaration stands in the catalogue as it is."""

    kind: str
    declaration: str
    name: str
    target: str
    meaning: str


@dataclass(frozen=True)
class Published:
    """A name of the published collection, as the library that is to define it knows it, without the underscore."""

    name: str
    library: str
    # Whether its function is written by hand, since no routine of the catalogue has the name.
    written: bool


@dataclass
class Catalogue:
    routines: list = field(default_factory=list)
    services: list = field(default_factory=list)
    published: list = field(default_factory=list)

    def add(self, other):
        self.routines += other.routines
        self.services += other.services
        self.published += other.published


# ---------------------------------------------------------------------------------------------------------- reading


def logical_lines(text):
    """Entries begin at the margin; an argument list may run over indented lines, and the indented lines behind the
    closing parenthesis are the meaning. Yields (line number, entry, meaning)."""
    entry, meaning, start = "", "", 0
    for number, line in enumerate(text.splitlines(), 1):
        line = line.split("#", 1)[0].rstrip()
        if not line:
            continue
        if not line[0].isspace():
            if entry:
                yield start, entry, meaning
            entry, meaning, start = line, "", number
        elif entry.count("(") > entry.count(")"):
            entry += " " + line.strip()
        elif entry:
            meaning = (meaning + " " + line.strip()).strip()
        else:
            raise CatalogueError(f"{number}: an indented line that continues no entry")
    if entry:
        yield start, entry, meaning


def parse_argument(text):
    match = re.fullmatch(r"(out\s+)?(const\s+)?([\w:<>]+)(?:\s*(\*)\s*|\s+)(\w+)(?:\s*\[(.*)\])?", text.strip())
    if not match:
        raise CatalogueError(f"not an argument: '{text}'")
    out, const, kind, pointer, name, workspace = match.groups()
    if kind not in TYPES:
        raise CatalogueError(f"unknown type '{kind}'")
    if out and pointer or const and not pointer:
        raise CatalogueError(f"'out' goes with values and 'const' with pointers: '{text}'")
    if kind in FUNCTION_TYPES and (out or pointer):
        raise CatalogueError(f"a function stands for itself: '{text}'")
    if workspace is not None and (const or not pointer):
        raise CatalogueError(f"brackets go with pointers to what is written: '{text}'")
    try:
        parsed = parse_workspace(workspace) if workspace is not None else None
    except SizeError as error:
        raise CatalogueError(str(error)) from None
    return Argument(kind, name, bool(const), bool(pointer), bool(out), parsed)


def check_workspaces(routine):
    """Sizes are made of arguments that are there, and what is asked has an argument by which to ask."""
    sizes = {a.name for a in routine.arguments if a.type in ("Int", "char") and not (a.pointer or a.out)}
    for a in routine.scratch:
        needed = set(a.workspace.names())
        if a.workspace.is_asked:
            needed.add("l" + a.name)
        if a.workspace.columns:
            needed.add("ld" + a.name)
        if missing := sorted(needed - sizes):
            raise CatalogueError(f"'{routine.pattern}': the size of {a.name} wants {', '.join(missing)}")


def parse_precisions(text):
    if text == "-":
        return ("",)
    precisions = tuple(text.split(",")) if "," in text else tuple(text)
    unknown = [p for p in precisions if p not in PRECISIONS]
    if unknown:
        raise CatalogueError(f"unknown precision '{unknown[0]}'")
    return precisions


def parse(text, file_name="catalogue"):
    catalogue = Catalogue()
    family = layer_family = ""
    names = set()
    kind_of_family = {}
    for number, entry, meaning in located_lines(text, file_name):
        try:
            kind, *rest = entry.split(None, 1)
            rest = "".join(rest)
            if not rest:
                raise CatalogueError(f"'{kind}' stands alone")
            if kind == "family":
                family, layer_family = rest, ""
                continue
            if kind == "layer_family":
                layer_family = rest
                continue
            if kind in ROUTINE_KINDS + SERVICE_KINDS and not meaning:
                raise CatalogueError("an entry needs a meaning")
            if kind in PUBLISHED_KINDS:
                parsed = parse_published(kind, rest)
                catalogue.published += parsed
                new_names = [p.name for p in parsed]
            elif kind in ROUTINE_KINDS:
                parsed = parse_routine(kind, rest, meaning, family, layer_family)
                if NAMESPACE[kind] != kind_of_family.setdefault(family, NAMESPACE[kind]):
                    raise CatalogueError(f"family {family} would stand in two namespaces")
                catalogue.routines.append(parsed)
                new_names = [exported for _, exported in exported_names(parsed)]
            elif kind in SERVICE_KINDS:
                parsed = parse_service(kind, rest, meaning)
                catalogue.services.append(parsed)
                new_names = [parsed.name]
            else:
                raise CatalogueError(f"unknown kind '{kind}'")
            for name in new_names:
                if name in names:
                    raise CatalogueError(f"'{name}' stands twice")
                names.add(name)
        except CatalogueError as error:
            raise CatalogueError(f"{file_name}:{number}: {error}") from None
    return catalogue


def located_lines(text, file_name):
    try:
        yield from logical_lines(text)
    except CatalogueError as error:
        raise CatalogueError(f"{file_name}:{error}") from None


def parse_routine(kind, rest, meaning, family, layer_family):
    match = re.fullmatch(r"([\w,-]+)\s+([\w?]+)(?:\s+as\s+(\w+))?\s*\((.*)\)\s*(?:->\s*([\w:<>]+))?", rest)
    if not match:
        raise CatalogueError(f"not a routine: '{rest}'")
    precisions, pattern, alias, arguments, result = match.groups()
    precisions = parse_precisions(precisions)
    if (precisions != ("",)) != ("?" in pattern):
        raise CatalogueError(f"'{pattern}': a question mark stands for the precision, and only for it")
    # Commas within brackets belong to a size.
    parsed = tuple(parse_argument(a) for a in re.split(r",(?![^\[]*\])", arguments)) if arguments.strip() else ()
    if result and (result not in TYPES or result in FUNCTION_TYPES):
        raise CatalogueError(f"unknown type '{result}'")
    if not family or kind == "layer" and not layer_family:
        raise CatalogueError(f"'{pattern}' belongs to no family")
    routine = Routine(kind, precisions, pattern, parsed, result or "void", meaning, family, layer_family, alias or "")
    check_workspaces(routine)
    return routine


def parse_published(kind, rest):
    library, *rest_of_line = rest.split()
    if library not in PUBLISHED_LIBRARIES or len(rest_of_line) < 2:
        raise CatalogueError(f"not a line of published names: '{rest}'")
    precisions, *patterns = rest_of_line
    precisions = parse_precisions(precisions)
    if wrong := [pattern for pattern in patterns if (precisions != ("",)) != ("?" in pattern)]:
        raise CatalogueError(f"'{wrong[0]}': a question mark stands for the precision, and only for it")
    return [Published(pattern.replace("?", p), library, kind == "written") for pattern in patterns for p in precisions]


def parse_service(kind, rest, meaning):
    declaration, _, target = rest.partition(" asks ")
    signature = declaration.split("(")[0].split("[")[0]
    match = re.search(r"\S[\s*](\w+)\s*$", signature)
    if not match or kind != "data" and not re.search(r"\(.*\)$", declaration.strip()):
        raise CatalogueError(f"not a {kind.replace('_', ' ')}: '{rest}'")
    return Service(kind, declaration.strip(), match.group(1), target.strip() or match.group(1), meaning)


def exported_names(routine, x_variant=False):
    """(precision, exported name) of each member."""
    prefix = PREFIX[routine.kind] + ("x" if x_variant else "")
    return [(p, prefix + routine.pattern.replace("?", p)) for p in routine.precisions]
