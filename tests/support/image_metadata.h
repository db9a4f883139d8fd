#ifndef VHDX_PARSER_TESTS_SUPPORT_IMAGE_METADATA_H
#define VHDX_PARSER_TESTS_SUPPORT_IMAGE_METADATA_H

/// The metadata region: its table, its items, and the parent locator item.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/bytes.h"
#include "tests/support/image_headers.h"

namespace NTest {

/// One item: its table entry and its payload. Without an offset of its own the payload is placed
/// behind the item before (the first one 64 KiB into the region); a payload with an offset is
/// written there.
struct CMetadataItem {
    CGuid guid;
    CBytes payload;
    std::uint32_t flags = isRequired;
    std::optional<std::uint32_t> offset;
    std::optional<std::uint32_t> length;

    static constexpr std::uint32_t isUser = 1;
    static constexpr std::uint32_t isVirtualDisk = 2;
    static constexpr std::uint32_t isRequired = 4;
};

struct CMetadataTable {
    std::uint64_t signature = 0x617461646174656D;  // "metadata"
    std::optional<std::uint16_t> entryCount;
    std::vector<CMetadataItem> items;

    CMetadataItem& Find(const CGuid& guid);
    void Remove(const CGuid& guid);

    /// The offset of each item in the region, in the order of the items.
    std::vector<std::uint32_t> Offsets() const;

    /// The table with its entries; at the start of the region.
    CBytes Bytes() const;
};

/// One key and its value; offsets count from the start of the item, lengths are in bytes.
struct CParentLocatorEntry {
    std::u16string key;
    std::u16string value;
    std::optional<std::uint32_t> keyOffset;
    std::optional<std::uint32_t> valueOffset;
    std::optional<std::uint16_t> keyLength;
    std::optional<std::uint16_t> valueLength;
};

using CParentLocatorPairs = std::vector<std::pair<std::u16string, std::u16string>>;

struct CParentLocator {
    CGuid type = NGuid::parentLocatorType;
    std::uint16_t reserved = 0;
    std::optional<std::uint16_t> count;
    std::vector<CParentLocatorEntry> entries;

    explicit CParentLocator(const CParentLocatorPairs& pairs = {});

    /// Header, entries, then the texts one behind the other in the order key, value, key, ...
    CBytes Bytes() const;
};

}  // namespace NTest

#endif
