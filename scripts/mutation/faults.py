"""The faults that can be put into a C++ file: one change each, of a kind that people make."""

import collections
import hashlib
import re

from mutation.operands import operand_faults
from mutation.statements import statement_faults
from mutation.tokens import tokens_of

Fault = collections.namedtuple("Fault", "path line sort start end text")

# A binary operator has a blank on either side, which tells it from a template's bracket, a
# reference and a sign.
_OPERATORS = {
    "<": ("comparison", "<="), "<=": ("comparison", "<"),
    ">": ("comparison", ">="), ">=": ("comparison", ">"),
    "==": ("comparison", "!="), "!=": ("comparison", "=="),
    "+": ("arithmetic", "-"), "-": ("arithmetic", "+"),
    "*": ("arithmetic", "/"), "/": ("arithmetic", "*"), "%": ("arithmetic", "/"),
    "+=": ("arithmetic", "-="), "-=": ("arithmetic", "+="),
    "*=": ("arithmetic", "/="), "/=": ("arithmetic", "*="), "%=": ("arithmetic", "/="),
    "<<": ("arithmetic", ">>"), ">>": ("arithmetic", "<<"),
    "<<=": ("arithmetic", ">>="), ">>=": ("arithmetic", "<<="),
    "&": ("arithmetic", "|"), "|": ("arithmetic", "&"), "^": ("arithmetic", "&"),
    "&=": ("arithmetic", "|="), "|=": ("arithmetic", "&="),
    "&&": ("logical", "||"), "||": ("logical", "&&"),
}
_STEPS = {"++": "--", "--": "++"}
_WORDS = {
    "true": ("constant", "false"), "false": ("constant", "true"),
    "min": ("comparison", "max"), "max": ("comparison", "min"),
}


def _neighbours(number):
    digits, suffix = re.fullmatch(r"(0[xX][0-9a-fA-F']+|\d[\d']*)([uUlLzZ]*)", number).groups()
    value = int(digits.replace("'", ""), 16 if digits[:2] in ("0x", "0X") else 10)
    for other in (value + 1, value - 1):
        if other >= 0:
            yield (hex(other) if digits[:2] in ("0x", "0X") else str(other)) + suffix


def _other_text(text):
    """One letter differs; a text without letters grows by one."""
    opening = text.index('"') + 1
    letter = re.search(r"(?<![\\%])[A-Za-z]", text[opening:])
    if letter is None:
        return text[:-1] + 'x"'
    at = opening + letter.start()
    return text[:at] + ("Y" if text[at] == "X" else "X") + text[at + 1:]


def _changes_of_sign(token, text):
    if token.text in _STEPS:
        yield "arithmetic", _STEPS[token.text]
    elif token.text == "!":
        yield "negation", ""
    elif text[token.start - 1].isspace() and text[token.end].isspace():
        if token.text in _OPERATORS:
            yield _OPERATORS[token.text]
    elif token.text == "-" and text[token.end].isalnum() and text[token.start - 1] in " (":
        yield "arithmetic", ""


def _changes(token, text):
    if token.kind == "sign":
        yield from _changes_of_sign(token, text)
    elif token.kind == "word" and token.text in _WORDS:
        yield _WORDS[token.text]
    elif token.kind == "number" and "." not in token.text:
        for other in _neighbours(token.text):
            yield "constant", other
    elif token.kind == "character":
        yield "constant", "'y'" if token.text == "'x'" else "'x'"
    elif token.kind == "text" and "R\"" not in token.text:
        yield "text", _other_text(token.text)


def faults_of(path, text):
    """All faults of a file, in the order of their places; none leaves the text as it is."""
    tokens = tokens_of(text)
    found = set()
    for token in tokens:
        for sort, change in _changes(token, text):
            found.add((token.start, token.end, change, sort, token.line))
    for sort, first, last, change in (*statement_faults(tokens), *operand_faults(tokens)):
        found.add((tokens[first].start, tokens[last].end, change, sort, tokens[first].line))
    lines = text.splitlines()
    return [
        Fault(path, line, sort, start, end, change)
        for start, end, change, sort, line in sorted(found)
        if text[start:end] != change and ".reserve(" not in lines[line - 1]  # time only
    ]


def with_fault(text, fault):
    return text[:fault.start] + fault.text + text[fault.end:]


def lines_of(text, fault):
    """The line of the fault as it is, and with the fault."""
    before = text.splitlines()[fault.line - 1].strip()
    after = with_fault(text, fault).splitlines()[fault.line - 1].strip()
    return before, after


def choose(faults, texts, count, seed):
    """`count` of them by lot. The lots hang on the lines, so that a change elsewhere in a file
    leaves them as they are."""
    def lot(fault):
        before, after = lines_of(texts[fault.path], fault)
        drawn = hashlib.sha256(f"{seed}\n{fault.path}\n{before}\n{after}".encode()).hexdigest()
        return drawn, fault
    chosen = sorted(faults, key=lot)
    return sorted(chosen if count is None else chosen[:count])
