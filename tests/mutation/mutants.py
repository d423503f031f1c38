# SPDX-License-Identifier: Apache-2.0
"""Finds what can be changed in a source file, and rewrites the file so that it holds all changes at once.

The places come from clang's syntax tree. Each place is wrapped in a call of mutation.h that gets the number of the
place's first mutant, so one build serves every mutant. Where the language requires a constant (the size of an
array, a constexpr definition) there can be no call: those are edits of the text, each with a build of its own.
"""
from __future__ import annotations

import dataclasses
import pathlib
import re

from clang.cindex import Cursor, CursorKind as Kind, Index, TypeKind

COMPARISONS = {"<": ("less", "<=", ">="), "<=": ("lessEqual", "<", ">"), ">": ("greater", ">=", "<="),
               ">=": ("greaterEqual", ">", "<"), "==": ("equal", "!="), "!=": ("notEqual", "==")}
ARITHMETIC = {"+": ("add", "-"), "-": ("subtract", "+"), "*": ("multiply", "/"), "/": ("divide", "*", "%"),
              "%": ("modulo", "*", "/"), "+=": ("addTo", "-="), "-=": ("subtractFrom", "+=")}
STEPS = {("++", True): ("stepUp", "--"), ("--", True): ("stepDown", "++"),
         ("++", False): ("stepUpAfter", "--"), ("--", False): ("stepDownAfter", "++")}
FUNCTIONS = {Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
             Kind.FUNCTION_TEMPLATE}
INTEGERS = {TypeKind.INT, TypeKind.UINT, TypeKind.LONG, TypeKind.ULONG, TypeKind.LONGLONG, TypeKind.ULONGLONG,
            TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.UCHAR, TypeKind.SHORT, TypeKind.USHORT}
GUARDS = re.compile(r"const ((?:jorn::)?(?:MutexGuard|WalkGuard)) \w+([(;])")
PRINT = re.compile(r"JORN_PRINT(?:_TEXT)?\(([^,]+),")
LITERAL = re.compile(r"(\d+|'(\\.|[^'])')[uUlL]*$")


@dataclasses.dataclass
class Mutant:
    """One change. `key` distinguishes it from all others, whatever is added to the file around it."""
    file: str
    function: str
    original: str
    changed: str
    number: int = 0                    # what activates it in the one build; 0 when it needs its own
    edit: tuple[int, int, str] | None = None  # the text edit of one that needs its own build
    constant: str | None = None        # the named constant whose definition is edited
    again: int = 1                     # which of the same changes in one function it is

    @property
    def key(self) -> str:
        repeat = f" ({self.again})" if self.again > 1 else ""
        return f"{self.file}: {self.function}: `{self.original}` -> `{self.changed}`{repeat}"


class SourceFile:
    """The wrappers in one file, and the file's text with them."""

    def __init__(self, path: pathlib.Path) -> None:
        self.data = path.read_bytes()
        self.opens: dict[int, list[tuple[int, int, str]]] = {}
        self.closes: dict[int, list[tuple[int, int, str]]] = {}
        self.replaced: dict[int, tuple[int, str]] = {}
        self.sequence = 0
        self.seen: set[tuple[int, int, str]] = set()

    def text(self, start: int, end: int) -> str:
        return " ".join(self.data[start:end].decode().split())

    def line_with(self, start: int, end: int, value: str) -> tuple[str, str]:
        """The line of a place unchanged, and with another text at the place."""
        line, line_end = self.data.rfind(b"\n", 0, start) + 1, self.data.index(b"\n", end)
        changed = self.data[line:start].decode() + value + self.data[end:line_end].decode()
        return self.text(line, line_end), " ".join(changed.split())

    def wrap(self, start: int, end: int, before: str, after: str) -> None:
        self.sequence += 1
        self.opens.setdefault(start, []).append((-end, self.sequence, before))
        self.closes.setdefault(end, []).append((-start, -self.sequence, after))

    def replace(self, start: int, end: int, text: str) -> None:
        self.replaced[start] = (end, text)

    def rewritten(self) -> bytes:
        result = bytearray()
        position = 0
        for mark in sorted({*self.opens, *self.closes, *self.replaced}):
            if mark < position:
                raise ValueError(f"wrapping within a replaced text: {self.text(mark, mark + 40)}")
            result += self.data[position:mark]
            position = mark
            for _, _, text in sorted(self.closes.get(mark, [])) + sorted(self.opens.get(mark, [])):
                result += text.encode()
            if mark in self.replaced:
                position, text = self.replaced[mark]
                result += text.encode()
        return bytes(result + self.data[position:])


class Finder:
    """Walks the syntax trees of the module's sources and collects their mutants."""

    def __init__(self, root: pathlib.Path) -> None:
        self.root = root
        self.files: dict[str, SourceFile] = {}
        self.mutants: list[Mutant] = []
        self.places: dict[int, int] = {}  # by mutant, the number that its place calls with
        self.fixed: set[str] = set()  # named constants that something constant depends on
        self.next_number = 1

    def scan(self, source: pathlib.Path, arguments: list[str]) -> None:
        unit = Index.create().parse(str(source), arguments)
        errors = [str(d) for d in unit.diagnostics if d.severity >= 3]
        if errors:
            raise SystemExit("\n".join(errors))
        for cursor in unit.cursor.get_children():
            path = pathlib.Path(cursor.location.file.name).resolve() if cursor.location.file else None
            if path and path.is_relative_to(self.root / "src"):
                name = str(path.relative_to(self.root))
                FileWalk(self, name, self.files.setdefault(name, SourceFile(path))).declaration(cursor)

    def finish(self) -> None:
        """Leaves out edits of constants that nothing constant depends on, as each use is a place of its own, and
        numbers the changes that occur more than once in a function."""
        self.mutants = [mutant for mutant in self.mutants if mutant.constant is None or mutant.constant in self.fixed]
        counts: dict[str, int] = {}
        for mutant in self.mutants:
            counts[mutant.key] = mutant.again = counts.get(mutant.key, 0) + 1


class FileWalk:
    """The walk over the declarations of one file."""

    def __init__(self, finder: Finder, name: str, source: SourceFile) -> None:
        self.finder, self.name, self.source, self.function = finder, name, source, ""

    # What a place is changed into.

    def is_new(self, start: int, end: int, what: str) -> bool:
        """Whether a place was not seen before: a header is walked once for each file that includes it."""
        place = (start, end, what)
        if place in self.source.seen:
            return False
        self.source.seen.add(place)
        return True

    def claim(self, original: str, changes: list[str]) -> int:
        """Numbers the mutants of a place; the first number is the place's."""
        first = self.finder.next_number
        for changed in changes:
            self.finder.places[self.finder.next_number] = first
            self.finder.mutants.append(
                Mutant(self.name, self.function, original, changed, number=self.finder.next_number))
            self.finder.next_number += 1
        return first

    def call(self, cursor: Cursor, function: str, changes: list[str]) -> None:
        """Wraps an expression as the last argument of a call."""
        start, end = extent(cursor)
        if self.is_new(start, end, function):
            place = self.claim(self.source.text(start, end), changes)
            self.source.wrap(start, end, f"mutation::{function}({place}, ", ")")

    def constant(self, cursor: Cursor, text: str) -> None:
        """One more and one less. Identified by the whole line, as many lines hold a 0 or a 1."""
        start, end = extent(cursor)
        if self.is_new(start, end, "constant"):
            line = self.source.line_with(start, end, text)[0]
            values = f"({text} + 1)", f"({text} - 1)"
            place = self.claim(line, [self.source.line_with(start, end, value)[1] for value in values])
            self.source.wrap(start, end, f"mutation::constant({place}, ", ")")

    def negate(self, cursor: Cursor) -> None:
        text = self.source.text(*extent(cursor))
        plain = text[1:] if cursor.kind == Kind.UNARY_OPERATOR else f"!({text})"
        start, end = extent(cursor)
        if self.is_new(start, end, "negated"):
            place = self.claim(text, [plain])
            self.source.wrap(start, end, f"mutation::negated({place}, static_cast<bool>(", "))")

    def remove(self, cursor: Cursor) -> None:
        start, end = extent(cursor)
        if self.is_new(start, end, "remove"):
            place = self.claim(self.source.text(start, end) + ";", [""])
            self.source.wrap(start, end, f"if (!mutation::isActive({place})) ", "")

    def operator(self, cursor: Cursor, left: Cursor, right: Cursor, sign: str) -> None:
        """Turns a binary operation into a call, or lets a logical one choose between && and || (which are each
        other's negation with both sides negated, so the right side is still evaluated only when needed)."""
        start, end = extent(cursor)
        between = extent(left)[1], extent(right)[0]
        if not self.is_new(start, end, sign):
            return
        sides = self.source.text(start, between[0]), self.source.text(between[1], end)
        others = {"&&": ("", "||"), "||": ("", "&&")}.get(sign) or COMPARISONS.get(sign) or ARITHMETIC[sign]
        place = self.claim(self.source.text(start, end), [f"{sides[0]} {other} {sides[1]}" for other in others[1:]])
        if sign in ("&&", "||"):
            side = f"mutation::negated({place}, static_cast<bool>("
            self.source.wrap(start, end, f"mutation::negated({place}, {side}", ")))")
            self.source.replace(*between, f")) {sign} {side}")
        else:
            self.source.wrap(start, end, f"mutation::{others[0]}({place}, ", ")")
            self.source.replace(*between, ", ")

    def step(self, cursor: Cursor, operand: Cursor) -> None:
        start, end = extent(cursor)
        inner = extent(operand)
        is_prefix = inner[0] > start
        sign = self.source.text(start, inner[0]) if is_prefix else self.source.text(inner[1], end)
        function, other = STEPS[(sign, is_prefix)]
        if not self.is_new(start, end, sign):
            return
        name = self.source.text(*inner)
        place = self.claim(self.source.text(start, end), [other + name if is_prefix else name + other])
        if is_prefix:
            self.source.replace(start, inner[0], f"mutation::{function}({place}, ")
            self.source.wrap(inner[0], end, "", ")")
        else:
            self.source.wrap(start, end, f"mutation::{function}({place}, ", "")
            self.source.replace(inner[1], end, ")")

    def edit(self, cursor: Cursor, constant: str | None) -> None:
        """A value that has to stay a constant: one more, one less, as edits of the text."""
        start, end = extent(cursor)
        text = self.source.text(start, end)
        if cursor.kind == Kind.INTEGER_LITERAL and re.fullmatch(r"\d+", text) and self.is_new(start, end, "edit"):
            for value in (str(int(text) + 1), str(int(text) - 1)):
                self.finder.mutants.append(Mutant(
                    self.name, self.function or "constants", *self.source.line_with(start, end, value),
                    edit=(start, end, value), constant=constant))

    # The walk.

    def declaration(self, cursor: Cursor) -> None:
        if cursor.kind in FUNCTIONS:
            self.function = cursor.spelling.split("<")[0] if cursor.kind != Kind.DESTRUCTOR else cursor.spelling
            for child in cursor.get_children():
                if child.kind == Kind.COMPOUND_STMT:
                    self.statement(child)
                elif child.kind not in (Kind.PARM_DECL, Kind.MEMBER_REF, Kind.TYPE_REF, Kind.NAMESPACE_REF):
                    self.expression(child)  # the initialisers of a constructor
            self.function = ""
        elif cursor.kind == Kind.STATIC_ASSERT:
            return
        elif cursor.kind in (Kind.VAR_DECL, Kind.FIELD_DECL):
            self.variable(cursor)
        else:
            for child in cursor.get_children():
                self.declaration(child)

    def variable(self, cursor: Cursor) -> None:
        """A constant or a field is edited, in an array only its size; other variables hold expressions."""
        start, end = extent(cursor)
        declared = self.source.text(start, end)
        is_array = cursor.type.kind in (TypeKind.CONSTANTARRAY, TypeKind.INCOMPLETEARRAY)
        is_constant = "constexpr" in self.source.text(self.source.data.rfind(b"\n", 0, start) + 1, end)
        if GUARDS.match(declared):
            self.guard(cursor, declared)
            return
        for child in cursor.get_children():
            if cursor.kind == Kind.FIELD_DECL or is_array or is_constant:
                for node in child.walk_preorder():
                    self.edit(node, cursor.spelling if is_constant and not is_array else None)
                    if node.kind == Kind.DECL_REF_EXPR:
                        self.finder.fixed.add(node.spelling)
            else:
                self.expression(child)

    def guard(self, cursor: Cursor, declared: str) -> None:
        """Lets a scope guard be left out."""
        start, end = extent(cursor)
        if not self.is_new(start, end, "guard"):
            return
        place = self.claim(declared + ";", [""])
        found = re.match(r"const ([\w:]+) (\w+)", declared)
        assert found
        name_end = start + len(found[0])
        arguments = self.source.data[name_end:end].decode()
        rest = f", {arguments[1:]}" if arguments else ")"
        self.source.replace(start, end, f"const mutation::Dropped<{found[1]}> {found[2]}({place}{rest}")

    def statement(self, cursor: Cursor) -> None:
        start, _ = extent(cursor)
        printed = PRINT.match(self.source.data[start:start + 300].decode(errors="replace"))
        if printed:
            self.print_level(start, printed)
            return
        if cursor.kind == Kind.COMPOUND_STMT:
            for child in cursor.get_children():
                if is_removable(child, self.source):
                    self.removable(child)
                self.statement(child)
        elif cursor.kind == Kind.DECL_STMT:
            for child in cursor.get_children():
                if child.kind == Kind.VAR_DECL:
                    self.variable(child)
        elif cursor.kind == Kind.RETURN_STMT:
            for child in cursor.get_children():
                self.result(child)
        elif cursor.kind in (Kind.IF_STMT, Kind.WHILE_STMT, Kind.FOR_STMT):
            self.branch(cursor)
        elif cursor.kind.is_expression():
            self.expression(cursor)
        else:
            for child in cursor.get_children():
                self.statement(child)

    def branch(self, cursor: Cursor) -> None:
        """The condition, or the heads of a loop, and what depends on them."""
        head = self.source.data[extent(cursor)[0]:][:12]
        for index, child in enumerate(cursor.get_children()):
            if head.startswith(b"if constexpr") and index == 0:
                continue
            if child.kind == Kind.VAR_DECL:
                self.variable(child)
            elif child.kind.is_expression():
                inner = stripped(child)
                if cursor.kind == Kind.IF_STMT and inner.kind == Kind.BINARY_OPERATOR and \
                        self.sign(inner) in ("&&", "||"):
                    self.negate(inner)
                self.expression(child)
            else:
                self.statement(child)

    def removable(self, cursor: Cursor) -> None:
        printed = PRINT.match(self.source.data[extent(cursor)[0]:][:300].decode(errors="replace"))
        if printed is None:
            self.remove(cursor)

    def print_level(self, start: int, printed: re.Match[str]) -> None:
        """A message: not printed at all, or printed from another level on."""
        end = self.source.data.index(b";", self.source.data.index(b'"', start))
        while self.source.data[end - 1:end] != b")":  # a semicolon within the text
            end = self.source.data.index(b";", end + 1)
        if not self.is_new(start, end, "print"):
            return
        place = self.claim(self.source.text(start, end) + ";", [""])
        self.source.wrap(start, end, f"if (!mutation::isActive({place})) ", "")
        level = start + printed.start(1), start + printed.end(1)
        whole = self.source.text(start, end)
        name = printed[1]
        place = self.claim(whole, [whole.replace(name, f"{name} {change}", 1) for change in ("+ 1", "- 1")])
        self.source.wrap(*level, f"mutation::constant({place}, ", ")")

    def result(self, cursor: Cursor) -> None:
        """A returned value becomes 0 and -1, unless its own changes test more."""
        inner = stripped(cursor)
        kind = cursor.type.get_canonical().kind
        is_plain = inner.kind in (Kind.INTEGER_LITERAL, Kind.UNARY_OPERATOR, Kind.CXX_NULL_PTR_LITERAL_EXPR,
                                  Kind.CXX_BOOL_LITERAL_EXPR) or is_named_constant(inner)
        text = self.source.text(*extent(cursor))
        if not is_plain and kind in INTEGERS:
            self.call(cursor, "returned", ["0", "-1"])
        elif not is_plain and kind == TypeKind.POINTER and text != '""':
            self.call(cursor, "returned", ["nullptr"])
        self.expression(cursor)

    def sign(self, cursor: Cursor) -> str:
        left, right = list(cursor.get_children())
        return self.source.text(extent(left)[1], extent(right)[0])

    def expression(self, cursor: Cursor) -> None:
        kind = cursor.kind
        children = list(cursor.get_children())
        if kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            sign = self.sign(cursor)
            if sign in COMPARISONS or sign in ARITHMETIC or sign in ("&&", "||"):
                self.operator(cursor, children[0], children[1], sign)
        elif kind == Kind.UNARY_OPERATOR:
            text = self.source.text(*extent(cursor))
            if text.startswith("!"):
                self.negate(cursor)
                self.within_negation(children[0])
                return
            if text.startswith(("++", "--")) or (text.endswith(("++", "--")) and not text.startswith("*")):
                self.step(cursor, children[0])
        elif kind in (Kind.INTEGER_LITERAL, Kind.CHARACTER_LITERAL):
            text = self.source.text(*extent(cursor))
            if LITERAL.match(text):
                self.constant(cursor, text)
        elif kind == Kind.CXX_BOOL_LITERAL_EXPR:
            start, end = extent(cursor)
            if self.is_new(start, end, "bool"):
                text = self.source.text(start, end)
                place = self.claim(text, ["true" if text == "false" else "false"])
                self.source.wrap(start, end, f"mutation::negated({place}, ", ")")
        elif kind == Kind.DECL_REF_EXPR and is_named_constant(cursor):
            self.constant(cursor, self.source.text(*extent(cursor)))
        elif is_negatable(cursor, children):
            self.negate(cursor)
        if kind == Kind.CXX_UNARY_EXPR:  # sizeof evaluates nothing but a type
            return
        for child in children:
            self.expression(child)

    def within_negation(self, cursor: Cursor) -> None:
        """The operand of `!` is not negated once more; its parts are changed like any others."""
        while cursor.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR) and len(list(cursor.get_children())) == 1:
            cursor = next(cursor.get_children())
        if cursor.kind in (Kind.CALL_EXPR, Kind.MEMBER_REF_EXPR):
            for child in cursor.get_children():
                self.expression(child)
        elif cursor.kind != Kind.DECL_REF_EXPR:
            self.expression(cursor)


def extent(cursor: Cursor) -> tuple[int, int]:
    return cursor.extent.start.offset, cursor.extent.end.offset


def stripped(cursor: Cursor) -> Cursor:
    """The expression below parentheses and what the compiler adds."""
    while cursor.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR):
        children = list(cursor.get_children())
        if len(children) != 1:
            break
        cursor = children[0]
    return cursor


def is_removable(cursor: Cursor, source: SourceFile) -> bool:
    inner = stripped(cursor)
    if inner.kind == Kind.BINARY_OPERATOR:
        left, right = list(inner.get_children())
        return source.text(extent(left)[1], extent(right)[0]) == "="
    if inner.kind == Kind.RETURN_STMT:
        return not list(inner.get_children())
    return inner.kind in (Kind.CALL_EXPR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.UNARY_OPERATOR,
                          Kind.CONTINUE_STMT, Kind.BREAK_STMT)


def is_named_constant(cursor: Cursor) -> bool:
    target = cursor.referenced
    return (target is not None and target.kind == Kind.VAR_DECL and re.match(r"k[A-Z]", target.spelling) is not None
            and cursor.type.get_canonical().kind in INTEGERS)


def is_negatable(cursor: Cursor, children: list[Cursor]) -> bool:
    """A value of type bool that is not an operation: those have changes of their own."""
    if cursor.type.get_canonical().kind != TypeKind.BOOL:
        return False
    if cursor.kind == Kind.CALL_EXPR:
        return True
    return (cursor.kind == Kind.UNEXPOSED_EXPR and len(children) == 1 and
            children[0].kind in (Kind.DECL_REF_EXPR, Kind.MEMBER_REF_EXPR) and
            children[0].type.get_canonical().kind == TypeKind.BOOL)
