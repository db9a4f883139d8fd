#ifndef VHDX_HOST_MERGED_READER_H
#define VHDX_HOST_MERGED_READER_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/bitmap_cache.h"
#include "host/data_gather.h"
#include "host/extent.h"
#include "host/merged_disk.h"

namespace NVHDXHost {

/// Reads a merged disk by virtual offset. Opens each file of the chain when it first needs it and
/// keeps it open; sector bitmaps are read piece by piece and kept in bounded memory.
/// One thread at a time; readers of one disk do not disturb each other.
class CMergedReader {
public:
    explicit CMergedReader(std::shared_ptr<const CMergedDisk> disk);

    [[nodiscard]] const CMergedDisk& Disk() const { return *m_disk; }

    /// Fills `bytes` with those of the virtual disk from `offset` on. False, with the reason in
    /// `Error` and `bytes` unspecified, when the range is not inside the disk or something that it
    /// needs cannot be read.
    [[nodiscard]] bool Read(std::uint64_t offset, std::span<unsigned char> bytes);

    /// Reports where the bytes [offset, offset + length) come from, in order, without gaps, in runs
    /// as long as can be; the first and last are cut to the range. Reads sector bitmaps and no
    /// data. False as for `Read`; true also when the callback ended it.
    [[nodiscard]] bool Extents(std::uint64_t offset, std::uint64_t length,
                               const CExtentCallback& callback);

    /// Why the last operation failed; empty when it did not.
    [[nodiscard]] const std::string& Error() const { return m_error; }

private:
    /// What one file says of the bytes [begin, end).
    struct CPlace {
        enum EKind { parent, data, zeros, pastEnd };
        EKind kind = parent;
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        std::uint64_t position = 0;  ///< data: of `begin` in the file
    };

    bool BeginRange(std::uint64_t offset, std::uint64_t length);
    bool NextExtent(std::uint64_t offset, std::uint64_t end, CExtent& extent);
    bool AddSplit(CExtentJoiner& extents, CExtent extent) const;
    bool Locate(std::size_t layer, std::uint64_t offset, CPlace& place);
    bool LocateInRun(std::size_t layer, const CBlockRun& run, std::uint64_t offset, CPlace& place);
    bool LocateSectors(std::size_t layer, std::uint64_t offset, CPlace& place);
    const CBitmapCache::CPiece* BitmapPiece(std::size_t layer, std::uint64_t position);
    bool ReadLayer(std::size_t layer, std::uint64_t position, std::span<unsigned char> bytes);
    bool Fail(const std::string& error);
    bool Fail(std::size_t layer, const std::string& error);

    std::shared_ptr<const CMergedDisk> m_disk;
    std::vector<std::unique_ptr<CReplayStream>> m_streams;
    std::vector<CPlace> m_places;  ///< what each file said last; good as long as `end` is ahead
    CBitmapCache m_bitmaps;
    CDataGather m_gather;
    std::string m_error;
};

}  // namespace NVHDXHost

#endif
