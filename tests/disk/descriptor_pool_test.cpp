#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <list>
#include <random>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "vhdx_disk/source/descriptor_pool.h"

namespace NTest {
namespace {

using NVHDXDisk::CDescriptorPool;
using NVHDXDisk::CSystemFile;

constexpr std::size_t FileCount = 6;
constexpr std::size_t Most = 3;

class DescriptorPool : public testing::Test {
protected:
    DescriptorPool() {
        for (std::size_t file = 0; file < FileCount; ++file) {
            std::ofstream(Path(file)) << file;
        }
    }
    ~DescriptorPool() override {
        for (CDescriptorPool::CSlot& slot : m_slots) {
            m_pool.Remove(slot);
        }
    }

    std::filesystem::path Path(std::size_t file) const { return m_folder / std::to_string(file); }

    CDescriptorPool::COpenPointer OpenNow(std::size_t file) const {
        int error = 0;
        auto open = CSystemFile::Open(Path(file), error);
        EXPECT_NE(open, nullptr) << error;
        return open;
    }

    /// Whether the file had to be opened. What it holds is what stands in it.
    bool Use(std::size_t file) {
        bool opened = false;
        const auto open = m_pool.Get(m_slots[file], [&] {
            opened = true;
            return OpenNow(file);
        });
        ExpectContent(*open, file);
        return opened;
    }

    static void ExpectContent(const CSystemFile& open, std::size_t file) {
        unsigned char byte = 0;
        int error = 0;
        EXPECT_TRUE(open.ReadAt(0, &byte, 1, error)) << error;
        EXPECT_EQ(byte, '0' + file);
    }

    CTemporaryFolder m_folder;
    CDescriptorPool m_pool{Most};
    std::array<CDescriptorPool::CSlot, FileCount> m_slots;
};

TEST_F(DescriptorPool, OpensAFileWhenItIsFirstNeeded) {
    EXPECT_EQ(m_pool.Count(), 0U);
    EXPECT_TRUE(Use(0));
    EXPECT_FALSE(Use(0));
    EXPECT_EQ(m_pool.Count(), 1U);
}

TEST_F(DescriptorPool, TakesAFileThatIsOpen) {
    m_pool.Put(m_slots[1], OpenNow(1));
    EXPECT_EQ(m_pool.Count(), 1U);
    EXPECT_FALSE(Use(1));
}

TEST_F(DescriptorPool, ClosesTheFileThatWasNotUsedForLongest) {
    const std::weak_ptr<const CSystemFile> first =
        m_pool.Get(m_slots[0], [&] { return OpenNow(0); });
    EXPECT_TRUE(Use(1));
    EXPECT_TRUE(Use(2));
    EXPECT_FALSE(Use(0));
    EXPECT_TRUE(Use(3));
    EXPECT_FALSE(first.expired());
    EXPECT_FALSE(Use(0));
    EXPECT_TRUE(Use(1));
    EXPECT_TRUE(Use(2));
    EXPECT_TRUE(Use(3));
    EXPECT_TRUE(first.expired());
}

TEST_F(DescriptorPool, ClosesNoFileUnderItsReader) {
    const auto first = m_pool.Get(m_slots[0], [&] { return OpenNow(0); });
    for (std::size_t file = 1; file < FileCount; ++file) {
        EXPECT_TRUE(Use(file));
    }
    EXPECT_EQ(m_pool.Count(), Most);
    ExpectContent(*first, 0);
    EXPECT_TRUE(Use(0));
}

TEST_F(DescriptorPool, GivesNothingForAFileThatDoesNotOpen) {
    EXPECT_EQ(m_pool.Get(m_slots[0], [] { return nullptr; }), nullptr);
    EXPECT_EQ(m_pool.Count(), 0U);
    EXPECT_TRUE(Use(0));
}

TEST_F(DescriptorPool, ForgetsAFileWhoseOwnerGoes) {
    const std::weak_ptr<const CSystemFile> first =
        m_pool.Get(m_slots[0], [&] { return OpenNow(0); });
    EXPECT_TRUE(Use(1));
    m_pool.Remove(m_slots[0]);
    m_pool.Remove(m_slots[5]);
    EXPECT_TRUE(first.expired());
    EXPECT_EQ(m_pool.Count(), 1U);
    EXPECT_TRUE(Use(2));
    EXPECT_TRUE(Use(3));
    EXPECT_FALSE(Use(1));
}

TEST_F(DescriptorPool, OpensAsAListOfTheFilesUsedLastTells) {
    std::mt19937 random(5);
    std::list<std::size_t> last;
    for (int step = 0; step < 2000; ++step) {
        const std::size_t file = random() % FileCount;
        const auto found = std::find(last.begin(), last.end(), file);
        if (random() % 8 == 0) {
            m_pool.Remove(m_slots[file]);
            last.remove(file);
        } else {
            ASSERT_EQ(Use(file), found == last.end()) << step;
            last.remove(file);
            last.push_front(file);
            last.resize(std::min(last.size(), Most));
        }
        ASSERT_EQ(m_pool.Count(), last.size()) << step;
    }
}

}  // namespace
}  // namespace NTest
