#include <cstring>
#include <ostream>
#include <string>

#include <vhdx_parser/guid.h>

namespace {

void AppendHexadecimal(std::string& text, std::uint64_t number, unsigned digits) {
    while (digits > 0) {
        --digits;
        text += "0123456789ABCDEF"[(number >> (4 * digits)) & 0xF];
    }
}

}  // namespace

bool IsEqual(const _GUID& a, const _GUID& b) {
    return std::memcmp(&a, &b, sizeof(_GUID)) == 0;
}

bool IsNull(const _GUID& g) {
    return IsEqual(g, _GUID{});
}

void Copy(_GUID& to, const _GUID& from) {
    to = from;
}

void Move(_GUID& to, _GUID& from) noexcept {
    to = from;
}

std::ostream& operator<<(std::ostream& out, const _GUID& g) {
    std::string text = "{";
    AppendHexadecimal(text, g.Data1, 8);
    text += '-';
    AppendHexadecimal(text, g.Data2, 4);
    text += '-';
    AppendHexadecimal(text, g.Data3, 4);
    text += '-';
    AppendHexadecimal(text, g.Data4[0], 2);
    AppendHexadecimal(text, g.Data4[1], 2);
    text += '-';
    for (std::size_t i = 2; i < 8; ++i) {
        AppendHexadecimal(text, g.Data4[i], 2);
    }
    text += '}';
    return out << text;
}
