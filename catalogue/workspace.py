"""How much workspace a routine wants: what stands in brackets behind an argument of its entry.

    T* work [3*n]                       so many elements; one at least, whatever comes out
    T* work [side is L ? n : m]         by the letter of an option, or the value of an integer
    T* work [(side is L ? n : m) by k]  a matrix; ldwork is the first of both sizes
    T* work [query]                     what the routine answers in the first element when lwork is -1
    T* work [query, at least m]         the same, where the routine answers with less than it takes
    T* work [kept]                      none: what the routine finds or leaves there belongs to its caller

Sizes are made of the routine's other arguments by + - * ( ), max, min, and log2, the least l with 2^l >= its argument.
`is L|R` holds for any of these letters in either case.
"""

import re
from dataclasses import dataclass


class SizeError(Exception):
    pass


@dataclass(frozen=True)
class Size:
    """A node of an expression: `kind` is number, name, choice, or an operator or function with operands."""

    kind: str
    operands: tuple

    def names(self):
        if self.kind in ("name", "choice"):
            yield self.operands[0]
        for operand in self.operands:
            if isinstance(operand, Size):
                yield from operand.names()


@dataclass(frozen=True)
class Workspace:
    text: str
    rows: Size = None
    columns: Size = None
    # What is enough though the routine answers with less.
    least: Size = None

    @property
    def is_asked(self):
        return self.text.startswith("query")

    @property
    def is_kept(self):
        return self.text == "kept"

    def names(self):
        return [name for size in (self.rows, self.columns, self.least) if size for name in size.names()]


FUNCTIONS = ("max", "min", "log2")


class Parser:
    def __init__(self, text):
        self.tokens = re.findall(r"\w+|[^\w\s]", text)

    def next_is(self, *tokens):
        return bool(self.tokens) and self.tokens[0] in tokens

    def take(self, expected=None):
        if not self.tokens or expected and self.tokens[0] != expected:
            found = f"'{self.tokens[0]}'" if self.tokens else "the end"
            raise SizeError(f"{found} where {expected or 'more'} is wanted")
        return self.tokens.pop(0)

    def size(self):
        if len(self.tokens) > 1 and self.tokens[1] == "is":
            return self.choice()
        left = self.product()
        while self.next_is("+", "-"):
            left = Size(self.take(), (left, self.product()))
        return left

    def choice(self):
        name = self.take()
        self.take("is")
        values = [self.take()]
        while self.next_is("|"):
            self.take()
            values.append(self.take())
        self.take("?")
        chosen = self.size()
        self.take(":")
        return Size("choice", (name, tuple(values), chosen, self.size()))

    def product(self):
        left = self.factor()
        while self.next_is("*"):
            left = Size(self.take(), (left, self.factor()))
        return left

    def factor(self):
        token = self.take()
        if token == "(":
            inner = self.size()
            self.take(")")
            return inner
        if token in FUNCTIONS:
            self.take("(")
            operands = [self.size()]
            while self.next_is(","):
                self.take()
                operands.append(self.size())
            self.take(")")
            return Size(token, tuple(operands))
        if token.isdigit():
            return Size("number", (token,))
        if re.fullmatch(r"[a-z]\w*", token):
            return Size("name", (token,))
        raise SizeError(f"'{token}' is no size")


def parse_workspace(text):
    text = " ".join(text.split())
    if text in ("query", "kept"):
        return Workspace(text)
    asked = text.startswith("query, at least ")
    parser = Parser(text.removeprefix("query, at least "))
    try:
        rows = parser.size()
        columns = None
        if not asked and parser.next_is("by"):
            parser.take()
            columns = parser.size()
        if parser.tokens:
            raise SizeError(f"'{parser.tokens[0]}' too many")
    except SizeError as error:
        raise SizeError(f"not a size: '{text}': {error}") from None
    return Workspace(text, least=rows) if asked else Workspace(text, rows, columns)


@dataclass(frozen=True)
class Dialect:
    """How sizes are written in a language: an integer as a size, a function of sizes, the test of an option."""

    number: str
    function: str
    is_letter: str

    def size(self, size, options):
        """The code of an expression, given the names of arguments that are options."""
        code = lambda s: self.size(s, options)
        if size.kind == "number":
            return size.operands[0]
        if size.kind == "name":
            return self.number.format(size.operands[0])
        if size.kind == "choice":
            name, values, chosen, other = size.operands
            tests = [self.is_letter.format(name, v) if name in options else f"{name} == {v}" for v in values]
            return f"({' || '.join(tests)} ? {code(chosen)} : {code(other)})"
        if size.kind in FUNCTIONS:
            function = self.function.format(size.kind)
            first, *rest = [code(s) for s in size.operands]
            if not rest:
                return f"{function}({first})"
            for other in rest:
                first = f"{function}({first}, {other})"
            return first
        left, right = size.operands
        is_sum = lambda s: s.kind in "+-"
        left_code = f"({code(left)})" if is_sum(left) and size.kind == "*" else code(left)
        right_code = f"({code(right)})" if is_sum(right) else code(right)
        return f"{left_code} {size.kind} {right_code}"

    def length(self, workspace, options):
        """The code of a number of elements."""
        rows = self.size(workspace.rows, options)
        if workspace.columns is None:
            return rows
        larger, columns = self.function.format("max"), self.size(workspace.columns, options)
        return f"{larger}({rows}, 1) * {larger}({columns}, 1)"
