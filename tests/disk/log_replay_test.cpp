#include <gtest/gtest.h>

#include "tests/support/log_builder.h"
#include "tests/support/memory_source.h"
#include "vhdx_disk/log/log_replay.h"

namespace NTest {
namespace {

using NVHDXDisk::CFailure;
using NVHDXDisk::CLogOverlay;
using NVHDXDisk::CLogState;
using NVHDXDisk::ReplayLog;

constexpr std::uint32_t logLength = 1048576;
constexpr std::uint32_t lastSector = logLength - 4096;

/// A file of 8 MiB whose current header names a log of 1 MiB at 1 MiB.
CImageBuilder DirtyDisk(const CLogImage& log) {
    return CImageBuilder()
        .LogAt(logGuid, MiB, static_cast<std::uint32_t>(log.Bytes().size()))
        .Bytes(MiB, log.Bytes())
        .FileSize(8 * MiB);
}

struct CReplay {
    CLogState log;
    CFailure failure;
    std::shared_ptr<const CLogOverlay> overlay;

    explicit CReplay(const CSparseImage& image) {
        overlay =
            ReplayLog(NVHDXDisk::WithHeader(std::make_shared<CMemorySource>(image)), log, failure);
        EXPECT_EQ(overlay != nullptr, log.status == CLogState::replayed);
        EXPECT_EQ(failure.kind,
                  log.status == CLogState::unreadable ? CFailure::logNotReplayed : CFailure::none);
    }
    explicit CReplay(const CLogImage& image) : CReplay(DirtyDisk(image).Build()) {}

    /// The page that the overlay shows at the position; empty when it shows none.
    CBytes Page(std::uint64_t position) const {
        const auto run = overlay ? overlay->RunFrom(position) : std::nullopt;
        if (!run || run->begin != position) {
            return {};
        }
        return run->bytes == nullptr ? CBytes(4096) : CBytes(run->bytes, run->bytes + 4096);
    }
};

CBytes PageOf(std::uint64_t seed) {
    return Pattern(seed, 0, 4096);
}

TEST(LogReplay, AFileWithoutLogHasNothingToReplay) {
    const CReplay replay(CImageBuilder().Build());
    EXPECT_EQ(replay.log.status, CLogState::none);
    EXPECT_EQ(replay.overlay, nullptr);
}

TEST(LogReplay, AFileWithoutValidHeaderSaysSo) {
    const CReplay replay(
        CImageBuilder().EditHeaders([](CHeader& header) { header.checksum = 1; }).Build());
    EXPECT_EQ(replay.log.status, CLogState::noHeader);
    EXPECT_STREQ(NVHDXDisk::NoValidHeader, "neither header of the file is valid");
}

TEST(LogReplay, OneEntryWritesItsPagesAndZeros) {
    const CReplay replay(CLogImage().Put(
        0, CLogEntryBuilder(1).Page(5 * MiB, PageOf(1)).Zero(6 * MiB, 8192).Bytes()));
    ASSERT_EQ(replay.log.status, CLogState::replayed) << replay.failure.reason;
    EXPECT_EQ(replay.log.entries, 1u);
    EXPECT_EQ(replay.Page(5 * MiB), PageOf(1));
    EXPECT_EQ(replay.Page(6 * MiB), CBytes(4096));
    EXPECT_EQ(replay.Page(6 * MiB + 4096), CBytes(4096));
    EXPECT_EQ(replay.overlay->RunFrom(6 * MiB + 8192), std::nullopt);
}

TEST(LogReplay, TheHeaderWithTheGreaterSequenceNumberNamesTheLog) {
    const CSparseImage image = DirtyDisk(CLogImage())
                                   .EditHeader(1,
                                               [](CHeader& header) {
                                                   header.sequenceNumber = 2;
                                                   header.logGuid = CGuid{};
                                               })
                                   .Build();
    EXPECT_EQ(CReplay(image).log.status, CLogState::none);
}

TEST(LogReplay, AHeaderWithAWrongChecksumNamesNothing) {
    const CSparseImage image = DirtyDisk(CLogImage())
                                   .EditHeader(1,
                                               [](CHeader& header) {
                                                   header.sequenceNumber = 2;
                                                   header.logGuid = CGuid{};
                                                   header.checksum = 1;
                                               })
                                   .Build();
    EXPECT_EQ(CReplay(image).log.status, CLogState::unreadable);
}

TEST(LogReplay, LaterEntriesWin) {
    const CReplay replay(
        CLogImage()
            .Put(0, CLogEntryBuilder(1)
                        .Page(5 * MiB, PageOf(1))
                        .Page(5 * MiB + 4096, PageOf(2))
                        .Zero(6 * MiB, 4096)
                        .Bytes())
            .Put(12288, CLogEntryBuilder(2).Zero(5 * MiB, 4096).Page(6 * MiB, PageOf(3)).Bytes()));
    ASSERT_EQ(replay.log.entries, 2u) << replay.failure.reason;
    EXPECT_EQ(replay.Page(5 * MiB), CBytes(4096));
    EXPECT_EQ(replay.Page(5 * MiB + 4096), PageOf(2));
    EXPECT_EQ(replay.Page(6 * MiB), PageOf(3));
}

TEST(LogReplay, LaterDescriptorsOfAnEntryWin) {
    const CReplay replay(CLogImage().Put(0, CLogEntryBuilder(1)
                                                .Page(5 * MiB, PageOf(1))
                                                .Page(6 * MiB, PageOf(2))
                                                .Zero(5 * MiB, 4096)
                                                .Page(6 * MiB, PageOf(3))
                                                .Zero(7 * MiB, 8192)
                                                .Page(7 * MiB, PageOf(4))
                                                .Bytes()));
    ASSERT_EQ(replay.log.status, CLogState::replayed) << replay.failure.reason;
    EXPECT_EQ(replay.Page(5 * MiB), CBytes(4096));
    EXPECT_EQ(replay.Page(6 * MiB), PageOf(3));
    EXPECT_EQ(replay.Page(7 * MiB), PageOf(4));
    EXPECT_EQ(replay.Page(7 * MiB + 4096), CBytes(4096));
}

TEST(LogReplay, EntriesBeforeTheTailAreNotPending) {
    const CReplay replay(
        CLogImage()
            .Put(0, CLogEntryBuilder(1).Page(5 * MiB, PageOf(1)).Bytes())
            .Put(8192, CLogEntryBuilder(2, 8192).Page(6 * MiB, PageOf(2)).Bytes()));
    EXPECT_EQ(replay.log.entries, 1u);
    EXPECT_EQ(replay.Page(5 * MiB), CBytes{});
    EXPECT_EQ(replay.Page(6 * MiB), PageOf(2));
}

TEST(LogReplay, ASequenceWrapsRoundTheEndOfTheLogBetweenEntries) {
    const CReplay replay(
        CLogImage()
            .Put(lastSector, CLogEntryBuilder(8, lastSector).Zero(6 * MiB, 4096).Bytes())
            .Put(0, CLogEntryBuilder(9, lastSector).Page(5 * MiB, PageOf(1)).Bytes()));
    EXPECT_EQ(replay.log.entries, 2u) << replay.failure.reason;
    EXPECT_EQ(replay.Page(5 * MiB), PageOf(1));
    EXPECT_EQ(replay.Page(6 * MiB), CBytes(4096));
}

TEST(LogReplay, AnEntryWrapsRoundTheEndOfTheLogInItsMiddle) {
    const CReplay replay(CLogImage().Put(
        lastSector,
        CLogEntryBuilder(9, lastSector).Page(5 * MiB, PageOf(1)).Page(6 * MiB, PageOf(2)).Bytes()));
    EXPECT_EQ(replay.log.entries, 1u) << replay.failure.reason;
    EXPECT_EQ(replay.Page(5 * MiB), PageOf(1));
    EXPECT_EQ(replay.Page(6 * MiB), PageOf(2));
}

TEST(LogReplay, DescriptorsFillMoreThanOneSector) {
    CLogEntryBuilder entry(1);
    for (std::uint64_t i = 0; i < 150; ++i) {
        entry.Page(4 * MiB + i * 8192, PageOf(i));
    }
    const CReplay replay(CLogImage().Put(0, entry.Bytes()));
    ASSERT_EQ(replay.log.entries, 1u) << replay.failure.reason;
    for (std::uint64_t i = 0; i < 150; ++i) {
        EXPECT_EQ(replay.Page(4 * MiB + i * 8192), PageOf(i)) << i;
    }
}

TEST(LogReplay, DescriptorsThatJustFillASectorNeedNoOther) {
    CLogEntryBuilder entry(1);
    for (std::uint64_t i = 0; i < 126; ++i) {
        entry.Zero(4 * MiB + i * 8192, 4096);
    }
    EXPECT_EQ(CReplay(CLogImage().Put(0, entry.Bytes())).log.entries, 1u);
}

TEST(LogReplay, AnEntryWithoutDescriptorsCounts) {
    const CReplay replay(CLogImage().Put(0, CLogEntryBuilder(1).Bytes()));
    EXPECT_EQ(replay.log.status, CLogState::replayed);
    EXPECT_EQ(replay.log.entries, 1u);
}

TEST(LogReplay, OfTwoSequencesTheOneWithTheGreatestSequenceNumberIsActive) {
    const CReplay replay(
        CLogImage()
            .Put(0, CLogEntryBuilder(20, 0).Page(5 * MiB, PageOf(1)).Bytes())
            .Put(65536, CLogEntryBuilder(3, 65536).Page(6 * MiB, PageOf(2)).Bytes())
            .Put(65536 + 8192, CLogEntryBuilder(4, 65536).Page(7 * MiB, PageOf(3)).Bytes()));
    EXPECT_EQ(replay.log.entries, 1u);
    EXPECT_EQ(replay.Page(5 * MiB), PageOf(1));
    EXPECT_EQ(replay.Page(6 * MiB), CBytes{});
}

TEST(LogReplay, TheActiveSequenceMayStandBehindAnOlderOne) {
    const CReplay replay(
        CLogImage()
            .Put(0, CLogEntryBuilder(3, 0).Page(5 * MiB, PageOf(1)).Bytes())
            .Put(65536, CLogEntryBuilder(20, 65536).Page(6 * MiB, PageOf(2)).Bytes()));
    EXPECT_EQ(replay.log.entries, 1u);
    EXPECT_EQ(replay.Page(5 * MiB), CBytes{});
    EXPECT_EQ(replay.Page(6 * MiB), PageOf(2));
}

TEST(LogReplay, AnOlderEntryBehindTheSequenceDoesNotContinueIt) {
    const CReplay replay(
        CLogImage()
            .Put(0, CLogEntryBuilder(20, 0).Page(5 * MiB, PageOf(1)).Bytes())
            .Put(8192, CLogEntryBuilder(7, 8192).Page(5 * MiB, PageOf(2)).Bytes()));
    EXPECT_EQ(replay.log.entries, 1u);
    EXPECT_EQ(replay.Page(5 * MiB), PageOf(1));
}

TEST(LogReplay, ATornLastEntryEndsTheSequence) {
    const CReplay replay(CLogImage()
                             .Put(0, CLogEntryBuilder(1).Page(5 * MiB, PageOf(1)).Bytes())
                             .Put(8192, CLogEntryBuilder(2).Page(6 * MiB, PageOf(2)).Bytes())
                             .Spoil(8192 + 4096 + 100));
    EXPECT_EQ(replay.log.entries, 1u);
    EXPECT_EQ(replay.Page(5 * MiB), PageOf(1));
    EXPECT_EQ(replay.Page(6 * MiB), CBytes{});
}

TEST(LogReplay, ASequenceWhoseTailIsOverwrittenIsNotValid) {
    const CReplay replay(
        CLogImage().Put(8192, CLogEntryBuilder(2, 0).Page(6 * MiB, PageOf(2)).Bytes()));
    EXPECT_EQ(replay.log.status, CLogState::unreadable);
    EXPECT_EQ(replay.failure.reason,
              "the log cannot be replayed: it holds no valid sequence of entries");
    EXPECT_EQ(replay.overlay, nullptr);
}

TEST(LogReplay, AnEmptyLogThatTheHeaderCallsPendingCannotBeReplayed) {
    EXPECT_EQ(CReplay(CLogImage()).log.status, CLogState::unreadable);
}

TEST(LogReplay, AFileThatWasCutOffCannotTakeTheLog) {
    const CReplay replay(CLogImage().Put(
        0, CLogEntryBuilder(1).Zero(5 * MiB, 4096).FileOffsets(8 * MiB + 1, 9 * MiB).Bytes()));
    EXPECT_EQ(replay.log.status, CLogState::unreadable);
    EXPECT_EQ(replay.failure.reason,
              "the log cannot be replayed: the file was cut off: it has 8388608 bytes, and had at "
              "least 8388609 when the log was written");
}

TEST(LogReplay, TheFileGrowsToTheLastFileOffset) {
    const CReplay replay(CLogImage().Put(
        0, CLogEntryBuilder(1).Zero(5 * MiB, 4096).FileOffsets(8 * MiB, 12 * MiB).Bytes()));
    ASSERT_EQ(replay.log.status, CLogState::replayed) << replay.failure.reason;
    EXPECT_EQ(replay.overlay->FileSize(), 12 * MiB);
}

TEST(LogReplay, AnImpossibleFileSizeIsRefused) {
    const CReplay replay(
        CLogImage().Put(0, CLogEntryBuilder(1).FileOffsets(0, 0xFFFFFFFFFFFFFFFF).Bytes()));
    EXPECT_EQ(replay.log.status, CLogState::unreadable);
    EXPECT_EQ(replay.failure.reason,
              "the log cannot be replayed: the log asks for a file of 18446744073709551615 bytes");
}

struct CBadPlace {
    std::uint64_t offset;
    std::uint32_t length;
    const char* reason;
};

class LogPlace : public testing::TestWithParam<CBadPlace> {};

TEST_P(LogPlace, IsRefused) {
    const CReplay replay(CImageBuilder()
                             .LogAt(logGuid, GetParam().offset, GetParam().length)
                             .FileSize(8 * MiB)
                             .Build());
    EXPECT_EQ(replay.log.status, CLogState::unreadable);
    EXPECT_EQ(replay.failure.reason,
              std::string("the log cannot be replayed: ") + GetParam().reason);
}

const CBadPlace badPlaces[] = {
    {MiB, 0, "the header gives the log an impossible place: offset 1048576, length 0"},
    {MiB, 4096, "the header gives the log an impossible place: offset 1048576, length 4096"},
    {0, 1048576, "the header gives the log an impossible place: offset 0, length 1048576"},
    {4096, 1048576, "the header gives the log an impossible place: offset 4096, length 1048576"},
    {MiB + 4096, 1048576,
     "the header gives the log an impossible place: offset 1052672, length 1048576"},
    {8 * MiB, 1048576, "the log reaches past the end of the file"},
    {9 * MiB, 1048576, "the log reaches past the end of the file"},
    {7 * MiB, 2097152, "the log reaches past the end of the file"},
    {0xFFFFFFFFFFF00000, 1048576, "the log reaches past the end of the file"},
};

INSTANTIATE_TEST_SUITE_P(LogReplay, LogPlace, testing::ValuesIn(badPlaces));

TEST(LogReplay, AnUnknownLogVersionIsRefused) {
    const CReplay replay(
        DirtyDisk(CLogImage()).EditHeaders([](CHeader& header) { header.logVersion = 1; }).Build());
    EXPECT_EQ(replay.failure.reason,
              "the log cannot be replayed: the log has version 1, and only version 0 is known");
}

/// One thing wrong with an entry that is right otherwise, checksum included.
struct CFault {
    const char* name;
    void (*apply)(CLogEntryBuilder&);
};

class LogEntryFault : public testing::TestWithParam<CFault> {};

TEST_P(LogEntryFault, MakesTheEntryInvalid) {
    CLogEntryBuilder entry(5);
    entry.Page(5 * MiB, PageOf(1));
    GetParam().apply(entry);
    EXPECT_EQ(CReplay(CLogImage().Put(0, entry.Bytes())).log.status, CLogState::unreadable);
}

const CFault faults[] = {
    {"Signature", [](CLogEntryBuilder& entry) { entry.header.signature = 0x65676F6D; }},
    {"Checksum", [](CLogEntryBuilder& entry) { entry.header.checksum = 0; }},
    {"Guid", [](CLogEntryBuilder& entry) { entry.LogGuid(NGuid::unknown); }},
    {"ZeroSequenceNumber",
     [](CLogEntryBuilder& entry) {
         entry.header.sequenceNumber = 0;
         entry.descriptorSequenceNumber = 0;
     }},
    {"DescriptorSequenceNumber",
     [](CLogEntryBuilder& entry) { entry.descriptorSequenceNumber = 4; }},
    {"MoreDescriptorsThanThereAre",
     [](CLogEntryBuilder& entry) { entry.header.descriptorCount = 1; }},
    {"MoreDescriptorsThanFit",
     [](CLogEntryBuilder& entry) { entry.header.descriptorCount = 0xFFFFFF00; }},
    {"LengthZero",
     [](CLogEntryBuilder& entry) {
         entry.fixedLength = true;
         entry.header.entryLength = 0;
     }},
    {"LengthUneven",
     [](CLogEntryBuilder& entry) {
         entry.fixedLength = true;
         entry.header.entryLength = 8191;
     }},
    {"LengthTooShort",
     [](CLogEntryBuilder& entry) {
         entry.fixedLength = true;
         entry.header.entryLength = 4096;
     }},
    {"LengthPastTheLog",
     [](CLogEntryBuilder& entry) {
         entry.fixedLength = true;
         entry.header.entryLength = 0xFFFFF000;
     }},
    {"TailUneven", [](CLogEntryBuilder& entry) { entry.header.tail = 1; }},
    {"TailPastTheLog", [](CLogEntryBuilder& entry) { entry.header.tail = logLength; }},
    {"PageUneven", [](CLogEntryBuilder& entry) { entry.Page(5 * MiB + 512, PageOf(1)); }},
    {"PagePastEveryFile",
     [](CLogEntryBuilder& entry) { entry.Page(0x7FFFFFFFFFFFF000, PageOf(1)); }},
    {"ZerosUneven", [](CLogEntryBuilder& entry) { entry.Zero(6 * MiB, 100); }},
    {"ZerosPastEveryFile", [](CLogEntryBuilder& entry) { entry.Zero(4096, 0xFFFFFFFFFFFFF000); }},
};

INSTANTIATE_TEST_SUITE_P(LogReplay, LogEntryFault, testing::ValuesIn(faults),
                         [](const auto& fault) { return fault.param.name; });

TEST(LogReplay, EveryBitOfAnEntryIsCoveredByItsChecks) {
    const CBytes entry = CLogEntryBuilder(5).Page(5 * MiB, PageOf(1)).Bytes();
    for (std::size_t i = 0; i < entry.size(); i += 37) {
        CBytes spoilt = entry;
        spoilt[i] ^= 0x10;
        EXPECT_EQ(CReplay(CLogImage().Put(0, spoilt)).log.status, CLogState::unreadable) << i;
    }
}

/// Every sector claims to be an entry that reaches over the whole log.
TEST(LogReplay, TryingEverySectorOfAHostileLogReadsEachAFewTimesOnly) {
    CLogImage log;
    for (std::uint32_t position = 0; position < logLength; position += 4096) {
        CLogEntryBuilder entry(5);
        entry.fixedLength = true;
        entry.header.entryLength = logLength;
        entry.header.descriptorCount = 250;
        log.Put(position, entry.Bytes());
    }
    const auto source = std::make_shared<CMemorySource>(DirtyDisk(log).Build());
    CLogState state;
    CFailure failure;
    EXPECT_EQ(ReplayLog(NVHDXDisk::WithHeader(source), state, failure), nullptr);
    EXPECT_LE(source->Reads().size(), 2 * logLength / 4096 + 10);
}

}  // namespace
}  // namespace NTest
