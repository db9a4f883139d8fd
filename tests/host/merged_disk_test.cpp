#include <algorithm>
#include <thread>

#include <gtest/gtest.h>

#include "host/locator_path.h"
#include "host/merged_reader.h"
#include "tests/support/chain_model.h"
#include "tests/support/log_builder.h"
#include "tests/support/random_chain.h"
#include "tests/support/stop_at_every_call.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NVHDXHost::CExtent;
using NVHDXHost::CMergedDisk;
using NVHDXHost::CMergedReader;
using NVHDXHost::CMergeOptions;
using NVHDXHost::CReplayStream;
using NVHDXHost::Quoted;

class MergedDisk : public testing::Test {
protected:
    std::shared_ptr<const CMergedDisk> Open(const std::string& name,
                                            const CMergeOptions& options = {}) {
        m_error.clear();
        return CMergedDisk::Open(m_folder / name, options, m_error);
    }

    std::shared_ptr<const CMergedDisk> Open(const CChainModel& chain) {
        chain.WriteTo(m_folder.Path());
        return Open(CChainModel::Name(chain.Count() - 1));
    }

    /// Opens the chain, reads it in one piece and compares it with the model.
    void ExpectContent(const CChainModel& chain) {
        const auto disk = Open(chain);
        ASSERT_NE(disk, nullptr) << m_error;
        ASSERT_EQ(disk->Size(), chain.Content().size());
        EXPECT_EQ(disk->Findings(), std::vector<std::string>{});
        CMergedReader reader(disk);
        CBytes bytes(chain.Content().size(), 0xEE);
        ASSERT_TRUE(reader.Read(0, bytes)) << reader.Error();
        EXPECT_TRUE(bytes == chain.Content());
        ExpectExtents(*disk, chain.Content());
    }

    /// Reads the chain whose parent was refused, with one finding.
    void ExpectAccepted(const CChainModel& chain, const std::string& finding) {
        CMergeOptions accepting;
        accepting.acceptChangedParent = true;
        const auto disk = Open("1.avhdx", accepting);
        ASSERT_NE(disk, nullptr) << m_error;
        EXPECT_EQ(disk->Findings(), std::vector<std::string>{finding});
        CBytes bytes(chain.Content().size());
        ASSERT_TRUE(CMergedReader(disk).Read(0, bytes));
        EXPECT_TRUE(bytes == chain.Content());
    }

    /// Extents cover the disk without gaps, cannot be joined, and lead to the right bytes.
    void ExpectExtents(const CMergedDisk& disk, const CBytes& content) {
        const std::vector<CExtent> extents = ExtentsOf(disk, 0, disk.Size());
        std::uint64_t at = 0;
        for (const CExtent& extent : extents) {
            ASSERT_EQ(extent.offset, at);
            ASSERT_GT(extent.length, 0u);
            at += extent.length;
            EXPECT_TRUE(BytesOf(disk, extent) ==
                        CBytes(content.begin() + static_cast<std::ptrdiff_t>(extent.offset),
                               content.begin() + static_cast<std::ptrdiff_t>(at)));
        }
        EXPECT_EQ(at, disk.Size());
        const auto joinable = std::adjacent_find(
            extents.begin(), extents.end(), [](const CExtent& first, const CExtent& next) {
                return first.kind == next.kind && first.layer == next.layer &&
                       first.overlaid == next.overlaid &&
                       (first.kind != CExtent::data ||
                        first.position + first.length == next.position);
            });
        EXPECT_EQ(joinable, extents.end());
        CMergedReader reader(std::shared_ptr<const CMergedDisk>(std::shared_ptr<void>(), &disk));
        ExpectStopAtEveryCall(extents, true, [&](const auto& report) {
            return reader.Extents(0, disk.Size(), report);
        });
    }

    static std::vector<CExtent> ExtentsOf(const CMergedDisk& disk, std::uint64_t offset,
                                          std::uint64_t length) {
        CMergedReader reader(std::shared_ptr<const CMergedDisk>(std::shared_ptr<void>(), &disk));
        std::vector<CExtent> extents;
        EXPECT_TRUE(reader.Extents(offset, length, [&](const CExtent& extent) {
            extents.push_back(extent);
            return true;
        })) << reader.Error();
        return extents;
    }

    /// The bytes that an extent promises, read from its file without any help.
    static CBytes BytesOf(const CMergedDisk& disk, const CExtent& extent) {
        CBytes bytes(static_cast<std::size_t>(extent.length));
        if (extent.kind == CExtent::data) {
            CReplayStream stream(disk.Layers()[extent.layer].path, extent.overlaid
                                                                       ? CReplayStream::replayLog
                                                                       : CReplayStream::asItStands);
            stream.seekg(static_cast<std::streamoff>(extent.position));
            stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            EXPECT_TRUE(stream.good());
        }
        return bytes;
    }

    CTemporaryFolder m_folder;
    std::string m_error;
};

TEST_F(MergedDisk, ABaseDiskReadsItsBlocksAndZerosElsewhere) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 1).Present(6, 2);
    ExpectContent(chain);
}

TEST_F(MergedDisk, TheNewestFileWins) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2).Present(3, 3);
    chain.AddDisk(CDiskShape()).Present(2, 4);
    chain.AddDisk(CDiskShape()).Present(3, 5).Present(4, 6);
    ExpectContent(chain);
}

TEST_F(MergedDisk, AFileInTheMiddleShowsItsOwnState) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.AddDisk(CDiskShape()).Present(2, 2);
    const CBytes content = chain.Content();
    chain.AddDisk(CDiskShape()).Present(1, 3);
    chain.WriteTo(m_folder.Path());
    const auto disk = Open("1.avhdx");
    ASSERT_NE(disk, nullptr) << m_error;
    CMergedReader reader(disk);
    CBytes bytes(content.size());
    ASSERT_TRUE(reader.Read(0, bytes));
    EXPECT_TRUE(bytes == content);
}

TEST_F(MergedDisk, TheFirstSectorIsTheLowestBitOfTheFirstByte) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1);
    chain.AddDisk(CDiskShape()).Partial(0, 2, {0});
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_error;
    const auto extents = ExtentsOf(*disk, 0, MiB);
    ASSERT_EQ(extents.size(), 2u);
    EXPECT_EQ(extents[0].layer, 0u);
    EXPECT_EQ(extents[0].length, 512u);
    EXPECT_EQ(extents[1].layer, 1u);
    ExpectContent(chain);
}

TEST_F(MergedDisk, PartialBlocksTakeSectorsFromBothFiles) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1).Present(3, 2);
    chain.AddDisk(CDiskShape())
        .Partial(0, 3, {1, 2, 3, 63, 64, 65, 127, 128, 2047})
        .Partial(1, 4, {0, 5})
        .Partial(3, 5, {});
    ExpectContent(chain);
}

class MergedDiskEmpty : public MergedDisk,
                        public testing::WithParamInterface<std::tuple<CChainModel::EEmpty, bool>> {
};

TEST_P(MergedDiskEmpty, BlocksReadAsZerosAndHideTheParent) {
    const auto [state, withSpace] = GetParam();
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2).Empty(5, state, withSpace);
    chain.AddDisk(CDiskShape()).Empty(1, state, withSpace).Partial(2, 3, {7});
    ExpectContent(chain);
    const auto extents = ExtentsOf(*Open("1.avhdx"), MiB, MiB);
    ASSERT_EQ(extents.size(), 1u);
    EXPECT_EQ(extents[0].kind, CExtent::zeros);
    EXPECT_EQ(extents[0].layer, 0u);
}

INSTANTIATE_TEST_SUITE_P(States, MergedDiskEmpty,
                         testing::Combine(testing::Values(CChainModel::undefined, CChainModel::zero,
                                                          CChainModel::unmapped),
                                          testing::Bool()));

TEST_F(MergedDisk, AGrownDiskReadsZerosPastASmallerParent) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(3 * MiB + 1536)).Present(2, 1).Present(3, 2);
    chain.AddDisk(CDiskShape().Size(8 * MiB)).Partial(3, 3, {0, 9});
    ExpectContent(chain);
}

TEST_F(MergedDisk, WhatADiskBetweenCutsOffDoesNotComeBack) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(2, 1).Present(5, 2);
    chain.AddDisk(CDiskShape().Size(3 * MiB));
    chain.AddDisk(CDiskShape());
    ExpectContent(chain);
}

TEST_F(MergedDisk, SectorsOf4096Bytes) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().SectorSize(4096)).Present(0, 1).Present(1, 2);
    chain.AddDisk(CDiskShape().SectorSize(4096)).Partial(1, 3, {0, 1, 100, 255});
    ExpectContent(chain);
}

TEST_F(MergedDisk, BlockSizesDifferAlongTheChain) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().BlockSize(2 * MiB)).Present(0, 1).Present(2, 2);
    chain.AddDisk(CDiskShape().BlockSize(4 * MiB)).Partial(1, 3, {0, 4095, 4096, 8191});
    chain.AddDisk(CDiskShape()).Present(3, 4).Empty(5, CChainModel::zero, false);
    ExpectContent(chain);
}

TEST_F(MergedDisk, SectorSizesThatDifferAreReadAndReported) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().SectorSize(4096)).Present(0, 1);
    chain.AddDisk(CDiskShape()).Partial(0, 3, {1, 9});
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_error;
    ASSERT_EQ(disk->Findings().size(), 1u);
    EXPECT_NE(disk->Findings()[0].find("the sectors have 512 bytes"), std::string::npos);
    CMergedReader reader(disk);
    CBytes bytes(chain.Content().size());
    ASSERT_TRUE(reader.Read(0, bytes));
    EXPECT_TRUE(bytes == chain.Content());
}

TEST_F(MergedDisk, ASecondChunkHasItsOwnBitmap) {
    constexpr std::uint64_t size = 4 * GiB + 108 * MiB;
    constexpr std::uint64_t block = 4196;
    CImageBuilder().VirtualSize(size).AllocateData(block, 1).Build().WriteTo(m_folder / "0.vhdx");
    CBytes bitmap(1048576);
    bitmap[100 * 256] = 0x02;  // the second sector of the chunk's block 100
    CImageBuilder()
        .VirtualSize(size)
        .Differencing()
        .ParentLocator({{u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
                        {u"relative_path", u".\\0.vhdx"}})
        .AllocatePartialData(block, 2)
        .AllocateSectorBitmap(1, bitmap)
        .Build()
        .WriteTo(m_folder / "1.avhdx");
    const auto disk = Open("1.avhdx");
    ASSERT_NE(disk, nullptr) << m_error;
    CMergedReader reader(disk);
    CBytes bytes(1536);
    ASSERT_TRUE(reader.Read(block * MiB, bytes)) << reader.Error();
    CBytes expected = Pattern(1, block * MiB, 1536);
    PutBytes(expected, 512, Pattern(2, block * MiB + 512, 512));
    EXPECT_TRUE(bytes == expected);
    EXPECT_EQ(ExtentsOf(*disk, 0, size).size(), 5u);
}

TEST_F(MergedDisk, RangesReadAsTheWholeDoes) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1).Present(1, 2).Present(3, 3);
    chain.AddDisk(CDiskShape()).Partial(1, 4, {0, 1, 2, 900, 2047}).Present(4, 5);
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_error;
    CMergedReader reader(disk);
    std::mt19937_64 random(7);
    for (int i = 0; i < 300; ++i) {
        const std::uint64_t offset = random() % disk->Size();
        CBytes bytes(random() % std::min<std::uint64_t>(disk->Size() - offset, 3000) + 1);
        ASSERT_TRUE(reader.Read(offset, bytes)) << reader.Error();
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(),
                               chain.Content().begin() + static_cast<std::ptrdiff_t>(offset)))
            << offset;
    }
}

TEST_F(MergedDisk, ARangePastTheEndFails) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    CMergedReader reader(Open(chain));
    CBytes bytes(2);
    EXPECT_TRUE(reader.Read(8 * MiB - 2, bytes));
    EXPECT_FALSE(reader.Read(8 * MiB - 1, bytes));
    EXPECT_EQ(reader.Error(), "the range reaches past the end of the virtual disk");
    EXPECT_FALSE(reader.Read(0xFFFFFFFFFFFFFFFF, bytes));
    EXPECT_TRUE(reader.Read(8 * MiB, {}));
    EXPECT_EQ(reader.Error(), "");
}

TEST_F(MergedDisk, AMissingBitmapMattersOnlyWhereABlockIsPartial) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1).Present(2, 2);
    chain.AddDisk(CDiskShape()).Present(1, 3);
    ExpectContent(chain);

    chain.Builder().PayloadBlock(2, 7, 4).FileSize(6 * MiB);
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_error;
    CMergedReader reader(disk);
    CBytes bytes(2 * MiB);
    EXPECT_TRUE(reader.Read(0, bytes));
    EXPECT_FALSE(reader.Read(MiB + 5, bytes));
    EXPECT_NE(reader.Error().find("1.avhdx\": block 2 is partially present, and the sector bitmap "
                                  "of chunk 0 cannot be read"),
              std::string::npos)
        << reader.Error();
    EXPECT_TRUE(reader.Read(3 * MiB, bytes));
}

class MergedDiskBadPlace : public MergedDisk, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(MergedDiskBadPlace, FailsWhereItIsReadAndNowhereElse) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.Builder().PayloadBlock(4, 6, GetParam());
    CMergedReader reader(Open(chain));
    CBytes bytes(MiB);
    EXPECT_TRUE(reader.Read(MiB, bytes));
    EXPECT_FALSE(reader.Read(4 * MiB, bytes));
    EXPECT_NE(reader.Error().find("0.vhdx\": block 4 claims a place that is not in the file"),
              std::string::npos);
    EXPECT_TRUE(reader.Read(5 * MiB, bytes));
}

INSTANTIATE_TEST_SUITE_P(Places, MergedDiskBadPlace,
                         testing::Values(0, 1000, 0xFFFFFFFFFFF, 0x80000000000));

TEST_F(MergedDisk, TheLastBlockNeedsNoMoreThanTheDiskUses) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(2 * MiB + 512)).Present(2, 1);
    chain.Builder().FileSize(chain.Builder().BlockPosition(2) + 512);
    ExpectContent(chain);
}

TEST_F(MergedDisk, AParentThatChangedIsRefusedUnlessItIsAccepted) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.Builder().DataWriteGuid(NGuid::unknown);
    chain.AddDisk(CDiskShape());
    EXPECT_EQ(Open(chain), nullptr);
    const std::string text = Quoted(m_folder / "1.avhdx") + ": the parent " +
                             Quoted(m_folder / "0.vhdx") +
                             " was changed or replaced since the child was made: its DataWriteGuid "
                             "is not the child's parent linkage";
    EXPECT_EQ(m_error, text + "; --accept-changed-parent reads it all the same");
    ExpectAccepted(chain, text);
}

TEST_F(MergedDisk, AParentThatNobodyCanTellIsRefusedUnlessItIsAccepted) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"parent_linkage", u"none"}, {u"relative_path", u".\\0.vhdx"}});
    EXPECT_EQ(Open(chain), nullptr);
    const std::string text = Quoted(m_folder / "1.avhdx") +
                             ": the parent locator has no valid parent_linkage: nobody can tell "
                             "whether a parent is the right one";
    EXPECT_EQ(m_error, text + "; --accept-changed-parent reads it all the same");
    ExpectAccepted(chain, text);
}

TEST_F(MergedDisk, ADamagedParentIsCalledDamagedAndNotChanged) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.Builder().EditHeaders([](CHeader& header) { header.checksum = 1; });
    chain.AddDisk(CDiskShape());
    EXPECT_EQ(Open(chain), nullptr);
    EXPECT_EQ(m_error.find("changed"), std::string::npos) << m_error;
    EXPECT_NE(m_error.find("neither header of the file is valid"), std::string::npos) << m_error;
}

TEST_F(MergedDisk, AFileAloneAsksForNoLinkage) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"relative_path", u".\\0.vhdx"}});
    chain.WriteTo(m_folder.Path());
    CMergeOptions alone;
    alone.withParents = false;
    EXPECT_NE(Open("1.avhdx", alone), nullptr) << m_error;
}

TEST_F(MergedDisk, TheSecondLinkageCountsToo) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"parent_linkage", u"{00000000-0000-0000-0000-000000000001}"},
                                   {u"parent_linkage2", CChainModel::LinkageText(0)},
                                   {u"relative_path", u".\\0.vhdx"}});
    ExpectContent(chain);
}

TEST_F(MergedDisk, AMissingParentIsNamed) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.WriteTo(m_folder.Path());
    std::filesystem::remove(m_folder / "0.vhdx");
    EXPECT_EQ(Open("1.avhdx"), nullptr);
    EXPECT_NE(m_error.find("1.avhdx\": the parent \".\\0.vhdx\" is missing"), std::string::npos)
        << m_error;
}

TEST_F(MergedDisk, ARelativePathMayLeadThroughFolders) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.AddDisk(CDiskShape()).Present(2, 1);
    chain.Builder().ParentLocator({{u"parent_linkage", CChainModel::LinkageText(0)},
                                   {u"relative_path", u"..\\b\u00E4se\\0.vhdx"}});
    chain.WriteTo(m_folder.Path());
    const auto base = m_folder / std::filesystem::path(u"b\u00E4se");
    std::filesystem::create_directory(base);
    std::filesystem::create_directory(m_folder / "children");
    std::filesystem::rename(m_folder / "0.vhdx", base / "0.vhdx");
    std::filesystem::rename(m_folder / "1.avhdx", m_folder / "children" / "1.avhdx");
    const auto disk = Open("children/1.avhdx");
    ASSERT_NE(disk, nullptr) << m_error;
    CBytes bytes(chain.Content().size());
    ASSERT_TRUE(CMergedReader(disk).Read(0, bytes));
    EXPECT_TRUE(bytes == chain.Content());
}

TEST_F(MergedDisk, AParentThatMovedIntoTheChildsFolderIsFound) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"parent_linkage", CChainModel::LinkageText(0)},
                                   {u"relative_path", u"..\\elsewhere\\0.vhdx"}});
    ExpectContent(chain);
}

TEST_F(MergedDisk, OtherPathsAreFollowedOnRequestOnly) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.AddDisk(CDiskShape());
    chain.WriteTo(m_folder.Path());
    std::filesystem::create_directory(m_folder / "far");
    std::filesystem::rename(m_folder / "0.vhdx", m_folder / "far" / "0.vhdx");
    chain.Builder().ParentLocator(
        {{u"parent_linkage", CChainModel::LinkageText(0)},
         {u"relative_path", u".\\0.vhdx"},
         {u"absolute_win32_path", (m_folder / "far" / "0.vhdx").u16string()}});
    chain.Builder().Build().WriteTo(m_folder / "1.avhdx");
    EXPECT_EQ(Open("1.avhdx"), nullptr);
    CMergeOptions options;
    options.otherPaths = true;
    EXPECT_NE(Open("1.avhdx", options), nullptr) << m_error;
}

TEST_F(MergedDisk, ACycleEnds) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"relative_path", u".\\2.avhdx"}});
    chain.AddDisk(CDiskShape());
    EXPECT_EQ(Open(chain), nullptr);
    EXPECT_NE(m_error.find("the chain leads from "), std::string::npos) << m_error;
}

TEST_F(MergedDisk, ADiskThatIsItsOwnParentEnds) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"relative_path", u".\\1.avhdx"}});
    EXPECT_EQ(Open(chain), nullptr);
    EXPECT_NE(m_error.find("back to"), std::string::npos) << m_error;
}

struct CRefusal {
    const char* name;
    void (*spoil)(CImageBuilder&);
    const char* error;
};

class MergedDiskRefusal : public MergedDisk, public testing::WithParamInterface<CRefusal> {};

TEST_P(MergedDiskRefusal, NamesTheReason) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    GetParam().spoil(chain.Builder());
    EXPECT_EQ(Open(chain), nullptr);
    EXPECT_NE(m_error.find(std::string("0.vhdx\": ") + GetParam().error), std::string::npos)
        << m_error;
}

const CRefusal refusals[] = {
    {"NoContainer",
     [](CImageBuilder& disk) {
         disk.EditFileTypeIdentifier([](CFileTypeIdentifier& id) { id.signature = 1; });
     },
     "this is no VHDX disk: the file does not begin with \"vhdxfile\""},
    {"NoHeader",
     [](CImageBuilder& disk) { disk.EditHeaders([](CHeader& header) { header.checksum = 1; }); },
     "neither header of the file is valid (--no-replay shows the file as it stands)"},
    {"Log", [](CImageBuilder& disk) { disk.LogAt(logGuid, MiB, 1048576); },
     "the log cannot be replayed: it holds no valid sequence of entries"},
    {"BlockSize", [](CImageBuilder& disk) { disk.BlockSize(3 * MiB); },
     "no disk can have blocks of 3145728 bytes"},
    {"SmallBlocks", [](CImageBuilder& disk) { disk.BlockSize(4096).VirtualSize(MiB); },
     "no disk can have blocks of 4096 bytes"},
    {"SectorSize", [](CImageBuilder& disk) { disk.SectorSize(1024); },
     "no disk can have sectors of 1024 bytes"},
    {"NoParameters",
     [](CImageBuilder& disk) {
         disk.EditMetadata([](CMetadataTable& table) { table.Remove(NGuid::fileParameters); });
     },
     "the metadata have no file parameters that can be read"},
    {"TooLarge",
     [](CImageBuilder& disk) {
         disk.EditMetadata([](CMetadataTable& table) {
             Put64(table.Find(NGuid::virtualDiskSize).payload, 0, 64 * TiB + 512);
         });
     },
     "no disk can have 70368744178176 bytes"},
    {"Empty",
     [](CImageBuilder& disk) {
         disk.EditMetadata([](CMetadataTable& table) {
             Put64(table.Find(NGuid::virtualDiskSize).payload, 0, 0);
         });
     },
     "no disk can have 0 bytes"},
    {"Table", [](CImageBuilder& disk) { disk.PayloadBlock(1, 7, 4); },
     "the block allocation table is too short, cannot be read or has an impossible entry"},
    {"NoLocator", [](CImageBuilder& disk) { disk.Differencing().NoParentLocator(); },
     "the disk has a parent, and its parent locator cannot be read"},
};

INSTANTIATE_TEST_SUITE_P(Reasons, MergedDiskRefusal, testing::ValuesIn(refusals),
                         [](const auto& refusal) { return refusal.param.name; });

TEST_F(MergedDisk, AFileThatIsNotThereIsNamed) {
    EXPECT_EQ(Open("absent.vhdx"), nullptr);
    EXPECT_NE(m_error.find("absent.vhdx\": there is no such file"), std::string::npos);
}

TEST_F(MergedDisk, PendingLogEntriesAreReplayed) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2);
    const std::uint64_t position = chain.Builder().BlockPosition(1);
    CBytes expected = chain.Content();
    PutBytes(expected, MiB + 4096, Pattern(9, 0, 4096));
    PutBytes(expected, MiB + 16384, CBytes(8192));
    chain.Builder()
        .LogAt(logGuid, MiB, 1048576)
        .Bytes(MiB, CLogEntryBuilder(1)
                        .Page(position + 4096, Pattern(9, 0, 4096))
                        .Zero(position + 16384, 8192)
                        .Bytes());
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_error;
    EXPECT_EQ(disk->ReplayedEntries(), 1u);
    CBytes bytes(expected.size());
    ASSERT_TRUE(CMergedReader(disk).Read(0, bytes));
    EXPECT_TRUE(bytes == expected);
    ExpectExtents(*disk, expected);
    const auto extents = ExtentsOf(*disk, MiB, MiB);
    ASSERT_EQ(extents.size(), 5u);
    EXPECT_EQ(extents[1].offset, MiB + 4096);
    EXPECT_EQ(extents[1].length, 4096u);
    EXPECT_TRUE(extents[1].overlaid);
    EXPECT_FALSE(extents[2].overlaid);

    CMergeOptions asItStands;
    asItStands.logMode = CReplayStream::asItStands;
    CMergedReader plain(Open("0.vhdx", asItStands));
    ASSERT_TRUE(plain.Read(0, bytes));
    EXPECT_TRUE(bytes == chain.Content());
}

TEST_F(MergedDisk, ABlockThatOnlyTheLogMakesRoomForReadsAsZeros) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    CBytes table(4096);
    const std::uint64_t end = chain.Builder().BlockPosition(1) + MiB;
    Put64(table, 8, chain.Builder().BlockPosition(1) | 6);
    Put64(table, 16, end | 6);
    chain.Builder()
        .FileSize(end)
        .LogAt(logGuid, MiB, 1048576)
        .Bytes(MiB, CLogEntryBuilder(1)
                        .Page(chain.Builder().BatPosition(), table)
                        .FileOffsets(end, end + MiB)
                        .Bytes());
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_error;
    CBytes bytes(chain.Content().size(), 0xEE);
    ASSERT_TRUE(CMergedReader(disk).Read(0, bytes));
    EXPECT_TRUE(bytes == chain.Content());
    ExpectExtents(*disk, chain.Content());
    const auto extents = ExtentsOf(*disk, 2 * MiB, MiB);
    ASSERT_EQ(extents.size(), 1u);
    EXPECT_TRUE(extents[0].overlaid);
}

TEST_F(MergedDisk, ThreeHundredFiles) {
    CChainModel chain;
    const auto shape = CDiskShape().Size(4 * MiB);
    chain.AddDisk(shape).Present(0, 1);
    for (std::uint64_t i = 1; i < 300; ++i) {
        chain.AddDisk(shape);
        if (i % 10 == 0) {
            chain.Partial(i % 4, i, {i, i + 1, 1000 + i});
        }
    }
    ExpectContent(chain);
    EXPECT_EQ(Open("299.avhdx")->Layers().size(), 300u);
}

TEST_F(MergedDisk, SeveralThreadsReadAtOnce) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1).Present(3, 2);
    chain.AddDisk(CDiskShape()).Partial(3, 3, {5, 6, 7}).Present(5, 4);
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_error;
    std::vector<std::thread> threads;
    std::vector<int> right(4);
    for (std::size_t i = 0; i < right.size(); ++i) {
        threads.emplace_back([&, i] {
            CMergedReader reader(disk);
            CBytes bytes(chain.Content().size());
            right[i] = reader.Read(0, bytes) && bytes == chain.Content();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, std::vector<int>(4, 1));
}

TEST_F(MergedDisk, TheCallbackCanEndTheEnumeration) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(3, 1);
    CMergedReader reader(Open(chain));
    int calls = 0;
    EXPECT_TRUE(reader.Extents(0, 8 * MiB, [&](const CExtent&) { return ++calls < 2; }));
    EXPECT_EQ(calls, 2);
}

TEST_F(MergedDisk, AnEmptyDiskOf64TebibytesIsOneHole) {
    CImageBuilder().BlockSize(256 * MiB).VirtualSize(64 * TiB).Build().WriteTo(m_folder / "0.vhdx");
    const auto disk = Open("0.vhdx");
    ASSERT_NE(disk, nullptr) << m_error;
    const auto extents = ExtentsOf(*disk, 0, 64 * TiB);
    ASSERT_EQ(extents.size(), 1u);
    EXPECT_EQ(extents[0].kind, CExtent::hole);
    EXPECT_TRUE(disk->Newest().blocks.Runs().empty());
}

/// The test's name shows the seed.
class RandomChain : public MergedDisk, public testing::WithParamInterface<unsigned> {};

TEST_P(RandomChain, ReadsAsTheModel) {
    ExpectContent(CRandomChain(GetParam()).Make());
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomChain, testing::Range(0u, 40u));

}  // namespace
}  // namespace NTest
