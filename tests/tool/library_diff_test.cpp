// vhdx diff --library: the library's own walk over a chain, as hosts of the library get it.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/temporary_folder.h"
#include "tests/tool/chain_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CJson = nlohmann::json;

CJson Record(const CJson& baseOffset, const CJson& file, const CJson& offset,
             std::uint64_t length) {
    return {{"base_offset", baseOffset}, {"file", file}, {"offset", offset}, {"length", length}};
}

class LibraryDiff : public testing::Test {
protected:
    LibraryDiff() { WriteChain(m_folder.Path()); }

    CChildResult Run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"diff", ".", "--library"});
        return RunVhdxIn(m_folder.Path(), arguments);
    }

    CJson Records(std::vector<std::string> arguments) const {
        arguments.push_back("--json");
        const CChildResult result = Run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, std::string("vhdx: ") + note);
        return CJson::parse(result.output);
    }

    void ExpectRefusal(const std::vector<std::string>& arguments, const std::string& line) const {
        const CChildResult result = Run(arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "vhdx: " + line + "\n");
    }

    static constexpr const char* note =
        "the library's own answers: offsets are those of the base disk's file, sector bitmaps are "
        "read most significant bit first, logs are left out\n";
    CTemporaryFolder m_folder;
    CImageBuilder m_base = ChainBase();
    CImageBuilder m_first = ChainFirst();
    CImageBuilder m_second = ChainSecond();
};

TEST_F(LibraryDiff, SaysFirstThatItIsTheLibrarys) {
    const std::string text = Run({}).output;
    EXPECT_EQ(text.substr(0, std::string(note).size()), note);
    EXPECT_EQ(Run({}).errors, "");
}

TEST_F(LibraryDiff, ReadsBitmapsMostSignificantBitFirst) {
    ChildDisk('1', '0', u"disk.vhdx")
        .AllocateSectorBitmap(0, CBytes{0x01})
        .AllocatePartialData(0, 32)
        .Build()
        .WriteTo(m_folder / "first.avhdx");
    const CJson records = Records({});
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[2]["base_offset"], m_base.BlockPosition(0) + 7 * 512);
}

TEST_F(LibraryDiff, ListsWhatEachCheckpointHoldsNewestFirst) {
    EXPECT_EQ(
        Records({}),
        CJson::array(
            {Record(m_base.BlockPosition(5) + 4096, "./second.avhdx",
                    m_second.BlockPosition(5) + 4096, 8192),
             Record(nullptr, "./second.avhdx", m_second.BlockPosition(6), MiB),
             Record(m_base.BlockPosition(1), "./first.avhdx", m_first.BlockPosition(1), MiB),
             Record(m_base.BlockPosition(5), "./first.avhdx", m_first.BlockPosition(5), 8192)}));
}

TEST_F(LibraryDiff, TellsOfEachSectorOfARangeWhichCheckpointHoldsIt) {
    const std::uint64_t block = m_base.BlockPosition(5);
    const std::uint64_t place = block + 4096 - 512;
    EXPECT_EQ(Records({"--offset", std::to_string(place), "--length", "1000"}),
              CJson::array(
                  {Record(place, "./first.avhdx", m_first.BlockPosition(5) + 4096 - 512, 512),
                   Record(place + 512, "./second.avhdx", m_second.BlockPosition(5) + 4096, 488)}));
}

TEST_F(LibraryDiff, TellsThatNoCheckpointHoldsASector) {
    const std::uint64_t place = m_base.BlockPosition(0);
    EXPECT_EQ(Records({"--offset", std::to_string(place), "--length", "512"}),
              CJson::array({Record(place, nullptr, nullptr, 512)}));
}

TEST_F(LibraryDiff, HasNoAnswerOutsideTheBlocksOfTheBase) {
    EXPECT_EQ(Records({"--offset", "0", "--length", "512"}), CJson::array());
    EXPECT_EQ(Records({"--offset", "1T", "--length", "512"}), CJson::array());
}

TEST_F(LibraryDiff, IsOfTheOnlyChainOrOfTheOneWhoseBaseIsNamed) {
    ChainBase().Build().WriteTo(m_folder / "another.vhdx");
    ExpectRefusal({},
                  ".: the folder has 2 chains; choose one with --base: another.vhdx, disk.vhdx");
    ExpectRefusal({"--base", "first.avhdx"},
                  ".: no chain has the base first.avhdx; there are: another.vhdx, disk.vhdx");
    EXPECT_EQ(Records({"--base", "another.vhdx"}), CJson::array());
    EXPECT_EQ(Records({"--base", "disk.vhdx"}).size(), 4U);
}

TEST_F(LibraryDiff, IsRefusedWhereTheLinkingWouldNeverEnd) {
    ChildDisk('3', '0', u"disk.vhdx").Build().WriteTo(m_folder / "other.avhdx");
    ExpectRefusal(
        {},
        ".: the library cannot link these disks: \"first.avhdx\" and \"other.avhdx\" have "
        "one parent, \"disk.vhdx\": the library attaches one child to each disk");
}

TEST_F(LibraryDiff, NamesTheFileWhoseTableIsBad) {
    ChainFirst().BatLength(8).Build().WriteTo(m_folder / "first.avhdx");
    ExpectRefusal(
        {},
        "./first.avhdx: the block allocation table is too short, cannot be read or has an "
        "impossible entry");
}

TEST_F(LibraryDiff, IsRefusedWhereABitmapLiesPastTheEndOfTheFile) {
    ChildDisk('1', '0', u"disk.vhdx")
        .SectorBitmapBlock(0, 6, 1000)
        .Build()
        .WriteTo(m_folder / "first.avhdx");
    ExpectRefusal({},
                  ".: the chain cannot be prepared: a sector bitmap cannot be read, or two blocks "
                  "of the base lie at one place");
}

TEST_F(LibraryDiff, TakesARangeOfAtMostAGibibyteAtOnce) {
    EXPECT_EQ(Records({"--offset", "4G", "--length", "1G"}), CJson::array());
    ExpectRefusal({"--offset", "0", "--length", "1073741825"},
                  ".: a range of more than 1 GiB has too many sectors; ask for parts of it");
}

TEST_F(LibraryDiff, NeedsBothEndsOfARange) {
    EXPECT_EQ(Run({"--offset", "0"}).status, 2);
    EXPECT_EQ(Run({"--length", "1"}).status, 2);
    EXPECT_EQ(Run({"--disk", "second.avhdx"}).status, 2);
}

}  // namespace
}  // namespace NTest
