// What is read, listed and copied of random chains with pending logs, against the naive model.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include <vhdx_disk/copy.h>
#include <vhdx_disk/reader.h>

#include "tests/support/log_builder.h"
#include "tests/support/memory_source.h"
#include "tests/support/naive_disk.h"
#include "tests/support/random_chain.h"

namespace NTest {
namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CDiskOptions;
using NVHDXDisk::CExtent;
using NVHDXDisk::CFailure;
using NVHDXDisk::CReader;

constexpr std::uint64_t page = 4096;

class CKeptBytes final : public NVHDXDisk::ITarget {
public:
    explicit CKeptBytes(std::uint64_t size) : bytes(size, 0xCC) {}

    bool Write(std::uint64_t offset, const unsigned char* written, std::size_t count,
               CFailure&) override {
        std::copy_n(written, count, bytes.begin() + static_cast<std::ptrdiff_t>(offset));
        return true;
    }
    bool Zero(std::uint64_t offset, std::uint64_t length, CFailure&) override {
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), length,
                    static_cast<unsigned char>(0));
        return true;
    }
    bool Flush(CFailure&) override { return true; }

    CBytes bytes;
};

/// Gives files logs whose entries change their tables, their sector bitmaps' first bits and their
/// data.
class CRandomLog {
public:
    explicit CRandomLog(CRandomChain& random) : m_random(random) {}

    void Add(CChainModel& chain) {
        CImageBuilder& builder = chain.Builder();
        m_fileSize = builder.Build().Size();
        m_blockSize = chain.Shape().blockSize;
        m_hasParent = chain.Count() > 1;
        CLogImage log;
        auto position = static_cast<std::uint32_t>(m_random.Below(256) * page);
        const std::uint32_t first = position;
        const std::uint64_t count = 1 + m_random.Below(3);
        for (std::uint64_t number = 1; number <= count; ++number) {
            // What stands before the tail is in place already.
            const bool isTail = number == count && m_random.Below(4) == 0;
            const CBytes entry = Entry(number, isTail ? position : first);
            log.Put(position, entry);
            position = static_cast<std::uint32_t>((position + entry.size()) % MiB);
        }
        builder.LogAt(logGuid, MiB, static_cast<std::uint32_t>(MiB)).Bytes(MiB, log.Bytes());
    }

private:
    CBytes Entry(std::uint64_t number, std::uint32_t tail) {
        CLogEntryBuilder entry(number, tail);
        entry.FileOffsets(0, m_fileSize + m_random.Below(3) * MiB);
        for (std::uint64_t left = m_random.Below(9); left != 0; --left) {
            const std::uint64_t position = m_fileSize > 4 * MiB ? Position() : 4 * MiB;
            if (m_random.Below(3) == 0) {
                entry.Zero(position, m_random.Below(40) * page);
            } else {
                entry.Page(position, Pattern(m_random.Below(99), position, page));
            }
        }
        if (m_random.Below(3) == 0) {
            entry.Page(3 * MiB, TablePage());
        }
        return entry.Bytes();
    }

    std::uint64_t Position() {
        return 4 * MiB + m_random.Below((m_fileSize - 4 * MiB) / page) * page;
    }

    /// Of blocks that lie in the file, those that are partially present perhaps without a bitmap.
    CBytes TablePage() {
        CBytes table(page);
        const std::uint64_t places = m_fileSize / MiB - m_blockSize / MiB + 1;
        for (std::size_t entry = 0; entry < 8; ++entry) {
            constexpr unsigned states[] = {0, 1, 2, 3, 6, 6, 6, 7};
            const unsigned state = states[m_random.Below(m_hasParent ? 8 : 7)];
            const std::uint64_t place = places > 4 ? 4 + m_random.Below(places - 4) : 0;
            Put64(table, 8 * entry, place == 0 ? 0 : place * MiB | state);
        }
        return table;
    }

    CRandomChain& m_random;
    std::uint64_t m_fileSize = 0;
    std::uint64_t m_blockSize = 0;
    bool m_hasParent = false;
};

/// The test's name shows the seed.
class NaiveAgreement : public testing::TestWithParam<unsigned> {
protected:
    /// Opens the chain in memory, and makes the model of its files.
    void Open(const CChainModel& chain) {
        const auto opener = std::make_shared<CMemoryOpener>();
        CNaiveDisk::CFiles files;
        for (std::size_t file = chain.Count(); file-- > 0;) {
            const auto image = std::make_shared<const CSparseImage>(chain.Image(file));
            (void)opener->Add(CChainModel::Name(file), *image);
            files.push_back(std::make_shared<const CNaiveFile>(CNaiveReplay::Of(
                {image->Size(), [image](std::uint64_t position, std::span<unsigned char> bytes) {
                     (void)image->Read(position, bytes);
                 }})));
        }
        naive = std::make_unique<const CNaiveDisk>(std::move(files));
        CDiskOptions options;
        options.opener = opener;
        CFailure failure;
        disk = CDisk::Open(CChainModel::Name(chain.Count() - 1), options, failure);
        ASSERT_NE(disk, nullptr) << failure.text;
        ASSERT_TRUE(naive->IsWhole());
        ASSERT_EQ(disk->Size(), naive->Size());
    }

    std::shared_ptr<const CDisk> disk;
    std::unique_ptr<const CNaiveDisk> naive;
};

/// That the model is none of the library's making.
TEST_P(NaiveAgreement, TheModelGivesWhatTheChainWasMadeOf) {
    const CChainModel chain = CRandomChain(GetParam()).Make();
    Open(chain);
    CBytes bytes(chain.Content().size());
    ASSERT_TRUE(naive->Read(0, bytes));
    EXPECT_TRUE(bytes == chain.Content());
}

class PendingAgreement : public NaiveAgreement {
protected:
    void SetUp() override {
        CRandomChain random(GetParam());
        CChainModel chain;
        const std::uint32_t sectorSize = random.Below(2) != 0 ? 512 : 4096;
        for (std::uint64_t left = 1 + random.Below(4); left != 0; --left) {
            chain.AddDisk(CDiskShape()
                              .SectorSize(sectorSize)
                              .BlockSize(MiB << random.Below(2))
                              .Size(sectorSize * (1 + random.Below(5 * MiB / sectorSize))));
            random.FillBlocks(chain);
            if (random.Below(4) != 0) {
                CRandomLog(random).Add(chain);
            }
        }
        Open(chain);
    }

    /// Where the model knows nothing the library has a reason not to.
    void ExpectSameExtent(const CExtent& extent) const {
        for (std::uint64_t at = extent.offset; at < extent.End(); at = naive->StepEnd(at)) {
            const CNaivePlace place = naive->PlaceOf(at);
            const std::uint64_t into = at - extent.offset;
            switch (place.kind) {
                case CNaivePlace::data:
                    ASSERT_EQ(extent.kind, CExtent::data) << at;
                    ASSERT_EQ(extent.position + into, place.position) << at;
                    ASSERT_EQ(extent.fromLog, place.fromLog) << at;
                    ASSERT_EQ(extent.file, place.file) << at;
                    break;
                case CNaivePlace::zeros:
                    ASSERT_EQ(extent.kind, CExtent::zeros) << at;
                    ASSERT_EQ(extent.file, place.file) << at;
                    break;
                default:
                    ASSERT_EQ(place.kind, CNaivePlace::hole) << at;
                    ASSERT_EQ(extent.kind, CExtent::hole) << at;
            }
        }
    }
};

TEST_P(PendingAgreement, ReadingGivesWhatTheModelGives) {
    CBytes expected(disk->Size());
    CBytes bytes(disk->Size());
    CFailure failure;
    const bool isKnown = naive->Read(0, expected);
    ASSERT_EQ(CReader(disk).Read(0, bytes.data(), bytes.size(), failure), isKnown) << failure.text;
    EXPECT_TRUE(!isKnown || bytes == expected);
}

TEST_P(PendingAgreement, CopyingGivesWhatTheModelGives) {
    CBytes expected(disk->Size());
    CKeptBytes target(disk->Size());
    CFailure failure;
    const bool isKnown = naive->Read(0, expected);
    ASSERT_EQ(NVHDXDisk::CopyDisk(disk, 0, disk->Size(), target, {}, failure), isKnown)
        << failure.text;
    EXPECT_TRUE(!isKnown || target.bytes == expected);
}

TEST_P(PendingAgreement, ExtentsNameThePlacesOfTheModel) {
    std::uint64_t next = 0;
    CFailure failure;
    const bool isKnown = CReader(disk).Extents(
        0, disk->Size(),
        [&](const CExtent& extent) {
            EXPECT_EQ(extent.offset, next);
            next = extent.End();
            ExpectSameExtent(extent);
            return !HasFatalFailure();
        },
        failure);
    EXPECT_EQ(isKnown, next == disk->Size()) << failure.text;
}

INSTANTIATE_TEST_SUITE_P(Seeds, NaiveAgreement, testing::Range(0u, 20u));
INSTANTIATE_TEST_SUITE_P(Seeds, PendingAgreement, testing::Range(0u, 40u));

}  // namespace
}  // namespace NTest
