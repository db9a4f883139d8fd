#include "vhdx_disk/read/extent_reader.h"

#include <algorithm>

namespace NVHDXDisk {

bool CExtentReader::Read(std::span<const CExtent> extents, std::span<unsigned char> bytes,
                         CFailure& failure) {
    m_reads.Clear();
    for (const CExtent& extent : extents) {
        const auto target =
            bytes.subspan(static_cast<std::size_t>(extent.offset - extents.front().offset),
                          static_cast<std::size_t>(extent.length));
        if (extent.kind == CExtent::data) {
            m_reads.Add(extent.file, extent.position, target);
        } else {
            std::fill(target.begin(), target.end(), static_cast<unsigned char>(0));
        }
    }
    return m_reads.Read(
        [this, &failure](std::size_t file, std::uint64_t position, std::span<unsigned char> part) {
            return m_chain[file].file.bytes->ReadAt(position, part.data(), part.size(), failure);
        });
}

}  // namespace NVHDXDisk
