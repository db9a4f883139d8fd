#include <algorithm>
#include <thread>

#include <gtest/gtest.h>

#include <vhdx_disk/reader.h>
#include <vhdx_disk/replayed_stream.h>

#include "tests/support/chain_model.h"
#include "tests/support/log_builder.h"
#include "tests/support/random_chain.h"
#include "tests/support/stop_at_every_call.h"
#include "tests/support/temporary_folder.h"
#include "vhdx_disk/chain/disk_parts.h"
#include "vhdx_disk/source/quoted.h"

namespace NTest {
namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CDiskOptions;
using NVHDXDisk::CExtent;
using NVHDXDisk::CFailure;
using NVHDXDisk::CFinding;
using NVHDXDisk::CReader;
using NVHDXDisk::CReplayedStream;
using NVHDXDisk::ELog;
using NVHDXDisk::Quoted;

class Disk : public testing::Test {
protected:
    std::shared_ptr<const CDisk> Open(const std::string& name, const CDiskOptions& options = {}) {
        m_failure = {};
        return CDisk::Open(m_folder / name, options, m_failure);
    }

    std::shared_ptr<const CDisk> Open(const CChainModel& chain) {
        chain.WriteTo(m_folder.Path());
        return Open(CChainModel::Name(chain.Count() - 1));
    }

    bool Read(CReader& reader, std::uint64_t offset, CBytes& bytes) {
        m_failure = {};
        return reader.Read(offset, bytes.data(), bytes.size(), m_failure);
    }

    bool Read(const std::shared_ptr<const CDisk>& disk, std::uint64_t offset, CBytes& bytes) {
        CReader reader(disk);
        return Read(reader, offset, bytes);
    }

    /// "file: text"
    static std::vector<std::string> Texts(const std::vector<CFinding>& findings) {
        std::vector<std::string> texts;
        for (const CFinding& finding : findings) {
            EXPECT_EQ(finding.place, "parent locator");
            texts.push_back(Quoted(finding.file) + ": " + finding.text);
        }
        return texts;
    }

    /// Opens the chain, reads it in one piece and compares it with the model.
    void ExpectContent(const CChainModel& chain) {
        const auto disk = Open(chain);
        ASSERT_NE(disk, nullptr) << m_failure.text;
        ASSERT_EQ(disk->Size(), chain.Content().size());
        EXPECT_EQ(Texts(disk->Findings()), std::vector<std::string>{});
        CReader reader(disk);
        CBytes bytes(chain.Content().size(), 0xEE);
        ASSERT_TRUE(Read(reader, 0, bytes)) << m_failure.text;
        EXPECT_TRUE(bytes == chain.Content());
        ExpectExtents(*disk, chain.Content());
    }

    /// Reads the chain whose parent was refused, with one finding.
    void ExpectAccepted(const CChainModel& chain, const std::string& finding,
                        const std::string& kind) {
        CDiskOptions accepting;
        accepting.acceptChangedParent = true;
        const auto disk = Open("1.avhdx", accepting);
        ASSERT_NE(disk, nullptr) << m_failure.text;
        EXPECT_EQ(Texts(disk->Findings()), std::vector<std::string>{finding});
        EXPECT_EQ(disk->Findings()[0].kind, kind);
        CBytes bytes(chain.Content().size());
        ASSERT_TRUE(Read(disk, 0, bytes));
        EXPECT_TRUE(bytes == chain.Content());
    }

    /// Extents cover the disk without gaps, cannot be joined, and lead to the right bytes.
    void ExpectExtents(const CDisk& disk, const CBytes& content) {
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
                return first.kind == next.kind && first.file == next.file &&
                       first.fromLog == next.fromLog &&
                       (first.kind != CExtent::data ||
                        first.position + first.length == next.position);
            });
        EXPECT_EQ(joinable, extents.end());
        CReader reader(std::shared_ptr<const CDisk>(std::shared_ptr<void>(), &disk));
        ExpectStopAtEveryCall(extents, true, [&](const auto& report) {
            return reader.Extents(0, disk.Size(), report, m_failure);
        });
    }

    static std::vector<CExtent> ExtentsOf(const CDisk& disk, std::uint64_t offset,
                                          std::uint64_t length) {
        CReader reader(std::shared_ptr<const CDisk>(std::shared_ptr<void>(), &disk));
        std::vector<CExtent> extents;
        CFailure failure;
        EXPECT_TRUE(reader.Extents(
            offset, length,
            [&](const CExtent& extent) {
                extents.push_back(extent);
                return true;
            },
            failure))
            << failure.text;
        return extents;
    }

    /// The bytes that an extent promises, read from its file without any help.
    static CBytes BytesOf(const CDisk& disk, const CExtent& extent) {
        CBytes bytes(static_cast<std::size_t>(extent.length));
        if (extent.kind == CExtent::data) {
            CFailure failure;
            CReplayedStream stream(disk.Files()[extent.file].path,
                                   extent.fromLog ? ELog::replay : ELog::asItStands, failure);
            stream.seekg(static_cast<std::streamoff>(extent.position));
            stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            EXPECT_TRUE(stream.good());
        }
        return bytes;
    }

    CTemporaryFolder m_folder;
    CFailure m_failure;
};

TEST_F(Disk, ABaseDiskReadsItsBlocksAndZerosElsewhere) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 1).Present(6, 2);
    ExpectContent(chain);
}

TEST_F(Disk, TheNewestFileWins) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2).Present(3, 3);
    chain.AddDisk(CDiskShape()).Present(2, 4);
    chain.AddDisk(CDiskShape()).Present(3, 5).Present(4, 6);
    ExpectContent(chain);
}

TEST_F(Disk, AFileInTheMiddleShowsItsOwnState) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.AddDisk(CDiskShape()).Present(2, 2);
    const CBytes content = chain.Content();
    chain.AddDisk(CDiskShape()).Present(1, 3);
    chain.WriteTo(m_folder.Path());
    const auto disk = Open("1.avhdx");
    ASSERT_NE(disk, nullptr) << m_failure.text;
    CReader reader(disk);
    CBytes bytes(content.size());
    ASSERT_TRUE(Read(reader, 0, bytes));
    EXPECT_TRUE(bytes == content);
}

TEST_F(Disk, TheFirstSectorIsTheLowestBitOfTheFirstByte) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1);
    chain.AddDisk(CDiskShape()).Partial(0, 2, {0});
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_failure.text;
    const auto extents = ExtentsOf(*disk, 0, MiB);
    ASSERT_EQ(extents.size(), 2u);
    EXPECT_EQ(extents[0].file, 0u);
    EXPECT_EQ(extents[0].length, 512u);
    EXPECT_EQ(extents[1].file, 1u);
    ExpectContent(chain);
}

TEST_F(Disk, PartialBlocksTakeSectorsFromBothFiles) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1).Present(3, 2);
    chain.AddDisk(CDiskShape())
        .Partial(0, 3, {1, 2, 3, 63, 64, 65, 127, 128, 2047})
        .Partial(1, 4, {0, 5})
        .Partial(3, 5, {});
    ExpectContent(chain);
}

class DiskEmpty : public Disk,
                  public testing::WithParamInterface<std::tuple<CChainModel::EEmpty, bool>> {};

TEST_P(DiskEmpty, BlocksReadAsZerosAndHideTheParent) {
    const auto [state, withSpace] = GetParam();
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2).Empty(5, state, withSpace);
    chain.AddDisk(CDiskShape()).Empty(1, state, withSpace).Partial(2, 3, {7});
    ExpectContent(chain);
    const auto extents = ExtentsOf(*Open("1.avhdx"), MiB, MiB);
    ASSERT_EQ(extents.size(), 1u);
    EXPECT_EQ(extents[0].kind, CExtent::zeros);
    EXPECT_EQ(extents[0].file, 0u);
}

INSTANTIATE_TEST_SUITE_P(States, DiskEmpty,
                         testing::Combine(testing::Values(CChainModel::undefined, CChainModel::zero,
                                                          CChainModel::unmapped),
                                          testing::Bool()));

TEST_F(Disk, AGrownDiskReadsZerosPastASmallerParent) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(3 * MiB + 1536)).Present(2, 1).Present(3, 2);
    chain.AddDisk(CDiskShape().Size(8 * MiB)).Partial(3, 3, {0, 9});
    ExpectContent(chain);
}

TEST_F(Disk, WhatADiskBetweenCutsOffDoesNotComeBack) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(2, 1).Present(5, 2);
    chain.AddDisk(CDiskShape().Size(3 * MiB));
    chain.AddDisk(CDiskShape());
    ExpectContent(chain);
}

TEST_F(Disk, SectorsOf4096Bytes) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().SectorSize(4096)).Present(0, 1).Present(1, 2);
    chain.AddDisk(CDiskShape().SectorSize(4096)).Partial(1, 3, {0, 1, 100, 255});
    ExpectContent(chain);
}

TEST_F(Disk, BlockSizesDifferAlongTheChain) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().BlockSize(2 * MiB)).Present(0, 1).Present(2, 2);
    chain.AddDisk(CDiskShape().BlockSize(4 * MiB)).Partial(1, 3, {0, 4095, 4096, 8191});
    chain.AddDisk(CDiskShape()).Present(3, 4).Empty(5, CChainModel::zero, false);
    ExpectContent(chain);
}

TEST_F(Disk, SectorSizesThatDifferAreReadAndReported) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().SectorSize(4096)).Present(0, 1);
    chain.AddDisk(CDiskShape()).Partial(0, 3, {1, 9});
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_failure.text;
    ASSERT_EQ(disk->Findings().size(), 1u);
    EXPECT_NE(disk->Findings()[0].text.find("the sectors have 512 bytes"), std::string::npos);
    EXPECT_EQ(disk->Findings()[0].kind, "parent-sector-size");
    CReader reader(disk);
    CBytes bytes(chain.Content().size());
    ASSERT_TRUE(Read(reader, 0, bytes));
    EXPECT_TRUE(bytes == chain.Content());
}

TEST_F(Disk, ASecondChunkHasItsOwnBitmap) {
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
    ASSERT_NE(disk, nullptr) << m_failure.text;
    CReader reader(disk);
    CBytes bytes(1536);
    ASSERT_TRUE(Read(reader, block * MiB, bytes)) << m_failure.text;
    CBytes expected = Pattern(1, block * MiB, 1536);
    PutBytes(expected, 512, Pattern(2, block * MiB + 512, 512));
    EXPECT_TRUE(bytes == expected);
    EXPECT_EQ(ExtentsOf(*disk, 0, size).size(), 5u);
}

TEST_F(Disk, RangesReadAsTheWholeDoes) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1).Present(1, 2).Present(3, 3);
    chain.AddDisk(CDiskShape()).Partial(1, 4, {0, 1, 2, 900, 2047}).Present(4, 5);
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_failure.text;
    CReader reader(disk);
    std::mt19937_64 random(7);
    for (int i = 0; i < 300; ++i) {
        const std::uint64_t offset = random() % disk->Size();
        CBytes bytes(random() % std::min<std::uint64_t>(disk->Size() - offset, 3000) + 1);
        ASSERT_TRUE(Read(reader, offset, bytes)) << m_failure.text;
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(),
                               chain.Content().begin() + static_cast<std::ptrdiff_t>(offset)))
            << offset;
    }
}

TEST_F(Disk, ARangePastTheEndFails) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    CReader reader(Open(chain));
    CBytes bytes(2);
    EXPECT_TRUE(Read(reader, 8 * MiB - 2, bytes));
    EXPECT_FALSE(Read(reader, 8 * MiB - 1, bytes));
    EXPECT_EQ(m_failure.reason, "the range reaches past the end of the virtual disk");
    EXPECT_EQ(m_failure.kind, CFailure::outOfRange);
    EXPECT_FALSE(Read(reader, 0xFFFFFFFFFFFFFFFF, bytes));
    bytes.clear();
    EXPECT_TRUE(Read(reader, 8 * MiB, bytes));
    EXPECT_EQ(m_failure.text, "");
    EXPECT_EQ(m_failure.kind, CFailure::none);
}

TEST_F(Disk, AMissingBitmapMattersOnlyWhereABlockIsPartial) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1).Present(2, 2);
    chain.AddDisk(CDiskShape()).Present(1, 3);
    ExpectContent(chain);

    chain.Builder().PayloadBlock(2, 7, 4).FileSize(6 * MiB);
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_failure.text;
    CReader reader(disk);
    CBytes bytes(2 * MiB);
    EXPECT_TRUE(Read(reader, 0, bytes));
    EXPECT_FALSE(Read(reader, MiB + 5, bytes));
    EXPECT_EQ(m_failure.kind, CFailure::damaged);
    EXPECT_NE(m_failure.text.find("1.avhdx\": block 2 is partially present, and the sector bitmap "
                                  "of chunk 0 cannot be read"),
              std::string::npos)
        << m_failure.text;
    EXPECT_TRUE(Read(reader, 3 * MiB, bytes));
}

class DiskBadPlace : public Disk, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(DiskBadPlace, FailsWhereItIsReadAndNowhereElse) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.Builder().PayloadBlock(4, 6, GetParam());
    CReader reader(Open(chain));
    CBytes bytes(MiB);
    EXPECT_TRUE(Read(reader, MiB, bytes));
    EXPECT_FALSE(Read(reader, 4 * MiB, bytes));
    EXPECT_EQ(m_failure.kind, CFailure::damaged);
    EXPECT_NE(m_failure.text.find("0.vhdx\": block 4 claims a place that is not in the file"),
              std::string::npos);
    EXPECT_TRUE(Read(reader, 5 * MiB, bytes));
}

INSTANTIATE_TEST_SUITE_P(Places, DiskBadPlace,
                         testing::Values(0, 1000, 0xFFFFFFFFFFF, 0x80000000000));

TEST_F(Disk, TheLastBlockNeedsNoMoreThanTheDiskUses) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(2 * MiB + 512)).Present(2, 1);
    chain.Builder().FileSize(chain.Builder().BlockPosition(2) + 512);
    ExpectContent(chain);
}

TEST_F(Disk, AParentThatChangedIsRefusedUnlessItIsAccepted) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.Builder().DataWriteGuid(NGuid::unknown);
    chain.AddDisk(CDiskShape());
    EXPECT_EQ(Open(chain), nullptr);
    const std::string text = Quoted(m_folder / "1.avhdx") + ": the parent " +
                             Quoted(m_folder / "0.vhdx") +
                             " was changed or replaced since the child was made: its DataWriteGuid "
                             "is not the child's parent linkage";
    EXPECT_EQ(m_failure.text, text);
    EXPECT_EQ(m_failure.kind, CFailure::parentChanged);
    ExpectAccepted(chain, text, "parent-changed");
}

TEST_F(Disk, AParentThatNobodyCanTellIsRefusedUnlessItIsAccepted) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"parent_linkage", u"none"}, {u"relative_path", u".\\0.vhdx"}});
    EXPECT_EQ(Open(chain), nullptr);
    const std::string text = Quoted(m_folder / "1.avhdx") +
                             ": the parent locator has no valid parent_linkage: nobody can tell "
                             "whether a parent is the right one";
    EXPECT_EQ(m_failure.text, text);
    EXPECT_EQ(m_failure.kind, CFailure::parentChanged);
    ExpectAccepted(chain, text, "parent-linkage-missing");
}

TEST_F(Disk, ADamagedParentIsCalledDamagedAndNotChanged) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.Builder().EditHeaders([](CHeader& header) { header.checksum = 1; });
    chain.AddDisk(CDiskShape());
    EXPECT_EQ(Open(chain), nullptr);
    EXPECT_EQ(m_failure.text.find("changed"), std::string::npos) << m_failure.text;
    EXPECT_EQ(m_failure.kind, CFailure::logNotReplayed);
    EXPECT_NE(m_failure.text.find("neither header of the file is valid"), std::string::npos)
        << m_failure.text;
}

TEST_F(Disk, AFileAloneAsksForNoLinkage) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"relative_path", u".\\0.vhdx"}});
    chain.WriteTo(m_folder.Path());
    CDiskOptions alone;
    alone.withParents = false;
    EXPECT_NE(Open("1.avhdx", alone), nullptr) << m_failure.text;
}

TEST_F(Disk, TheSecondLinkageCountsToo) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"parent_linkage", u"{00000000-0000-0000-0000-000000000001}"},
                                   {u"parent_linkage2", CChainModel::LinkageText(0)},
                                   {u"relative_path", u".\\0.vhdx"}});
    ExpectContent(chain);
}

TEST_F(Disk, AMissingParentIsNamed) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.WriteTo(m_folder.Path());
    std::filesystem::remove(m_folder / "0.vhdx");
    EXPECT_EQ(Open("1.avhdx"), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::parentMissing);
    EXPECT_NE(m_failure.text.find("1.avhdx\": the parent \".\\0.vhdx\" is missing"),
              std::string::npos)
        << m_failure.text;
}

TEST_F(Disk, ARelativePathMayLeadThroughFolders) {
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
    ASSERT_NE(disk, nullptr) << m_failure.text;
    CBytes bytes(chain.Content().size());
    ASSERT_TRUE(Read(disk, 0, bytes));
    EXPECT_TRUE(bytes == chain.Content());
}

TEST_F(Disk, AParentThatMovedIntoTheChildsFolderIsFound) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"parent_linkage", CChainModel::LinkageText(0)},
                                   {u"relative_path", u"..\\elsewhere\\0.vhdx"}});
    ExpectContent(chain);
}

TEST_F(Disk, RecordedPathsAreFollowedOnRequestOnly) {
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
    CDiskOptions options;
    options.recordedPaths = true;
    EXPECT_NE(Open("1.avhdx", options), nullptr) << m_failure.text;
}

TEST_F(Disk, ACycleEnds) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"relative_path", u".\\2.avhdx"}});
    chain.AddDisk(CDiskShape());
    EXPECT_EQ(Open(chain), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::circle);
    EXPECT_NE(m_failure.text.find("the chain leads from "), std::string::npos) << m_failure.text;
}

TEST_F(Disk, ADiskThatIsItsOwnParentEnds) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    chain.AddDisk(CDiskShape());
    chain.Builder().ParentLocator({{u"relative_path", u".\\1.avhdx"}});
    EXPECT_EQ(Open(chain), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::circle);
    EXPECT_NE(m_failure.text.find("back to"), std::string::npos) << m_failure.text;
}

struct CRefusal {
    const char* name;
    void (*spoil)(CImageBuilder&);
    CFailure::EKind kind;
    const char* error;
};

class DiskRefusal : public Disk, public testing::WithParamInterface<CRefusal> {};

TEST_P(DiskRefusal, NamesTheReason) {
    CChainModel chain;
    chain.AddDisk(CDiskShape());
    GetParam().spoil(chain.Builder());
    EXPECT_EQ(Open(chain), nullptr);
    EXPECT_EQ(m_failure.kind, GetParam().kind);
    EXPECT_NE(m_failure.text.find(std::string("0.vhdx\": ") + GetParam().error), std::string::npos)
        << m_failure.text;
}

const CRefusal refusals[] = {
    {"NoContainer",
     [](CImageBuilder& disk) {
         disk.EditFileTypeIdentifier([](CFileTypeIdentifier& id) { id.signature = 1; });
     },
     CFailure::notADisk, "this is no VHDX disk: the file does not begin with \"vhdxfile\""},
    {"NoHeader",
     [](CImageBuilder& disk) { disk.EditHeaders([](CHeader& header) { header.checksum = 1; }); },
     CFailure::logNotReplayed, "neither header of the file is valid"},
    {"Log", [](CImageBuilder& disk) { disk.LogAt(logGuid, MiB, 1048576); },
     CFailure::logNotReplayed, "the log cannot be replayed: it holds no valid sequence of entries"},
    {"BlockSize", [](CImageBuilder& disk) { disk.BlockSize(3 * MiB); }, CFailure::damaged,
     "no disk can have blocks of 3145728 bytes"},
    {"SmallBlocks", [](CImageBuilder& disk) { disk.BlockSize(4096).VirtualSize(MiB); },
     CFailure::damaged, "no disk can have blocks of 4096 bytes"},
    {"SectorSize", [](CImageBuilder& disk) { disk.SectorSize(1024); }, CFailure::damaged,
     "no disk can have sectors of 1024 bytes"},
    {"NoParameters",
     [](CImageBuilder& disk) {
         disk.EditMetadata([](CMetadataTable& table) { table.Remove(NGuid::fileParameters); });
     },
     CFailure::damaged, "the metadata have no file parameters that can be read"},
    {"TooLarge",
     [](CImageBuilder& disk) {
         disk.EditMetadata([](CMetadataTable& table) {
             Put64(table.Find(NGuid::virtualDiskSize).payload, 0, 64 * TiB + 512);
         });
     },
     CFailure::damaged, "no disk can have 70368744178176 bytes"},
    {"Empty",
     [](CImageBuilder& disk) {
         disk.EditMetadata([](CMetadataTable& table) {
             Put64(table.Find(NGuid::virtualDiskSize).payload, 0, 0);
         });
     },
     CFailure::damaged, "no disk can have 0 bytes"},
    {"Table", [](CImageBuilder& disk) { disk.PayloadBlock(1, 7, 4); }, CFailure::damaged,
     "the block allocation table is too short, cannot be read or has an impossible entry"},
    {"NoLocator", [](CImageBuilder& disk) { disk.Differencing().NoParentLocator(); },
     CFailure::damaged, "the disk has a parent, and its parent locator cannot be read"},
};

INSTANTIATE_TEST_SUITE_P(Reasons, DiskRefusal, testing::ValuesIn(refusals),
                         [](const auto& refusal) { return refusal.param.name; });

TEST_F(Disk, AFileThatIsNotThereIsNamed) {
    EXPECT_EQ(Open("absent.vhdx"), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::notFound);
    EXPECT_NE(m_failure.text.find("absent.vhdx\": there is no such file"), std::string::npos);
}

TEST_F(Disk, PendingLogEntriesAreReplayed) {
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
    ASSERT_NE(disk, nullptr) << m_failure.text;
    EXPECT_EQ(disk->ReplayedEntries(), 1u);
    CBytes bytes(expected.size());
    ASSERT_TRUE(Read(disk, 0, bytes));
    EXPECT_TRUE(bytes == expected);
    ExpectExtents(*disk, expected);
    const auto extents = ExtentsOf(*disk, MiB, MiB);
    ASSERT_EQ(extents.size(), 5u);
    EXPECT_EQ(extents[1].offset, MiB + 4096);
    EXPECT_EQ(extents[1].length, 4096u);
    EXPECT_TRUE(extents[1].fromLog);
    EXPECT_FALSE(extents[2].fromLog);

    CDiskOptions asItStands;
    asItStands.log = ELog::asItStands;
    CReader plain(Open("0.vhdx", asItStands));
    ASSERT_TRUE(Read(plain, 0, bytes));
    EXPECT_TRUE(bytes == chain.Content());
}

TEST_F(Disk, ABlockThatOnlyTheLogMakesRoomForReadsAsZeros) {
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
    ASSERT_NE(disk, nullptr) << m_failure.text;
    CBytes bytes(chain.Content().size(), 0xEE);
    ASSERT_TRUE(Read(disk, 0, bytes));
    EXPECT_TRUE(bytes == chain.Content());
    ExpectExtents(*disk, chain.Content());
    const auto extents = ExtentsOf(*disk, 2 * MiB, MiB);
    ASSERT_EQ(extents.size(), 1u);
    EXPECT_TRUE(extents[0].fromLog);
}

TEST_F(Disk, ThreeHundredFiles) {
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
    EXPECT_EQ(Open("299.avhdx")->Files().size(), 300u);
}

TEST_F(Disk, SeveralThreadsReadAtOnce) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1).Present(3, 2);
    chain.AddDisk(CDiskShape()).Partial(3, 3, {5, 6, 7}).Present(5, 4);
    const auto disk = Open(chain);
    ASSERT_NE(disk, nullptr) << m_failure.text;
    std::vector<std::thread> threads;
    std::vector<int> right(4);
    for (std::size_t i = 0; i < right.size(); ++i) {
        threads.emplace_back([&, i] {
            CReader reader(disk);
            CBytes bytes(chain.Content().size());
            CFailure failure;
            right[i] =
                reader.Read(0, bytes.data(), bytes.size(), failure) && bytes == chain.Content();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, std::vector<int>(4, 1));
}

TEST_F(Disk, TheCallbackCanEndTheEnumeration) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(3, 1);
    CReader reader(Open(chain));
    int calls = 0;
    EXPECT_TRUE(reader.Extents(
        0, 8 * MiB, [&](const CExtent&) { return ++calls < 2; }, m_failure));
    EXPECT_EQ(calls, 2);
}

TEST_F(Disk, AnEmptyDiskOf64TebibytesIsOneHole) {
    CImageBuilder().BlockSize(256 * MiB).VirtualSize(64 * TiB).Build().WriteTo(m_folder / "0.vhdx");
    const auto disk = Open("0.vhdx");
    ASSERT_NE(disk, nullptr) << m_failure.text;
    const auto extents = ExtentsOf(*disk, 0, 64 * TiB);
    ASSERT_EQ(extents.size(), 1u);
    EXPECT_EQ(extents[0].kind, CExtent::hole);
    EXPECT_TRUE(NVHDXDisk::CDiskParts::Of(*disk).chain.front().blocks.Runs().empty());
}

/// The test's name shows the seed.
class RandomChain : public Disk, public testing::WithParamInterface<unsigned> {};

TEST_P(RandomChain, ReadsAsTheModel) {
    ExpectContent(CRandomChain(GetParam()).Make());
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomChain, testing::Range(0u, 40u));

}  // namespace
}  // namespace NTest
