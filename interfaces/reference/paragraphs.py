"""The text of comments and of the pages under docs/, in pieces that HTML and manual pages are made of.

Of Markdown it knows what those pages use: headings, paragraphs, code that is indented or fenced, items with a dash, `code`
and [links](to.md).
"""

import re
from dataclasses import dataclass


@dataclass(frozen=True)
class Piece:
    """`kind` is heading, text, code or item; `level` is that of a heading."""

    kind: str
    text: str
    level: int = 0


def of_comment(text):
    """Paragraphs joined to one line each; what is indented stays as it is."""
    for block in re.split(r"\n\s*\n", text):
        lines = block.splitlines()
        if any(line.startswith("  ") for line in lines):
            plain = [line for line in lines if not line.startswith("  ")]
            if len(plain) == 0:
                yield Piece("code", "\n".join(line.strip() for line in lines))
                continue
            # A sentence, and formulas or rows of a table below it.
            yield from grouped(lines)
        elif lines:
            yield Piece("text", " ".join(lines))


def grouped(lines):
    start = 0
    for i in range(1, len(lines) + 1):
        if i == len(lines) or lines[i].startswith("  ") != lines[start].startswith("  "):
            part = lines[start:i]
            if part[0].startswith("  "):
                yield Piece("code", "\n".join(line[2:] for line in part))
            else:
                yield Piece("text", " ".join(part))
            start = i


def blocks_of_markdown(text):
    """What empty lines divide, but for code, which goes on over them; fenced code comes indented."""
    text = re.sub(r"^```\w*\n(.*?)^```$", lambda m: re.sub(r"^(?=.)", "    ", m[1], flags=re.M), text, flags=re.M | re.S)
    blocks = []
    for block in re.split(r"\n{2,}", text.strip("\n")):
        if block.startswith("    ") and blocks and blocks[-1].startswith("    "):
            blocks[-1] += "\n\n" + block
        else:
            blocks.append(block)
    return blocks


def of_markdown(text):
    for block in blocks_of_markdown(text):
        lines = block.splitlines()
        if match := re.match(r"(#+) (.*)", block):
            yield Piece("heading", match[2], len(match[1]))
        elif all(line.startswith("    ") or not line for line in lines):
            yield Piece("code", "\n".join(line[4:] for line in lines))
        elif lines[0].startswith("- "):
            for item in re.split(r"\n(?=- )", block):
                yield Piece("item", " ".join(line.strip() for line in item[2:].splitlines()))
        else:
            yield Piece("text", " ".join(lines))


def split_markup(text):
    """(kind, text, target) of runs of plain text, `code` and [links](target)."""
    for run in re.split(r"(`[^`]+`|\[[^\]]+\]\([^)]+\))", text):
        if run.startswith("`"):
            yield "code", run.strip("`"), ""
        elif match := re.fullmatch(r"\[([^\]]+)\]\(([^)]+)\)", run):
            yield "link", match[1].replace("`", ""), match[2]
        elif run:
            yield "plain", run, ""
