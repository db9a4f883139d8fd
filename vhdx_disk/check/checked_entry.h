#ifndef VHDX_DISK_CHECK_CHECKED_ENTRY_H
#define VHDX_DISK_CHECK_CHECKED_ENTRY_H

#include <cstdint>
#include <string>

#include <vhdx_disk/block_table.h>

#include "vhdx_disk/check/finding_sink.h"
#include "vhdx_parser/blocks/bat_entry.h"
#include "vhdx_parser/blocks/units.h"

namespace NVHDXDisk {

/// One entry of the block allocation table, with its place in it.
struct CCheckedEntry {
    bool isBitmap = false;
    std::uint64_t index = 0;     ///< of the payload block, or of the chunk whose bitmap it is
    std::uint64_t position = 0;  ///< of the entry itself in the file, in bytes
    NVHDX::CBATEntry entry;

    /// Whether it claims bytes of the file that somebody would read.
    [[nodiscard]] bool HoldsBytes() const {
        return isBitmap ? entry.IsSectorBitmapPresent()
                        : entry.PayloadState() == NVHDX::CPayloadBlock::FullyPresent ||
                              entry.PayloadState() == NVHDX::CPayloadBlock::PartiallyPresent;
    }
    [[nodiscard]] std::uint64_t FirstMebibyte() const { return entry.FileOffsetMB(); }
    [[nodiscard]] std::uint64_t Mebibytes(const CGeometry& geometry) const {
        return isBitmap ? 1 : geometry.blockSize / NVHDX::Mebibyte;
    }
    [[nodiscard]] std::string Name() const {
        return Sentence(isBitmap ? "the sector bitmap of chunk " : "block ", index);
    }
};

}  // namespace NVHDXDisk

#endif
