#ifndef VHDX_DISK_READ_RANGE_RESOLVER_H
#define VHDX_DISK_READ_RANGE_RESOLVER_H

#include <cstdint>
#include <vector>

#include <vhdx_disk/reader.h>

#include "vhdx_disk/chain/disk_parts.h"
#include "vhdx_disk/read/bitmap_cache.h"
#include "vhdx_disk/read/extent_joiner.h"

namespace NVHDXDisk {

/// Answers where the bytes of a range of the disk come from: the one answer by which reading,
/// copying, mapping, serving and listing changes go. One thread at a time.
class CRangeResolver {
public:
    /// The disk outlives the resolver.
    explicit CRangeResolver(const CDisk& disk);

    /// As `CReader::Extents`.
    [[nodiscard]] bool Extents(std::uint64_t offset, std::uint64_t length,
                               const CExtentCallback& callback, CFailure& failure);

private:
    /// What one file says of the bytes [begin, end).
    struct CPlace {
        enum EKind { parent, data, zeros, pastEnd };
        EKind kind = parent;
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        std::uint64_t position = 0;  ///< data: of `begin` in the file
    };

    bool BeginRange(std::uint64_t offset, std::uint64_t length, CFailure& failure);
    bool NextExtent(std::uint64_t offset, std::uint64_t end, CExtent& extent, CFailure& failure);
    bool AddSplit(CExtentJoiner& extents, CExtent extent) const;
    bool Locate(std::size_t file, std::uint64_t offset, CPlace& place, CFailure& failure);
    bool LocateInRun(std::size_t file, const CIndexRun& run, std::uint64_t offset, CPlace& place,
                     CFailure& failure);
    bool LocateSectors(std::size_t file, std::uint64_t offset, CPlace& place, CFailure& failure);
    const CBitmapCache::CPiece* BitmapPiece(std::size_t file, std::uint64_t position,
                                            CFailure& failure);

    const CDisk& m_disk;
    const std::vector<CChainFile>& m_chain;
    std::vector<CPlace> m_places;  ///< what each file said last; good as long as `end` is ahead
    CBitmapCache m_bitmaps;
};

}  // namespace NVHDXDisk

#endif
