#include <gtest/gtest.h>

#include "tests/container/opening.h"

namespace NTest {
namespace {

const CLines NotVhdx = {
    Line(4, "Reading size: 520"),
    Line(3,
         "Signature. The Hyper-V RCT module supports only *.vhdx disks. Please be certain that the "
         "*.vhdx disk format was selected and that the disk is not corrupted.")};

const CLines Unreadable = {Line(4, "Reading size: 520"),
                           Line(3, "Reading failed Stream Portion Reading")};

TEST(EntryIdentifier, UsualContainerOpensWithItsWholeTrace) {
    const COpening opening = Open(CImageBuilder());
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines,
              (Lines(Line(4, "Reading size: 520"),                                         //
                     Line(4, "HDR Bad Signature = 1684104552"),                            //
                     Line(4, "HDR Bad Signature = 1684104552"),                            //
                     Line(4, "HDR SequenceNumber of iteration hdr = 2"),                   //
                     Line(4, "HDR SequenceNumber of actual hdr = 1"),                      //
                     Line(4, "MAP_REGION type = CRegion::typeBAT"),                        //
                     Line(4, "MAP_REGION type = CRegion::typeMetadata"),                   //
                     Line(4, "METADATA_REGION type = CMetadata::typeFileParameters"),      //
                     Line(4, "METADATA_REGION type = CMetadata::typeVirtualDiskSize"),     //
                     Line(4, "METADATA_REGION type = CMetadata::typePage83Data"),          //
                     Line(4, "METADATA_REGION type = CMetadata::typeLogicalSectorSize"),   //
                     Line(4, "METADATA_REGION type = CMetadata::typePhysicalSectorSize"),  //
                     Line(4, "OK"))));
}

TEST(EntryIdentifier, ContextBeginsEveryLine) {
    const CTraceContext context("RCT");
    const COpening opening = Open(CImageBuilder().FileSize(100));
    EXPECT_EQ(opening.lines, (Lines(Line(4, "RCT: Reading size: 520"),
                                    Line(3, "RCT: Reading failed Stream Portion Reading"))));
}

TEST(EntryIdentifier, WithoutAWriterTheResultIsTheSame) {
    ASSERT_EQ(NDebugTrace::g_pwriter, nullptr);
    NVHDX::CAccessor accessor;
    CInputStream good(CImageBuilder().Build());
    EXPECT_TRUE(accessor.Entry(good));
    CInputStream bad(CImageBuilder().FileSize(100).Build());
    EXPECT_FALSE(accessor.Entry(bad));
}

TEST(EntryIdentifier, FileShorterThanTheIdentifierIsUnreadable) {
    for (const std::uint64_t size : {0U, 8U, 519U}) {
        const COpening opening = Open(CImageBuilder().FileSize(size));
        EXPECT_FALSE(opening.opened) << size;
        EXPECT_EQ(opening.lines, Unreadable) << size;
    }
}

TEST(EntryIdentifier, FileOfJustTheIdentifierGetsToTheHeaders) {
    const COpening opening = Open(CImageBuilder().FileSize(520));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, IdentifierLines() + Lines(Line(3, "HDR item not selected")));
}

TEST(EntryIdentifier, StreamThatFailedBeforeIsUnreadable) {
    CInputStream stream(CImageBuilder().Build());
    stream.setstate(std::ios::failbit);
    const COpening opening = Open(stream);
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, Unreadable);
}

TEST(EntryIdentifier, OtherSignatureIsNoVhdxFile) {
    const COpening opening = Open(CImageBuilder().EditFileTypeIdentifier(
        [](CFileTypeIdentifier& identifier) { identifier.signature = 0; }));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, NotVhdx);
}

TEST(EntryIdentifier, EveryByteOfTheSignatureCounts) {
    for (unsigned byte = 0; byte < 8; ++byte) {
        const COpening opening =
            Open(CImageBuilder().EditFileTypeIdentifier([byte](CFileTypeIdentifier& identifier) {
                identifier.signature ^= std::uint64_t{0x20} << (8 * byte);
            }));
        EXPECT_FALSE(opening.opened) << byte;
        EXPECT_EQ(opening.lines, NotVhdx) << byte;
    }
}

TEST(EntryIdentifier, SignatureIsTheTextVhdxfile) {
    const COpening opening =
        Open(CImageBuilder().Bytes(0, CBytes{'v', 'h', 'd', 'x', 'f', 'i', 'l', 'e'}));
    EXPECT_TRUE(opening.opened);
}

TEST(EntryIdentifier, CreatorIsNotLookedAt) {
    EXPECT_EQ(Open(CImageBuilder().Bytes(8, CBytes(512, 0xFF))).lines, SuccessLines());
}

TEST(EntryIdentifier, IsReadWhereTheStreamStands) {
    CInputStream stream(CImageBuilder().Build());
    stream.seekg(8);
    const COpening opening = Open(stream);
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, NotVhdx);
}

}  // namespace
}  // namespace NTest
