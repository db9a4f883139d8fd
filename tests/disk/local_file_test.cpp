#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <vhdx_disk/source.h>

#include "tests/support/bytes.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NVHDXDisk::CFailure;
using NVHDXDisk::CSourcePointer;

namespace fs = std::filesystem;

/// More files than the library keeps open.
constexpr std::size_t ManyFiles = 100;

class LocalFile : public testing::Test {
protected:
    static void Write(const fs::path& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }

    CSourcePointer Open(const std::string& name, const std::string& text) {
        Write(m_folder / name, text);
        const CSourcePointer file = NVHDXDisk::OpenFile(m_folder / name, m_failure);
        EXPECT_NE(file, nullptr) << m_failure.text;
        return file;
    }

    /// So many that no file that was opened before them stays open.
    std::vector<CSourcePointer> OpenMany() {
        std::vector<CSourcePointer> files;
        for (std::size_t file = 0; file < ManyFiles; ++file) {
            files.push_back(Open("many" + std::to_string(file), TextOf(file)));
        }
        return files;
    }

    static std::string TextOf(std::size_t file) { return "text " + std::to_string(1000 + file); }

    /// The first bytes of a file; empty when they cannot be read.
    static std::string Read(const CSourcePointer& file, std::size_t count, CFailure& failure) {
        CBytes bytes(count);
        return file->ReadAt(0, bytes.data(), count, failure)
                   ? std::string(bytes.begin(), bytes.end())
                   : std::string();
    }

    CTemporaryFolder m_folder;
    CFailure m_failure;
};

TEST_F(LocalFile, ReadsByPosition) {
    const CSourcePointer file = Open("file", "0123456789");
    EXPECT_EQ(file->Path(), m_folder / "file");
    EXPECT_EQ(file->Size(), 10U);
    CBytes bytes(3);
    EXPECT_TRUE(file->ReadAt(7, bytes.data(), 3, m_failure));
    EXPECT_EQ(bytes, (CBytes{'7', '8', '9'}));
    EXPECT_TRUE(file->ReadAt(10, bytes.data(), 0, m_failure));
    EXPECT_EQ(m_failure.kind, CFailure::none);
}

TEST_F(LocalFile, ReadsNothingPastItsEnd) {
    const CSourcePointer file = Open("file", "0123456789");
    CBytes bytes(3);
    for (const std::uint64_t position : {std::uint64_t{8}, std::uint64_t{11}, ~std::uint64_t{0}}) {
        m_failure = {};
        EXPECT_FALSE(file->ReadAt(position, bytes.data(), 3, m_failure));
        EXPECT_EQ(m_failure.kind, CFailure::cannotBeRead);
        EXPECT_EQ(m_failure.file, m_folder / "file");
        EXPECT_EQ(m_failure.error, 0);
        EXPECT_EQ(m_failure.reason,
                  "3 bytes at position " + std::to_string(position) + " cannot be read");
    }
}

TEST_F(LocalFile, ThatWasCutOffSinceItsOpeningFailsWhereItEndsNow) {
    const CSourcePointer file = Open("file", "0123456789");
    fs::resize_file(m_folder / "file", 4);
    EXPECT_EQ(Read(file, 4, m_failure), "0123");
    EXPECT_EQ(Read(file, 5, m_failure), "");
    EXPECT_EQ(m_failure.kind, CFailure::changedMeanwhile);
    EXPECT_EQ(m_failure.reason, "the file became shorter while it was read");
}

TEST_F(LocalFile, ManyAreReadAsFew) {
    const auto files = OpenMany();
    for (int round = 0; round < 3; ++round) {
        for (std::size_t file = 0; file < files.size(); ++file) {
            EXPECT_EQ(Read(files[file], 9, m_failure), TextOf(file)) << m_failure.text;
        }
    }
}

TEST_F(LocalFile, ManyAreReadByThreadsAtOnce) {
    const auto files = OpenMany();
    std::vector<std::thread> threads;
    std::vector<std::size_t> right(4);
    for (std::size_t thread = 0; thread < right.size(); ++thread) {
        threads.emplace_back([&, thread] {
            CFailure failure;
            for (std::size_t step = 0; step < 5 * ManyFiles; ++step) {
                const std::size_t file = step * (2 * thread + 1) % ManyFiles;
                right[thread] += Read(files[file], 9, failure) == TextOf(file) ? 1U : 0U;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, std::vector<std::size_t>(4, 5 * ManyFiles));
}

TEST_F(LocalFile, ThatIsOpenedAgainMustBeTheSame) {
    const CSourcePointer file = Open("file", "first");
    const auto others = OpenMany();
    Write(m_folder / "other", "other");
    fs::rename(m_folder / "other", m_folder / "file");
    EXPECT_EQ(Read(file, 5, m_failure), "");
    EXPECT_EQ(m_failure.kind, CFailure::changedMeanwhile);
    EXPECT_EQ(m_failure.file, m_folder / "file");
    EXPECT_EQ(m_failure.reason, "the file was replaced by another one while it was read");
}

TEST_F(LocalFile, ThatIsOpenedAgainMayHaveBeenWritten) {
    const CSourcePointer file = Open("file", "first");
    const auto others = OpenMany();
    std::fstream(m_folder / "file", std::ios::in | std::ios::out | std::ios::binary) << "again";
    EXPECT_EQ(Read(file, 5, m_failure), "again") << m_failure.text;
}

TEST_F(LocalFile, OfAnotherSizeIsNotTheSame) {
    const CSourcePointer file = Open("file", "first");
    const auto others = OpenMany();
    fs::resize_file(m_folder / "file", 6);
    EXPECT_EQ(Read(file, 5, m_failure), "");
    EXPECT_EQ(m_failure.kind, CFailure::changedMeanwhile);
}

/// As when another disk is copied over it.
TEST_F(LocalFile, WithOtherIdentifiersInAHeaderIsNotTheSame) {
    const CSourcePointer file = Open("file", std::string(200000, 'a'));
    const auto others = OpenMany();
    std::fstream stream(m_folder / "file", std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(131072 + 16);
    stream << "b" << std::flush;
    EXPECT_EQ(Read(file, 5, m_failure), "");
    EXPECT_EQ(m_failure.kind, CFailure::changedMeanwhile);
}

TEST_F(LocalFile, KnowsWhetherItWasWrittenSinceItsOpening) {
    const CSourcePointer file = Open("file", "first");
    EXPECT_TRUE(file->CheckUnchanged(m_failure)) << m_failure.text;
    fs::last_write_time(m_folder / "file", fs::file_time_type());
    EXPECT_FALSE(file->CheckUnchanged(m_failure));
    EXPECT_EQ(m_failure.kind, CFailure::changedMeanwhile);
    EXPECT_EQ(m_failure.reason, "the file was written while it was read");
}

TEST_F(LocalFile, LendsTheHandleThroughWhichItIsRead) {
    const CSourcePointer file = Open("file", "first");
    const auto handle = file->SystemHandle();
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(*handle, *file->SystemHandle());
    const auto others = OpenMany();
    EXPECT_NE(*handle, *file->SystemHandle()) << "it is lent as long as it is kept";
}

TEST_F(LocalFile, ThatIsGoneWhenItIsOpenedAgainCannotBeOpened) {
    const CSourcePointer file = Open("file", "first");
    const auto others = OpenMany();
    fs::remove(m_folder / "file");
    EXPECT_EQ(Read(file, 5, m_failure), "");
    EXPECT_EQ(m_failure.kind, CFailure::cannotBeOpened);
    EXPECT_EQ(m_failure.error, ENOENT);
}

}  // namespace
}  // namespace NTest
