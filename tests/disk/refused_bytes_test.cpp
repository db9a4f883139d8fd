// Bytes that a file has and the system does not give: they are neither damage nor an end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <set>

#include <vhdx_disk/reader.h>

#include "tests/support/chain_model.h"
#include "tests/support/log_builder.h"
#include "tests/support/memory_source.h"
#include "vhdx_disk/check/source_check.h"

namespace NTest {
namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CFailure;
using NVHDXDisk::CReader;
using NVHDXDisk::CSourcePointer;
using testing::HasSubstr;
using testing::SizeIs;

constexpr std::uint64_t FirstHeader = 65536;
constexpr std::uint64_t SecondHeader = 131072;

/// A chain whose newest file has a pending log of two entries, and what its guest sees.
class RefusedBytes : public testing::Test {
protected:
    RefusedBytes() {
        m_chain.AddDisk(CDiskShape()).Present(0, 1).Present(1, 2);
        m_chain.AddDisk(CDiskShape()).Present(1, 3).Partial(2, 4, {0, 9});
        m_content = m_chain.Content();
        const std::uint64_t place = m_chain.Position(1, MiB);
        PutBytes(m_content, MiB, Pattern(8, 0, 4096));
        PutBytes(m_content, MiB + 8192, Pattern(9, 0, 4096));
        m_chain.Builder().LogAt(logGuid, MiB, 1048576).Bytes(MiB, LogOf(place));
    }

    static CBytes LogOf(std::uint64_t place) {
        CBytes log = CLogEntryBuilder(1).Page(place, Pattern(8, 0, 4096)).Bytes();
        const CBytes next = CLogEntryBuilder(2).Page(place + 8192, Pattern(9, 0, 4096)).Bytes();
        log.insert(log.end(), next.begin(), next.end());
        return log;
    }
    std::shared_ptr<CMemorySource> Source(std::size_t disk) const {
        return std::make_shared<CMemorySource>(m_chain.Image(disk), CChainModel::Name(disk));
    }

    /// Reads the whole disk; empty, with the reason in `failure`, when that fails.
    static CBytes Read(const std::shared_ptr<const CDisk>& disk, CFailure& failure) {
        if (disk == nullptr) {
            return {};
        }
        CBytes bytes(disk->Size());
        return CReader(disk).Read(0, bytes.data(), bytes.size(), failure) ? bytes : CBytes();
    }

    static std::shared_ptr<const CDisk> Open(const std::vector<CSourcePointer>& sources,
                                             CFailure& failure) {
        return CDisk::Open(sources, {}, failure);
    }

    /// Either everything is as it should, or the read that failed is told of.
    void ExpectRightOrTold(const std::vector<CSourcePointer>& sources, const std::string& what) {
        CFailure failure;
        const auto disk = Open(sources, failure);
        const CBytes bytes = Read(disk, failure);
        if (bytes.empty()) {
            EXPECT_EQ(failure.kind, CFailure::cannotBeRead) << what << ": " << failure.text;
            EXPECT_EQ(failure.error, EIO) << what << ": " << failure.text;
            ++m_told;
        } else {
            EXPECT_TRUE(bytes == m_content) << what;
            m_noted += disk->Findings().empty() ? 0U : 1U;
        }
    }

    static std::vector<std::string> Check(const CSourcePointer& source, CFailure& failure) {
        std::vector<std::string> kinds;
        std::optional<NVHDX::NMetadata::CParent> locator;
        const auto take = [&](const NVHDXDisk::CFinding& finding) {
            kinds.push_back(finding.kind);
        };
        (void)NVHDXDisk::CheckSource(source, NVHDXDisk::ELog::replay, take, locator, failure);
        return kinds;
    }

    CChainModel m_chain;
    CBytes m_content;
    std::size_t m_told = 0;
    std::size_t m_noted = 0;
};

TEST_F(RefusedBytes, WithoutAFaultTheLogIsReplayed) {
    CFailure failure;
    const auto disk = Open({Source(1), Source(0)}, failure);
    ASSERT_NE(disk, nullptr) << failure.text;
    EXPECT_EQ(disk->ReplayedEntries(), 2U);
    EXPECT_TRUE(Read(disk, failure) == m_content);
}

TEST_F(RefusedBytes, NoReadOfANewestFileThatFailsPassesInSilence) {
    CFailure failure;
    const auto counted = Source(1);
    (void)Read(Open({counted, Source(0)}, failure), failure);
    const std::size_t reads = counted->Reads().size();
    ASSERT_GT(reads, 100U);
    for (std::size_t read = 0; read < reads; ++read) {
        const auto newest = Source(1);
        newest->FailRead(read, EIO);
        ExpectRightOrTold({newest, Source(0)}, "read " + std::to_string(read));
    }
    EXPECT_GE(m_told, reads - 8) << "some reads may fail: those of a header, and those that ask "
                                    "for more than is wanted";
}

TEST_F(RefusedBytes, NoReadOfAParentThatFailsPassesInSilence) {
    CFailure failure;
    const auto counted = Source(0);
    (void)Read(Open({Source(1), counted}, failure), failure);
    for (std::size_t read = 0; read < counted->Reads().size(); ++read) {
        const auto parent = Source(0);
        parent->FailRead(read, EIO);
        ExpectRightOrTold({Source(1), parent}, "read " + std::to_string(read));
    }
    EXPECT_GE(m_told, 3U);
}

TEST_F(RefusedBytes, NoBadSectorPassesInSilence) {
    CFailure failure;
    const auto counted = Source(1);
    (void)Read(Open({counted, Source(0)}, failure), failure);
    std::set<std::uint64_t> sectors;
    for (const CPortion& read : counted->Reads()) {
        sectors.insert(read.position / 4096 * 4096);
        sectors.insert((read.position + read.length - 1) / 4096 * 4096);
    }
    for (const std::uint64_t sector : sectors) {
        const auto newest = Source(1);
        newest->FailAt(sector + 7, EIO);
        ExpectRightOrTold({newest, Source(0)}, "sector at " + std::to_string(sector));
    }
    EXPECT_EQ(m_noted, 2U) << "either header";
    EXPECT_GE(m_told, 256U) << "every sector of the log";
}

TEST_F(RefusedBytes, ABadSectorInTheLogIsNotItsEnd) {
    for (const std::uint64_t sector : {0U, 1U, 2U, 3U, 4U, 255U}) {
        const auto newest = Source(1);
        newest->FailAt(MiB + sector * 4096, EIO);
        CFailure failure;
        EXPECT_EQ(Open({newest, Source(0)}, failure), nullptr);
        EXPECT_EQ(failure.kind, CFailure::cannotBeRead);
        EXPECT_EQ(failure.error, EIO);
        EXPECT_EQ(failure.text, "\"1.avhdx\": the log cannot be replayed: the memory fails");
    }
}

TEST_F(RefusedBytes, ABadSectorInOneHeaderIsAFindingWhereTheOtherIsValid) {
    for (const std::uint64_t header : {FirstHeader, SecondHeader}) {
        const auto newest = Source(1);
        newest->FailAt(header + 4095, EIO);
        CFailure failure;
        const auto disk = Open({newest, Source(0)}, failure);
        ASSERT_NE(disk, nullptr) << failure.text;
        EXPECT_TRUE(Read(disk, failure) == m_content);
        ASSERT_THAT(disk->Findings(), SizeIs(1));
        EXPECT_EQ(disk->Findings()[0].kind, std::string("bytes-unreadable"));
        EXPECT_EQ(disk->Findings()[0].place, "offset " + std::to_string(header));
        EXPECT_EQ(
            disk->Findings()[0].text,
            "a header cannot be read: the memory fails; the other header is valid and counts, "
            "also where it is the older one");
    }
}

TEST_F(RefusedBytes, ABadSectorInOneHeaderRefusesWhereTheOtherIsNotValid) {
    m_chain.Builder().EditHeader(1, [](CHeader& header) { header.checksum = 1; });
    const auto newest = Source(1);
    newest->FailAt(FirstHeader, EIO);
    CFailure failure;
    EXPECT_EQ(Open({newest, Source(0)}, failure), nullptr);
    EXPECT_EQ(failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(failure.text, "\"1.avhdx\": a header cannot be read: the memory fails");
}

/// Refuses as a network file system does whose server is gone, and says no number.
class CMuteSource final : public NVHDXDisk::IByteSource {
public:
    explicit CMuteSource(CSourcePointer source, std::uint64_t from, std::uint64_t to)
        : m_source(std::move(source)), m_from(from), m_to(to) {}

    const std::filesystem::path& Path() const override { return m_source->Path(); }
    std::uint64_t Size() const override { return m_source->Size(); }
    bool ReadAt(std::uint64_t position, unsigned char* bytes, std::size_t count,
                CFailure& failure) const override {
        return (position + count <= m_from || position >= m_to) &&
               m_source->ReadAt(position, bytes, count, failure);
    }

private:
    const CSourcePointer m_source;
    const std::uint64_t m_from;
    const std::uint64_t m_to;
};

TEST_F(RefusedBytes, ASourceThatSaysNothingRefusesToo) {
    CFailure failure;
    const auto mute = std::make_shared<CMuteSource>(Source(1), MiB, 2 * MiB);
    EXPECT_EQ(Open({mute, Source(0)}, failure), nullptr);
    EXPECT_EQ(failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(failure.error, EIO);
    EXPECT_EQ(failure.text,
              "\"1.avhdx\": the log cannot be replayed: 4096 bytes at position 1048576 cannot be "
              "read");
}

TEST_F(RefusedBytes, TheCheckTellsOfEachBadSectorThatItReads) {
    CFailure failure;
    const auto counted = Source(1);
    const auto usual = Check(counted, failure);
    for (const CPortion& read : counted->Reads()) {
        const auto source = Source(1);
        source->FailAt(read.position, EIO);
        CFailure refused;
        const auto kinds = Check(source, refused);
        const bool isTold = std::count(kinds.begin(), kinds.end(), "bytes-unreadable") != 0 ||
                            (refused.kind == CFailure::cannotBeRead && refused.error == EIO);
        EXPECT_TRUE(isTold) << "read at " << read.position;
        for (const std::string& kind : kinds) {
            const bool isUsual = std::count(usual.begin(), usual.end(), kind) != 0;
            EXPECT_TRUE(isUsual || kind == "bytes-unreadable" || kind == "locator-unreadable")
                << kind << " because of the read at " << read.position;
        }
    }
}

TEST_F(RefusedBytes, AStreamRemembersWhyItCameUpShort) {
    const auto source = Source(0);
    CFailure failure;
    NVHDXDisk::CReplayedStream stream(source, NVHDXDisk::ELog::replay, failure);
    NVHDX::CAccessor accessor;
    ASSERT_TRUE(NVHDXDisk::OpenContainer(accessor, stream, failure)) << failure.text;
    EXPECT_EQ(stream.Refusal().kind, CFailure::none);
    source->FailAt(m_chain.Builder().BatPosition(), EIO);
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters parameters;
    EXPECT_FALSE(accessor.LoadBlocks(blocks, parameters, stream));
    EXPECT_EQ(stream.Refusal().kind, CFailure::cannotBeRead);
    EXPECT_EQ(stream.Refusal().error, EIO);
}

TEST_F(RefusedBytes, AStreamThatEndsIsRefusedNothing) {
    CFailure failure;
    NVHDXDisk::CReplayedStream stream(Source(0), NVHDXDisk::ELog::replay, failure);
    stream.seekg(0, std::ios_base::end);
    EXPECT_EQ(stream.get(), std::char_traits<unsigned char>::eof());
    EXPECT_EQ(stream.Refusal().kind, CFailure::none);
}

}  // namespace
}  // namespace NTest
