#ifndef VHDX_PARSER_TESTS_TOOL_CHAIN_DISKS_H
#define VHDX_PARSER_TESTS_TOOL_CHAIN_DISKS_H

/// The chain on which the commands for folders are shown: a base disk and two checkpoints.

#include <filesystem>
#include <string>

#include "tests/support/image_builder.h"

namespace NTest {

inline CGuid ChainLinkage(char disk) {
    return Guid(std::string("{5A17C0DE-0000-4000-8000-00000000000") + disk + "}");
}

/// A differencing disk of 8 MiB whose parent is `parent`, which was written as `parentDisk`.
inline CImageBuilder ChildDisk(char disk, char parentDisk, const std::u16string& parent) {
    std::u16string linkage = u"{5A17C0DE-0000-4000-8000-00000000000?}";
    linkage[linkage.size() - 2] = static_cast<char16_t>(parentDisk);
    return CImageBuilder()
        .VirtualSize(8 * MiB)
        .Differencing()
        .DataWriteGuid(ChainLinkage(disk))
        .ParentLocator({{u"parent_linkage", linkage}, {u"relative_path", u".\\" + parent}});
}

/// The base: blocks 0, 1 and 5 of 8.
inline CImageBuilder ChainBase() {
    return CImageBuilder()
        .VirtualSize(8 * MiB)
        .DataWriteGuid(ChainLinkage('0'))
        .AllocateData(0, 31)
        .AllocateData(1, 31)
        .AllocateData(5, 31);
}

/// A bitmap that holds sectors [8 × first, 8 × last) of block 5 of 1 MiB: whole bytes, which mean
/// the same in either bit order.
inline CBytes BitmapOfBlock5(std::size_t first, std::size_t last) {
    CBytes bitmap(5 * 256 + last, 0);
    for (std::size_t i = first; i < last; ++i) {
        bitmap[5 * 256 + i] = 0xFF;
    }
    return bitmap;
}

/// Its child: all of block 1, the first 8 KiB of block 5.
inline CImageBuilder ChainFirst() {
    return ChildDisk('1', '0', u"disk.vhdx")
        .AllocateData(1, 32)
        .AllocateSectorBitmap(0, BitmapOfBlock5(0, 2))
        .AllocatePartialData(5, 32);
}

/// The newest: 8 KiB of block 5 from 4 KiB on, and block 6, which the base does not have.
inline CImageBuilder ChainSecond() {
    return ChildDisk('2', '1', u"first.avhdx")
        .AllocateSectorBitmap(0, BitmapOfBlock5(1, 3))
        .AllocatePartialData(5, 33)
        .AllocateData(6, 33);
}

/// Writes disk.vhdx, first.avhdx and second.avhdx.
inline void WriteChain(const std::filesystem::path& folder) {
    ChainBase().Build().WriteTo(folder / "disk.vhdx");
    ChainFirst().Build().WriteTo(folder / "first.avhdx");
    ChainSecond().Build().WriteTo(folder / "second.avhdx");
}

/// Writes other.avhdx, a second child of first.avhdx.
inline void WriteFork(const std::filesystem::path& folder) {
    ChildDisk('3', '1', u"first.avhdx").AllocateData(2, 34).Build().WriteTo(folder / "other.avhdx");
}

}  // namespace NTest

#endif
