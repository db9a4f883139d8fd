#include "host/chain_changes.h"

#include <algorithm>
#include <optional>

namespace NVHDXHost {

namespace {

/// The bytes of the older disk behind the end of a newer file.
struct CCutOff {
    std::uint64_t begin;
    std::uint64_t end;
};

CCutOff CutOffOf(const CMergedDisk& disk, std::size_t since) {
    CCutOff cut{disk.Layers()[since].parameters.virtdisksz, 0};
    cut.end = cut.begin;
    for (std::size_t layer = 0; layer < since; ++layer) {
        cut.begin = std::min<std::uint64_t>(cut.begin, disk.Layers()[layer].parameters.virtdisksz);
    }
    return cut;
}

/// The part of an extent that is a change; none when it has no such part.
std::optional<CExtent> ChangeIn(CExtent extent, std::size_t since, const CCutOff& cut) {
    if (extent.kind != CExtent::hole) {
        return extent.layer < since ? std::optional(extent) : std::nullopt;
    }
    const std::uint64_t end = std::min(extent.End(), cut.end);
    extent.offset = std::max(extent.offset, cut.begin);
    if (extent.offset >= end) {
        return std::nullopt;
    }
    extent.length = end - extent.offset;
    return extent;
}

}  // namespace

bool ChangesSince(CMergedReader& reader, std::size_t since, std::uint64_t offset,
                  std::uint64_t length, const CExtentCallback& callback) {
    const CCutOff cut = CutOffOf(reader.Disk(), since);
    return reader.Extents(offset, length, [&](const CExtent& extent) {
        const auto change = ChangeIn(extent, since, cut);
        return !change || callback(*change);
    });
}

}  // namespace NVHDXHost
