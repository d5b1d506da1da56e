"""Finds the mutants of a source file.

Works on clang's view of the code. Left alone are proofs for the compiler
(static_assert, consteval functions), macros and declarations without a value.
"""
import contextlib
import ctypes
import dataclasses
import pathlib
import shlex

from clang import cindex
from clang.cindex import CursorKind, TokenKind, TypeKind

# Debian 12 has bindings of version 14, which knows no coroutines; those of later releases do.
with contextlib.suppress(OSError):
    ctypes.CDLL("libclang-16.so.1")
    cindex.Config.set_library_file("libclang-16.so.1")

SWAPPED = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
    "==": ["!="], "!=": ["=="], "&&": ["||"], "||": ["&&"],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"],
    "<<": [">>"], ">>": ["<<"], "&": ["|"], "|": ["&"],
    "+=": ["-="], "-=": ["+="], "|=": ["&="], "&=": ["|="],
}
SWAPPED_NAMES = {"STATUS_OK": "STATUS_FAILURE", "STATUS_FAILURE": "STATUS_OK"}
CONDITIONS = (CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.CONDITIONAL_OPERATOR)
BODIES = (CursorKind.COMPOUND_STMT, CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT)


@dataclasses.dataclass(frozen=True, order=True)
class Site:
    """One mutant: `old` at `offset` of `file` becomes `new`."""

    file: str
    offset: int
    old: str
    new: str


def is_below(root, folders, file):
    return any(pathlib.Path(file).is_relative_to(pathlib.Path(root, folder)) for folder in folders)


class Finder:
    """Walks one translation unit; `sites` is the result, in the named folders below `root`."""

    def __init__(self, root, unit, folders):
        self.root = pathlib.Path(root)
        self.folders = folders
        self.unit = unit
        self.texts = {}
        self.sites = set()
        for child in unit.cursor.get_children():
            if self.own(child):
                self.visit(child, None)

    def own(self, cursor):
        file = cursor.location.file
        return file is not None and is_below(self.root, self.folders, file.name)

    def text(self, file):
        if file not in self.texts:
            self.texts[file] = (self.root / file).read_bytes()
        return self.texts[file]

    def span(self, cursor):
        """File, start and end of the cursor, or None if a macro made it."""
        start, end = cursor.extent.start, cursor.extent.end
        if start.file is None or end.file is None or start.file.name != end.file.name:
            return None
        return str(pathlib.Path(start.file.name).relative_to(self.root)), start.offset, end.offset

    def add(self, file, start, end, new):
        old = self.text(file)[start:end].decode()
        if old != new:
            self.sites.add(Site(file, start, old, new))

    def visit(self, cursor, parent):
        kind = cursor.kind
        if kind == CursorKind.STATIC_ASSERT or self.is_proof(cursor):
            return
        span = self.span(cursor)
        if span is None:
            return
        children = list(cursor.get_children())
        if parent is not None and parent.kind in BODIES and kind.is_expression():
            # In `case A: f();` the value A is an expression, too.
            if parent.kind != CursorKind.CASE_STMT or cursor != next(parent.get_children()):
                self.add(*span, "(void)0")
        if kind == CursorKind.RETURN_STMT and children:
            if children[0].type.kind == TypeKind.VOID:
                self.add(*span, "return")
        if kind in CONDITIONS and children:
            self.negate(children[0])
        if kind == CursorKind.FOR_STMT:
            for child in children:
                if child.type.kind == TypeKind.BOOL:
                    self.negate(child)
        if kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR):
            self.swap(cursor, children)
        if kind == CursorKind.CALL_EXPR and cursor.spelling in ("operator==", "operator!="):
            self.swap_token(cursor)
        if kind == CursorKind.UNARY_OPERATOR:
            self.swap_unary(*span)
        self.literal(cursor, span)
        self.name(cursor, parent, span)
        for child in children:
            if kind == CursorKind.CASE_STMT and child == children[0]:
                continue
            self.visit(child, cursor)

    @staticmethod
    def is_proof(cursor):
        if cursor.kind not in (CursorKind.FUNCTION_DECL, CursorKind.FUNCTION_TEMPLATE):
            return False
        return any(token.spelling == "consteval" for token in cursor.get_tokens())

    def negate(self, condition):
        span = self.span(condition)
        if span is not None:
            file, start, end = span
            self.add(file, start, end, "!(" + self.text(file)[start:end].decode() + ")")

    def swap(self, cursor, children):
        if len(children) != 2:
            return
        left, right = self.span(children[0]), self.span(children[1])
        if left is None or right is None:
            return
        file = left[0]
        between = self.text(file)[left[2]:right[1]].decode()
        operator = between.strip(" \n()")
        for new in SWAPPED.get(operator, []):
            start = left[2] + between.index(operator)
            self.add(file, start, start + len(operator), new)

    def swap_token(self, cursor):
        for token in cursor.get_tokens():
            if token.spelling in ("==", "!="):
                file, start, end = self.span(token)
                self.add(file, start, end, SWAPPED[token.spelling][0])

    def swap_unary(self, file, start, end):
        text = self.text(file)[start:end].decode()
        for old, new in (("++", "--"), ("--", "++")):
            if text.startswith(old):
                self.add(file, start, start + 2, new)
        if text.startswith("!"):
            self.add(file, start, start + 1, "")

    def literal(self, cursor, span):
        file, start, end = span
        text = self.text(file)[start:end].decode()
        if cursor.kind == CursorKind.INTEGER_LITERAL and text[:1].isdigit():
            self.add(file, start, end, f"({text} + 1)")
            if text.strip("0xXuUlL") != "":
                self.add(file, start, end, f"({text} - 1)")
        elif cursor.kind == CursorKind.FLOATING_LITERAL:
            self.add(file, start, end, f"({text} + 1)")
        elif cursor.kind == CursorKind.CHARACTER_LITERAL:
            self.add(file, start, end, f"char({text} + 1)")
        elif cursor.kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.add(file, start, end, "false" if text == "true" else "true")
        elif cursor.kind == CursorKind.STRING_LITERAL:
            # Each of several texts in a row, at its beginning.
            for token in cursor.get_tokens():
                if token.kind == TokenKind.LITERAL and token.spelling.startswith('"'):
                    where = self.span(token)
                    if where is not None:
                        self.add(file, where[1], where[1] + 1, '"X')

    def name(self, cursor, parent, span):
        """Another status, or the next one of an enumeration."""
        if cursor.kind != CursorKind.DECL_REF_EXPR or cursor.referenced is None:
            return
        file, start, end = span
        text = self.text(file)[start:end].decode()
        last = text.split("::")[-1]
        if last in SWAPPED_NAMES:
            self.add(file, start, end, text[: -len(last)] + SWAPPED_NAMES[last])
        if cursor.referenced.kind == CursorKind.ENUM_CONSTANT_DECL and self.own(cursor.referenced):
            names = [c.spelling for c in cursor.referenced.semantic_parent.get_children()]
            new = names[(names.index(last) + 1) % len(names)]
            self.add(file, start, end, text[: -len(last)] + new)


def find_sites(root, command, folders):
    """Sites of the translation unit that the entry `command` of
    compile_commands.json compiles, and the files of the folders that it consists of."""
    arguments = [word for word in shlex.split(command["command"]) if word.startswith(("-I", "-D"))]
    # What Asio's coroutines need of clang.
    arguments += ["-std=c++20", "-DASIO_HAS_CO_AWAIT=1", "-DASIO_HAS_STD_COROUTINE=1"]
    unit = cindex.Index.create().parse(command["file"], args=arguments)
    errors = [str(d) for d in unit.diagnostics if d.severity >= cindex.Diagnostic.Error]
    if errors:
        raise RuntimeError("\n".join(errors))
    files = {command["file"]} | {str(i.include.name) for i in unit.get_includes()}
    own = {pathlib.Path(f) for f in files if is_below(root, folders, f)}
    return Finder(root, unit, folders).sites, {str(f.relative_to(root)) for f in own}
