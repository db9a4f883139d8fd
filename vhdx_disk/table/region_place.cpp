#include "vhdx_disk/table/region_place.h"

#include <algorithm>
#include <vector>

#include "vhdx_disk/source/record.h"
#include "vhdx_parser/container/format.h"
#include "vhdx_parser/container/identifiers.h"

namespace NVHDXDisk {

using namespace NVHDX::NFormat;

std::optional<CRegionPlace> FindRegionPlace(const IByteSource& source,
                                            NVHDX::CAccessor::CRegion::EType type,
                                            CFailure& cause) {
    VHDX_REGION_TABLE_HEADER header;
    if (!ReadRecord(source, VHDX_REGION_TABLE_HEADER::FirstPosition, header, cause)) {
        return std::nullopt;
    }
    const std::uint32_t count =
        std::min<std::uint32_t>(header.EntryCount.Value(), VHDX_REGION_TABLE_HEADER::MostEntries);
    for (std::uint32_t i = 0; i < count; ++i) {
        VHDX_REGION_TABLE_ENTRY entry;
        const std::uint64_t position = VHDX_REGION_TABLE_HEADER::FirstPosition + sizeof header +
                                       std::uint64_t{i} * sizeof entry;
        if (!ReadRecord(source, position, entry, cause)) {
            return std::nullopt;
        }
        const CKnownRegion* const known = FindRegion(entry.Guid.Value());
        if (known != nullptr && known->type == type) {
            return CRegionPlace{entry.FileOffset.Value(), entry.Length.Value()};
        }
    }
    return std::nullopt;
}

}  // namespace NVHDXDisk
