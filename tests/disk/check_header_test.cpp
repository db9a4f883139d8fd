#include "tests/disk/check_result.h"
#include "tests/support/log_builder.h"
#include "vhdx_disk/check/header_check.h"

namespace NTest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(DiskCheckHeader, FindsNothingInASoundDisk) {
    EXPECT_THAT(Findings(CImageBuilder()), IsEmpty());
    EXPECT_THAT(Findings(CImageBuilder().AllocateData(0, 1).AllocateData(7, 2)), IsEmpty());
    EXPECT_THAT(ChildFindings(CImageBuilder()
                                  .Differencing()
                                  .AllocateData(1, 1)
                                  .AllocatePartialData(3, 2)
                                  .AllocateSectorBitmap(0, CBytes{0x0F})),
                IsEmpty());
}

TEST(DiskCheckHeader, CannotCheckWhatIsNoContainer) {
    const CTemporaryFolder folder;
    CSparseImage image;
    image.Resize(4 * MiB);
    image.WriteTo(folder / "zeros.vhdx");
    const CCheckResult zeros = CheckFileAt(folder / "zeros.vhdx");
    EXPECT_FALSE(zeros.checked);
    EXPECT_EQ(zeros.failure.reason, "the file is no VHDX container");
    EXPECT_EQ(zeros.failure.kind, NVHDXDisk::CFailure::notADisk);
    EXPECT_THAT(zeros.findings, IsEmpty());

    const CCheckResult missing = CheckFileAt(folder / "missing.vhdx");
    EXPECT_FALSE(missing.checked);
    EXPECT_EQ(missing.failure.reason, "there is no such file");
    EXPECT_EQ(missing.failure.kind, NVHDXDisk::CFailure::notFound);
}

TEST(DiskCheckHeader, FindsAWrongIdentifier) {
    EXPECT_THAT(Findings(CImageBuilder().EditFileTypeIdentifier(
                    [](CFileTypeIdentifier& identifier) { identifier.signature ^= 1; })),
                ElementsAre("identifier-signature at offset 0"));
}

TEST(DiskCheckHeader, FindsEachCopyThatIsNoHeader) {
    const auto spoil = [](CHeader& header) { header.signature = 0; };
    EXPECT_THAT(Findings(CImageBuilder().EditHeader(0, spoil)),
                ElementsAre("header-signature at offset 65536"));
    EXPECT_THAT(Findings(CImageBuilder().EditHeader(1, spoil)),
                ElementsAre("header-signature at offset 131072"));
}

TEST(DiskCheckHeader, FindsAWrongChecksum) {
    EXPECT_THAT(
        Findings(CImageBuilder().EditHeader(0, [](CHeader& header) { header.checksum = 5; })),
        ElementsAre("header-checksum at offset 65536"));
}

TEST(DiskCheckHeader, FindsADamagedByteFarIntoTheHeader) {
    EXPECT_THAT(Findings(CImageBuilder().Bytes(131072 + 4095, CBytes{1})),
                ElementsAre("header-checksum at offset 131072"));
}

TEST(DiskCheckHeader, SaysWhenNoCopyIsValid) {
    EXPECT_THAT(Findings(CImageBuilder().EditHeaders([](CHeader& header) { header.checksum = 5; })),
                ElementsAre("header-checksum at offset 65536", "header-checksum at offset 131072",
                            "no-valid-header at both headers"));
}

TEST(DiskCheckHeader, FindsCopiesOfWhichNobodyKnowsTheNewer) {
    EXPECT_THAT(
        Sentences(CImageBuilder()
                      .EditHeader(0, [](CHeader& header) { header.sequenceNumber = 2; })
                      .EditHeader(0, [](CHeader& header) { header.fileWriteGuid[0] ^= 1; })),
        ElementsAre("headers-ambiguous at both headers: both copies have the same sequence number "
                    "and say different things: nobody knows which one counts"));
}

TEST(DiskCheckHeader, CountsTheEntriesThatArePending) {
    std::string text;
    const NVHDXDisk::CFindingCallback report = [&](const NVHDXDisk::CFinding& finding) {
        text = finding.text;
    };
    NVHDXDisk::CLogState replay;
    replay.status = NVHDXDisk::CLogState::replayed;
    replay.entries = 2;
    NVHDXDisk::CheckLog(replay, {}, NVHDXDisk::CFindingSink("disk.vhdx", report));
    EXPECT_EQ(text,
              "needs replay: 2 entries are not in place yet; the disk is in use or was not closed, "
              "and read as it stands it gives old data");
}

TEST(DiskCheckHeader, TakesTwoEqualCopies) {
    EXPECT_THAT(
        Findings(CImageBuilder().EditHeader(0, [](CHeader& header) { header.sequenceNumber = 2; })),
        IsEmpty());
}

TEST(DiskCheckHeader, FindsUnknownVersionsInTheCurrentHeader) {
    EXPECT_THAT(
        Findings(CImageBuilder().EditHeader(1, [](CHeader& header) { header.version = 2; })),
        ElementsAre("header-version at current header"));
    EXPECT_THAT(
        Findings(CImageBuilder().EditHeader(1, [](CHeader& header) { header.logVersion = 1; })),
        ElementsAre("log-version at current header"));
    EXPECT_THAT(
        Findings(CImageBuilder().EditHeader(0, [](CHeader& header) { header.version = 2; })),
        IsEmpty());
}

TEST(DiskCheckHeader, FindsReservedBytesInEachCopy) {
    const auto first = [](CHeader& header) { header.reserved = {0, 0, 1, 1}; };
    const auto last = [](CHeader& header) {
        header.reserved = CBytes(4016);
        header.reserved.back() = 1;
    };
    EXPECT_THAT(Sentences(CImageBuilder().EditHeader(0, first).EditHeader(1, last)),
                ElementsAre("header-reserved at offset 65618: the reserved area of this copy of "
                            "the header is not 0 throughout",
                            "header-reserved at offset 135167: the reserved area of this copy of "
                            "the header is not 0 throughout"));
}

TEST(DiskCheckHeader, FindsALogThatNeedsReplayAndChecksTheDiskAsItIsThen) {
    // The entry puts the state right that the table has wrong.
    CBytes page(4096);
    page[0] = 6;
    Put64(page, 0, 6 | 4 * MiB);
    const CBytes entry =
        CLogEntryBuilder(1).Page(3 * MiB, page).FileOffsets(5 * MiB, 5 * MiB).Bytes();
    const CCheckResult result =
        Check(CImageBuilder().PayloadBlock(0, 5, 4).Log(logGuid, entry).FileSize(5 * MiB).Build());
    ASSERT_THAT(result.Lines(), ElementsAre("log-pending at log"));
    EXPECT_THAT(result.findings[0].text, HasSubstr("needs replay: 1 entry is not in place"));
}

TEST(DiskCheckHeader, FindsALogThatCannotBeReplayed) {
    const CCheckResult result = Check(CImageBuilder().Log(logGuid, CBytes(4096)).Build());
    ASSERT_THAT(result.Lines(), ElementsAre("log-unreadable at log"));
    EXPECT_THAT(result.findings[0].text, HasSubstr("it holds no valid sequence of entries"));
}

}  // namespace
}  // namespace NTest
