#include "host/locator_check.h"

#include <array>
#include <vector>

#include "host/little_endian.h"

namespace NVHDXHost {

namespace {

constexpr std::size_t HeaderSize = 20;
constexpr std::size_t ReservedField = 16;
constexpr std::size_t CountField = 18;
constexpr std::size_t EntrySize = 12;

/// Whether a key or a value has bytes, all of them in the item.
bool IsThere(std::uint32_t offset, std::uint16_t length, const CFilePlace& item) {
    return offset != 0 && length != 0 && CFilePlace{{}, offset, length}.IsInside(item.length);
}

bool IsSound(const unsigned char* entry, const CFilePlace& item) {
    return IsThere(Load32(entry), Load16(entry + 8), item) &&
           IsThere(Load32(entry + 4), Load16(entry + 10), item);
}

void CheckEntries(CByteStream& stream, const CFilePlace& item, std::uint16_t count,
                  const CFindingSink& findings) {
    std::vector<unsigned char> entries(count * EntrySize);
    if (item.length < HeaderSize + entries.size() ||
        !ReadAt(stream, item.begin + HeaderSize, entries)) {
        findings.Add(
            "locator-count", AtOffset(item.begin + CountField),
            Sentence("the parent locator claims ", count, " entries, and has no room for them"));
        return;
    }
    for (std::size_t at = 0; at < entries.size(); at += EntrySize) {
        if (!IsSound(entries.data() + at, item)) {
            findings.Add("locator-entry", AtOffset(item.begin + HeaderSize + at),
                         "the key or the value of this entry is empty, or does not lie in the "
                         "parent locator");
        }
    }
}

}  // namespace

void CheckLocatorForm(CByteStream& stream, const CFilePlace& item, const CFindingSink& findings) {
    std::array<unsigned char, HeaderSize> header;
    if (item.length < HeaderSize || !ReadAt(stream, item.begin, header)) {
        return;  // who reads the locator finds that
    }
    if (Load16(header.data() + ReservedField) != 0) {
        findings.Add("locator-reserved", AtOffset(item.begin + ReservedField),
                     "the reserved field of the parent locator is not 0");
    }
    CheckEntries(stream, item, Load16(header.data() + CountField), findings);
}

}  // namespace NVHDXHost
