#include "tests/disk/check_result.h"
#include "tests/support/log_builder.h"

namespace NTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint64_t Bat = 3 * MiB;

std::string Block(const std::string& kind, std::uint64_t block) {
    return kind + " at block " + std::to_string(block) + ", entry at offset " +
           std::to_string(Bat + 8 * block);
}

/// 16 blocks and one chunk, so that the bitmap's entry is number 4096.
std::string Chunk0(const std::string& kind) {
    return kind + " at chunk 0, entry at offset " + std::to_string(Bat + 8 * 4096);
}

CImageBuilder Dynamic() {
    return CImageBuilder().FileSize(8 * MiB);
}

CImageBuilder Child() {
    return Dynamic().Differencing();
}

TEST(DiskCheckBat, FindsStatesThatNoBlockCanHave) {
    EXPECT_THAT(Findings(Dynamic().PayloadBlock(2, 4, 0).PayloadBlock(4, 5, 0)),
                ElementsAre(Block("block-state", 2), Block("block-state", 4)));
}

TEST(DiskCheckBat, TakesEveryStateThatABlockCanHave) {
    EXPECT_THAT(Findings(Dynamic()
                             .PayloadBlock(0, 0, 0)
                             .PayloadBlock(1, 1, 0)
                             .PayloadBlock(2, 2, 0)
                             .PayloadBlock(3, 3, 5)
                             .PayloadBlock(4, 6, 4)),
                IsEmpty());
}

TEST(DiskCheckBat, JoinsNeighboursWithTheSameTrouble) {
    EXPECT_THAT(
        Findings(Dynamic().PayloadBlock(5, 4, 0).PayloadBlock(6, 5, 0).PayloadBlock(7, 4, 0)),
        ElementsAre("block-state at blocks 5 to 7, entries from offset 3145768"));
}

TEST(DiskCheckBat, FindsAPartialBlockWithoutParent) {
    EXPECT_THAT(Findings(Dynamic().PayloadBlock(1, 7, 4)),
                ElementsAre(Block("block-partial-without-parent", 1)));
}

TEST(DiskCheckBat, FindsAnEntryInUsePastTheEndOfTheDisk) {
    EXPECT_THAT(ChildFindings(Child().PayloadBlock(16, 6, 4)),
                ElementsAre(Block("block-past-disk", 16)));
}

/// Readers refuse the whole table for it.
TEST(DiskCheckBat, FindsAnImpossibleStatePastTheEndOfTheDisk) {
    EXPECT_THAT(ChildFindings(Child().PayloadBlock(16, 5, 4)),
                ElementsAre(Block("block-state", 16), Block("block-past-disk", 16)));
}

TEST(DiskCheckBat, FindsABlockInTheHeaderArea) {
    EXPECT_THAT(Findings(Dynamic().PayloadBlock(1, 6, 0)),
                ElementsAre(Block("block-in-header", 1)));
}

TEST(DiskCheckBat, FindsABlockPastTheEndOfTheFile) {
    EXPECT_THAT(Findings(Dynamic().PayloadBlock(1, 6, 7)), IsEmpty());
    EXPECT_THAT(Findings(Dynamic().PayloadBlock(1, 6, 8)), ElementsAre(Block("block-past-end", 1)));
    EXPECT_THAT(Findings(Dynamic().PayloadBlock(1, 6, 0xFFFFFFFFFFF)),
                ElementsAre(Block("block-past-end", 1)));
    EXPECT_THAT(Findings(Dynamic().PayloadBlock(1, 6, 7).FileSize(8 * MiB - 1)),
                ElementsAre(Block("block-past-end", 1)));
}

TEST(DiskCheckBat, WantsOfTheLastBlockOnlyWhatTheDiskHas) {
    const CImageBuilder disk = CImageBuilder().VirtualSize(MiB + 512).PayloadBlock(1, 6, 4);
    EXPECT_THAT(Findings(CImageBuilder(disk).FileSize(4 * MiB + 512)), IsEmpty());
    EXPECT_THAT(Findings(CImageBuilder(disk).FileSize(4 * MiB + 511)),
                ElementsAre(Block("block-past-end", 1)));
}

TEST(DiskCheckBat, FindsReservedBitsOfBlocksInEveryState) {
    constexpr auto text = ": the reserved bits 3 to 19 of the entry are not 0";
    EXPECT_THAT(Sentences(Dynamic().PayloadBlock(1, 6, 4, 1)),
                ElementsAre(Block("block-reserved", 1) + text));
    EXPECT_THAT(Sentences(Dynamic().RawBatEntry(1, 4 * MiB | 1 << 19 | 6)),
                ElementsAre(Block("block-reserved", 1) + text));
    for (const unsigned state : {0u, 1u, 2u, 3u}) {
        EXPECT_THAT(Sentences(Dynamic().PayloadBlock(1, state, 0, 1)),
                    ElementsAre(Block("block-reserved", 1) + text));
    }
}

TEST(DiskCheckBat, FindsTwoBlocksInOnePlace) {
    const CCheckResult result =
        Check(Dynamic().PayloadBlock(1, 6, 5).PayloadBlock(9, 6, 5).Build());
    ASSERT_THAT(result.Lines(), ElementsAre(Block("block-overlap", 9)));
    EXPECT_THAT(result.findings[0].text,
                HasSubstr("claims the place of block 1 at offset 5242880"));
}

TEST(DiskCheckBat, FindsBlocksThatOverlapInPart) {
    const CCheckResult result = Check(CImageBuilder()
                                          .BlockSize(2 * MiB)
                                          .FileSize(10 * MiB)
                                          .PayloadBlock(1, 6, 6)
                                          .PayloadBlock(2, 6, 4)
                                          .PayloadBlock(3, 6, 7)
                                          .Build());
    ASSERT_THAT(result.Lines(), ElementsAre(Block("block-overlap", 3)));
    EXPECT_THAT(result.findings[0].text,
                HasSubstr("claims the place of block 1 at offset 7340032"));
}

TEST(DiskCheckBat, FindsABlockOnARegion) {
    const std::vector<std::string> owners = {"the log", "the metadata region",
                                             "the block allocation table"};
    for (std::size_t mebibyte = 1; mebibyte <= owners.size(); ++mebibyte) {
        const CCheckResult result = Check(Dynamic().PayloadBlock(4, 6, mebibyte).Build());
        ASSERT_THAT(result.Lines(), ElementsAre(Block("block-overlap", 4)));
        EXPECT_THAT(result.findings[0].text, HasSubstr(owners[mebibyte - 1]));
    }
}

TEST(DiskCheckBat, FindsASectorBitmapOnABlock) {
    const CTemporaryFolder folder;
    CImageBuilder().Build().WriteTo(folder / "parent.vhdx");
    Child().PayloadBlock(3, 7, 5).SectorBitmapBlock(0, 6, 5).Build().WriteTo(folder / "d.avhdx");
    const CCheckResult result = CheckFileAt(folder / "d.avhdx");
    ASSERT_THAT(result.Kinds(), ElementsAre("block-overlap"));
    EXPECT_EQ(result.findings[0].place, "the sector bitmap of chunk 0, entry at offset 3178496");
    EXPECT_THAT(result.findings[0].text, HasSubstr("claims the place of block 3"));
}

TEST(DiskCheckBat, FindsAPartialBlockWithoutItsSectorBitmap) {
    EXPECT_THAT(ChildFindings(Child().PayloadBlock(3, 7, 5)),
                ElementsAre(Chunk0("bitmap-missing")));
    EXPECT_THAT(ChildFindings(Child().PayloadBlock(3, 6, 5)), IsEmpty());
}

TEST(DiskCheckBat, AsksEachChunkForItsOwnSectorBitmap) {
    // Chunks of 16 blocks of 256 MiB.
    const CImageBuilder disk = CImageBuilder()
                                   .Differencing()
                                   .BlockSize(256 * MiB)
                                   .VirtualSize(32 * 256 * MiB)
                                   .FileSize(1024 * MiB)
                                   .SectorBitmapBlock(0, 6, 4)
                                   .PayloadBlock(1, 7, 5)
                                   .PayloadBlock(16, 7, 300);
    EXPECT_THAT(ChildFindings(disk), ElementsAre("bitmap-missing at chunk 1, entry at offset " +
                                                 std::to_string(Bat + 8 * 33)));
}

TEST(DiskCheckBat, FindsSectorBitmapsThatAreNone) {
    EXPECT_THAT(ChildFindings(Child().SectorBitmapBlock(0, 3, 0)),
                ElementsAre(Chunk0("bitmap-state")));
    EXPECT_THAT(ChildFindings(Child().SectorBitmapBlock(0, 6, 0)),
                ElementsAre(Chunk0("bitmap-in-header")));
    EXPECT_THAT(ChildFindings(Child().SectorBitmapBlock(0, 6, 8)),
                ElementsAre(Chunk0("bitmap-past-end")));
    for (const unsigned state : {0u, 6u}) {
        EXPECT_THAT(
            CheckChild(Child().SectorBitmapBlock(0, state, state == 0 ? 0 : 5, 1)).Sentences(),
            ElementsAre(Chunk0("bitmap-reserved") +
                        ": the reserved bits 3 to 19 of the entry are not 0"));
    }
}

TEST(DiskCheckBat, FindsASectorBitmapWithoutParent) {
    EXPECT_THAT(
        Findings(
            CImageBuilder().VirtualSize(4097 * MiB).FileSize(8 * MiB).SectorBitmapBlock(0, 6, 5)),
        ElementsAre(Chunk0("bitmap-without-parent")));
}

TEST(DiskCheckBat, FindsATableWithoutRoomForItsEntries) {
    EXPECT_THAT(Findings(Dynamic().BatLength(15 * 8).PayloadBlock(14, 5, 0).PayloadBlock(15, 5, 0)),
                ElementsAre("region-misaligned at offset 3145728",
                            "bat-too-small at offset 3145728", Block("block-state", 14)));
}

TEST(DiskCheckBat, FindsATableThatTheFileCutsOff) {
    EXPECT_THAT(
        Findings(CImageBuilder().FileSize(3 * MiB + 100)),
        ElementsAre("region-past-end at offset 3145728", "bat-unreadable at offset 3145728"));
}

TEST(DiskCheckBat, OnlyCountsWhatGoesBeyondAThousandFindings) {
    CImageBuilder disk = CImageBuilder().VirtualSize(4000 * MiB);
    for (std::uint64_t block = 0; block < 2100; block += 2) {
        disk.PayloadBlock(block, 5, 0);
    }
    const CCheckResult result = Check(disk.Build());
    ASSERT_EQ(result.findings.size(), 1001U);
    EXPECT_EQ(result.findings[999].place, "block 1998, entry at offset 3161712");
    EXPECT_EQ(result.findings[1000].text, "the same is wrong with 50 more entries further on");
}

TEST(DiskCheckBat, OnlyCountsWhatGoesBeyondAThousandOverlaps) {
    CImageBuilder disk = CImageBuilder().VirtualSize(4000 * MiB).FileSize(8 * MiB);
    for (std::uint64_t block = 0; block < 1011; ++block) {
        disk.PayloadBlock(block, 6, 5);
    }
    const CCheckResult result = Check(disk.Build());
    ASSERT_EQ(result.findings.size(), 1001U);
    EXPECT_EQ(result.findings[1000].text, "10 more entries claim places that are taken");
}

/// The log makes the file that large, so that no file system has to hold it.
TEST(DiskCheckBat, SaysWhereItNoLongerLooksForOverlaps) {
    CImageBuilder disk = Dynamic();
    disk.PayloadBlock(0, 6, 128 * MiB - 1).LogAt(logGuid, MiB, 1048576);
    const std::uint64_t size = 128 * TiB + 2 * MiB;
    const auto check = [&] {
        disk.Bytes(MiB, CLogEntryBuilder(1).FileOffsets(8 * MiB, size).Bytes());
        return Check(disk.Build());
    };
    EXPECT_THAT(check().Lines(), ElementsAre("log-pending at log"));
    disk.PayloadBlock(1, 6, 128 * MiB);
    const CCheckResult result = check();
    ASSERT_THAT(result.Lines(),
                ElementsAre("log-pending at log", "file-too-large at block allocation table"));
    EXPECT_EQ(result.findings[1].text,
              "blocks lie more than 128 TiB into the file, further than any disk needs: whether "
              "those overlap was not checked");
}

}  // namespace
}  // namespace NTest
