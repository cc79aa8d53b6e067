"""Evaluates conditions of the Windows Installer for given properties."""

import operator
import re

TOKEN = re.compile(r'\s*(?:("[^"]*")|(~?(?:<>|><|<<|>>|<=|>=|=|<|>))|([()])|(-?\d+)(?![\w.])|([%$?&!]?[A-Za-z_][\w.]*))')

# From the lowest precedence to the highest; NOT has a higher one than all of them.
OPERATORS = [
    ("IMP", lambda left, right: not left or right),
    ("EQV", lambda left, right: left == right),
    ("XOR", lambda left, right: left != right),
    ("OR", lambda left, right: left or right),
    ("AND", lambda left, right: left and right),
]

OF_BOTH = {"=": operator.eq, "<>": operator.ne, "<": operator.lt, "<=": operator.le, ">": operator.gt,
           ">=": operator.ge}
OF_TEXTS = {"><": lambda left, right: right in left, "<<": str.startswith, ">>": str.endswith}
INTEGER = re.compile(r"-?\d+")


class ConditionError(ValueError):
    """The text is not a condition."""


def holds(condition, properties):
    """Whether a condition holds. An empty one always does, and a missing property is empty."""
    return not condition.strip() or _Parser(condition, properties).parse()


class _Parser:
    def __init__(self, condition, properties):
        self._condition, self._properties = condition, properties
        self._tokens = []
        place = 0
        while condition[place:].strip():
            match = TOKEN.match(condition, place)
            if match is None:
                self._fail()
            self._tokens.append(next((kind, text) for kind, text in enumerate(match.groups()) if text is not None))
            place = match.end()

    def parse(self):
        result = self._expression(0)
        if self._tokens:
            self._fail()
        return result

    def _fail(self):
        raise ConditionError(f"not a condition: {self._condition}")

    def _peek(self):
        return self._tokens[0][1].upper() if self._tokens else ""

    def _expression(self, level):
        if level == len(OPERATORS):
            return self._term()
        word, function = OPERATORS[level]
        result = self._expression(level + 1)
        while self._peek() == word:
            self._tokens.pop(0)
            right = self._expression(level + 1)  # evaluated always, so that every token is read
            result = function(result, right)
        return result

    def _term(self):
        if self._peek() == "NOT":
            self._tokens.pop(0)
            return not self._term()
        if self._peek() == "(":
            self._tokens.pop(0)
            result = self._expression(0)
            if self._peek() != ")":
                self._fail()
            self._tokens.pop(0)
            return result
        left = self._value()
        if self._tokens and self._tokens[0][0] == 1:
            return _compare(left, self._tokens.pop(0)[1], self._value())
        return left not in ("", "0") if INTEGER.fullmatch(left) else left != ""

    def _value(self):
        if not self._tokens:
            self._fail()
        kind, text = self._tokens.pop(0)
        if kind == 0:
            return text[1:-1]
        if kind == 3:
            return text
        if kind == 4:
            return self._properties.get(text, "")
        return self._fail()


def _compare(left, sign, right):
    if sign.startswith("~"):
        left, right, sign = left.lower(), right.lower(), sign[1:]
    if sign in OF_TEXTS:
        return OF_TEXTS[sign](left, right)
    if INTEGER.fullmatch(left) and INTEGER.fullmatch(right):
        left, right = int(left), int(right)
    return OF_BOTH[sign](left, right)
