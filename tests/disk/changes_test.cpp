#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <vhdx_disk/reader.h>

#include "tests/support/chain_model.h"
#include "tests/support/log_builder.h"
#include "tests/support/random_chain.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CExtent;
using NVHDXDisk::CFailure;
using NVHDXDisk::CReader;

/// One sector that a newer file changes.
struct CChange {
    std::uint64_t sector = 0;
    CExtent::EKind kind = CExtent::hole;
    std::string file;            ///< of data and zeros
    std::uint64_t position = 0;  ///< of data

    friend bool operator==(const CChange&, const CChange&) = default;
};

/// The changes of one sector since the disk `since` of the model, by asking each newer file in
/// turn.
void AddChange(const CChainModel& chain, std::size_t since, std::uint64_t sector,
               std::vector<CChange>& changes) {
    const std::uint64_t offset = sector * chain.Shape().sectorSize;
    for (std::size_t disk = chain.Count(); disk-- > since + 1;) {
        if (offset >= chain.ShapeOf(disk).size) {
            if (offset < chain.ShapeOf(since).size) {
                changes.push_back({sector, CExtent::hole, "", 0});
            }
            return;
        }
        const CChainModel::ESays says = chain.Says(disk, sector);
        if (says == CChainModel::data) {
            changes.push_back(
                {sector, CExtent::data, CChainModel::Name(disk), chain.Position(disk, offset)});
        } else if (says == CChainModel::zeros) {
            changes.push_back({sector, CExtent::zeros, CChainModel::Name(disk), 0});
        }
        if (says != CChainModel::nothing) {
            return;
        }
    }
}

std::vector<CChange> NaiveChanges(const CChainModel& chain, std::size_t since) {
    std::vector<CChange> changes;
    const std::uint64_t sectors = chain.Shape().size / chain.Shape().sectorSize;
    for (std::uint64_t sector = 0; sector < sectors; ++sector) {
        AddChange(chain, since, sector, changes);
    }
    return changes;
}

class ChainChanges : public testing::Test {
protected:
    std::shared_ptr<const CDisk> Open(const CChainModel& chain) {
        chain.WriteTo(m_folder.Path());
        CFailure failure;
        auto disk = CDisk::Open(m_folder / CChainModel::Name(chain.Count() - 1), {}, failure);
        EXPECT_NE(disk, nullptr) << failure.text;
        return disk;
    }

    static std::vector<CExtent> Changes(const std::shared_ptr<const CDisk>& disk, std::size_t since,
                                        std::uint64_t offset, std::uint64_t length) {
        CReader reader(disk);
        std::vector<CExtent> extents;
        CFailure failure;
        EXPECT_TRUE(reader.Changes(
            since, offset, length,
            [&](const CExtent& extent) {
                extents.push_back(extent);
                return true;
            },
            failure))
            << failure.text;
        return extents;
    }

    /// The sectors of the extents, each by itself.
    static std::vector<CChange> Sectors(const CDisk& disk, const std::vector<CExtent>& extents) {
        std::vector<CChange> changes;
        for (const CExtent& extent : extents) {
            const bool isHole = extent.kind == CExtent::hole;
            const std::string file =
                isHole ? "" : disk.Files()[extent.file].path.filename().string();
            for (std::uint64_t at = 0; at < extent.length; at += disk.LogicalSectorSize()) {
                changes.push_back({(extent.offset + at) / disk.LogicalSectorSize(), extent.kind,
                                   file, extent.kind == CExtent::data ? extent.position + at : 0});
            }
        }
        return changes;
    }

    /// Compares the changes since each disk of the chain with the model's, whole.
    void ExpectChangesOfModel(const CChainModel& chain) {
        const auto disk = Open(chain);
        ASSERT_NE(disk, nullptr);
        for (std::size_t since = 0; since < chain.Count(); ++since) {
            const std::size_t file = chain.Count() - 1 - since;
            EXPECT_TRUE(Sectors(*disk, Changes(disk, file, 0, disk->Size())) ==
                        NaiveChanges(chain, since))
                << "since " << CChainModel::Name(since);
        }
    }

    CTemporaryFolder m_folder;
};

TEST_F(ChainChanges, AreWhatNewerFilesHoldOverTheBase) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(4 * MiB)).Present(0, 1).Present(1, 2);
    chain.AddDisk(CDiskShape().Size(4 * MiB)).Present(1, 3).Empty(3, CChainModel::zero, false);
    const std::vector<CExtent> expected = {
        {MiB, MiB, CExtent::data, 0, chain.Position(1, MiB), false},
        {3 * MiB, MiB, CExtent::zeros, 0, 0, false}};
    EXPECT_EQ(Changes(Open(chain), 1, 0, 4 * MiB), expected);
}

TEST_F(ChainChanges, ReadTheLowestBitOfABitmapAsTheFirstSector) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(MiB)).Present(0, 1);
    chain.AddDisk(CDiskShape().Size(MiB)).Partial(0, 2, {1});
    const std::vector<CExtent> expected = {
        {512, 512, CExtent::data, 0, chain.Position(1, 512), false}};
    EXPECT_EQ(Changes(Open(chain), 1, 0, MiB), expected);
}

TEST_F(ChainChanges, AreCutToTheRange) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(4 * MiB)).Present(0, 1);
    chain.AddDisk(CDiskShape().Size(4 * MiB)).Present(0, 2).Present(1, 3);
    const std::vector<CExtent> expected = {
        {MiB - 7, 9, CExtent::data, 0, chain.Position(1, MiB - 7), false}};
    EXPECT_EQ(Changes(Open(chain), 1, MiB - 7, 9), expected);
    EXPECT_EQ(Changes(Open(chain), 1, 2 * MiB, MiB), std::vector<CExtent>{});
}

TEST_F(ChainChanges, OfADiskSinceItselfAreNone) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(4 * MiB)).Present(0, 1);
    chain.AddDisk(CDiskShape().Size(4 * MiB)).Present(0, 2);
    EXPECT_EQ(Changes(Open(chain), 0, 0, 4 * MiB), std::vector<CExtent>{});
}

TEST_F(ChainChanges, TellWhatASmallerDiskBetweenCutOff) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(6 * MiB)).Present(2, 1).Present(3, 2).Present(4, 3);
    chain.AddDisk(CDiskShape().Size(3 * MiB + 512));
    chain.AddDisk(CDiskShape().Size(8 * MiB)).Present(4, 4);
    const std::vector<CExtent> expected = {
        {3 * MiB + 512, MiB - 512, CExtent::hole, 0, 0, false},
        {4 * MiB, MiB, CExtent::data, 0, chain.Position(2, 4 * MiB), false},
        {5 * MiB, MiB, CExtent::hole, 0, 0, false}};
    EXPECT_EQ(Changes(Open(chain), 2, 0, 8 * MiB), expected);
    ExpectChangesOfModel(chain);
}

TEST_F(ChainChanges, KnowWhatAPendingLogHolds) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(4 * MiB)).Present(1, 1).Present(2, 2);
    chain.AddDisk(CDiskShape().Size(4 * MiB)).Present(2, 3);
    CImageBuilder& disk = chain.Builder();
    CBytes table(4096);
    Put64(table, 8, disk.BlockPosition(2) | 6);  // block 1 gets the place of block 2,
    Put64(table, 16, 2);                         // and block 2 becomes zeros
    disk.LogAt(logGuid, MiB, 1048576)
        .Bytes(MiB, CLogEntryBuilder(3)
                        .Page(disk.BatPosition(), table)
                        .Page(disk.BlockPosition(2) + 8192, Pattern(9, 0, 4096))
                        .FileOffsets(5 * MiB, 5 * MiB)
                        .Bytes());
    const std::uint64_t place = disk.BlockPosition(2);
    const std::vector<CExtent> expected = {
        {MiB, 8192, CExtent::data, 0, place, false},
        {MiB + 8192, 4096, CExtent::data, 0, place + 8192, true},
        {MiB + 12288, MiB - 12288, CExtent::data, 0, place + 12288, false},
        {2 * MiB, MiB, CExtent::zeros, 0, 0, false}};
    EXPECT_EQ(Changes(Open(chain), 1, 0, 4 * MiB), expected);
}

TEST_F(ChainChanges, EndWhenTheCallbackSaysSo) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(6 * MiB)).Present(0, 1);
    chain.AddDisk(CDiskShape().Size(6 * MiB)).Present(0, 2).Present(2, 3).Present(4, 4);
    const auto disk = Open(chain);
    for (std::size_t most = 1; most <= 3; ++most) {
        CReader reader(disk);
        std::size_t calls = 0;
        CFailure failure;
        EXPECT_TRUE(reader.Changes(
            1, 0, 6 * MiB, [&](const CExtent&) { return ++calls < most; }, failure));
        EXPECT_EQ(calls, most);
    }
}

TEST_F(ChainChanges, PastTheEndOfTheDiskFail) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(MiB));
    CReader reader(Open(chain));
    CFailure failure;
    EXPECT_FALSE(reader.Changes(
        0, 1, MiB, [](const CExtent&) { return true; }, failure));
    EXPECT_EQ(failure.reason, "the range reaches past the end of the virtual disk");
    EXPECT_EQ(failure.kind, CFailure::outOfRange);
}

TEST_F(ChainChanges, SinceAFileThatTheDiskHasNotFail) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(MiB));
    CReader reader(Open(chain));
    CFailure failure;
    EXPECT_FALSE(reader.Changes(
        1, 0, MiB, [](const CExtent&) { return true; }, failure));
    EXPECT_EQ(failure.kind, CFailure::outOfRange);
}

class RandomChainChanges : public ChainChanges, public testing::WithParamInterface<unsigned> {};

TEST_P(RandomChainChanges, AreThoseOfTheModel) {
    ExpectChangesOfModel(CRandomChain(GetParam()).Make());
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomChainChanges, testing::Range(0u, 60u));

}  // namespace
}  // namespace NTest
