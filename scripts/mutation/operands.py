"""Faults that take an operand away: of a logical operator, or by exchanging those of `?:`."""

_OPENING = ("(", "[", "{")
_CLOSING = (")", "]", "}")
_BORDERS = (";", ",", "?", ":", "=", "return")


def _reach(tokens, at, step, borders):
    """The last index from `at` on, in the direction of `step`, that belongs to the operand."""
    opening, closing = (_OPENING, _CLOSING) if step > 0 else (_CLOSING, _OPENING)
    depth = 0
    while 0 <= at < len(tokens):
        text = tokens[at].text
        if depth == 0 and (text in borders or text in closing):
            break
        depth += (text in opening) - (text in closing)
        at += step
    return at - step


def _operands(tokens, at, operator):
    borders = _BORDERS + (("&&", "||") if operator == "&&" else ("||",))
    yield _reach(tokens, at - 1, -1, borders), at - 1
    yield at + 1, _reach(tokens, at + 1, +1, borders)


def _is_binary(tokens, at):
    return tokens[at - 1].end < tokens[at].start and tokens[at].end < tokens[at + 1].start


def operand_faults(tokens):
    """Yields sort, first and last token, and what takes their place."""
    for at, token in enumerate(tokens):
        if token.text in ("&&", "||") and _is_binary(tokens, at):
            for first, last in _operands(tokens, at, token.text):
                if first <= last:
                    yield "logical", first, last, "true" if token.text == "&&" else "false"
        elif token.text == "?":
            yield from _exchanged(tokens, at)


def _condition_start(tokens, at):
    return _reach(tokens, at - 1, -1, _BORDERS + ("<<",))


def _exchanged(tokens, at):
    first = _condition_start(tokens, at)
    if first < at:
        yield "condition", first, at - 1, "true"
        yield "condition", first, at - 1, "false"
