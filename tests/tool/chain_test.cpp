#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/temporary_folder.h"
#include "tests/tool/chain_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CJson = nlohmann::json;

class Chain : public testing::Test {
protected:
    void Add(const std::filesystem::path& name, const CImageBuilder& disk) const {
        disk.Build().WriteTo(m_folder / name);
    }

    CChildResult Run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "chain");
        return RunVhdxIn(m_folder.Path(), arguments);
    }

    void ExpectRefusal(const std::string& reason) const {
        for (const bool json : {false, true}) {
            const CChildResult result = json ? Run({".", "--json"}) : Run({"."});
            EXPECT_FALSE(result.timedOut);
            EXPECT_EQ(result.status, 1);
            EXPECT_EQ(result.errors,
                      "vhdx: .: the library cannot link these disks: " + reason + "\n");
            EXPECT_EQ(result.output.empty(), json) << result.output;
        }
    }

    CTemporaryFolder m_folder;
};

TEST_F(Chain, IsTheBaseWithItsSnapshotsNewestFirst) {
    WriteChain(m_folder.Path());
    Add("another.vhdx", ChainBase());
    const CChildResult result = Run({m_folder.Path().string(), "--json"});
    EXPECT_EQ(result.status, 0) << result.errors;
    const auto path = [this](const char* name) { return (m_folder / name).generic_string(); };
    EXPECT_EQ(CJson::parse(result.output),
              CJson({{{"base", path("another.vhdx")}, {"snapshots", CJson::array()}},
                     {{"base", path("disk.vhdx")},
                      {"snapshots", {path("second.avhdx"), path("first.avhdx")}}}}));
}

TEST_F(Chain, IsDrawnAsATree) {
    WriteChain(m_folder.Path());
    EXPECT_EQ(Run({"."}).output,
              "disk.vhdx  8 MiB\n"
              "└── first.avhdx  8 MiB\n"
              "    └── second.avhdx  8 MiB\n"
              "\n"
              "chain of disk.vhdx, 3 disks: the library links it\n");
}

TEST_F(Chain, TakesFoldersWithASeparatorAtTheirEnd) {
    WriteChain(m_folder.Path());
    EXPECT_EQ(CJson::parse(Run({"./", "--json"}).output)[0]["base"], "./disk.vhdx");
}

TEST_F(Chain, OfSeveralChildrenIsDrawnAndRefusedByName) {
    WriteChain(m_folder.Path());
    Add("other.avhdx", ChildDisk('3', '0', u"disk.vhdx"));
    const std::string reason =
        "\"first.avhdx\" and \"other.avhdx\" have one parent, \"disk.vhdx\": the library attaches "
        "one child to each disk";
    ExpectRefusal(reason);
    EXPECT_EQ(Run({"."}).output,
              "disk.vhdx  8 MiB\n"
              "├── first.avhdx  8 MiB\n"
              "│   └── second.avhdx  8 MiB\n"
              "└── other.avhdx  8 MiB\n"
              "\n"
              "chain of disk.vhdx, 3 disks: the library cannot link it: " +
                  reason + "\n");
}

TEST_F(Chain, BesideOneThatCannotBeLinkedIsTold) {
    WriteChain(m_folder.Path());
    Add("a.vhdx", ChainBase());
    Add("other.avhdx", ChildDisk('3', '0', u"disk.vhdx"));
    EXPECT_NE(Run({"."}).output.find(
                  "chain of a.vhdx, 1 disk: the library could link it in a folder of its own\n"),
              std::string::npos);
}

TEST_F(Chain, ThatGoesInACircleIsDrawnOnceAndRefused) {
    Add("a.avhdx", ChildDisk('1', '2', u"b.avhdx"));
    Add("b.avhdx", ChildDisk('2', '1', u"a.avhdx"));
    ExpectRefusal(
        "\"a.avhdx\" has the parent \"b.avhdx\" has the parent \"a.avhdx\": they never reach a "
        "disk without parent");
    EXPECT_EQ(Run({"."}).output,
              "a.avhdx  8 MiB\n"
              "└── b.avhdx  8 MiB\n"
              "\n"
              "note: the parents lead in a circle: \"a.avhdx\" \"b.avhdx\" \"a.avhdx\"\n");
}

TEST_F(Chain, WithoutItsParentIsRefused) {
    Add("a.avhdx", ChildDisk('1', '0', u"gone.vhdx"));
    ExpectRefusal("\"a.avhdx\": its parent \"gone.vhdx\" is not in the folder");
}

TEST_F(Chain, OfAnEmptyFolderIsRefused) {
    const CChildResult result = Run({"."});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              "vhdx: .: the library cannot link these disks: the folder holds no disk\n");
}

TEST_F(Chain, WithAFileThatIsNoDiskIsRefused) {
    WriteChain(m_folder.Path());
    std::ofstream(m_folder / "text.vhdx") << std::string(1000, 'x');
    const CChildResult result = Run({"."});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.output.find("text.vhdx  cannot be read\n"), std::string::npos);
    EXPECT_NE(result.errors.find("\"text.vhdx\": "), std::string::npos) << result.errors;
}

TEST_F(Chain, NeedsAFolder) {
    Add("disk.vhdx", ChainBase());
    EXPECT_EQ(Run({"none"}).errors, "vhdx: none: there is no such folder\n");
    EXPECT_EQ(Run({"disk.vhdx"}).errors, "vhdx: disk.vhdx: this is not a folder\n");
    EXPECT_EQ(Run({}).status, 2);
}

#if !defined(_WIN32)
TEST_F(Chain, ShowsNoControlCharactersOfFileNames) {
    Add("d\x1B[31m\xFF.vhdx", ChainBase());
    EXPECT_EQ(Run({"."}).output,
              "d\\u{1B}[31m\\xFF.vhdx  8 MiB\n"
              "\n"
              "chain of d\\u{1B}[31m\\xFF.vhdx, 1 disk: the library links it\n");
    EXPECT_EQ(Run({".", "--json"}).output,
              "[\n  {\"base\": \"./d\\u001b[31m\\ufffd.vhdx\", \"snapshots\": []}\n]\n");
}
#endif

TEST_F(Chain, MayHaveNamesBeyondAscii) {
    const std::u8string base = u8"gr\u00F6\u00DFe.vhdx";
    Add(base, ChainBase());
    EXPECT_EQ(CJson::parse(Run({".", "--json"}).output)[0]["base"], "./gr\u00F6\u00DFe.vhdx");
}

}  // namespace
}  // namespace NTest
