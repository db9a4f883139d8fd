#include "tests/support/image_metadata.h"

namespace NTest {
namespace {

constexpr std::size_t headerSize = 20;
constexpr std::size_t entrySize = 12;

/// Where a text came to lie in the item.
struct CPlace {
    std::uint32_t offset;
    std::uint16_t length;
};

CPlace Append(CBytes& bytes, const std::u16string& text) {
    const CPlace place{static_cast<std::uint32_t>(bytes.size()),
                       static_cast<std::uint16_t>(2 * text.size())};
    AppendUtf16(bytes, text);
    return place;
}

}  // namespace

CParentLocator::CParentLocator(const CParentLocatorPairs& pairs) {
    for (const auto& [key, value] : pairs) {
        CParentLocatorEntry entry;
        entry.key = key;
        entry.value = value;
        entries.push_back(entry);
    }
}

CBytes CParentLocator::Bytes() const {
    CBytes bytes(headerSize + entrySize * entries.size());
    PutBytes(bytes, 0, type);
    Put16(bytes, 16, reserved);
    Put16(bytes, 18, count.value_or(static_cast<std::uint16_t>(entries.size())));
    std::size_t position = headerSize;
    for (const CParentLocatorEntry& entry : entries) {
        const CPlace key = Append(bytes, entry.key);
        const CPlace value = Append(bytes, entry.value);
        Put32(bytes, position, entry.keyOffset.value_or(key.offset));
        Put32(bytes, position + 4, entry.valueOffset.value_or(value.offset));
        Put16(bytes, position + 8, entry.keyLength.value_or(key.length));
        Put16(bytes, position + 10, entry.valueLength.value_or(value.length));
        position += entrySize;
    }
    return bytes;
}

}  // namespace NTest
