#ifndef VHDX_PARSER_FUZZ_PATCHES_H
#define VHDX_PARSER_FUZZ_PATCHES_H

/// The disks that inputs change, and how an input says so. Random bytes never hit the signatures
/// and GUIDs of a disk, so these are there already, and patches change what lies around them.

#include "fuzz/input.h"
#include "tests/support/image_builder.h"

namespace NFuzz {

/// All structures lie close together, so that a count that is followed to the end of the file is
/// soon followed: without blocks a disk has 208 KiB.
namespace NPlace {
inline constexpr std::uint64_t firstHeader = 64 * NTest::KiB;
inline constexpr std::uint64_t secondHeader = 128 * NTest::KiB;
inline constexpr std::uint64_t regionTable = 192 * NTest::KiB;
inline constexpr std::uint64_t metadataTable = 196 * NTest::KiB;
inline constexpr std::uint64_t firstItem = 200 * NTest::KiB;
inline constexpr std::uint64_t blockTable = 204 * NTest::KiB;
inline constexpr std::uint64_t log = 206 * NTest::KiB;
inline constexpr std::uint64_t end = 208 * NTest::KiB;
inline constexpr std::uint64_t data = 1 * NTest::MiB;
}  // namespace NPlace

/// Sectors of 8 bytes make chunks of 64 blocks of 1 MiB: a table has several chunks and is small.
inline NTest::CImageBuilder SmallDisk() {
    return NTest::CImageBuilder()
        .SectorSize(8)
        .VirtualSize(70 * NTest::MiB)
        .MetadataOffset(NPlace::metadataTable)
        .EditMetadata([](NTest::CMetadataTable& table) {
            table.items.front().offset = NPlace::firstItem - NPlace::metadataTable;
        })
        .BatOffset(NPlace::blockTable)
        .BatLength(NPlace::log - NPlace::blockTable)
        .DataStart(NPlace::data / NTest::MiB)
        .EditRegionTable(1, [](NTest::CRegionTable& table) { table.present = false; });
}

inline NTest::CImageBuilder BaseDisk() {
    return SmallDisk()
        .LogAt(NTest::NGuid::unknown, NPlace::log, 1024)
        .Bytes(NPlace::log, NTest::CLogEntry().Bytes())
        .PayloadBlock(0, 6, 4)
        .PayloadBlock(66, 6, 5);
}

inline NTest::CImageBuilder DifferencingDisk() {
    return SmallDisk()
        .Differencing()
        .AllocateSectorBitmap(0, NTest::CBytes{0x0F, 0xF0})
        .PayloadBlock(0, 7, 4)
        .PayloadBlock(1, 6, 5);
}

/// Patches a file: each patch is a place (1 byte), an offset from it (2), a length (1) and that
/// many bytes. Ends at a patch of no bytes.
template <class TFile>
void ApplyPatches(TFile& file, CInput& input) {
    constexpr std::uint64_t places[] = {
        NPlace::firstHeader, NPlace::secondHeader, NPlace::regionTable, NPlace::metadataTable,
        NPlace::firstItem,   NPlace::blockTable,   NPlace::log,         NPlace::data};
    while (!input.IsEmpty()) {
        const std::uint64_t place = places[input.Number(1) % 8];
        const std::uint64_t offset = place + input.Number(2) % 4096;
        const NTest::CBytes bytes = input.Bytes(input.Number(1) % 64);
        if (bytes.empty()) {
            return;
        }
        file.Write(offset, bytes);
    }
}

}  // namespace NFuzz

#endif
