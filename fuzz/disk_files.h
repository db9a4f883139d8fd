#ifndef VHDX_PARSER_FUZZ_DISK_FILES_H
#define VHDX_PARSER_FUZZ_DISK_FILES_H

/// The files that inputs change for the library of disks, and how an input says so.

#include <array>
#include <string>

#include "fuzz/input.h"
#include "fuzz/memory_source.h"
#include "tests/support/image_builder.h"
#include "tests/support/log_builder.h"

namespace NFuzz {

/// As every well-formed file has them, whole MiB apart.
namespace NDiskPlace {
inline constexpr std::uint64_t firstHeader = 64 * NTest::KiB;
inline constexpr std::uint64_t secondHeader = 128 * NTest::KiB;
inline constexpr std::uint64_t regionTable = 192 * NTest::KiB;
inline constexpr std::uint64_t secondRegionTable = 256 * NTest::KiB;
inline constexpr std::uint64_t log = 1 * NTest::MiB;
inline constexpr std::uint64_t metadataTable = 2 * NTest::MiB;
inline constexpr std::uint64_t firstItem = metadataTable + 64 * NTest::KiB;
inline constexpr std::uint64_t blockTable = 3 * NTest::MiB;
inline constexpr std::uint64_t bitmap = 4 * NTest::MiB;
inline constexpr std::uint64_t end = 6 * NTest::MiB;  ///< of what inputs change
}  // namespace NDiskPlace

/// Of the files of a chain each one has two forms: with small blocks and closed properly, and with
/// blocks of 256 MiB, sixteen in a chunk, and a pending log.
inline constexpr std::size_t mostFiles = 4;

inline std::string FileName(std::size_t file) {
    return std::to_string(file) + (file == 0 ? ".vhdx" : ".avhdx");
}

inline NTest::CImageBuilder FileOf(std::size_t file) {
    NTest::CImageBuilder builder;
    if (file != 0) {
        const std::string parent = FileName(file - 1);
        builder.Differencing().ParentLocator(
            {{u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
             {u"relative_path", u".\\" + std::u16string(parent.begin(), parent.end())}});
    }
    return builder;
}

/// Blocks of all states that a file of its kind has.
inline NTest::CSparseImage SmallBlocks(std::size_t file) {
    NTest::CImageBuilder builder = FileOf(file).VirtualSize(6 * NTest::MiB + 512 * (file + 1));
    builder.PayloadBlock(1, 6, 8 + file).PayloadBlock(6, 6, 12);
    if (file == 0) {
        builder.PayloadBlock(0, 6, 7).PayloadBlock(2, 6, 6).PayloadBlock(3, 1, 9);
    } else {
        builder.AllocateSectorBitmap(0, NTest::Pattern(file, 0, 4096))
            .PayloadBlock(0, 7, 7)
            .PayloadBlock(2 + file % 2, 2, 0)
            .PayloadBlock(4, 7, 6)
            .PayloadBlock(5, 3, 0);
    }
    return builder.FileSize(13 * NTest::MiB).Build();
}

inline NTest::CBytes LargeBlocksLog(const NTest::CImageBuilder& builder, bool isFirst) {
    using namespace NTest;
    CBytes table(4096);
    Put64(table, 8 * builder.Geometry().PayloadEntry(0), 600 * MiB | (isFirst ? 6 : 7));
    Put64(table, 8 * builder.Geometry().PayloadEntry(1), 1000 * MiB | 6);
    Put64(table, 8 * builder.Geometry().PayloadEntry(2), 2);
    Put64(table, 8 * builder.Geometry().PayloadEntry(17), 1300 * MiB | (isFirst ? 6 : 7));
    if (!isFirst) {
        Put64(table, 8 * builder.Geometry().SectorBitmapEntry(0), 4 * MiB | 6);
        Put64(table, 8 * builder.Geometry().SectorBitmapEntry(1), 5 * MiB | 6);
    }
    return CLogEntryBuilder(5)
        .FileOffsets(6 * MiB, 1600 * MiB)
        .Page(NDiskPlace::blockTable, table)
        .Page(1000 * MiB + 8192, Pattern(7, 0, 4096))
        .Zero(1300 * MiB + 4096, 12288)
        .Bytes();
}

inline NTest::CSparseImage LargeBlocks(std::size_t file) {
    using namespace NTest;
    CImageBuilder builder = FileOf(file)
                                .BlockSize(256 * MiB)
                                .SectorSize(file == 2 ? 4096 : 512)
                                .VirtualSize(18 * 256 * MiB + 4096 * (file + 1))
                                .PayloadBlock(0, 6, 6)
                                .PayloadBlock(18, 6, 700);
    if (file != 0) {
        builder.AllocateSectorBitmap(0, Pattern(file, 0, 4096))
            .AllocateSectorBitmap(1, Pattern(file + 9, 0, 4096));
    }
    const CBytes first = LargeBlocksLog(builder, file == 0);
    const CBytes second = CLogEntryBuilder(6)
                              .FileOffsets(6 * MiB, 1600 * MiB)
                              .Page(700 * MiB, Pattern(8, 0, 4096))
                              .Page(1000 * MiB + 8192, Pattern(9, 0, 4096))
                              .Bytes();
    builder.LogAt(logGuid, MiB, 1048576).Bytes(MiB, first).Bytes(MiB + first.size(), second);
    return builder.FileSize(1200 * MiB).Build();
}

/// Makes the checksum right of a structure that was changed; it is in bytes 4 to 7.
inline void Seal(CMemorySource& file, std::uint64_t position, std::size_t length) {
    if (!file.IsChanged(position, length)) {
        return;
    }
    const auto kept = file.Kept(position, length);
    NTest::CBytes bytes(kept.begin(), kept.end());
    NTest::Put32(bytes, 4, 0);
    NTest::CBytes checksum;
    NTest::Put32(checksum, 0, NTest::Crc32c(bytes));
    file.Write(position + 4, checksum);
}

/// Makes the checksums right of the entries that the first sectors of the log hold.
inline void SealLog(CMemorySource& file) {
    constexpr std::uint64_t sector = 4096;
    for (std::uint64_t at = 0; at < 16 * sector;) {
        const auto start = file.Kept(NDiskPlace::log + at, 12);
        const std::uint64_t length = NTest::LittleEndian(start.subspan(8, 4));
        const bool isEntry = NTest::LittleEndian(start.first(4)) == 0x65676F6C &&
                             length >= sector && length <= 16 * sector && length % sector == 0;
        if (isEntry) {
            Seal(file, NDiskPlace::log + at, static_cast<std::size_t>(length));
        }
        at += isEntry ? length : sector;
    }
}

/// Patches a file: each patch is a place (1 byte), an offset from it (2), a length (1) and that
/// many bytes. Ends at a patch of no bytes.
inline void PatchFile(CMemorySource& file, CInput& input) {
    constexpr std::uint64_t places[] = {
        NDiskPlace::firstHeader,        NDiskPlace::secondHeader,
        NDiskPlace::regionTable,        NDiskPlace::secondRegionTable,
        NDiskPlace::metadataTable,      NDiskPlace::firstItem,
        NDiskPlace::blockTable,         NDiskPlace::log,
        NDiskPlace::log + 4096,         NDiskPlace::bitmap,
        NDiskPlace::bitmap + NTest::MiB};
    while (!input.IsEmpty()) {
        const std::uint64_t place = places[input.Number(1) % std::size(places)];
        const std::uint64_t offset = place + input.Number(2);
        const NTest::CBytes bytes = input.Bytes(input.Number(1) % 64);
        if (bytes.empty()) {
            return;
        }
        file.Write(offset, bytes);
    }
}

/// What the first byte of a file's part of the input says: which form it has, which checksums stay
/// as patches leave them, and whether the file has another size, in units of 64 KiB.
namespace NFileBit {
inline constexpr std::uint64_t largeBlocks = 1;
inline constexpr std::uint64_t leaveHeaders = 2;
inline constexpr std::uint64_t leaveLog = 4;
inline constexpr std::uint64_t leaveRegions = 8;
inline constexpr std::uint64_t resize = 16;
}  // namespace NFileBit

inline void SealFile(CMemorySource& file, std::uint64_t bits) {
    if ((bits & NFileBit::leaveHeaders) == 0) {
        Seal(file, NDiskPlace::firstHeader, 4096);
        Seal(file, NDiskPlace::secondHeader, 4096);
    }
    if ((bits & NFileBit::leaveLog) == 0) {
        SealLog(file);
    }
    if ((bits & NFileBit::leaveRegions) == 0) {
        Seal(file, NDiskPlace::regionTable, 65536);
        Seal(file, NDiskPlace::secondRegionTable, 65536);
    }
}

/// All forms of all files of a chain.
class CDiskFiles {
public:
    /// The file in the form that the input says, with its patches: their number of bytes, then they
    /// themselves. `seals` are the checksums to make right, bits of `NFileBit`.
    CMemorySource& Patched(std::size_t file, CInput& input, std::uint64_t neverSealed = 0) {
        const std::uint64_t bits = input.Number(1);
        CMemorySource& source = (bits & NFileBit::largeBlocks) != 0 ? m_large[file] : m_small[file];
        source.Restore();
        if ((bits & NFileBit::resize) != 0) {
            source.Resize(input.Number(2) * 64 * NTest::KiB + input.Number(1));
        }
        const NTest::CBytes bytes = input.Bytes(input.Number(1));
        if (!bytes.empty()) {
            CInput patches(bytes.data(), bytes.size());
            PatchFile(source, patches);
            SealFile(source, bits | neverSealed);
        }
        return source;
    }

private:
    static CMemorySource Small(std::size_t file) {
        return {FileName(file), SmallBlocks(file), NDiskPlace::end};
    }
    static CMemorySource Large(std::size_t file) {
        return {FileName(file), LargeBlocks(file), NDiskPlace::end};
    }

    std::array<CMemorySource, mostFiles> m_small = {Small(0), Small(1), Small(2), Small(3)};
    std::array<CMemorySource, mostFiles> m_large = {Large(0), Large(1), Large(2), Large(3)};
};

}  // namespace NFuzz

#endif
