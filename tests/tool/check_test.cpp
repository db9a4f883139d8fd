// `vhdx check`: exit status and form of the output. What is found is tested with the host pieces.

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/support/sanitizers.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/chain_disks.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

class Check : public testing::Test {
protected:
    CChildResult Run(const std::vector<std::string>& more) const {
        std::vector<std::string> arguments = {"check"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunVhdxIn(m_folder.Path(), arguments);
    }

    CTemporaryFolder m_folder;
};

TEST_F(Check, SaysThatNothingIsWrongAndEndsWith0) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    const CChildResult text = Run({"disk.vhdx"});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.output, "disk.vhdx: nothing is wrong\n");
    const CChildResult json = Run({"disk.vhdx", "--json"});
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.output, "[]\n");
}

TEST_F(Check, PrintsALineForEachFindingAndEndsWith1) {
    DynamicDisk().PayloadBlock(8, 5, 0).PayloadBlock(3, 6, 0).Build().WriteTo(m_folder / "d.vhdx");
    const CChildResult result = Run({"d.vhdx"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output,
              "d.vhdx: block 8, entry at offset 3145792: the state is none that a block can have "
              "(4 or 5) (block-state)\n"
              "d.vhdx: block 3, entry at offset 3145752: the block claims the first MiB of the "
              "file, where the headers lie (block-in-header)\n");
}

TEST_F(Check, OfACheckpointChecksItsParentsUnlessToldNotTo) {
    DynamicDisk().PayloadBlock(8, 5, 0).Build().WriteTo(m_folder / "base.vhdx");
    DynamicDisk()
        .Differencing()
        .ParentLocator({{u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
                        {u"relative_path", u".\\base.vhdx"}})
        .Build()
        .WriteTo(m_folder / "child.avhdx");
    const CChildResult whole = Run({"child.avhdx", "--json"});
    EXPECT_EQ(whole.status, 1);
    const auto findings = nlohmann::ordered_json::parse(whole.output);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0]["file"], "base.vhdx");
    EXPECT_EQ(findings[0]["kind"], "block-state");
    const CChildResult alone = Run({"child.avhdx", "--file-only"});
    EXPECT_EQ(alone.status, 0);
    EXPECT_EQ(alone.output, "child.avhdx: nothing is wrong\n");
    const CChildResult folder = Run({".", "--file-only"});
    EXPECT_EQ(folder.status, 2);
    EXPECT_EQ(folder.errors, "vhdx: .: this is a folder, and --file-only is for one file\n");
}

TEST_F(Check, PrintsTheSameAsJson) {
    DynamicDisk().PayloadBlock(8, 5, 0).PayloadBlock(3, 6, 0).Build().WriteTo(m_folder / "d.vhdx");
    const CChildResult result = Run({"d.vhdx", "--json"});
    EXPECT_EQ(result.status, 1);
    const auto findings = nlohmann::ordered_json::parse(result.output);
    ASSERT_EQ(findings.size(), 2U);
    EXPECT_EQ(findings[0].size(), 5U);
    EXPECT_EQ(findings[0]["file"], "d.vhdx");
    EXPECT_EQ(findings[0]["where"], "block 8, entry at offset 3145792");
    EXPECT_EQ(findings[0]["kind"], "block-state");
    EXPECT_EQ(findings[0]["severity"], "error");
    EXPECT_EQ(findings[0]["text"], "the state is none that a block can have (4 or 5)");
    EXPECT_EQ(findings[1]["kind"], "block-in-header");
}

// The separator is the platform's.
std::string InThisFolder(const char* name) {
    return (std::filesystem::path(".") / name).string();
}

TEST_F(Check, TakesAFolder) {
    CImageBuilder().Build().WriteTo(m_folder / "a.vhdx");
    CImageBuilder()
        .Differencing()
        .ParentLocator({{u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
                        {u"relative_path", u".\\a.vhdx"}})
        .Build()
        .WriteTo(m_folder / "b.avhdx");
    const CChildResult sound = Run({"."});
    EXPECT_EQ(sound.status, 0);
    EXPECT_EQ(sound.output, ".: 2 disks read, nothing is wrong\n");

    std::filesystem::remove(m_folder / "a.vhdx");
    const CChildResult broken = Run({"."});
    EXPECT_EQ(broken.status, 1);
    EXPECT_EQ(broken.output,
              InThisFolder("b.avhdx") +
                  ": parent locator: \"b.avhdx\": the parent \".\\a.vhdx\" is missing: what "
                  "this disk does not hold cannot be read (parent-missing)\n"
                  ".: 1 disk read, 1 finding\n");
}

TEST_F(Check, TakesAllThatLiesBelowAFolder) {
    std::filesystem::create_directories(m_folder / "vm" / "old");
    CImageBuilder().Build().WriteTo(m_folder / "vm" / "old" / "a.VHDX");
    DynamicDisk().PayloadBlock(8, 5, 0).Build().WriteTo(m_folder / "vm" / "b.Avhdx");
    const CChildResult text = Run({"vm"});
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(text.errors, "");
    EXPECT_EQ(text.output,
              (std::filesystem::path("vm") / "b.Avhdx").string() +
                  ": block 8, entry at offset 3145792: the state is none that a block can have (4 "
                  "or 5) (block-state)\n"
                  "vm: 2 disks read, 1 finding\n");
}

TEST_F(Check, SaysBesideTheArrayHowManyDisksItRead) {
    CImageBuilder().Build().WriteTo(m_folder / "a.vhdx");
    const CChildResult json = Run({".", "--json"});
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.output, "[]\n");
    EXPECT_EQ(json.errors, "vhdx: .: 1 disk read\n");
}

TEST_F(Check, EndsWith1WhereItReadsADiskAndCannotReadAnother) {
    CImageBuilder().Build().WriteTo(m_folder / "a.vhdx");
    std::ofstream(m_folder / "b.vhdx") << "notes";
    const CChildResult result = Run({"."});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, InThisFolder("b.vhdx") +
                                 ": file: the file is no VHDX container (not-a-disk)\n"
                                 ".: 1 disk read, 1 finding\n");
}

TEST_F(Check, SaysWhatATreeMeans) {
    WriteChain(m_folder.Path());
    WriteFork(m_folder.Path());
    const CChildResult result = Run({"."});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(
        result.output,
        InThisFolder("first.avhdx") +
            ": folder: \"first.avhdx\" is the parent of \"other.avhdx\" and "
            "\"second.avhdx\": a tree and no chain; who merges one of them into the parent spoils "
            "the others (several-children)\n"
            ".: 4 disks read, 1 finding\n");
}

#if !defined(_WIN32)  // there devices have no place among the files
TEST_F(Check, EndsWith2AtADevice) {
    const CChildResult device = Run({"/dev/zero"});
    EXPECT_EQ(device.status, 2);
    EXPECT_EQ(device.errors,
              "vhdx: /dev/zero: this is not a file with a size, but a pipe, socket or device\n");
}
#endif

TEST_F(Check, EndsWith2WhenItCouldNotCheck) {
    const CChildResult missing = Run({"none.vhdx"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.output, "");
    EXPECT_EQ(missing.errors, "vhdx: none.vhdx: there is no such file\n");
    EXPECT_EQ(Run({"."}).status, 2);
    std::ofstream(m_folder / "b.vhdx") << "notes";
    const CChildResult unread = Run({"."});
    EXPECT_EQ(unread.status, 2);
    EXPECT_EQ(unread.output, "");
    EXPECT_EQ(unread.errors, "vhdx: .: not one disk could be read; \"" + InThisFolder("b.vhdx") +
                                 "\": the file is no VHDX container\n");
    EXPECT_EQ(Run({}).status, 2);
}

TEST_F(Check, EndsWith2WhenNobodyReadsItsOutput) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    CChildOptions options;
    options.closeOutput = true;
    EXPECT_EQ(RunVhdx({"check", (m_folder / "disk.vhdx").string()}, options).status, 2);
}

TEST_F(Check, LetsNoFileSteerTheTerminal) {
    DifferencingDisk().Build().WriteTo(m_folder / "child.avhdx");
    const CChildResult result = Run({"child.avhdx"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.find('\x1B'), std::string::npos);
}

#if !defined(_WIN32)

/// Makes a disk with qemu-img, of which nothing is wrong.
TEST_F(Check, FindsNothingInDisksOfQemuImg) {
    int number = 0;
    for (const std::string options : {"subformat=dynamic", "subformat=fixed",
                                      "subformat=dynamic,block_size=1M", "block_size=256M"}) {
        const std::string name = std::to_string(number++) + ".vhdx";
        const std::string path = (m_folder / name).string();
        ASSERT_EQ(RunChild({"qemu-img", "create", "-q", "-f", "vhdx", "-o", options, path, "300M"})
                      .status,
                  0);
        ASSERT_EQ(
            RunChild({"qemu-io", "-f", "vhdx", "-c", "write 1M 70M", "-c", "write 299M 1M", path})
                .status,
            0);
        const CChildResult result = Run({name});
        EXPECT_EQ(result.status, 0) << options << "\n" << result.output << result.errors;
    }
}

/// A table of 512 MiB, nearly all of it a hole, in little memory.
TEST_F(Check, ChecksADiskOf64TebibytesWithBlocksOf1Mebibyte) {
    CImageBuilder()
        .VirtualSize(64 * TiB)
        .AllocateData(0, 1)
        .PayloadBlock(64 * MiB - 1, 6, 3)
        .Build()
        .WriteTo(m_folder / "disk.vhdx");
    const std::string limit = hasShadowMemory ? "" : "ulimit -v 262144 && ";
    const CChildResult result =
        RunChild({"sh", "-c", limit + "exec \"$0\" check \"$1\"", VHDX_PARSER_VHDX_COMMAND,
                  (m_folder / "disk.vhdx").string()});
    EXPECT_EQ(result.status, 1) << result.errors;
    EXPECT_NE(result.output.find("block 67108863, entry at offset"), std::string::npos)
        << result.output;
    EXPECT_NE(result.output.find("claims the place of the block allocation table"),
              std::string::npos);
}

#endif

}  // namespace
}  // namespace NTest
