// Reading and mapping the disk of a chain, against the bytes of the chain's model.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <fstream>
#include <string>
#include <vector>

#include "tests/support/chain_model.h"
#include "tests/support/file_content.h"
#include "tests/support/random_chain.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CJson = nlohmann::json;

class Merged : public testing::Test {
protected:
    Merged() {
        m_chain.AddDisk(CDiskShape().Size(4 * MiB)).Present(0, 1).Present(1, 2);
        m_chain.AddDisk(CDiskShape().Size(4 * MiB)).Partial(0, 3, {2, 3, 2047});
        m_chain.Empty(1, CChainModel::zero, false).Present(2, 4);
        m_chain.WriteTo(m_folder.Path());
    }

    std::string Run(const std::vector<std::string>& arguments) const {
        const CChildResult result = RunVhdxIn(m_folder.Path(), arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
        return result.output;
    }

    std::string Content(std::uint64_t offset, std::uint64_t length) const {
        const CBytes& bytes = m_chain.Content();
        return std::string(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                           bytes.begin() + static_cast<std::ptrdiff_t>(offset + length));
    }

    CTemporaryFolder m_folder;
    CChainModel m_chain;
};

// The comparisons do not print both sides: they are megabytes.

TEST_F(Merged, ReadGivesWhatTheGuestSees) {
    EXPECT_TRUE(Run({"read", "1.avhdx", "--merged", "--offset", "0", "--length", "4M"}) ==
                Content(0, 4 * MiB));
}

TEST_F(Merged, ReadGivesRangesAtAnyPlace) {
    struct CRange {
        std::uint64_t offset;
        std::uint64_t length;
    };
    for (const CRange& range : {CRange{0, 0}, CRange{1023, 514}, CRange{MiB - 513, 1026},
                                CRange{MiB + 1, 2 * MiB}, CRange{4 * MiB - 1, 1}}) {
        EXPECT_TRUE(Run({"read", ".", "--disk", "1.avhdx", "--merged", "--offset",
                         std::to_string(range.offset), "--length", std::to_string(range.length)}) ==
                    Content(range.offset, range.length))
            << range.offset << " " << range.length;
    }
}

TEST_F(Merged, IsWhatIsReadUnlessToldOtherwise) {
    EXPECT_TRUE(Run({"read", "1.avhdx"}) == Content(0, 4 * MiB));
    EXPECT_TRUE(Run({"read", ".", "--disk", "0.vhdx", "--offset", "1M"}) ==
                Run({"read", "0.vhdx", "--file-only", "--offset", "1M"}));
}

TEST_F(Merged, AlsoOneFileAloneIsChosenInAFolder) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"map"}, {"map", "--sectors"}, {"read", "--file-only"}}) {
        std::vector<std::string> byPath = arguments;
        byPath.insert(byPath.begin() + 1, "1.avhdx");
        std::vector<std::string> byName = arguments;
        byName.insert(byName.begin() + 1, {".", "--disk", "1.avhdx"});
        EXPECT_TRUE(Run(byName) == Run(byPath)) << arguments[0];
    }
}

TEST_F(Merged, ReadNeverReplacesAParent) {
    const CChildResult result = RunVhdxIn(
        m_folder.Path(),
        {"read", "1.avhdx", "--merged", "--offset", "0", "--length", "4M", "-o", "0.vhdx"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: 0.vhdx: this is the disk file that is read\n");
}

TEST_F(Merged, MapTellsWhichFileHoldsEachRun) {
    const CJson map = CJson::parse(Run({"map", "1.avhdx", "--merged", "--json"}));
    const std::uint64_t base = 4 * MiB;  // where the first block lies in both files
    const CJson expected = CJson::array({
        {{"start", 0},
         {"length", 1024},
         {"kind", "data"},
         {"file", "0.vhdx"},
         {"offset", base},
         {"in_log", false}},
        {{"start", 1024},
         {"length", 1024},
         {"kind", "data"},
         {"file", "1.avhdx"},
         {"offset", base + 1024},
         {"in_log", false}},
        {{"start", 2048},
         {"length", MiB - 2560},
         {"kind", "data"},
         {"file", "0.vhdx"},
         {"offset", base + 2048},
         {"in_log", false}},
        {{"start", MiB - 512},
         {"length", 512},
         {"kind", "data"},
         {"file", "1.avhdx"},
         {"offset", base + MiB - 512},
         {"in_log", false}},
        {{"start", MiB},
         {"length", MiB},
         {"kind", "zeros"},
         {"file", "1.avhdx"},
         {"offset", nullptr},
         {"in_log", false}},
        {{"start", 2 * MiB},
         {"length", MiB},
         {"kind", "data"},
         {"file", "1.avhdx"},
         {"offset", base + MiB},
         {"in_log", false}},
        {{"start", 3 * MiB},
         {"length", MiB},
         {"kind", "hole"},
         {"file", nullptr},
         {"offset", nullptr},
         {"in_log", false}},
    });
    EXPECT_EQ(map, expected) << map.dump(1);
}

TEST_F(Merged, MapOfSectorsTellsWhatTheFileItselfHolds) {
    std::filesystem::remove(m_folder / "0.vhdx");  // it is not needed
    EXPECT_EQ(Run({"map", "1.avhdx", "--sectors"}),
              "            start             length              kind          file offset\n"
              "                0               1024       1 KiB  parent                  -\n"
              "             1024               1024       1 KiB  data              4195328\n"
              "             2048            1046016  1021.5 KiB  parent                  -\n"
              "          1048064                512   512 bytes  data              5242368\n"
              "          1048576            1048576       1 MiB  zeros                   -\n"
              "          2097152            1048576       1 MiB  data              5242880\n"
              "          3145728            1048576       1 MiB  parent                  -\n");
}

/// Every command that reads merged data, on 1.avhdx.
std::vector<std::vector<std::string>> MergingCommands() {
    return {{"read", "1.avhdx", "--merged", "--offset", "0", "--length", "4K"},
            {"map", "1.avhdx", "--merged"},
            {"map", "1.avhdx", "--merged", "--json"},
            {"map", "1.avhdx", "--merged", "--svg", "disk.svg"},
            {"export", "1.avhdx", "-o", "disk.raw"},
            {"export", "1.avhdx", "--update", "old.raw", "--ranges", "ranges.txt"}};
}

class MergedDoubtful : public Merged {
protected:
    MergedDoubtful() {
        std::ofstream(m_folder / "old.raw") << "old";
        std::ofstream(m_folder / "ranges.txt") << "0,512\n";
    }

    /// Each command refuses the chain for this reason, and with the option only warns of it.
    void ExpectRefused(const std::string& reason) const {
        for (std::vector<std::string> command : MergingCommands()) {
            SCOPED_TRACE(testing::PrintToString(command));
            const CChildResult refused = RunVhdxIn(m_folder.Path(), command);
            EXPECT_EQ(refused.status, 1);
            EXPECT_EQ(refused.output, "");
            EXPECT_EQ(refused.errors, "vhdx: 1.avhdx: " + reason +
                                          "; --accept-changed-parent reads it all the same\n");
            command.emplace_back("--accept-changed-parent");
            const CChildResult accepted = RunVhdxIn(m_folder.Path(), command);
            EXPECT_EQ(accepted.status, 0);
            EXPECT_EQ(accepted.errors, "vhdx: warning: \"1.avhdx\": " + reason + "\n");
        }
    }
};

TEST_F(MergedDoubtful, AParentThatWasChangedIsRefusedUnlessItIsAccepted) {
    CImageBuilder()
        .VirtualSize(4 * MiB)
        .DataWriteGuid(NGuid::unknown)
        .Build()
        .WriteTo(m_folder / "0.vhdx");
    ExpectRefused(
        "the parent \"0.vhdx\" was changed or replaced since the child was made: its "
        "DataWriteGuid is not the child's parent linkage");
}

TEST_F(MergedDoubtful, AParentThatNobodyCanTellIsRefusedUnlessItIsAccepted) {
    m_chain.Builder().ParentLocator({{u"relative_path", u".\\0.vhdx"}});
    m_chain.WriteTo(m_folder.Path());
    ExpectRefused(
        "the parent locator has no valid parent_linkage: nobody can tell whether a parent is the "
        "right one");
}

TEST_F(MergedDoubtful, WhatIsAcceptedIsReadWithItsParent) {
    m_chain.Builder().ParentLocator({{u"relative_path", u".\\0.vhdx"}});
    m_chain.WriteTo(m_folder.Path());
    const CChildResult result =
        RunVhdxIn(m_folder.Path(), {"read", "1.avhdx", "--merged", "--offset", "0", "--length",
                                    "4M", "--accept-changed-parent"});
    EXPECT_TRUE(result.output == Content(0, 4 * MiB));
}

TEST_F(Merged, MapWantsOneQuestionAtATime) {
    const CChildResult result =
        RunVhdxIn(m_folder.Path(), {"map", "1.avhdx", "--sectors", "--merged"});
    EXPECT_EQ(result.status, 2);
}

class RandomView : public testing::TestWithParam<unsigned> {
protected:
    RandomView() { m_chain.WriteTo(m_folder.Path()); }

    std::string Read(const std::vector<std::string>& arguments) const {
        const CChildResult result = RunVhdxIn(m_folder.Path(), arguments);
        EXPECT_EQ(result.status, 0) << result.errors;
        return result.output;
    }

    /// Sector by sector what the disk's own file was made to hold, from its place in the file.
    std::string ContentOfFile(std::size_t disk) const {
        const std::string file = FileText(m_folder / CChainModel::Name(disk));
        const std::uint64_t sectorSize = m_chain.ShapeOf(disk).sectorSize;
        std::string content(m_chain.ShapeOf(disk).size, '\0');
        for (std::uint64_t at = 0; at < content.size(); at += sectorSize) {
            if (m_chain.Says(disk, at / sectorSize) == CChainModel::data) {
                content.replace(at, sectorSize, file, m_chain.Position(disk, at), sectorSize);
            }
        }
        return content;
    }

    CTemporaryFolder m_folder;
    CChainModel m_chain = CRandomChain(GetParam()).Make();
};

TEST_P(RandomView, OfTheGuestAndOfEachFileIsThatOfTheModel) {
    const CBytes& content = m_chain.Content();
    EXPECT_TRUE(Read({"read", CChainModel::Name(m_chain.Count() - 1)}) ==
                std::string(content.begin(), content.end()));
    for (std::size_t disk = 0; disk < m_chain.Count(); ++disk) {
        const std::string name = CChainModel::Name(disk);
        const std::string expected = ContentOfFile(disk);
        EXPECT_TRUE(Read({"read", name, "--file-only"}) == expected) << name;
        Read({"save", name, "model.xml"});
        EXPECT_TRUE(Read({"read", name, "--file-only", "--model", "model.xml"}) == expected)
            << name;
    }
}

/// The content of the base with the changes laid over it, each from its place in its file.
TEST_P(RandomView, OfTheChangesMakesTheNewestDiskOfTheBase) {
    std::string content = Read({"read", "0.vhdx"});
    content.resize(m_chain.Content().size());
    for (const CJson& change : CJson::parse(Read({"diff", ".", "--json"}))) {
        const std::uint64_t length = change["length"];
        std::string bytes(length, '\0');
        if (change["kind"] == "data") {
            std::ifstream file(m_folder / change["file"].get<std::string>(), std::ios::binary);
            file.seekg(change["offset"].get<std::streamoff>());
            file.read(bytes.data(), static_cast<std::streamsize>(length));
        }
        content.replace(change["start"].get<std::size_t>(), length, bytes);
    }
    EXPECT_TRUE(content == std::string(m_chain.Content().begin(), m_chain.Content().end()));
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomView, testing::Range(0u, 8u));

}  // namespace
}  // namespace NTest
