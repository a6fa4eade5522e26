"""What the header comments say about each argument of a routine, and where its method comes from.

A comment is prose with a table of arguments: a name, or several with commas, at least two blanks, and what is said of
them, which runs on over indented lines. Behind a full stop or a semicolon and two blanks another may begin. What a comment
leaves out is said by the comment to which it refers ("as above", "as for xgetrf", "The same for ..."), by the one at the
top of the header, which speaks for all routines in it, or else by convention.
"""

import re
from dataclasses import dataclass
from functools import cache
from itertools import islice

from comments import blocks, family_files, neighbours, top_comment
from conventions import conventional_description
from foundations import foundations
from paragraphs import of_comment

NAMES = r"[a-z]\w*(?:\.\.\.| \.\.\. [a-z]\w*)?(?:, [a-z]\w*(?:\.\.\.)?)*"
FIRST_OF_ROW = re.compile(rf"({NAMES}) {{2,}}(\S.*)")
NEXT_IN_ROW = re.compile(rf"(?:;|(?<=\.)) {{2}}({NAMES}) {{2}}(?=\S)")
# What headers call an argument whose name and type differ between real and complex members.
OTHER_NAMES = {"iwork": "second", "rwork": "second"}
REFERENCE = re.compile(r"\b(?:as|by|for|like|of) (?:for |of |by |left by )?x?([a-z][a-z0-9]+)\b")
# In parentheses, with a year.
PAPER = re.compile(r"\(([A-Z](?:[^()]|\([^()]*\))*?\d{4}[^()]*)\)")


@dataclass
class Comment:
    """`prose` is what stands outside the table, in its lines."""

    prose: str
    arguments: dict

    def of(self, name, all_names=()):
        """`all_names`, in their order, tell what lies between two of them: "n1 ... n4"."""
        for key, text in self.arguments.items():
            if key == name or key == OTHER_NAMES.get(name) or key.endswith("...") and name.startswith(key[:-3]):
                return text
            first, _, last = key.partition(" ... ")
            if last and first in all_names and last in all_names:
                if name in all_names[all_names.index(first):all_names.index(last) + 1]:
                    return text
        return None

    def is_by_reference(self):
        """A table alone, too, says only what is other than above."""
        words = re.search(r"\b(?:same|above|as)\b", self.prose) is not None
        return not self.prose or words or "as above" in self.arguments.values()

    def sentence_with(self, name):
        """What is said of an argument in passing, by the prose or of another argument."""
        symbol = rf"\b{name}\b"
        pattern = r"\ba\b(?=[(+,]| [-+/*:<>=])" if name == "a" else symbol  # "a" elsewhere is a word
        for piece in of_comment(self.prose):
            if piece.kind == "code" and re.search(symbol, piece.text):
                return f"as in the formula: {first_line_with(symbol, piece.text)}"
            for sentence in re.split(r"(?<=[.:;])(?<!\.\.\.)\s+", piece.text):
                if piece.kind == "text" and re.search(pattern, sentence):
                    return sentence.rstrip(":;")
        for key, text in self.arguments.items():
            if re.search(pattern, text):
                return f"see {key}: {text}"
        return None


def parse_comment(text, known_names):
    """`known_names` tells names of arguments from words of a sentence that stand apart."""
    prose, arguments, current = [], {}, []

    def begin(names, value):
        current[:] = [name.strip() for name in names.split(",")]
        for name in current:
            arguments.setdefault(name, value)

    def is_known(names):
        return all(n.strip().endswith("...") or n.strip() in known_names for n in re.split(",| \\.\\.\\. ", names))

    def take(value):
        """The text of the argument at hand, up to another one in the same line."""
        start = next((m for m in NEXT_IN_ROW.finditer(value) if is_known(m.group(1))), None)
        own = value[:start.start()] if start else value
        for name in current:
            arguments[name] = f"{arguments[name]} {own}".strip()
        if start:
            begin(start.group(1), "")
            take(value[start.end():])

    for line in text.splitlines():
        row = FIRST_OF_ROW.match(line)
        if row and is_known(row.group(1)):
            begin(row.group(1), "")
            take(row.group(2))
        elif current and line.startswith("  "):
            take(line.strip())
        else:
            current = []
            prose.append(line)
    return Comment("\n".join(prose).strip("\n"), arguments)


def first_line_with(pattern, text):
    return next(" ".join(line.split()) for line in text.splitlines() if re.search(pattern, line))


@cache
def commented_blocks(path, known_names):
    return [(names, parse_comment(text, known_names)) for names, text in blocks(path.read_text())]


@cache
def commented_top(path, known_names):
    return parse_comment(top_comment(path), known_names)


def papers(text):
    """The papers that a text names, each once and without line breaks."""
    found = [" ".join(match.split()) for match in PAPER.findall(text)]
    return list(dict.fromkeys(paper for paper in found if '"' in paper or "," in paper))


class Descriptions:
    """Of all routines of a catalogue, from the sources under `root`."""

    def __init__(self, root, routines):
        self.root = root
        self.known_names = frozenset(a.name for r in routines for a in r.arguments) | set(OTHER_NAMES.values())
        self.places = {}

    def place(self, routine):
        """(file, its blocks, positions of those that declare the routine)"""
        key = routine.family, routine.function
        if key not in self.places:
            self.places[key] = self.find(*key)
        return self.places[key]

    def find(self, family, function):
        for file in family_files(self.root, family) + neighbours(self.root, family):
            found = commented_blocks(file, self.known_names)
            positions = [i for i, (names, _) in enumerate(found) if {function, "x" + function} & set(names)]
            if positions:
                return file, found, positions
        return None, [], []

    def own_comments(self, routine):
        _, found, positions = self.place(routine)
        return [found[i][1] for i in positions]

    def family_comment(self, routine):
        file, _, _ = self.place(routine)
        return commented_top(file, self.known_names) if file else Comment("", {})

    def of_argument(self, routine, argument):
        """(what is said, where: own, reference, family, convention or prose)"""
        _, found, positions = self.place(routine)
        names = [a.name for a in routine.arguments]
        own = [found[i][1] for i in positions]
        if is_complex(routine):
            own.reverse()
        shared = self.family_comment(routine).of(argument.name, names)
        for comment in own:
            text = comment.of(argument.name, names)
            if text and text != "as above":
                return joined(argument.name, shared, text), "own"
        # The workspace of a routine like another is its own.
        if any(c.is_by_reference() for c in own) and not argument.is_scratch:
            for comment in referred(found, positions[0], own):
                if text := comment.of(argument.name, names):
                    return joined(argument.name, shared, text), "reference"
        if shared:
            return shared, "family"
        if text := conventional_description(routine, argument):
            return text, "convention"
        asked = own + [self.family_comment(routine)]
        if any(c.is_by_reference() for c in own):
            asked[-1:-1] = islice(referred(found, positions[0], own), 2)
        passing = (c.sentence_with(argument.name) for c in asked)
        return next(filter(None, passing), None), "prose"

    def sources(self, routine):
        """What the routine's own comment names, or that of its header, or a comment on another routine there; else what is
        common knowledge."""
        _, found, _ = self.place(routine)
        for comments in (self.own_comments(routine), [self.family_comment(routine)], [c for _, c in found]):
            if named := papers("\n\n".join(c.prose for c in comments)):
                return named
        return foundations(routine.family)


def joined(name, shared, own):
    """What a header says of an argument in all its routines, and what it says in one: more of it, where that begins with the
    whole of the first or with its last clause."""
    if not shared or name == "info" and own.startswith(("0", "in:")):
        return own
    for said in (shared, shared.rpartition("; ")[2]):
        if own.startswith(said) and own[len(said):][:1] in ("", ";", ",", "."):
            return shared + own[len(said):]
    return f"{shared}. Here: {own}"


def is_complex(routine):
    return all(p[:1] in "cz" and p for p in routine.precisions)


def referred(found, position, own):
    """Comments that others refer to: those of the functions they name, then what stands above, nearest first."""
    named = {name for comment in own for name in REFERENCE.findall(comment.prose)}
    for names, comment in found:
        if named & {n.removeprefix("x") for n in names}:
            yield comment
    for _, comment in reversed(found[:position]):
        yield comment
        if not comment.is_by_reference():
            return
