"""What the reference says, before it takes a form: a page for each operation, with its precisions together."""

import re
from collections import defaultdict
from dataclasses import dataclass, field

from descriptions import Descriptions, is_complex
from entries import Catalogue, exported_names, parse

AREAS = {
    "solvers": "Systems of linear equations",
    "orthogonal": "Orthogonal factorisations and least squares",
    "symmetric": "Symmetric and Hermitian eigenproblems",
    "svd": "Singular values",
    "nonsymmetric": "Other eigenproblems",
    "generalised": "Generalised eigenproblems",
    "level3": "Products and solves with matrices",
    "level2": "Products and solves with vectors",
    "level1": "Vectors",
    "special": "Kernels of their own",
    "environment": "Norms, scaling and other utilities",
    "generators": "Test matrices",
    "frame": "Options",
}


@dataclass
class Row:
    """An argument as the page shows it."""

    name: str
    type: str
    direction: str
    text: str
    origin: str


@dataclass
class Variant:
    """An entry of the catalogue: members of an operation whose arguments are alike."""

    routine: object
    members: list  # (precision, name without prefix, exported name)
    rows: list
    workspaces: list  # (name, size in words)

    @property
    def principal(self):
        """The member that stands for all: that in double precision where there is one."""
        return min(self.members, key=lambda member: (member[0] not in ("d", "z", "dz", "zd"), self.members.index(member)))


@dataclass
class Page:
    name: str
    area: str
    topic: str
    meaning: str
    family: str
    variants: list = field(default_factory=list)
    prose: list = field(default_factory=list)
    family_prose: str = ""
    sources: list = field(default_factory=list)
    speeds: list = field(default_factory=list)  # (member, size, rate in words, share of the limit)
    neighbours: list = field(default_factory=list)  # other pages of the family

    @property
    def members(self):
        return [member for variant in self.variants for member in variant.members]

    @property
    def principal(self):
        """Name of the manual page, without its prefix."""
        return self.variants[0].principal[1]


def read_catalogue(folder):
    """([(topic, routines)], services): a topic is what the comment at the top of a file of the catalogue says."""
    topics, services = [], []
    for file in sorted(folder.glob("*.cat")):
        text = file.read_text()
        catalogue = parse(text, file.name)
        comment = re.match(r"(?:#.*\n)+", text)
        topic = " ".join(line.lstrip("# ") for line in comment.group(0).splitlines()) if comment else file.stem
        topics.append((topic, catalogue.routines))
        services += catalogue.services
    return topics, services


def page_name(routine):
    return routine.pattern.replace("?", "")


def direction(argument, text):
    if argument.is_scratch:
        return "workspace"
    if argument.const or not (argument.pointer or argument.out):
        return "in"
    goes_out = argument.out or re.search(r"\bout\b|\breturns?\b", text)
    comes_in = re.search(r"\bin(?:[,;.]|$| and\b)|\bdestroyed\b|\bin place\b|\bin: ", text)
    if goes_out:
        return "in and out" if comes_in else "out"
    return "in and out" if comes_in else "written"


def size_in_words(argument):
    workspace = argument.workspace
    if workspace.is_asked:
        return f"as many elements as l{argument.name} says; l{argument.name} = -1 asks for the best number, which {argument.name}(1) returns"
    return re.sub(r"(\w+) is ([\w|]+) \? ", lambda m: f"{m[1]} = '{m[2].replace('|', chr(39) + ' or ' + chr(39))}' ? ",
                  workspace.text) + " elements"


def variant(routine, descriptions):
    precision = routine.precisions[-1] if is_complex(routine) else next(
        (p for p in routine.precisions if p == "d"), routine.precisions[0])
    rows = []
    for a in routine.arguments:
        text, origin = descriptions.of_argument(routine, a)
        kind = "T" if a.type == "T" else "R" if a.type == "R" else a.type
        rows.append(Row(a.name, kind, direction(a, text or ""), text or "", origin))
    members = [(p, routine.pattern.replace("?", p), exported) for p, exported in exported_names(routine)]
    workspaces = [(a.name, size_in_words(a)) for a in routine.scratch]
    return Variant(routine, members, rows, workspaces)


def join_paragraphs(comments):
    return [p for p in dict.fromkeys(c.prose for c in comments) if p]


def make_pages(root):
    topics, services = read_catalogue(root / "catalogue")
    descriptions = Descriptions(root, [r for _, routines in topics for r in routines])
    pages = {}
    of_family = defaultdict(list)
    for topic, routines in topics:
        for routine in routines:
            name = page_name(routine)
            if name not in pages:
                area = next(part for part in reversed(routine.family.split("/")) if part in AREAS)
                pages[name] = Page(name, area, topic, routine.meaning, routine.family)
            page = pages[name]
            page.variants.append(variant(routine, descriptions))
            page.prose = list(dict.fromkeys(page.prose + join_paragraphs(descriptions.own_comments(routine))))
            page.family_prose = page.family_prose or descriptions.family_comment(routine).prose
            page.sources = list(dict.fromkeys(page.sources + descriptions.sources(routine)))
            if page not in of_family[routine.family]:
                of_family[routine.family].append(page)
    for page in pages.values():
        page.neighbours = [other for other in of_family[page.family] if other is not page]
    return list(pages.values()), services
