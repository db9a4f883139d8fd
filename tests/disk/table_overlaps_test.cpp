#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "vhdx_disk/check/table_overlaps.h"

namespace NTest {
namespace {

using NVHDXDisk::CCheckedEntry;
using NVHDXDisk::CFilePlace;
using NVHDXDisk::CFinding;
using NVHDXDisk::CGeometry;
using NVHDXDisk::CTableOverlaps;
using testing::ElementsAre;
using testing::IsEmpty;

/// A fully present block.
CCheckedEntry Block(std::uint64_t index, std::uint64_t mebibyte) {
    return {false, index, 3 * MiB + 8 * index, NVHDX::CBATEntry(mebibyte << 20 | 6)};
}

/// Both passes over the entries; "place: text" of what they find, without the rest of a sentence.
std::vector<std::string> Overlaps(std::uint64_t fileSize, const std::vector<CFilePlace>& places,
                                  const std::vector<CCheckedEntry>& entries,
                                  std::uint32_t blockSize = MiB) {
    const CGeometry geometry{blockSize, 512, 64 * GiB, 4 * GiB / blockSize, false};
    CTableOverlaps overlaps(fileSize, places);
    for (const CCheckedEntry& entry : entries) {
        overlaps.Claim(entry, geometry);
    }
    for (const CCheckedEntry& entry : entries) {
        overlaps.NameOwner(entry, geometry);
    }
    EXPECT_FALSE(overlaps.HasUnknownOwners());
    std::vector<std::string> lines;
    const NVHDXDisk::CFindingCallback report = [&](const CFinding& finding) {
        lines.push_back(finding.place + ": " +
                        finding.text.substr(0, finding.text.find(" of the file")));
    };
    overlaps.Report({"disk.vhdx", report});
    return lines;
}

TEST(TableOverlaps, APlaceTakesTheMebibytesThatItTouches) {
    const std::vector<CFilePlace> log = {{"the log", 2 * MiB + 4096, 2 * MiB}};
    EXPECT_THAT(Overlaps(8 * MiB, log, {Block(0, 1)}), IsEmpty());
    EXPECT_THAT(Overlaps(8 * MiB, log, {Block(0, 2)}),
                ElementsAre("block 0, entry at offset 3145728: claims the place of the log at "
                            "offset 2097152"));
    EXPECT_THAT(Overlaps(8 * MiB, log, {Block(0, 4)}),
                ElementsAre("block 0, entry at offset 3145728: claims the place of the log at "
                            "offset 4194304"));
    EXPECT_THAT(Overlaps(8 * MiB, log, {Block(0, 5)}), IsEmpty());
}

TEST(TableOverlaps, APlaceOfNoLengthTakesNothing) {
    EXPECT_THAT(Overlaps(8 * MiB, {{"the log", 2 * MiB, 0}}, {Block(0, 2)}), IsEmpty());
}

TEST(TableOverlaps, TheLastMebibyteNeedNotBeWhole) {
    EXPECT_THAT(Overlaps(5 * MiB + 1, {}, {Block(0, 5), Block(1, 5)}),
                ElementsAre("block 1, entry at offset 3145736: claims the place of block 0 at "
                            "offset 5242880"));
}

TEST(TableOverlaps, AnEntryIsToldOnceHoweverMuchOfItIsTaken) {
    EXPECT_THAT(Overlaps(16 * MiB, {}, {Block(0, 4), Block(1, 4), Block(2, 8)}, 4 * MiB),
                ElementsAre("block 1, entry at offset 3145736: claims the place of block 0 at "
                            "offset 4194304"));
}

TEST(TableOverlaps, TheFirstOfSeveralOwnersIsNamed) {
    EXPECT_THAT(Overlaps(8 * MiB, {}, {Block(0, 5), Block(1, 5), Block(2, 5)}),
                ElementsAre("block 1, entry at offset 3145736: claims the place of block 0 at "
                            "offset 5242880",
                            "block 2, entry at offset 3145744: claims the place of block 0 at "
                            "offset 5242880"));
}

TEST(TableOverlaps, NothingIsComparedBehind128Tebibytes) {
    constexpr std::uint64_t end = 128 * TiB / MiB;
    EXPECT_THAT(Overlaps(129 * TiB, {}, {Block(0, end), Block(1, end)}),
                ElementsAre("block allocation table: blocks lie more than 128 TiB into the file, "
                            "further than any disk needs: whether those overlap was not checked"));
}

}  // namespace
}  // namespace NTest
