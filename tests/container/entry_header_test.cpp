#include <gtest/gtest.h>

#include "tests/container/opening.h"

namespace NTest {
namespace {

// The choice shows in the log identifier of the chosen header alone, so every header has its own.
const CGuid FirstLog = Guid("{11111111-0000-0000-0000-000000000000}");
const CGuid SecondLog = Guid("{22222222-0000-0000-0000-000000000000}");

CImageBuilder TwoHeaders(std::uint64_t firstNumber, std::uint64_t secondNumber) {
    return CImageBuilder()
        .EditHeader(0,
                    [=](CHeader& header) {
                        header.sequenceNumber = firstNumber;
                        header.logGuid = FirstLog;
                    })
        .EditHeader(1, [=](CHeader& header) {
            header.sequenceNumber = secondNumber;
            header.logGuid = SecondLog;
        });
}

/// The lines that tell the headers' choice: those with the head "HDR ".
CLines Choice(const CImageBuilder& builder) {
    CLines lines = Open(builder).lines;
    std::erase_if(lines, [](const CTraceLine& line) { return !line.text.starts_with("HDR "); });
    return lines;
}

CLines LogLines(const std::string& id) {
    return {Line(4, "HDR Log id = " + id), Line(4, "HDR Log offset = 1048576"),
            Line(4, "HDR Log lenght = 1048576")};
}

const CLines BothGood = {Line(4, "HDR Bad Signature = 1684104552"),
                         Line(4, "HDR Bad Signature = 1684104552")};

TEST(EntryHeader, LargerSequenceNumberAtTheSecondPositionIsChosen) {
    EXPECT_EQ(Choice(TwoHeaders(7, 8)),
              BothGood +
                  Lines(Line(4, "HDR SequenceNumber of iteration hdr = 8"),
                        Line(4, "HDR SequenceNumber of actual hdr = 7")) +
                  LogLines("{22222222-0000-0000-0000-000000000000}"));
}

TEST(EntryHeader, LargerSequenceNumberAtTheFirstPositionStays) {
    EXPECT_EQ(Choice(TwoHeaders(8, 7)),
              BothGood +
                  Lines(Line(4, "HDR SequenceNumber of iteration hdr = 7"),
                        Line(4, "HDR SequenceNumber of actual hdr = 8")) +
                  LogLines("{11111111-0000-0000-0000-000000000000}"));
}

TEST(EntryHeader, EqualSequenceNumbersChooseTheFirst) {
    EXPECT_EQ(Choice(TwoHeaders(5, 5)),
              BothGood +
                  Lines(Line(4, "HDR SequenceNumber of iteration hdr = 5"),
                        Line(4, "HDR SequenceNumber of actual hdr = 5")) +
                  LogLines("{11111111-0000-0000-0000-000000000000}"));
}

TEST(EntryHeader, SequenceNumbersAreUnsigned64BitNumbers) {
    EXPECT_EQ(Choice(TwoHeaders(1, 0xFFFFFFFFFFFFFFFF)),
              BothGood +
                  Lines(Line(4, "HDR SequenceNumber of iteration hdr = 18446744073709551615"),
                        Line(4, "HDR SequenceNumber of actual hdr = 1")) +
                  LogLines("{22222222-0000-0000-0000-000000000000}"));
}

TEST(EntryHeader, BadFirstHeaderLeavesTheSecondWithoutAComparison) {
    const CImageBuilder builder =
        TwoHeaders(9, 1).EditHeader(0, [](CHeader& header) { header.signature = 5; });
    EXPECT_TRUE(Open(builder).opened);
    EXPECT_EQ(Choice(builder),
              (Lines(Line(4, "HDR Bad Signature = 5"), Line(4, "HDR Bad Signature = 1684104552"))) +
                  LogLines("{22222222-0000-0000-0000-000000000000}"));
}

TEST(EntryHeader, BadSecondHeaderLeavesTheFirstWithoutAComparison) {
    const CImageBuilder builder =
        TwoHeaders(1, 9).EditHeader(1, [](CHeader& header) { header.signature = 5; });
    EXPECT_TRUE(Open(builder).opened);
    EXPECT_EQ(Choice(builder),
              (Lines(Line(4, "HDR Bad Signature = 1684104552"), Line(4, "HDR Bad Signature = 5"))) +
                  LogLines("{11111111-0000-0000-0000-000000000000}"));
}

TEST(EntryHeader, TwoBadHeadersAreRefused) {
    const COpening opening =
        Open(CImageBuilder().EditHeaders([](CHeader& header) { header.signature = 0xFFFFFFFF; }));
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, IdentifierLines() + Lines(Line(4, "HDR Bad Signature = 4294967295"),
                                                       Line(4, "HDR Bad Signature = 4294967295"),
                                                       Line(3, "HDR hdr not actual")));
}

TEST(EntryHeader, EveryByteOfTheSignatureCounts) {
    for (unsigned byte = 0; byte < 4; ++byte) {
        const COpening opening = Open(CImageBuilder().EditHeaders(
            [byte](CHeader& header) { header.signature ^= 0x20u << (8 * byte); }));
        EXPECT_FALSE(opening.opened) << byte;
        EXPECT_EQ(opening.lines.back(), Line(3, "HDR hdr not actual")) << byte;
    }
}

TEST(EntryHeader, FileWithoutTheWholeFirstHeaderIsRefused) {
    for (const std::uint64_t size : {65536U, 65536U + 4095U}) {
        const COpening opening = Open(CImageBuilder().FileSize(size));
        EXPECT_FALSE(opening.opened) << size;
        EXPECT_EQ(opening.lines, IdentifierLines() + Lines(Line(3, "HDR item not selected")));
    }
}

TEST(EntryHeader, FileWithoutTheWholeSecondHeaderIsRefusedThoughTheFirstIsGood) {
    for (const std::uint64_t size : {65536U + 4096U, 131072U, 131072U + 4095U}) {
        const COpening opening = Open(CImageBuilder().FileSize(size));
        EXPECT_FALSE(opening.opened) << size;
        EXPECT_EQ(opening.lines,
                  IdentifierLines() + Lines(Line(4, "HDR Bad Signature = 1684104552"),
                                            Line(3, "HDR item not selected")));
    }
}

TEST(EntryHeader, UnreachablePositionIsRefused) {
    CInputStream stream(CImageBuilder().FileSize(65536 + 4096).Build());
    stream.Buffer().RefuseSeekPastEnd();
    const COpening opening = Open(stream);
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, IdentifierLines() + Lines(Line(4, "HDR Bad Signature = 1684104552"),
                                                       Line(3, "HDR item not selected")));
}

TEST(EntryHeader, WrongChecksumsAreAccepted) {
    const COpening opening =
        Open(CImageBuilder()
                 .EditHeaders([](CHeader& header) { header.checksum = 0xBADBAD; })
                 .EditRegionTables([](CRegionTable& table) { table.checksum = 0xBADBAD; }));
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines, SuccessLines());
}

TEST(EntryHeader, AnyVersionIsAccepted) {
    for (const std::uint16_t version : std::vector<std::uint16_t>{0, 1, 2, 0xFFFF}) {
        const COpening opening = Open(CImageBuilder().EditHeaders([version](CHeader& header) {
            header.version = version;
            header.logVersion = version;
        }));
        EXPECT_TRUE(opening.opened) << version;
        EXPECT_EQ(opening.lines, SuccessLines()) << version;
    }
}

}  // namespace
}  // namespace NTest
