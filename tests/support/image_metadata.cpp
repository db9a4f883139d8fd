#include "tests/support/image_metadata.h"

#include <algorithm>
#include <stdexcept>

namespace NTest {

CMetadataItem& CMetadataTable::Find(const CGuid& guid) {
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&](const CMetadataItem& item) { return item.guid == guid; });
    if (found == items.end()) {
        throw std::out_of_range("no such metadata item");
    }
    return *found;
}

void CMetadataTable::Remove(const CGuid& guid) {
    std::erase_if(items, [&](const CMetadataItem& item) { return item.guid == guid; });
}

std::vector<std::uint32_t> CMetadataTable::Offsets() const {
    std::vector<std::uint32_t> offsets;
    std::uint32_t next = 64 * KiB;
    for (const CMetadataItem& item : items) {
        offsets.push_back(item.offset.value_or(next));
        if (!item.offset) {
            next += static_cast<std::uint32_t>((item.payload.size() + 7) / 8 * 8);
        }
    }
    return offsets;
}

CBytes CMetadataTable::Bytes() const {
    const std::vector<std::uint32_t> offsets = Offsets();
    CBytes bytes(32);
    Put64(bytes, 0, signature);
    Put16(bytes, 10, entryCount.value_or(static_cast<std::uint16_t>(items.size())));
    for (std::size_t index = 0; index < items.size(); ++index) {
        const CMetadataItem& item = items[index];
        const std::size_t entry = 32 + 32 * index;
        PutBytes(bytes, entry, item.guid);
        Put32(bytes, entry + 16, offsets[index]);
        Put32(bytes, entry + 20,
              item.length.value_or(static_cast<std::uint32_t>(item.payload.size())));
        Put32(bytes, entry + 24, item.flags);
        Put32(bytes, entry + 28, 0);
    }
    return bytes;
}

}  // namespace NTest
