#include "vhdx_parser/persist/xml_nesting.h"

#include <cstring>

namespace NVHDX {

namespace {

// Each function below takes the place where its part of the text begins and returns the place
// behind it, or null where the parser would report an error.

constexpr bool IsWhitespace(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

// The parser's names are wide: quotes and even '<' may stand in an element's name.
constexpr bool EndsElementName(char character) {
    return character == '\0' || character == '/' || character == '>' || character == '?' ||
           IsWhitespace(character);
}

constexpr bool EndsAttributeName(char character) {
    return EndsElementName(character) || character == '<' || character == '=' || character == '!';
}

const char* SkipWhitespace(const char* at) {
    while (IsWhitespace(*at)) {
        ++at;
    }
    return at;
}

const char* SkipElementName(const char* at) {
    while (!EndsElementName(*at)) {
        ++at;
    }
    return at;
}

const char* SkipAttributeName(const char* at) {
    while (!EndsAttributeName(*at)) {
        ++at;
    }
    return at;
}

const char* SkipPast(const char* at, const char* ending) {
    const char* const found = std::strstr(at, ending);
    return found != nullptr ? found + std::strlen(ending) : nullptr;
}

bool BeginsWith(const char* at, const char* beginning) {
    return std::strncmp(at, beginning, std::strlen(beginning)) == 0;
}

const char* SkipAttribute(const char* at) {
    at = SkipWhitespace(SkipAttributeName(at));
    if (*at != '=') {
        return nullptr;
    }
    at = SkipWhitespace(at + 1);
    if (*at != '\'' && *at != '"') {
        return nullptr;
    }
    const char* const closing = std::strchr(at + 1, *at);
    return closing != nullptr ? SkipWhitespace(closing + 1) : nullptr;
}

// Brackets are counted wherever they stand, in quotes too.
const char* SkipInternalSubset(const char* at) {
    std::size_t open = 0;
    do {
        at += std::strcspn(at, "[]");
        if (*at == '\0') {
            return nullptr;
        }
        open = *at == '[' ? open + 1 : open - 1;
        ++at;
    } while (open > 0);
    return at;
}

const char* SkipDocumentType(const char* at) {
    while (true) {
        at += std::strcspn(at, ">[");
        if (*at == '>') {
            return at + 1;
        }
        at = *at == '[' ? SkipInternalSubset(at) : nullptr;
        if (at == nullptr) {
            return nullptr;
        }
    }
}

const char* SkipDeclaration(const char* at) {
    if (BeginsWith(at, "<!--")) {
        return SkipPast(at + 4, "-->");
    }
    if (BeginsWith(at, "<![CDATA[")) {
        return SkipPast(at + 9, "]]>");
    }
    if (BeginsWith(at, "<!DOCTYPE") && IsWhitespace(at[9])) {
        return SkipDocumentType(at + 10);
    }
    return SkipPast(at + 2, ">");
}

const char* SkipClosingTag(const char* at) {
    at = SkipWhitespace(SkipElementName(at + 2));
    return *at == '>' ? at + 1 : nullptr;
}

const char* SkipOpeningTag(const char* at, bool& hasContent) {
    const char* const nameEnd = SkipElementName(at + 1);
    if (nameEnd == at + 1) {
        return nullptr;
    }
    at = SkipWhitespace(nameEnd);
    while (at != nullptr && !EndsAttributeName(*at)) {
        at = SkipAttribute(at);
    }
    if (at == nullptr) {
        return nullptr;
    }
    hasContent = *at == '>';
    if (hasContent) {
        return at + 1;
    }
    return BeginsWith(at, "/>") ? at + 2 : nullptr;
}

}  // namespace

const char* FindElementBelow(const char* text, std::size_t limit) {
    std::size_t depth = 0;
    const char* at = std::strchr(text, '<');
    while (at != nullptr) {
        if (at[1] == '?') {
            at = SkipPast(at + 2, "?>");
        } else if (at[1] == '!') {
            at = SkipDeclaration(at);
        } else if (at[1] == '/' && depth > 0) {
            --depth;
            at = SkipClosingTag(at);
        } else if (depth == limit) {
            return at;
        } else {
            bool hasContent = false;
            at = SkipOpeningTag(at, hasContent);
            depth += hasContent ? 1 : 0;
        }
        at = at != nullptr ? std::strchr(at, '<') : nullptr;
    }
    return nullptr;
}

}  // namespace NVHDX
