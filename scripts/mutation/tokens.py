"""The tokens of a C++ file that a fault may be put into, each with its place in the text."""

import collections
import re

# `kind` is word, number, text, character or sign.
Token = collections.namedtuple("Token", "kind text start end line")

_PATTERN = re.compile(
    r"""
      (?P<blank>\s+)
    | (?P<comment>//[^\n]*|/\*.*?\*/)
    | (?P<directive>(?<![^\n])\#(?:[^\n\\]|\\.)*)
    | (?P<text>(?:u8|u|U|L)?(?:R"\((?s:.*?)\)"|"(?:[^"\\\n]|\\.)*"))
    | (?P<character>(?:u8|u|U|L)?'(?:[^'\\\n]|\\.)+')
    | (?P<number>(?:0[xX][0-9a-fA-F']+|\d[\d']*(?:\.\d+)?)[uUlLzZ]*)
    | (?P<word>[A-Za-z_]\w*)
    | (?P<sign><<=|>>=|<=>|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|::|\.\.\.|.)
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

# Compiled on other systems and by other compilers only.
_ELSEWHERE = re.compile(r"\b(_WIN32|_MSC_VER|_LIBCPP_VERSION)\b")


def _is_compiled(directive):
    elsewhere = _ELSEWHERE.search(directive) is not None
    if re.search(r"#\s*ifndef|!\s*defined", directive):
        return elsewhere or directive.strip().endswith("_H")
    return not elsewhere


class _Branches:
    """Follows #if, #else and #endif."""

    def __init__(self):
        self.compiled = []

    def take(self, directive):
        word = re.match(r"\s*#\s*(\w*)", directive).group(1)
        if word in ("if", "ifdef", "ifndef"):
            self.compiled.append(_is_compiled(directive))
        elif word == "else":
            self.compiled[-1] = not self.compiled[-1]
        elif word == "elif":
            self.compiled[-1] = not self.compiled[-1] and _is_compiled(directive)
        elif word == "endif":
            self.compiled.pop()

    def are_compiled(self):
        return all(self.compiled)


def _without_static_asserts(tokens):
    inside = False
    for token in tokens:
        inside = inside or token.text == "static_assert"
        if not inside:
            yield token
        inside = inside and token.text != ";"


def _all_tokens(text):
    branches = _Branches()
    line = 1
    for match in _PATTERN.finditer(text):
        kind = match.lastgroup
        if kind == "directive":
            branches.take(match.group())
        elif kind not in ("blank", "comment") and branches.are_compiled():
            yield Token(kind, match.group(), match.start(), match.end(), line)
        line += match.group().count("\n")


def tokens_of(text):
    """Without comments, directives, static_asserts and what this system does not compile."""
    return list(_without_static_asserts(_all_tokens(text)))
