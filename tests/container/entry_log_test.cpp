#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/byte_stream.h>

#include "tests/container/opening.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using testing::Contains;
using testing::Not;

const CGuid LogId = Guid("{6E4D5F00-0009-4A00-8000-000000000009}");

CLines LogHeaderLines(const std::string& offset, const std::string& length) {
    return {Line(4, "HDR Log id = {6E4D5F00-0009-4A00-8000-000000000009}"),
            Line(4, "HDR Log offset = " + offset), Line(4, "HDR Log lenght = " + length)};
}

CLines UpToTheLog() {
    return IdentifierLines() + HeaderLines();
}

CLines BehindTheLog() {
    return RegionLines() + ItemLines() + OkLine();
}

/// A log entry whose bytes 0 to 67 are their own offsets, but for the numbers that are traced.
CBytes TracedEntry() {
    CBytes entry(68);
    for (std::size_t offset = 0; offset < entry.size(); ++offset) {
        entry[offset] = static_cast<unsigned char>(offset);
    }
    Put32(entry, 8, 4096);
    Put64(entry, 16, 77);
    Put64(entry, 24, 0xFFFFFFFFFFFFFFFE);
    return entry;
}

TEST(EntryLog, FirstEntryIsTracedFieldByField) {
    const COpening opening = Open(CImageBuilder().Log(LogId, TracedEntry()));
    EXPECT_TRUE(opening.opened);
    // The identifier is made of the bytes 36 to 51 (0x24 to 0x33).
    EXPECT_EQ(
        opening.lines,
        UpToTheLog() + LogHeaderLines("1048576", "1048576") +
            Lines(Line(4, "LOG Log id = {27262524-2928-2B2A-2C2D-2E2F30313233}"),
                  Line(4, "LOG Log suquence number = 77"), Line(4, "LOG Entries count = 4096"),
                  Line(4, "LOG Descriptor count = 18446744073709551614")) +
            BehindTheLog());
}

TEST(EntryLog, PublishedEntryShowsInTheWiderLayout) {
    CLogEntry entry;
    entry.entryLength = 8192;
    entry.sequenceNumber = 3;
    entry.descriptorCount = 2;
    entry.reserved = 1;
    // On disk: 00 01 02 03 ... 0F, of which the first four bytes are skipped.
    entry.logGuid = Guid("{03020100-0504-0706-0809-0A0B0C0D0E0F}");
    entry.flushedFileOffset = 0xAABBCCDD;
    const COpening opening = Open(CImageBuilder().Log(entry.logGuid, entry.Bytes()));
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines,
              UpToTheLog() +
                  Lines(Line(4, "HDR Log id = {03020100-0504-0706-0809-0A0B0C0D0E0F}"),
                        Line(4, "HDR Log offset = 1048576"), Line(4, "HDR Log lenght = 1048576"),
                        Line(4, "LOG Log id = {07060504-0908-0B0A-0C0D-0E0FDDCCBBAA}"),
                        Line(4, "LOG Log suquence number = 3"), Line(4, "LOG Entries count = 8192"),
                        Line(4, "LOG Descriptor count = 4294967298")) +
                  BehindTheLog());
}

TEST(EntryLog, WithoutLogNothingOfItIsReadOrTraced) {
    CInputStream stream(CImageBuilder().LogAt(CGuid{}, 0xFFFFFFFFFFFFFFFF, 0xFFFFFFFF).Build());
    const COpening opening = Open(stream);
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines, SuccessLines());
    EXPECT_THAT(stream.Buffer().Reads(), Not(Contains(testing::Field(&CPortion::length, 68u))));
}

TEST(EntryLog, AnySingleByteOfTheIdentifierMakesALog) {
    for (std::size_t byte = 0; byte < 16; ++byte) {
        CGuid id{};
        id[byte] = 1;
        const COpening opening = Open(CImageBuilder().LogAt(id, 1 * MiB, 4096));
        EXPECT_TRUE(opening.opened) << byte;
        EXPECT_EQ(opening.lines.size(), SuccessLines().size() + 7) << byte;
    }
}

TEST(EntryLog, OnlyTheChosenHeadersLogIsLookedAt) {
    const COpening opening = Open(CImageBuilder().EditHeader(0, [](CHeader& header) {
        header.logGuid = LogId;
        header.logOffset = 0xFFFFFFFFFFFFFFFF;
    }));
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines, SuccessLines());
}

TEST(EntryLog, WhateverTheLogHoldsTheContainerOpens) {
    const COpening opening = Open(CImageBuilder().Log(LogId, CBytes(4096, 0xFF)));
    EXPECT_TRUE(opening.opened);
    EXPECT_EQ(opening.lines,
              UpToTheLog() + LogHeaderLines("1048576", "1048576") +
                  Lines(Line(4, "LOG Log id = {FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}"),
                        Line(4, "LOG Log suquence number = 18446744073709551615"),
                        Line(4, "LOG Entries count = 4294967295"),
                        Line(4, "LOG Descriptor count = 18446744073709551615")) +
                  BehindTheLog());
}

TEST(EntryLog, OffsetPastTheEndOfTheFileIsABadPosition) {
    for (const bool refusesSeek : {false, true}) {
        CInputStream stream(CImageBuilder().LogAt(LogId, 4 * MiB + 1, 4096).Build());
        ASSERT_EQ(stream.Image().Size(), 4 * MiB);
        if (refusesSeek) {
            stream.Buffer().RefuseSeekPastEnd();
        }
        const COpening opening = Open(stream);
        EXPECT_FALSE(opening.opened);
        EXPECT_EQ(opening.lines, UpToTheLog() + LogHeaderLines("4194305", "4096") +
                                     Lines(Line(3, "LOG bad position")));
    }
}

TEST(EntryLog, OffsetPastTheEndOfARealFileIsABadPosition) {
    const CTemporaryFolder folder;
    CImageBuilder().LogAt(LogId, 4 * MiB + 1, 4096).Build().WriteTo(folder / "disk.vhdx");
    std::basic_ifstream<unsigned char> file;
    NByteStream::Imbue(file);
    file.open(folder / "disk.vhdx", std::ios::in | std::ios::binary);
    const COpening opening = Open(file);
    EXPECT_FALSE(opening.opened);
    EXPECT_EQ(opening.lines, UpToTheLog() + LogHeaderLines("4194305", "4096") +
                                 Lines(Line(3, "LOG bad position")));
}

TEST(EntryLog, OffsetThatNoStreamCanExpressIsABadPosition) {
    for (const auto& [offset, text] :
         {std::pair(std::uint64_t{1} << 63, "9223372036854775808"),
          std::pair(std::uint64_t{0xFFFFFFFFFFFFFFFF}, "18446744073709551615")}) {
        const COpening opening = Open(CImageBuilder().LogAt(LogId, offset, 4096));
        EXPECT_FALSE(opening.opened);
        EXPECT_EQ(opening.lines,
                  UpToTheLog() + LogHeaderLines(text, "4096") + Lines(Line(3, "LOG bad position")));
    }
}

TEST(EntryLog, EntryThatTheFileCutsOffIsUnreadable) {
    for (const std::uint64_t missing : {1U, 67U, 68U}) {
        const std::uint64_t offset = 4 * MiB - 68 + missing;
        const COpening opening = Open(CImageBuilder().LogAt(LogId, offset, 4096));
        EXPECT_FALSE(opening.opened) << missing;
        EXPECT_EQ(opening.lines,
                  UpToTheLog() + LogHeaderLines(std::to_string(offset), "4096") +
                      Lines(Line(3, "LOG ENTRY HEADER failed Stream Portion Reading")));
    }
}

TEST(EntryLog, EntryThatEndsWithTheFileIsRead) {
    EXPECT_TRUE(Open(CImageBuilder().LogAt(LogId, 4 * MiB - 68, 4096)).opened);
}

}  // namespace
}  // namespace NTest
