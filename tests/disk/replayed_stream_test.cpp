#include <gtest/gtest.h>

#include <vhdx_disk/replayed_stream.h>
#include <vhdx_parser/vhdx_parser.h>

#include "tests/support/log_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NVHDXDisk::CFailure;
using NVHDXDisk::CLogState;
using NVHDXDisk::CReplayedStream;
using NVHDXDisk::ELog;

CBytes ReadAll(CReplayedStream& stream) {
    CBytes bytes(static_cast<std::size_t>(stream.Replayed()->Size()));
    stream.seekg(0);
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    EXPECT_EQ(static_cast<std::size_t>(stream.gcount()), bytes.size());
    return bytes;
}

CBytes ReadFile(const std::filesystem::path& path) {
    CFailure failure;
    CReplayedStream stream(path, ELog::asItStands, failure);
    return ReadAll(stream);
}

class ReplayedStream : public testing::Test {
protected:
    std::filesystem::path Write(const CImageBuilder& builder) {
        builder.Build().WriteTo(m_folder / "disk.vhdx");
        return m_folder / "disk.vhdx";
    }

    /// A disk of one block in the file; the log gives a second block its BAT entry.
    static CImageBuilder DirtyDisk() {
        CBytes table(4096);
        Put64(table, 0, 5 * MiB | 6);
        Put64(table, 8, 4 * MiB | 6);
        return CImageBuilder()
            .PayloadBlock(0, 6, 4)
            .FileSize(5 * MiB)
            .LogAt(logGuid, MiB, 1048576)
            .Bytes(4 * MiB, Pattern(1, 0, MiB))
            .Bytes(MiB, CLogEntryBuilder(1)
                            .Page(3 * MiB, table)
                            .Page(5 * MiB + 4096, Pattern(2, 0, 4096))
                            .Zero(4 * MiB + 8192, 4096)
                            .FileOffsets(5 * MiB, 6 * MiB)
                            .Bytes());
    }

    CTemporaryFolder m_folder;
    CFailure m_failure;
};

TEST_F(ReplayedStream, ShowsTheFileWithTheLogOnTop) {
    const auto path = Write(DirtyDisk());
    const CBytes before = ReadFile(path);
    CBytes expected = before;
    expected.resize(6 * MiB);
    PutBytes(expected, 4 * MiB + 8192, CBytes(4096));
    PutBytes(expected, 5 * MiB + 4096, Pattern(2, 0, 4096));
    PutBytes(expected, 3 * MiB, CBytes(4096));
    Put64(expected, 3 * MiB, 5 * MiB | 6);
    Put64(expected, 3 * MiB + 8, 4 * MiB | 6);

    CReplayedStream stream(path, ELog::replay, m_failure);
    ASSERT_TRUE(stream.good());
    EXPECT_EQ(stream.Log().status, CLogState::replayed);
    EXPECT_EQ(stream.Log().entries, 1u);
    EXPECT_EQ(stream.Replayed()->Size(), 6 * MiB);
    EXPECT_TRUE(ReadAll(stream) == expected);
    EXPECT_TRUE(ReadFile(path) == before);
}

TEST_F(ReplayedStream, ReadsTheSameInPiecesOfAnySize) {
    CReplayedStream whole(Write(DirtyDisk()), ELog::replay, m_failure);
    const CBytes expected = ReadAll(whole);
    for (const std::size_t piece : {1000u, 4096u, 5000u, 1048576u}) {
        CReplayedStream stream(m_folder / "disk.vhdx", ELog::replay, m_failure);
        CBytes bytes(expected.size());
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            const std::size_t count = std::min(piece, bytes.size() - at);
            stream.read(bytes.data() + at, static_cast<std::streamsize>(count));
        }
        ASSERT_TRUE(stream.good());
        EXPECT_TRUE(bytes == expected) << piece;
    }
}

TEST_F(ReplayedStream, ReadsSingleBytes) {
    CReplayedStream stream(Write(DirtyDisk()), ELog::replay, m_failure);
    stream.seekg(static_cast<std::streamoff>(4 * MiB + 8191));
    EXPECT_EQ(stream.peek(), PatternByte(1, 8191));
    EXPECT_EQ(stream.get(), PatternByte(1, 8191));
    EXPECT_EQ(stream.get(), 0);
    stream.seekg(static_cast<std::streamoff>(5 * MiB + 4096));
    EXPECT_EQ(stream.get(), PatternByte(2, 0));
    EXPECT_EQ(stream.tellg(), std::streampos(static_cast<std::streamoff>(5 * MiB + 4097)));
}

TEST_F(ReplayedStream, SeeksLikeAFile) {
    CReplayedStream stream(Write(DirtyDisk()), ELog::replay, m_failure);
    stream.seekg(-1, std::ios_base::end);
    EXPECT_EQ(stream.tellg(), std::streampos(static_cast<std::streamoff>(6 * MiB - 1)));
    EXPECT_EQ(stream.get(), 0);
    EXPECT_TRUE(stream.good());
    stream.get();
    EXPECT_TRUE(stream.fail());
    stream.clear();
    stream.seekg(100, std::ios_base::end);
    EXPECT_TRUE(stream.good());
    stream.seekg(-1, std::ios_base::beg);
    EXPECT_TRUE(stream.fail());
}

TEST_F(ReplayedStream, CannotBeWritten) {
    const CReplayedStream stream(Write(DirtyDisk()), ELog::replay, m_failure);
    const std::streampos none(-1);
    EXPECT_EQ(stream.rdbuf()->pubseekpos(0, std::ios_base::out), none);
    EXPECT_EQ(stream.rdbuf()->pubseekoff(0, std::ios_base::beg, std::ios_base::out), none);
    EXPECT_EQ(stream.rdbuf()->pubseekpos(512, std::ios_base::in), std::streampos(512));
}

TEST_F(ReplayedStream, TheLibraryReadsTheReplayedTable) {
    CReplayedStream stream(Write(DirtyDisk()), ELog::replay, m_failure);
    NVHDX::CAccessor accessor;
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters parameters;
    ASSERT_TRUE(accessor.Entry(stream));
    ASSERT_TRUE(accessor.LoadBlocks(blocks, parameters, stream));
    EXPECT_EQ(blocks.chunks[0].getPayloadBlocks()[0].offset, 5u);
    EXPECT_EQ(blocks.chunks[0].getPayloadBlocks()[1].offset, 4u);
}

TEST_F(ReplayedStream, AsItStandsNothingIsReplayed) {
    CReplayedStream stream(Write(DirtyDisk()), ELog::asItStands, m_failure);
    EXPECT_EQ(stream.Log().status, CLogState::notAsked);
    EXPECT_EQ(stream.Replayed()->Size(), 5 * MiB);
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(stream.tellg(), std::streampos(0));
}

TEST_F(ReplayedStream, AFileWithoutPendingEntriesIsReadAsItIs) {
    CReplayedStream stream(Write(CImageBuilder()), ELog::replay, m_failure);
    EXPECT_EQ(stream.Log().status, CLogState::none);
    EXPECT_EQ(stream.File(), stream.Replayed());
    EXPECT_EQ(stream.tellg(), std::streampos(0));
}

TEST_F(ReplayedStream, AFileWhoseLogCannotBeReplayedFails) {
    CReplayedStream stream(Write(CImageBuilder().LogAt(logGuid, MiB, 1048576)), ELog::replay,
                           m_failure);
    EXPECT_TRUE(stream.IsOpen());
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(stream.Log().status, CLogState::unreadable);
    EXPECT_EQ(m_failure.kind, CFailure::logNotReplayed);
}

TEST_F(ReplayedStream, AFileThatIsNotThereFails) {
    CReplayedStream stream(m_folder / "absent.vhdx", ELog::replay, m_failure);
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(stream.Replayed(), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::notFound);
}

TEST_F(ReplayedStream, AFolderIsNoDisk) {
    EXPECT_FALSE(CReplayedStream(m_folder.Path(), ELog::replay, m_failure).IsOpen());
    EXPECT_EQ(m_failure.kind, CFailure::cannotBeOpened);
}

TEST_F(ReplayedStream, StreamsOfOneSourceShowTheSame) {
    CReplayedStream first(Write(DirtyDisk()), ELog::replay, m_failure);
    CReplayedStream second(first.File(), ELog::replay, m_failure);
    CReplayedStream third(first.Replayed(), ELog::asItStands, m_failure);
    const CBytes bytes = ReadAll(first);
    EXPECT_TRUE(bytes == ReadAll(second));
    EXPECT_TRUE(bytes == ReadAll(third));
}

}  // namespace
}  // namespace NTest
