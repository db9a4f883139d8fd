// Exports where the system does not do what it usually does: it refuses to copy between two files
// or to make holes, or the disk is full.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/chain_model.h"
#include "tests/support/file_content.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

/// Long runs, which are copied file to file, short ones, which are not, and zeros.
CChainModel TwoFiles() {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2).Present(3, 3).Present(6, 4);
    chain.AddDisk(CDiskShape()).Partial(2, 5, {0, 1, 2, 9, 2047}).Present(4, 6);
    chain.Empty(3, CChainModel::zero, true);
    return chain;
}

class ExportSystem : public testing::Test {
protected:
    void SetUp() override { m_chain.WriteTo(m_folder.Path()); }

    /// Runs the command with these calls refused.
    CChildResult RunRefusing(const std::string& calls, int error,
                             const std::vector<std::string>& arguments) const {
        std::vector<std::string> command = {VHDX_PARSER_REFUSE_SYSTEM_CALL, std::to_string(error),
                                            calls, VHDX_PARSER_VHDX_COMMAND, "export"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        CChildOptions options;
        options.folder = m_folder.Path();
        return RunChild(command, options);
    }

    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(m_folder.Path())) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    void ExpectExported(const CChildResult& result, const fs::path& raw) const {
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
        // The comparison does not print both sides: they are megabytes.
        EXPECT_TRUE(FileBytes(raw) == m_chain.Content());
    }

    const CChainModel m_chain = TwoFiles();
    const std::vector<std::string> m_files = {"0.vhdx", "1.avhdx"};
    CTemporaryFolder m_folder;
};

class ExportRefusedCopy : public ExportSystem, public testing::WithParamInterface<int> {};

TEST_P(ExportRefusedCopy, IsDoneByReadingAndWriting) {
    ExpectExported(
        RunRefusing("copy_file_range", GetParam(), {"1.avhdx", "-o", "disk.raw", "--verify"}),
        m_folder / "disk.raw");
}

INSTANTIATE_TEST_SUITE_P(Tool, ExportRefusedCopy,
                         testing::Values(EXDEV, EOPNOTSUPP, EINVAL, ENOSYS, EPERM, EIO));

TEST_F(ExportSystem, CopiesBetweenFileSystems) {
    const fs::path memory = "/dev/shm";
    std::error_code error;
    if (!fs::is_directory(memory, error)) {
        GTEST_SKIP() << "there is no second file system, " << memory;
    }
    const fs::path folder = memory / m_folder.Path().filename();
    ASSERT_TRUE(fs::create_directory(folder));
    m_chain.WriteTo(folder);
    ExpectExported(RunVhdx({"export", folder / "1.avhdx", "-o", m_folder / "there.raw"}),
                   m_folder / "there.raw");
    ExpectExported(RunVhdx({"export", m_folder / "1.avhdx", "-o", folder / "back.raw"}),
                   folder / "back.raw");
    fs::remove_all(folder);
}

TEST_F(ExportSystem, WritesZerosIntoAnOlderImageWhereHolesCannotBeMade) {
    CBytes older(8 * MiB, 0xEE);
    std::ofstream(m_folder / "old.raw", std::ios::binary)
        .write(reinterpret_cast<const char*>(older.data()), 8 * MiB);
    std::ofstream(m_folder / "ranges") << "0,8M\n";
    ExpectExported(
        RunRefusing("fallocate", EOPNOTSUPP,
                    {"1.avhdx", "--update", "old.raw", "--ranges", "ranges", "--verify"}),
        m_folder / "old.raw");
}

TEST_F(ExportSystem, LeavesNothingWhenTheSystemFindsNoRoom) {
    const CChildResult result =
        RunRefusing("copy_file_range,pwrite64", ENOSPC, {"1.avhdx", "-o", "disk.raw"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: disk.raw: cannot be written: No space left on device\n");
    EXPECT_EQ(Files(), m_files);
}

/// A file system of 2 MiB, made where nobody else sees it; who may do so.
TEST_F(ExportSystem, LeavesNothingOnADiskThatIsFull) {
    if (RunChild({"unshare", "-rm", "mount", "-t", "tmpfs", "none", m_folder.Narrow()}).status !=
        0) {
        GTEST_SKIP() << "this user may not mount a file system";
    }
    fs::create_directory(m_folder / "full");
    const std::string script =
        "cd \"$1\"; mount -t tmpfs -o size=2m none full; \"$0\" export 1.avhdx -o full/disk.raw; "
        "echo $?; ls -a full";
    const CChildResult result = RunChild(
        {"unshare", "-rm", "sh", "-c", script, VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow()});
    EXPECT_EQ(result.output, "1\n.\n..\n");
    EXPECT_EQ(result.errors, "vhdx: full/disk.raw: cannot be written: No space left on device\n");
}

TEST_F(ExportSystem, FollowsTheAbsolutePathsOfTheFilesWhenAskedTo) {
    fs::create_directory(m_folder / "far");
    fs::rename(m_folder / "0.vhdx", m_folder / "far" / "0.vhdx");
    CChainModel chain = m_chain;
    chain.Builder().ParentLocator(
        {{u"parent_linkage", CChainModel::LinkageText(0)},
         {u"relative_path", u".\\0.vhdx"},
         {u"absolute_win32_path", (m_folder / "far" / "0.vhdx").u16string()}});
    chain.WriteTo(m_folder.Path());
    fs::remove(m_folder / "0.vhdx");
    const std::vector<std::string> arguments = {"export", "1.avhdx", "-o", "disk.raw"};
    EXPECT_EQ(RunVhdxIn(m_folder.Path(), arguments).errors,
              "vhdx: 1.avhdx: the parent \".\\0.vhdx\" is missing (--other-paths also looks at \"" +
                  (m_folder / "far" / "0.vhdx").string() + "\")\n");
    ExpectExported(
        RunVhdxIn(m_folder.Path(), {"export", "1.avhdx", "-o", "disk.raw", "--other-paths"}),
        m_folder / "disk.raw");
}

}  // namespace
}  // namespace NTest
