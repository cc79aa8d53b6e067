"""The possible changes of a source, one place at a time, from its syntax tree."""

import dataclasses
import re

from clang.cindex import CursorKind, TypeKind

COMPARISONS = {
    "==": ["!="], "!=": ["=="],
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "&": "|", "%": "*", "+=": "-=", "-=": "+=", "|=": "=",
              "<<": ">>", ">>": "<<"}
LOGICAL = {"&&", "||"}
STEPS = {"++": "--", "--": "++"}
JUMPS = {CursorKind.BREAK_STMT: "continue", CursorKind.CONTINUE_STMT: "break"}

FUNCTIONS = {CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR, CursorKind.DESTRUCTOR,
             CursorKind.CONVERSION_FUNCTION, CursorKind.FUNCTION_TEMPLATE}
STATEMENTS_WITH_CONDITION = {CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.DO_STMT, CursorKind.FOR_STMT}
MOVABLE = {CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.FOR_STMT, CursorKind.CXX_FOR_RANGE_STMT}
INTEGERS = {TypeKind.INT, TypeKind.UINT, TypeKind.LONG, TypeKind.ULONG, TypeKind.LONGLONG, TypeKind.ULONGLONG,
            TypeKind.SHORT, TypeKind.USHORT}
NAMES = {CursorKind.DECL_REF_EXPR, CursorKind.MEMBER_REF_EXPR}

# A letter of a text that belongs neither to an escape sequence nor to a format's placeholder.
PLAIN_LETTER = re.compile(r"\\.|%[-+ #*.0-9]*[a-zA-Z%]|([A-Za-z0-9])")


@dataclasses.dataclass(frozen=True)
class Place:
    """The function or variable that contains a change, and the lines that run it."""

    owner: str  # qualified
    lines: range  # of the statement around it
    owner_lines: range
    is_function: bool


@dataclasses.dataclass(frozen=True)
class Change:
    """Replaces the bytes from begin to end of a source."""

    path: str  # relative to the project's folder
    place: Place
    kind: str
    begin: int
    end: int
    text: str
    name: str = ""  # the change's name in lists of mutants

    def applied_to(self, source):
        return source[:self.begin] + self.text.encode() + source[self.end:]


def on_one_line(source):
    return " ".join(source.decode().split())


def named(changes, source):
    """The changes with names that do not depend on the rest of the source: the function, and the lines before and
    after. The second change of the same name in a function gets a number."""
    count = {}
    for change in changes:
        begin = source.rfind(b"\n", 0, change.begin) + 1
        end = source.find(b"\n", change.end)
        before = on_one_line(source[begin:end])
        after = on_one_line(source[begin:change.begin] + change.text.encode() + source[change.end:end])
        name = f"{change.path}: {change.place.owner}: {before} -> {after}"
        count[name] = count.get(name, 0) + 1
        yield dataclasses.replace(change, name=name if count[name] == 1 else f"{name} ({count[name]})")


def qualified_name(cursor):
    names = []
    while cursor is not None and cursor.kind != CursorKind.TRANSLATION_UNIT:
        if cursor.spelling and not cursor.spelling.startswith("("):
            names.insert(0, cursor.spelling)
        cursor = cursor.semantic_parent
    return "::".join(names)


class Changes:
    """Collects the changes of one file from its declarations in a translation unit."""

    def __init__(self, root, path, declarations):
        self.file = str(root / path)
        self.path = path
        self.source = (root / path).read_bytes()
        self.found = {}
        self.uses = {}  # by the name of a variable or member: the functions and variables that use it
        self.visit_declarations(declarations)

    def all(self):
        in_order = sorted(self.found.values(), key=lambda change: (change.begin, change.end, change.text))
        return list(named(in_order, self.source))

    # ---- walking ----

    def is_here(self, cursor):
        file = cursor.extent.start.file
        return file is not None and file.name == self.file

    def visit_declarations(self, declarations):
        for child in declarations:
            if not self.is_here(child):
                continue
            if child.kind in FUNCTIONS:
                if child.is_definition():
                    self.visit_owned(child, True)
            elif child.kind == CursorKind.VAR_DECL:
                self.visit_owned(child, False)
            elif child.kind == CursorKind.FIELD_DECL:
                self.visit_owned(child, False)
            else:
                self.visit_declarations(child.get_children())

    def visit_owned(self, cursor, is_function):
        lines = self.lines_of(cursor)
        place = Place(qualified_name(cursor), lines, lines, is_function)
        for child in cursor.get_children():
            if child.kind != CursorKind.PARM_DECL:
                self.visit(child, place)
        for used in cursor.walk_preorder():
            if used.kind in NAMES and used.referenced is not None:
                self.uses.setdefault(qualified_name(used.referenced), set()).add((self.path, place.owner, lines))

    @staticmethod
    def lines_of(cursor):
        return range(cursor.extent.start.line, cursor.extent.end.line + 1)

    def visit(self, cursor, place):
        # Not evaluated: an assertion for the compiler, and the operand of sizeof.
        if not self.is_here(cursor) or cursor.kind in (CursorKind.STATIC_ASSERT, CursorKind.CXX_UNARY_EXPR):
            return
        if cursor.kind.is_statement() and cursor.kind != CursorKind.COMPOUND_STMT or cursor.kind.is_declaration():
            place = dataclasses.replace(place, lines=self.lines_of(cursor))
        self.change(cursor, place)
        children = list(cursor.get_children())
        for child in children:
            is_part = cursor.kind == CursorKind.COMPOUND_STMT or cursor.kind in STATEMENTS_WITH_CONDITION
            inner = dataclasses.replace(place, lines=self.lines_of(child)) if is_part else place
            self.visit(child, inner)

    # ---- texts ----

    def span(self, cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def text(self, cursor):
        begin, end = self.span(cursor)
        return self.source[begin:end].decode()

    def add(self, place, kind, begin, end, text):
        if self.source[begin:end] != text.encode():
            self.found.setdefault((begin, end, text), Change(self.path, place, kind, begin, end, text))

    def replace(self, cursor, place, kind, text):
        self.add(place, kind, *self.span(cursor), text)

    # ---- changes ----

    def change(self, cursor, place):
        kind = cursor.kind
        if kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR):
            self.change_operator(cursor, place)
        elif kind == CursorKind.UNARY_OPERATOR:
            self.change_sign(cursor, place)
        elif kind in STATEMENTS_WITH_CONDITION:
            self.turn_condition(cursor, place)
            self.leave_out_bodies(cursor, place)
        elif kind == CursorKind.CXX_FOR_RANGE_STMT:
            self.leave_out_bodies(cursor, place)
        elif kind == CursorKind.CONDITIONAL_OPERATOR:
            self.turn(list(cursor.get_children())[0], place)
        elif kind == CursorKind.COMPOUND_STMT:
            self.change_sequence(cursor, place)
        elif kind == CursorKind.RETURN_STMT:
            self.replace_result(cursor, place)
        elif kind == CursorKind.CALL_EXPR:
            self.change_call(cursor, place)
        elif kind == CursorKind.INTEGER_LITERAL:
            self.change_number(cursor, place)
        elif kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.replace(cursor, place, "constant", "false" if self.text(cursor) == "true" else "true")
        elif kind == CursorKind.CHARACTER_LITERAL:
            self.change_character(cursor, place)
        elif kind == CursorKind.STRING_LITERAL:
            self.change_text(cursor, place)
        elif kind in JUMPS:
            self.replace(cursor, place, "jump", JUMPS[kind])

    def operator_between(self, left, right):
        """The place of an operator, and the operator."""
        begin, end = self.span(left)[1], self.span(right)[0]
        match = re.fullmatch(rb"[\s)]*([-+*/%&|<>=!^]+)[\s(]*", self.source[begin:end])
        return (begin + match.start(1), begin + match.end(1), match[1].decode()) if match else None

    def change_operator(self, cursor, place):
        left, right = list(cursor.get_children())
        found = self.operator_between(left, right)
        if not found:
            return
        begin, end, operator = found
        for other in COMPARISONS.get(operator, []):
            self.add(place, "comparison", begin, end, other)
        if operator in ARITHMETIC:
            self.add(place, "arithmetic", begin, end, ARITHMETIC[operator])
        if operator in LOGICAL or operator == "|":
            # One side alone.
            kind = "condition" if operator in LOGICAL else "mask"
            self.add(place, kind, self.span(left)[0], self.span(cursor)[1], self.text(left))
            self.add(place, kind, self.span(cursor)[0], self.span(right)[0], "")
        if operator == "=":
            self.change_value(right, place, "assignment")

    def change_sign(self, cursor, place):
        operand = list(cursor.get_children())[0]
        text, inner = self.text(cursor), self.text(operand)
        if text.startswith(("++", "--")):
            self.replace(cursor, place, "arithmetic", STEPS[text[:2]] + text[2:])
        elif text.endswith(("++", "--")):
            self.replace(cursor, place, "arithmetic", text[:-2] + STEPS[text[-2:]])
        elif text[0] == "!":
            self.replace(cursor, place, "condition", inner)
        elif text[0] in "-~":
            self.replace(cursor, place, "arithmetic", inner)

    def turn_condition(self, cursor, place):
        for child in cursor.get_children():
            is_condition = child.kind.is_expression() and (
                cursor.kind != CursorKind.FOR_STMT or child.type.kind == TypeKind.BOOL)
            if is_condition:
                return self.turn(child, dataclasses.replace(place, lines=self.lines_of(child)))

    def turn(self, condition, place):
        while condition.kind == CursorKind.UNEXPOSED_EXPR and len(list(condition.get_children())) == 1:
            condition = list(condition.get_children())[0]
        text = self.text(condition)
        if text.startswith("!") and condition.kind == CursorKind.UNARY_OPERATOR:
            return
        children = list(condition.get_children())
        if condition.kind == CursorKind.BINARY_OPERATOR:
            found = self.operator_between(*children)
            if found and (found[2] in COMPARISONS or found[2] in LOGICAL):
                return
        self.replace(condition, place, "condition", f"!({text})")

    def change_sequence(self, cursor, place):
        statements = list(cursor.get_children())
        for statement in statements:
            if self.is_action(statement):
                begin, end = self.span(statement)
                self.add(dataclasses.replace(place, lines=self.lines_of(statement)), "left out", begin, end, "(void)0")
        for first, second in zip(statements, statements[1:]):
            if self.is_movable(first) and self.is_movable(second):
                between = self.source[self.end_of(first):self.span(second)[0]].decode()
                text = (self.source[self.span(second)[0]:self.end_of(second)].decode() + between +
                        self.source[self.span(first)[0]:self.end_of(first)].decode())
                both = dataclasses.replace(place, lines=range(first.extent.start.line, second.extent.end.line + 1))
                self.add(both, "swapped", self.span(first)[0], self.end_of(second), text)

    def end_of(self, statement):
        """The end of an expression, including its semicolon."""
        end = self.span(statement)[1]
        return end + 1 if self.source[end:end + 1] == b";" and self.source[end - 1:end] != b"}" else end

    @staticmethod
    def is_action(statement):
        return statement.kind.is_expression()

    @staticmethod
    def is_movable(statement):
        """Whether a statement calls something: the order of assignments of values makes no observable difference."""
        return (statement.kind.is_expression() or statement.kind in MOVABLE) and any(
            part.kind == CursorKind.CALL_EXPR and not part.spelling.startswith(("operator", "move"))
            for part in statement.walk_preorder())

    def leave_out_bodies(self, cursor, place):
        """The bodies of conditions and loops without braces."""
        children = list(cursor.get_children())
        bodies = [child for child in children if child.kind.is_expression()][1:] if cursor.kind == CursorKind.IF_STMT \
            else children[-1:]
        for body in filter(self.is_action, bodies):
            self.replace(body, dataclasses.replace(place, lines=self.lines_of(body)), "left out", "(void)0")

    def replace_result(self, cursor, place):
        for value in cursor.get_children():
            self.change_value(value, place, "result")

    def change_value(self, value, place, kind):
        """Replaces an expression with another value of the same type."""
        text = self.text(value)
        while value.kind == CursorKind.UNEXPOSED_EXPR and len(list(value.get_children())) == 1:
            value = list(value.get_children())[0]
        if value.kind in (CursorKind.INTEGER_LITERAL, CursorKind.CXX_BOOL_LITERAL_EXPR, CursorKind.STRING_LITERAL,
                          CursorKind.CHARACTER_LITERAL, CursorKind.LAMBDA_EXPR):
            return
        type_kind = value.type.get_canonical().kind
        if type_kind == TypeKind.BOOL:
            if not text.startswith("!") and not self.is_comparison(value):
                self.replace(value, place, kind, f"!({text})")
        elif type_kind in INTEGERS:
            is_simple = value.kind not in (CursorKind.BINARY_OPERATOR, CursorKind.CONDITIONAL_OPERATOR)
            self.replace(value, place, kind, f"({text} + 1)" if is_simple else f"(({text}) + 1)")
        elif type_kind == TypeKind.ENUM:
            type_name = f"std::remove_cvref_t<decltype({text})>"
            self.replace(value, place, kind, f"static_cast<{type_name}>(static_cast<int>({text}) + 1)")
        elif type_kind == TypeKind.POINTER:
            if text not in ("nullptr", "NULL"):
                self.replace(value, place, kind, "nullptr")
        elif type_kind == TypeKind.RECORD and text not in ("{}", "std::nullopt") and kind == "result":
            self.replace(value, place, kind, "{}")

    def is_comparison(self, value):
        children = list(value.get_children())
        found = self.operator_between(*children) if value.kind == CursorKind.BINARY_OPERATOR else None
        return bool(found) and (found[2] in COMPARISONS or found[2] in LOGICAL)

    def change_call(self, cursor, place):
        if cursor.spelling.startswith("operator") and len(list(cursor.get_children())) == 3:
            left, _, right = list(cursor.get_children())
            found = self.operator_between(left, right)
            if found:
                for other in COMPARISONS.get(found[2], []):
                    self.add(place, "comparison", found[0], found[1], other)
            return
        for argument in cursor.get_arguments():
            # The text of a log line is already changed as a text.
            if cursor.spelling == "WriteLog" and argument is not None and argument.type.kind == TypeKind.POINTER:
                continue
            if argument is not None and self.is_here(argument) and self.span(argument) != self.span(cursor):
                self.change_value(argument, place, "argument")

    def change_number(self, cursor, place):
        text = self.text(cursor)
        match = re.fullmatch(r"(0[xX][0-9a-fA-F]+|\d+)([uUlL]*)", text)
        if match:
            number = int(match[1], 0) if not re.fullmatch(r"0\d+", match[1]) else int(match[1], 8)
            self.replace(cursor, place, "constant", f"{number + 1}{match[2]}")

    def change_character(self, cursor, place):
        text = self.text(cursor)
        self.replace(cursor, place, "text", re.sub(r"'.*'", "'x'" if "'x'" not in text else "'y'", text))

    def change_text(self, cursor, place):
        text = self.text(cursor)
        if not re.match(r'(L|u8|u)?"', text):
            return
        first = text.index('"') + 1
        letters = [match.start() for match in PLAIN_LETTER.finditer(text, first, len(text) - 1) if match[1]]
        if letters:
            middle = letters[len(letters) // 2]
            other = "y" if text[middle] in "xX" else "x"
            self.replace(cursor, place, "text", text[:middle] + other + text[middle + 1:])
        elif text[first:-1]:
            self.replace(cursor, place, "text", text[:first] + '"')
        else:
            self.replace(cursor, place, "text", text[:first] + 'x"')
