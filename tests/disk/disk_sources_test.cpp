// Disks whose files are no files: the host brings their bytes.

#include <gtest/gtest.h>

#include <cerrno>

#include <vhdx_disk/reader.h>

#include "tests/support/chain_model.h"
#include "tests/support/log_builder.h"
#include "tests/support/memory_source.h"

namespace NTest {
namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CDiskOptions;
using NVHDXDisk::CFailure;
using NVHDXDisk::CReader;
using NVHDXDisk::CSourcePointer;

namespace fs = std::filesystem;

class DiskSources : public testing::Test {
protected:
    /// Three disks whose content comes from each of them.
    static CChainModel Chain() {
        CChainModel chain;
        chain.AddDisk(CDiskShape()).Present(0, 1).Present(1, 2).Present(2, 3);
        chain.AddDisk(CDiskShape()).Present(1, 4).Partial(2, 5, {0, 9});
        chain.AddDisk(CDiskShape()).Partial(2, 6, {9, 10}).Present(5, 7);
        return chain;
    }

    std::shared_ptr<CMemorySource> Add(const CChainModel& chain, std::size_t disk,
                                       const fs::path& folder = {}) {
        return m_opener->Add(folder / CChainModel::Name(disk), chain.Image(disk));
    }

    std::shared_ptr<const CDisk> Open(const fs::path& path, CDiskOptions options = {}) {
        options.opener = m_opener;
        m_failure = {};
        return CDisk::Open(path, options, m_failure);
    }

    void ExpectContent(const std::shared_ptr<const CDisk>& disk, const CBytes& content) {
        ASSERT_NE(disk, nullptr) << m_failure.text;
        ASSERT_EQ(disk->Size(), content.size());
        CBytes bytes(content.size(), 0xEE);
        ASSERT_TRUE(CReader(disk).Read(0, bytes.data(), bytes.size(), m_failure)) << m_failure.text;
        EXPECT_TRUE(bytes == content);
    }

    std::shared_ptr<CMemoryOpener> m_opener = std::make_shared<CMemoryOpener>();
    CFailure m_failure;
};

TEST_F(DiskSources, AWholeChainOpensWithoutAnyFile) {
    const CChainModel chain = Chain();
    std::vector<CSourcePointer> sources;
    for (std::size_t disk = chain.Count(); disk-- > 0;) {
        sources.push_back(std::make_shared<CMemorySource>(chain.Image(disk),
                                                          "nowhere/" + CChainModel::Name(disk)));
    }
    const auto disk = CDisk::Open(sources, {}, m_failure);
    ExpectContent(disk, chain.Content());
    ASSERT_EQ(disk->Files().size(), 3U);
    EXPECT_EQ(disk->Files()[2].path, fs::path("nowhere/0.vhdx"));
    EXPECT_EQ(disk->Files()[2].size, sources[2]->Size());
}

TEST_F(DiskSources, TheOpenerFindsTheParentsByTheirPaths) {
    const CChainModel chain = Chain();
    for (std::size_t disk = 0; disk < chain.Count(); ++disk) {
        Add(chain, disk, "folder");
    }
    ExpectContent(Open("folder/2.avhdx"), chain.Content());
}

TEST_F(DiskSources, TheParentsThatAreNotGivenAreLookedFor) {
    const CChainModel chain = Chain();
    Add(chain, 0);
    CDiskOptions options;
    options.opener = m_opener;
    const auto disk = CDisk::Open({std::make_shared<CMemorySource>(chain.Image(2), "2.avhdx"),
                                   std::make_shared<CMemorySource>(chain.Image(1), "1.avhdx")},
                                  options, m_failure);
    ExpectContent(disk, chain.Content());
}

TEST_F(DiskSources, AParentThatTheOpenerDoesNotFindIsMissing) {
    const CChainModel chain = Chain();
    Add(chain, 2);
    EXPECT_EQ(Open("2.avhdx"), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::parentMissing);
    EXPECT_EQ(m_failure.file, fs::path("2.avhdx"));
    EXPECT_EQ(m_failure.reason, "the parent \".\\1.avhdx\" is missing");
}

TEST_F(DiskSources, ADiskThatTheOpenerDoesNotFindFailsInItsWords) {
    EXPECT_EQ(Open("9.avhdx"), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::notFound);
    EXPECT_EQ(m_failure.text, "\"9.avhdx\": there is no such source");
    EXPECT_EQ(m_failure.error, ENOENT);
}

TEST_F(DiskSources, NoSourceAtAllIsNoDisk) {
    EXPECT_EQ(CDisk::Open(std::vector<CSourcePointer>(), {}, m_failure), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::notFound);
    EXPECT_EQ(m_failure.text, "a disk has at least one file");
    EXPECT_EQ(CDisk::Open(std::vector<CSourcePointer>{nullptr}, {}, m_failure), nullptr);
    EXPECT_EQ(m_failure.text, "a disk has at least one file");
}

TEST_F(DiskSources, ParentsAreTakenFromWhereTheHostSays) {
    const CChainModel chain = Chain();
    m_opener->Add("a", chain.Image(0));
    m_opener->Add("b", chain.Image(1));
    Add(chain, 2);
    CDiskOptions options;
    options.parents = {"b", "a"};
    const auto disk = Open("2.avhdx", options);
    ExpectContent(disk, chain.Content());
    EXPECT_EQ(disk->Files()[1].path, fs::path("b"));
    EXPECT_EQ(disk->Files()[2].path, fs::path("a"));
}

TEST_F(DiskSources, AParentThatTheHostNamesMayBeTheWrongOne) {
    const CChainModel chain = Chain();
    Add(chain, 0);
    Add(chain, 1);
    Add(chain, 2);
    CDiskOptions options;
    options.parents = {"0.vhdx"};
    EXPECT_EQ(Open("2.avhdx", options), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::parentChanged);
    options.parents = {"none"};
    EXPECT_EQ(Open("2.avhdx", options), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::notFound);
    EXPECT_EQ(m_failure.file, fs::path("none"));
    options.parents = {"2.avhdx"};
    EXPECT_EQ(Open("2.avhdx", options), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::circle);
}

TEST_F(DiskSources, FurtherFoldersAreLookedThroughForParents) {
    const CChainModel chain = Chain();
    Add(chain, 0, "bases");
    Add(chain, 1, "checkpoints");
    Add(chain, 2, "vm");
    EXPECT_EQ(Open("vm/2.avhdx"), nullptr);
    CDiskOptions options;
    options.folders = {"bases", "checkpoints"};
    ExpectContent(Open("vm/2.avhdx", options), chain.Content());
}

TEST_F(DiskSources, AChangedParentInAFurtherFolderIsToldOf) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.Builder().DataWriteGuid(NGuid::unknown);
    chain.AddDisk(CDiskShape());
    Add(chain, 0, "bases");
    Add(chain, 1, "vm");
    CDiskOptions options;
    options.folders = {"bases"};
    EXPECT_EQ(Open("vm/1.avhdx", options), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::parentChanged);
}

TEST_F(DiskSources, AFileAloneAsksNoOpenerForParents) {
    const CChainModel chain = Chain();
    Add(chain, 2);
    CDiskOptions options;
    options.withParents = false;
    const auto disk = Open("2.avhdx", options);
    ASSERT_NE(disk, nullptr) << m_failure.text;
    EXPECT_EQ(disk->Files().size(), 1U);
}

/// The table of the newest file, as the first library loads it.
NVHDXDisk::CLoadedTable TableOf(CSparseImage image) {
    CInputStream stream(std::move(image));
    NVHDX::CAccessor accessor;
    NVHDXDisk::CLoadedTable table;
    const auto blocks = std::make_shared<NVHDX::CBlocks>();
    EXPECT_TRUE(accessor.Entry(stream));
    EXPECT_TRUE(accessor.LoadBlocks(*blocks, table.parameters, stream));
    table.blocks = blocks;
    return table;
}

TEST_F(DiskSources, ALoadedTableStandsForTheOneInTheNewestFile) {
    CChainModel chain = Chain();
    CDiskOptions options;
    options.table = TableOf(chain.Image(2));
    chain.Builder().PayloadBlock(4, 5, 0);  // a state that no block has
    for (std::size_t disk = 0; disk < chain.Count(); ++disk) {
        Add(chain, disk);
    }
    EXPECT_EQ(Open("2.avhdx"), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::damaged);
    ExpectContent(Open("2.avhdx", options), chain.Content());
}

TEST_F(DiskSources, AReadThatFailsKeepsTheNumberOfItsError) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2);
    const auto base = Add(chain, 0);
    chain.AddDisk(CDiskShape());
    Add(chain, 1);
    const auto disk = Open("1.avhdx");
    ASSERT_NE(disk, nullptr) << m_failure.text;
    base->FailAt(chain.Position(0, 2 * MiB) + 77, EIO);
    CReader reader(disk);
    CBytes bytes(MiB);
    EXPECT_TRUE(reader.Read(MiB, bytes.data(), bytes.size(), m_failure));
    EXPECT_EQ(m_failure.kind, CFailure::none);
    EXPECT_FALSE(reader.Read(2 * MiB, bytes.data(), bytes.size(), m_failure));
    EXPECT_EQ(m_failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(m_failure.error, EIO);
    EXPECT_EQ(m_failure.file, fs::path("0.vhdx"));
    EXPECT_EQ(m_failure.text, "\"0.vhdx\": the memory fails");
}

TEST_F(DiskSources, ASectorBitmapThatCannotBeReadKeepsTheNumberOfTheError) {
    const CChainModel chain = Chain();
    std::shared_ptr<CMemorySource> middle;
    for (std::size_t disk = 0; disk < chain.Count(); ++disk) {
        const auto source = Add(chain, disk);
        middle = disk == 1 ? source : middle;
    }
    const auto disk = Open("2.avhdx");
    ASSERT_NE(disk, nullptr) << m_failure.text;
    // The bitmap lies behind the blocks.
    middle->FailAt(chain.Position(1, 2 * MiB) + MiB + 256, EIO);
    CBytes bytes(MiB);
    EXPECT_FALSE(CReader(disk).Read(2 * MiB, bytes.data(), bytes.size(), m_failure));
    EXPECT_EQ(m_failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(m_failure.error, EIO);
    EXPECT_EQ(m_failure.text,
              "\"1.avhdx\": block 2 is partially present, and the sector bitmap of chunk 0 cannot "
              "be read: the memory fails");
}

TEST_F(DiskSources, ATableThatCannotBeReadKeepsTheNumberOfTheError) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    Add(chain, 0)->FailAt(chain.Builder().BatPosition() + 5, EIO);
    EXPECT_EQ(Open("0.vhdx"), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(m_failure.error, EIO);
    EXPECT_EQ(m_failure.text, "\"0.vhdx\": the memory fails");
}

TEST_F(DiskSources, AFileWhoseStartCannotBeReadIsNotCalledSomethingElse) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    Add(chain, 0)->FailAt(0, EIO);
    EXPECT_EQ(Open("0.vhdx"), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(m_failure.error, EIO);
}

TEST_F(DiskSources, ALogIsReplayedInMemoryToo) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    CBytes expected = chain.Content();
    PutBytes(expected, MiB + 4096, Pattern(9, 0, 4096));
    chain.Builder()
        .LogAt(logGuid, MiB, 1048576)
        .Bytes(
            MiB,
            CLogEntryBuilder(1).Page(chain.Position(0, MiB) + 4096, Pattern(9, 0, 4096)).Bytes());
    Add(chain, 0);
    const auto disk = Open("0.vhdx");
    ExpectContent(disk, expected);
    EXPECT_EQ(disk->ReplayedEntries(), 1U);
}

}  // namespace
}  // namespace NTest
