"""Faults that take the structure of the code to find: conditions, statements and results."""

_CONTROL = ("if", "while", "for", "switch", "catch")
_SIMPLE = ("else", "do", "try")
_DROPPED = ("break", "continue", "throw")
_AFTER_HEAD = (")", "]", "const", "noexcept", "override", "final", "mutable", "}")
_FALSE = ("{}", "false", "0", "nullptr", "std::nullopt", "true")
_ASSIGNMENTS = ("=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>=")


class _Place:
    """An open bracket; for code, where the statement begins that is being read."""

    def __init__(self, kind, start, gives_bool=False):
        self.kind = kind
        self.opening = start - 1
        self.start = start
        self.gives_bool = gives_bool


class _Reader:
    def __init__(self, tokens):
        self.tokens = tokens
        self.texts = [token.text for token in tokens]
        self.places = [_Place("declarations", 0)]

    def faults(self):
        for at, text in enumerate(self.texts):
            place = self.places[-1]
            if text in ("(", "["):
                self.places.append(_Place(text, at))
            elif text in (")", "]") and place.kind in ("(", "["):
                self.places.pop()
                yield from self._after_bracket(place.start, at)
            elif text == "{":
                self._open_brace(at)
            elif text == "}" and len(self.places) > 1:
                self.places.pop()
                self._after_brace(place, at)
            elif text == ";" and place.kind in ("code", "declarations"):
                if place.kind == "code":
                    yield from self._statement(place, at)
                place.start = at + 1
            elif self._is_label_end(place, at) or (text in _SIMPLE and at == place.start):
                place.start = at + 1

    def _is_label_end(self, place, at):
        return self.texts[at] == ":" and self.texts[place.start] in (
            "case", "default", "public", "protected", "private")

    def _open_brace(self, at):
        place = self.places[-1]
        gives_bool = place.gives_bool
        if place.kind == "code" and at == place.start:
            kind = "code"
        elif place.kind == "declarations":
            kind, gives_bool = self._declared(place.start, at)
        else:
            kind = "code" if self._ends_head(at) else "values"
            gives_bool = self.texts[max(0, at - 2):at] == ["->", "bool"]
        self.places.append(_Place(kind, at + 1, gives_bool))

    def _ends_head(self, at):
        return self.texts[at - 1] in _AFTER_HEAD or "->" in self.texts[max(0, at - 4):at]

    def _declared(self, start, at):
        head = self.texts[start:at]
        if "(" in head and self._ends_head(at):
            return "code", "bool" in head[:head.index("(")]
        if {"namespace", "class", "struct", "extern", "union"} & set(head):
            return "declarations", False
        return "values", False

    def _after_brace(self, closed, at):
        place = self.places[-1]
        begins_block = place.kind == "code" and closed.opening == place.start
        if begins_block or (place.kind == "declarations" and closed.kind != "values"):
            place.start = at + 1

    def _after_bracket(self, opening, closing):
        place = self.places[-1]
        word = self.texts[opening - 1]
        if place.kind != "code" or word not in (*_CONTROL, "constexpr"):
            return
        place.start = closing + 1
        if word in ("if", "while") and self._is_plain(opening, closing):
            for value in ("true", "false") if word == "if" else ("false",):
                yield "condition", opening + 1, closing - 1, value

    def _is_plain(self, opening, closing):
        condition = self.texts[opening + 1:closing]
        return not {"auto", "const", ";", "true"} & set(condition[:1]) and ";" not in condition

    def _statement(self, place, end):
        first, start = self.texts[place.start], place.start
        if first == "return" and end > start + 1:
            for value in self._other_results("".join(self.texts[start + 1:end]), place):
                yield "result", start + 1, end - 1, value
        elif first in ("return", *_DROPPED) or self._is_expression(start, end):
            yield "statement", start, end, ";"

    def _other_results(self, result, place):
        if result in _FALSE:
            return []
        return ["true", "false"] if place.gives_bool else ["{}"]

    def _is_expression(self, start, end):
        """Whether it is a call or an assignment, as opposed to a declaration."""
        if start == end:
            return False
        if self.texts[start] in ("++", "--", "*"):
            return True
        at = start
        while self.tokens[at].kind == "word" and self.texts[at + 1] == "::":
            at += 2
        return self.tokens[at].kind == "word" and self.texts[at + 1] in (
            ".", "->", "(", "[", "++", "--", "<<", *_ASSIGNMENTS)


def statement_faults(tokens):
    """Yields sort, first and last token, and what takes their place."""
    return _Reader(tokens).faults()
