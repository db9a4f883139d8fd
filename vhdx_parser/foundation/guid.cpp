#include <cstring>
#include <ostream>

#include <vhdx_parser/guid.h>

#include "vhdx_parser/foundation/guid_text.h"

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
    return out << NGuidText::TextOf(g);
}
