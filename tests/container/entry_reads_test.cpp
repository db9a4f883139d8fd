#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/container/opening.h"

namespace NTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const CGuid LogId = Guid("{6E4D5F00-0009-4A00-8000-000000000009}");

CImageBuilder WithLog() {
    return CImageBuilder().Log(LogId, CBytes(4096, 0));
}

CLines LinesWithLog() {
    return IdentifierLines() + HeaderLines() +
           Lines(Line(4, "HDR Log id = {6E4D5F00-0009-4A00-8000-000000000009}"),
                 Line(4, "HDR Log offset = 1048576"), Line(4, "HDR Log lenght = 1048576"),
                 Line(4, "LOG Log id = {00000000-0000-0000-0000-000000000000}"),
                 Line(4, "LOG Log suquence number = 0"), Line(4, "LOG Entries count = 0"),
                 Line(4, "LOG Descriptor count = 0")) +
           RegionLines() + ItemLines() + OkLine();
}

TEST(EntryReads, EachRecordOnceAndNothingElse) {
    CInputStream stream(CImageBuilder().Build());
    EXPECT_TRUE(Open(stream).opened);
    EXPECT_THAT(stream.Buffer().Reads(),
                ElementsAre(Portion(0, 520),                              //
                            Portion(65536, 4096), Portion(131072, 4096),  //
                            Portion(196608, 16),                          //
                            Portion(196624, 32), Portion(196656, 32),     //
                            Portion(2097152, 32),                         //
                            Portion(2097184, 32), Portion(2097216, 32),   //
                            Portion(2097248, 32), Portion(2097280, 32), Portion(2097312, 32)));
    EXPECT_THAT(stream.Buffer().Seeks(), ElementsAre(65536u, 131072u, 196608u, 2097152u));
}

TEST(EntryReads, LogTakesOneReadMore) {
    CInputStream stream(WithLog().Build());
    EXPECT_TRUE(Open(stream).opened);
    EXPECT_THAT(stream.Buffer().Reads(),
                ElementsAre(Portion(0, 520),                              //
                            Portion(65536, 4096), Portion(131072, 4096),  //
                            Portion(1048576, 68),                         //
                            Portion(196608, 16),                          //
                            Portion(196624, 32), Portion(196656, 32),     //
                            Portion(2097152, 32),                         //
                            Portion(2097184, 32), Portion(2097216, 32),   //
                            Portion(2097248, 32), Portion(2097280, 32), Portion(2097312, 32)));
    // The file's end is sought, and the log again, to see that the log is not behind the end.
    EXPECT_THAT(stream.Buffer().Seeks(),
                ElementsAre(65536u, 131072u, 1048576u, 4194304u, 1048576u, 196608u, 2097152u));
}

TEST(EntryReads, RefusedFileIsReadNoFurther) {
    CInputStream stream(CImageBuilder()
                            .EditFileTypeIdentifier(
                                [](CFileTypeIdentifier& identifier) { identifier.signature = 0; })
                            .Build());
    EXPECT_FALSE(Open(stream).opened);
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(0, 520)));
}

TEST(EntryReads, BadRegionTableEndsTheSearchBeforeTheSecondCopy) {
    CInputStream stream(CImageBuilder()
                            .EditRegionTable(0, [](CRegionTable& table) { table.signature = 0; })
                            .Build());
    EXPECT_FALSE(Open(stream).opened);
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(0, 520), Portion(65536, 4096),
                                                     Portion(131072, 4096), Portion(196608, 16)));
}

TEST(EntryReads, NothingIsEverWritten) {
    for (const CImageBuilder& builder :
         {CImageBuilder(), WithLog(), CImageBuilder().FileSize(131072)}) {
        CInputOutputStream stream(builder.Build());
        const CBytes before = stream.Image().Bytes(0, stream.Image().Size());
        Open(stream);
        EXPECT_THAT(stream.Buffer().Writes(), IsEmpty());
        EXPECT_EQ(stream.Buffer().Flushes(), 0u);
        EXPECT_TRUE(stream.Image().Bytes(0, stream.Image().Size()) == before);
    }
}

/// A failure at the n-th read or seek: how many lines of success come before, and the last line.
struct CFailure {
    std::uint64_t n;
    std::size_t linesBefore;
    CTraceLine line;
};

const CTraceLine HeadersFail = Line(3, "HDR item not selected");
const CTraceLine RegionTableFails = Line(3, "REG_TBL_HDR not iteration");
const CTraceLine RegionEntryFails = Line(3, "MAP_REGION failed Stream Portion Reading");
const CTraceLine MetadataTableFails = Line(3, "METADATA_REGION failed Stream Portion Reading");
const CTraceLine BadMetadataPosition = Line(3, "METADATA_REGION bad position");

TEST(EntryReads, FailureOfAnyReadHasItsLine) {
    const std::vector<CFailure> failures = {
        {1, 1, Line(3, "Reading failed Stream Portion Reading")},
        {2, 1, HeadersFail},
        {3, 2, HeadersFail},
        {4, 5, RegionTableFails},
        {5, 5, RegionEntryFails},
        {6, 6, RegionEntryFails},
        {7, 7, MetadataTableFails},
        {8, 7, BadMetadataPosition},
        {9, 8, BadMetadataPosition},
        {10, 9, BadMetadataPosition},
        {11, 10, BadMetadataPosition},
        {12, 11, BadMetadataPosition}};
    for (const auto& [n, linesBefore, line] : failures) {
        for (const std::uint64_t delivered : {0U, 15U}) {
            CInputStream stream(CImageBuilder().Build());
            stream.Buffer().FailRead(n, delivered);
            const COpening opening = Open(stream);
            EXPECT_FALSE(opening.opened) << "read " << n;
            EXPECT_EQ(opening.lines, First(linesBefore, SuccessLines()) + Lines(line))
                << "read " << n;
            EXPECT_EQ(stream.Buffer().Reads().size(), n);
        }
    }
}

TEST(EntryReads, FailureOfTheReadAfterTheLastIsNeverMet) {
    CInputStream stream(CImageBuilder().Build());
    stream.Buffer().FailRead(13);
    EXPECT_TRUE(Open(stream).opened);
}

TEST(EntryReads, FailureOfAnySeekHasItsLine) {
    const std::vector<CFailure> failures = {{1, 1, HeadersFail},
                                            {2, 2, HeadersFail},
                                            {3, 5, RegionTableFails},
                                            {4, 7, BadMetadataPosition}};
    for (const auto& [n, linesBefore, line] : failures) {
        CInputStream stream(CImageBuilder().Build());
        stream.Buffer().FailSeek(n);
        const COpening opening = Open(stream);
        EXPECT_FALSE(opening.opened) << "seek " << n;
        EXPECT_EQ(opening.lines, First(linesBefore, SuccessLines()) + Lines(line)) << "seek " << n;
        EXPECT_EQ(stream.Buffer().Seeks().size(), n);
    }
}

TEST(EntryReads, FailureOfTheLogsReadHasItsLine) {
    CInputStream stream(WithLog().Build());
    stream.Buffer().FailRead(4, 67);
    const COpening opening = Open(stream);
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, First(8, LinesWithLog()) +
                                 Lines(Line(3, "LOG ENTRY HEADER failed Stream Portion Reading")));
}

TEST(EntryReads, FailureOfTheLogsSeekHasItsLine) {
    CInputStream stream(WithLog().Build());
    stream.Buffer().FailSeek(3);
    const COpening opening = Open(stream);
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, First(8, LinesWithLog()) + Lines(Line(3, "LOG bad position")));
}

TEST(EntryReads, StreamThatCannotTellItsSizeOpensWithItsLog) {
    CInputStream stream(WithLog().Build());
    stream.Buffer().FailSeek(4);
    const COpening opening = Open(stream);
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines, LinesWithLog());
}

TEST(EntryReads, StreamThatDoesNotComeBackToItsLogIsRefused) {
    CInputStream stream(WithLog().Build());
    stream.Buffer().FailSeek(5);
    const COpening opening = Open(stream);
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, First(8, LinesWithLog()) +
                                 Lines(Line(3, "LOG ENTRY HEADER failed Stream Portion Reading")));
}

}  // namespace
}  // namespace NTest
