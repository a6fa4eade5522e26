"""What the sources say about each routine, for whatever shows it to its users.

    comments(root)         {name of the function template: the `///` block above its declaration}
    described(routine)     what an entry of this tree means, and its comment
    family_comments(root)  {family: the `//` block at the top of its header: arguments that its routines share, sources}

`root` is the tree. A routine is declared in the header of its family, or in its source if it has none, and else in a
header of its neighbours. Texts come without comment marks, in the lines that they have there. A block counts for all
declarations up to the next empty line; real and complex members that are declared apart have their texts one behind the
other. A serial body behind a layer stub (`xgetrf`) goes by the name of its routine. A block that begins with "The same"
follows the one that it speaks of, each behind the name of its routine.
"""

import re
from functools import cache
from pathlib import Path

from entries import parse

DECLARATION = re.compile(r"(?:\[\[[\w:]+\]\] )?(?:(?:inline|constexpr) )*[\w:<>]+ (\w+)\(")


def without_marks(lines, mark):
    text = [line.removeprefix(mark) for line in lines]
    return "\n".join(line.removeprefix(" ").rstrip() for line in text).strip("\n")


def blocks(text):
    """(names, comment) of the declarations at the margin that have a `///` comment, in order."""
    names, comment, was_comment = [], [], False
    for line in text.splitlines() + [""]:
        is_comment = line.startswith("///")
        ends = not line or is_comment and not was_comment
        if ends and names:
            yield names, without_marks(comment, "///")
        if ends:
            names, comment = [], []
        if is_comment:
            comment.append(line)
        elif comment and (match := DECLARATION.match(line)):
            names.append(match.group(1))
        was_comment = is_comment


def with_what_it_refers_to(found):
    """(names, text) of blocks, where "The same" has in front of it what it is the same as."""
    base = ""
    for names, comment in found:
        if not comment.startswith("The same"):
            yield names, comment
            base = f"{names[0]}: {comment}"
        else:
            base += f"\n\n{', '.join(names)}: {comment}"
            yield names, base


@cache
def comments_of_this_tree():
    return comments(Path(__file__).resolve().parents[1])


def described(routine):
    """Meaning and comment of a routine of this tree, the meaning once."""
    comment = comments_of_this_tree().get(routine.function, "")
    if not comment or comment.startswith(routine.meaning.rstrip(".")):
        return comment or routine.meaning
    return f"{routine.meaning}\n\n{comment}"


@cache
def file_comments(path):
    """{name: text} of one file."""
    found = {}
    for names, comment in with_what_it_refers_to(blocks(path.read_text())):
        for name in dict.fromkeys(names):
            earlier = found.get(name, "")
            found[name] = comment if earlier in comment else f"{earlier}\n\n{comment}"
    return found


def family_files(root, family):
    places = [root / "src" / family, root / family]
    return [file for place in places for suffix in (".hpp", ".cpp") if (file := place.with_suffix(suffix)).exists()]


def neighbours(root, family):
    return sorted((root / "src" / family).parent.glob("*.hpp"))


def families(root):
    """{family: names of its functions}"""
    found = {}
    for file in sorted((root / "catalogue").glob("*.cat")):
        for routine in parse(file.read_text(), file.name).routines:
            found.setdefault(routine.family, {})[routine.function] = True
    return found


def comments(root):
    root = Path(root)
    texts = {}
    for family, functions in families(root).items():
        files = family_files(root, family) + neighbours(root, family)
        for function in functions:
            candidates = (file_comments(file).get(name) for file in files for name in ("x" + function, function))
            text = next(filter(None, candidates), None)
            if text:
                texts[function] = text
    return texts


def top_comment(path):
    """The `//` block behind #pragma once and the includes, if one opens the file."""
    lines = path.read_text().splitlines()
    is_text = [line.startswith("//") and not line.startswith("///") for line in lines]
    start = next((i for i, line in enumerate(lines) if line and not line.startswith("#")), len(lines))
    end = start
    while end < len(lines) and is_text[end]:
        end += 1
    return without_marks(lines[start:end], "//")


def declaring_header(root, family, functions):
    """The header of a family, or that of its neighbours which declares its first routine."""
    own = family_files(root, family)
    if own and own[0].suffix == ".hpp":
        return own[0]
    for file in neighbours(root, family):
        if re.search(rf"^[^/\s].*\bx?{functions[0]}\(", file.read_text(), re.M):
            return file
    return own[0] if own else None


def family_comments(root):
    root = Path(root)
    found = {}
    for family, functions in families(root).items():
        header = declaring_header(root, family, list(functions))
        if header and (text := top_comment(header)):
            found[family] = text
    return found
