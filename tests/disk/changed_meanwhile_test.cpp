// Disks whose files are written, cut, extended or replaced while they are read.

#include <gtest/gtest.h>

#include <fstream>

#include <vhdx_disk/copy.h>
#include <vhdx_disk/reader.h>

#include "tests/support/chain_model.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CDiskOptions;
using NVHDXDisk::CFailure;

namespace fs = std::filesystem;

class ChangedMeanwhile : public testing::Test {
protected:
    ChangedMeanwhile() {
        m_chain.AddDisk(CDiskShape()).Present(0, 1).Present(1, 2);
        m_chain.AddDisk(CDiskShape()).Present(1, 3);
        for (std::size_t disk = 0; disk < 2; ++disk) {
            m_chain.Image(disk).WriteTo(PathOf(disk));
        }
    }

    fs::path PathOf(std::size_t disk) const { return m_folder / CChainModel::Name(disk); }

    std::shared_ptr<const CDisk> Open(const CDiskOptions& options = {}) {
        auto disk = CDisk::Open(PathOf(1), options, m_failure);
        EXPECT_NE(disk, nullptr) << m_failure.text;
        return disk;
    }

    /// Writes bytes in place, and says that they were written when the file was before: a writer
    /// may be quicker than the clock of the file system, and some keep the time.
    static void WriteQuietly(const fs::path& path, std::uint64_t position, const CBytes& bytes) {
        const auto time = fs::last_write_time(path);
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(position));
        file.write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        file.close();
        fs::last_write_time(path, time);
    }

    void ExpectChanged(const CDisk& disk, const fs::path& path, const std::string& reason) {
        EXPECT_FALSE(disk.CheckUnchanged(m_failure));
        EXPECT_EQ(m_failure.kind, CFailure::changedMeanwhile);
        EXPECT_EQ(m_failure.file, path);
        EXPECT_EQ(m_failure.reason, reason);
    }

    CChainModel m_chain;
    CTemporaryFolder m_folder;
    CFailure m_failure;
};

TEST_F(ChangedMeanwhile, FilesThatNobodyTouchesAreAsTheyWere) {
    const auto disk = Open();
    EXPECT_TRUE(disk->CheckUnchanged(m_failure)) << m_failure.text;
    EXPECT_EQ(m_failure.kind, CFailure::none);
}

TEST_F(ChangedMeanwhile, ALongerFileIsNotAsItWas) {
    const auto disk = Open();
    fs::resize_file(PathOf(0), fs::file_size(PathOf(0)) + 1);
    ExpectChanged(*disk, PathOf(0), "the file's size changed while it was read");
}

TEST_F(ChangedMeanwhile, AFileThatWasWrittenIsNotAsItWas) {
    const auto disk = Open();
    fs::last_write_time(PathOf(1), fs::last_write_time(PathOf(1)) + std::chrono::seconds(1));
    ExpectChanged(*disk, PathOf(1), "the file was written while it was read");
}

#if !defined(_WIN32)  // whose times are finer than the standard library sets them
TEST_F(ChangedMeanwhile, AHeaderThatSaysSomethingElseShowsWhateverTheTimes) {
    const auto disk = Open();
    CImageBuilder other = m_chain.Builder();
    other.EditHeaders([](CHeader& header) { header.sequenceNumber += 5; });
    CBytes header(4096);
    ASSERT_EQ(other.Build().Read(65536, header), header.size());
    WriteQuietly(PathOf(1), 65536, header);
    ExpectChanged(*disk, PathOf(1),
                  "the file's header changed while it was read: the disk is in use");
}

TEST_F(ChangedMeanwhile, AHeaderThatIsHalfWrittenShowsToo) {
    const auto disk = Open();
    WriteQuietly(PathOf(1), 65536, CBytes(4096));
    WriteQuietly(PathOf(1), 131072, CBytes(4096));
    ExpectChanged(*disk, PathOf(1),
                  "the file's header changed while it was read: the disk is in use");
}
#endif

TEST_F(ChangedMeanwhile, AStreamTellsItOfItsFile) {
    NVHDXDisk::CReplayedStream stream(PathOf(0), NVHDXDisk::ELog::replay, m_failure);
    EXPECT_TRUE(stream.CheckUnchanged(m_failure)) << m_failure.text;
    fs::resize_file(PathOf(0), fs::file_size(PathOf(0)) + 1);
    EXPECT_FALSE(stream.CheckUnchanged(m_failure));
    EXPECT_EQ(m_failure.kind, CFailure::changedMeanwhile);
}

/// Touches a file when the first bytes come.
class CTouchingTarget final : public NVHDXDisk::ITarget {
public:
    explicit CTouchingTarget(fs::path path) : m_path(std::move(path)) {}

    bool Write(std::uint64_t, const unsigned char*, std::size_t, CFailure&) override {
        if (!m_path.empty()) {
            fs::resize_file(m_path, fs::file_size(m_path) + 1);
            m_path.clear();
        }
        return true;
    }
    bool Zero(std::uint64_t, std::uint64_t, CFailure&) override { return true; }
    bool Flush(CFailure&) override {
        isFlushed = true;
        return true;
    }

    bool isFlushed = false;

private:
    fs::path m_path;
};

TEST_F(ChangedMeanwhile, ACopyOfTwoStatesIsNone) {
    for (std::size_t file = 0; file < 2; ++file) {
        const auto disk = Open();
        CTouchingTarget target(PathOf(file));
        EXPECT_FALSE(NVHDXDisk::CopyDisk(disk, 0, disk->Size(), target, {}, m_failure));
        EXPECT_EQ(m_failure.kind, CFailure::changedMeanwhile);
        EXPECT_EQ(m_failure.file, PathOf(file));
        EXPECT_FALSE(target.isFlushed);
    }
}

TEST_F(ChangedMeanwhile, ACopyOfALiveDiskIsTakenAsItComes) {
    CDiskOptions options;
    options.live = true;
    const auto disk = Open(options);
    CTouchingTarget target(PathOf(1));
    EXPECT_TRUE(NVHDXDisk::CopyDisk(disk, 0, disk->Size(), target, {}, m_failure))
        << m_failure.text;
    EXPECT_TRUE(target.isFlushed);
    EXPECT_FALSE(disk->CheckUnchanged(m_failure));
}

}  // namespace
}  // namespace NTest
