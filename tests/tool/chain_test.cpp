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

    CJson Json(int status = 0, const std::string& errors = "") const {
        const CChildResult result = Run({".", "--json"});
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.errors, errors);
        return CJson::parse(result.output);
    }

    void ExpectText(const std::string& text, int status = 0, const std::string& errors = "") const {
        const CChildResult result = Run({"."});
        EXPECT_FALSE(result.timedOut);
        EXPECT_EQ(result.output, text);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.errors, errors);
    }

    CTemporaryFolder m_folder;
};

TEST_F(Chain, IsTheBaseWithItsSnapshotsNewestFirst) {
    WriteChain(m_folder.Path());
    Add("another.vhdx", ChainBase());
    const CChildResult result = Run({m_folder.Path().string(), "--json"});
    EXPECT_EQ(result.status, 0) << result.errors;
    const auto path = [this](const char* name) { return (m_folder / name).generic_string(); };
    EXPECT_EQ(CJson::parse(result.output)["chains"],
              CJson::array({{{"base", path("another.vhdx")}, {"snapshots", CJson::array()}},
                            {{"base", path("disk.vhdx")},
                             {"snapshots", {path("second.avhdx"), path("first.avhdx")}}}}));
}

TEST_F(Chain, OfDisksNamesTheParentOfEach) {
    WriteChain(m_folder.Path());
    const auto disk = [](const char* file, const CJson& parent) {
        return CJson({{"file", file},
                      {"size", 8 * MiB},
                      {"parent", parent},
                      {"problem", nullptr},
                      {"findings", CJson::array()}});
    };
    const CJson json = Json();
    EXPECT_EQ(json["disks"],
              CJson::array({disk("./disk.vhdx", nullptr), disk("./first.avhdx", "./disk.vhdx"),
                            disk("./second.avhdx", "./first.avhdx")}));
    EXPECT_EQ(json["library"],
              CJson({{"links", true}, {"reasons", CJson::array()}, {"open_files", 4}}));
}

TEST_F(Chain, IsDrawnAsATree) {
    WriteChain(m_folder.Path());
    ExpectText(
        "disk.vhdx  8 MiB\n"
        "└── first.avhdx  8 MiB\n"
        "    └── second.avhdx  8 MiB\n"
        "\n"
        "chain of disk.vhdx, 3 disks: the library links it\n");
}

TEST_F(Chain, TakesFoldersWithASeparatorAtTheirEnd) {
    WriteChain(m_folder.Path());
    EXPECT_EQ(CJson::parse(Run({"./", "--json"}).output)["disks"][0]["file"], "./disk.vhdx");
}

TEST_F(Chain, OfSeveralChildrenIsATreeWithNothingWrong) {
    WriteChain(m_folder.Path());
    Add("other.avhdx", ChildDisk('3', '0', u"disk.vhdx"));
    const std::string reason =
        "\"first.avhdx\" and \"other.avhdx\" have one parent, \"disk.vhdx\": the library attaches "
        "one child to each disk";
    ExpectText(
        "disk.vhdx  8 MiB\n"
        "├── first.avhdx  8 MiB\n"
        "│   └── second.avhdx  8 MiB\n"
        "└── other.avhdx  8 MiB\n"
        "\n"
        "note: the library cannot link this folder: " +
        reason + "\n");
    const CJson json = Json();
    EXPECT_EQ(
        json["disks"][0]["findings"],
        CJson::array(
            {{{"kind", "several_children"},
              {"text", "\"disk.vhdx\" is the parent of \"first.avhdx\" and \"other.avhdx\""}}}));
    EXPECT_EQ(json["disks"][2]["file"], "./other.avhdx");
    EXPECT_EQ(json["disks"][2]["parent"], "./disk.vhdx");
    EXPECT_EQ(json["disks"][2]["findings"], CJson::array());
    EXPECT_EQ(json["chains"], CJson::array());
    EXPECT_EQ(json["library"],
              CJson({{"links", false}, {"reasons", CJson::array({reason})}, {"open_files", 5}}));
}

TEST_F(Chain, BesideOneThatCannotBeLinkedIsTold) {
    WriteChain(m_folder.Path());
    Add("a.vhdx", ChainBase());
    Add("other.avhdx", ChildDisk('3', '0', u"disk.vhdx"));
    EXPECT_NE(Run({"."}).output.find(
                  "chain of a.vhdx, 1 disk: the library could link it in a folder of its own\n"),
              std::string::npos);
    EXPECT_EQ(Json()["chains"],
              CJson::array({{{"base", "./a.vhdx"}, {"snapshots", CJson::array()}}}));
}

TEST_F(Chain, ThatGoesInACircleIsDrawnOnce) {
    Add("a.avhdx", ChildDisk('1', '2', u"b.avhdx"));
    Add("b.avhdx", ChildDisk('2', '1', u"a.avhdx"));
    const std::string circle = "the parents lead in a circle: \"a.avhdx\" \"b.avhdx\" \"a.avhdx\"";
    const std::string wrong = "vhdx: .: something is wrong with \"a.avhdx\", \"b.avhdx\"\n";
    ExpectText(
        "a.avhdx  8 MiB\n"
        "└── b.avhdx  8 MiB\n"
        "\n"
        "note: " +
            circle +
            "\n"
            "note: the library cannot link this folder: \"a.avhdx\" has the parent \"b.avhdx\" has "
            "the parent \"a.avhdx\": they never reach a disk without parent\n",
        1, wrong);
    const CJson json = Json(1, wrong);
    for (const CJson& disk : json["disks"]) {
        EXPECT_EQ(disk["findings"], CJson::array({{{"kind", "circle"}, {"text", circle}}}));
    }
    EXPECT_EQ(json["chains"], CJson::array());
}

TEST_F(Chain, WithoutItsParentIsWrong) {
    Add("a.avhdx", ChildDisk('1', '0', u"gone.vhdx"));
    Add("b.vhdx", ChainBase());
    const std::string wrong = "vhdx: .: something is wrong with \"a.avhdx\"\n";
    const std::string missing = "\"a.avhdx\": the parent \".\\gone.vhdx\" is missing";
    ExpectText(
        "a.avhdx  8 MiB\n"
        "b.vhdx  8 MiB\n"
        "\n"
        "chain of b.vhdx, 1 disk: the library could link it in a folder of its own\n"
        "note: " +
            missing +
            "\n"
            "note: the library cannot link this folder: \"a.avhdx\": its parent \"gone.vhdx\" is "
            "not in the folder\n",
        1, wrong);
    const CJson disk = Json(1, wrong)["disks"][0];
    EXPECT_EQ(disk["parent"], nullptr);
    EXPECT_EQ(disk["problem"], nullptr);
    EXPECT_EQ(disk["findings"], CJson::array({{{"kind", "parent_missing"}, {"text", missing}}}));
}

TEST_F(Chain, WithAParentThatChangedIsWrong) {
    WriteChain(m_folder.Path());
    Add("disk.vhdx", ChainBase().DataWriteGuid(ChainLinkage('7')));
    const std::string wrong = "vhdx: .: something is wrong with \"first.avhdx\"\n";
    const CChildResult result = Run({"."});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, wrong);
    const CJson json = Json(1, wrong);
    EXPECT_EQ(json["disks"][1]["parent"], "./disk.vhdx");
    EXPECT_EQ(json["disks"][1]["findings"][0]["kind"], "parent_changed");
    EXPECT_EQ(json["disks"][2]["findings"], CJson::array());
}

TEST_F(Chain, MayStandOnAParentInAnotherFolder) {
    std::filesystem::create_directory(m_folder / "golden");
    Add("golden/disk.vhdx", ChainBase());
    ChildDisk('1', '0', u"golden\\disk.vhdx").Build().WriteTo(m_folder / "first.avhdx");
    const CJson disk = Json()["disks"][0];
    EXPECT_EQ(disk["parent"], "golden/disk.vhdx");
    EXPECT_EQ(disk["findings"][0]["kind"], "parent_outside");
}

TEST_F(Chain, OfAnEmptyFolderIsRefused) {
    const std::string line = "vhdx: .: the folder holds no disk\n";
    ExpectText("", 1, line);
    EXPECT_EQ(Json(1, line)["disks"], CJson::array());
}

TEST_F(Chain, IsNotSilencedByAFileThatIsNoDisk) {
    WriteChain(m_folder.Path());
    std::ofstream(m_folder / "text.vhdx") << std::string(1000, 'x');
    const std::string wrong = "vhdx: .: something is wrong with \"text.vhdx\"\n";
    const std::string problem = "this is no VHDX disk: the file does not begin with \"vhdxfile\"";
    ExpectText(
        "disk.vhdx  8 MiB\n"
        "└── first.avhdx  8 MiB\n"
        "    └── second.avhdx  8 MiB\n"
        "text.vhdx  cannot be read\n"
        "\n"
        "chain of disk.vhdx, 3 disks: the library could link it in a folder of its own\n"
        "note: \"text.vhdx\": " +
            problem +
            "\n"
            "note: the library cannot link this folder: \"text.vhdx\": " +
            problem + "\n",
        1, wrong);
    const CJson json = Json(1, wrong);
    EXPECT_EQ(json["chains"].size(), 1U);
    EXPECT_EQ(
        json["disks"][3],
        CJson({{"file", "./text.vhdx"},
               {"size", nullptr},
               {"parent", nullptr},
               {"problem", problem},
               {"findings", {{{"kind", "unreadable"}, {"text", "\"text.vhdx\": " + problem}}}}}));
}

TEST_F(Chain, NeedsAFolder) {
    Add("disk.vhdx", ChainBase());
    EXPECT_EQ(Run({"none"}).errors, "vhdx: none: there is no such folder\n");
    EXPECT_EQ(Run({"disk.vhdx"}).errors, "vhdx: disk.vhdx: this is not a folder\n");
    EXPECT_EQ(Run({}).status, 2);
}

#if !defined(_WIN32)
TEST_F(Chain, PromisesNoLinkingForWhichTooFewFilesCanBeOpen) {
    for (const char name : std::string("abcdefghijklmnopqrstuvwxyz")) {
        Add(std::string(1, name) + ".vhdx", ChainBase());
    }
    const auto run = [this](const std::string& limit) {
        return RunChild({"sh", "-c", "ulimit -n " + limit + "; exec \"$0\" chain --json \"$1\"",
                         VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow()});
    };
    const CJson few = CJson::parse(run("20").output)["library"];
    EXPECT_EQ(few["links"], false);
    EXPECT_EQ(few["open_files"], 27);
    ASSERT_EQ(few["reasons"].size(), 1U);
    const auto reason = few["reasons"][0].get<std::string>();
    EXPECT_EQ(reason.find("linking 26 disks needs 27 open files, and this process may open 1"), 0U)
        << reason;
    EXPECT_EQ(CJson::parse(run("60").output)["library"]["links"], true);
}

TEST_F(Chain, ShowsNoControlCharactersOfFileNames) {
    Add("d\x1B[31m\xFF.vhdx", ChainBase());
    EXPECT_EQ(Run({"."}).output,
              "d\\u{1B}[31m\\xFF.vhdx  8 MiB\n"
              "\n"
              "chain of d\\u{1B}[31m\\xFF.vhdx, 1 disk: the library links it\n");
    EXPECT_NE(Run({".", "--json"}).output.find("\"base\": \"./d\\u001b[31m\\ufffd.vhdx\""),
              std::string::npos);
}
#endif

TEST_F(Chain, FollowsNamesBeyondAscii) {
    const std::vector<std::u16string> bases = {u"gr\u00F6\u00DFe.vhdx", u"\u65E5\u672C.vhdx",
                                               u"\U0001F4BE.vhdx"};
    char disk = '1';
    for (const std::u16string& base : bases) {
        Add(base, ChainBase());
        Add(std::string(1, disk) + ".avhdx", ChildDisk(disk, '0', base));
        ++disk;
    }
    const CJson json = Json();
    ASSERT_EQ(json["chains"].size(), 3U);
    EXPECT_EQ(json["chains"][0], CJson({{"base", "./gr\u00F6\u00DFe.vhdx"},
                                        {"snapshots", CJson::array({"./1.avhdx"})}}));
    EXPECT_EQ(json["chains"][1],
              CJson({{"base", "./\u65E5\u672C.vhdx"}, {"snapshots", CJson::array({"./2.avhdx"})}}));
    EXPECT_EQ(json["chains"][2],
              CJson({{"base", "./\U0001F4BE.vhdx"}, {"snapshots", CJson::array({"./3.avhdx"})}}));
    EXPECT_EQ(Run({"."}).status, 0);
}

}  // namespace
}  // namespace NTest
