// Files and folders that may not be read or written: status 1, for `check` 2, and one line.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

class Permissions : public testing::Test {
protected:
    Permissions() {
        DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
        fs::create_directory(m_folder / "closed");
        DynamicDisk().Build().WriteTo(m_folder / "closed/disk.vhdx");
        std::ofstream(m_folder / "secret") << "0,512\n";
        fs::permissions(m_folder / "secret", fs::perms::none);
        fs::permissions(m_folder / "closed", fs::perms::none);
    }
    ~Permissions() override { fs::permissions(m_folder / "closed", fs::perms::owner_all); }

    void Expect(const std::vector<std::string>& arguments, const std::string& line,
                int status = 1) const {
        SCOPED_TRACE(arguments[0]);
        CChildOptions options;
        options.folder = m_folder.Path();
        options.obeysPermissions = true;
        const CChildResult result = RunVhdx(arguments, options);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "vhdx: " + line + "\n");
    }

    CTemporaryFolder m_folder;
};

TEST_F(Permissions, KeepFromReadingAFile) {
    const std::string line = "secret: the file cannot be opened: Permission denied";
    Expect({"info", "secret"}, line);
    Expect({"map", "secret"}, line);
    Expect({"read", "secret", "--file-only"}, line);
    Expect({"save", "secret", "model.xml"}, line);
    Expect({"changes", "disk.vhdx", "--ranges", "secret"},
           "secret: cannot be read: Permission denied");
}

TEST_F(Permissions, KeepFromReadingAFileAndItsParents) {
    const std::string line = "secret: the file cannot be opened: Permission denied";
    Expect({"map", "--merged", "secret"}, line);
    Expect({"read", "secret"}, line);
    Expect({"export", "secret", "-o", "disk.raw"}, line);
    Expect({"check", "secret"}, line, 2);
}

TEST_F(Permissions, KeepFromLookingIntoAFolder) {
    Expect({"info", "closed/disk.vhdx"},
           "closed/disk.vhdx: the file cannot be opened: Permission denied");
    Expect({"chain", "closed"}, "closed: the folder cannot be read: Permission denied");
    Expect({"diff", "closed"}, "closed: the folder cannot be read: Permission denied");
    Expect({"check", "closed"}, "closed: the folder cannot be read: Permission denied", 2);
}

/// A folder without them is a finding, beside what could be checked.
TEST_F(Permissions, KeepFromCheckingAFolderBelow) {
    fs::create_directory(m_folder / "listed");
    fs::create_directory(m_folder / "listed/inner");
    DynamicDisk().Build().WriteTo(m_folder / "listed/disk.vhdx");
    fs::permissions(m_folder / "listed", fs::perms::owner_read);
    CChildOptions options;
    options.folder = m_folder.Path();
    options.obeysPermissions = true;
    const CChildResult result = RunVhdx({"check", "."}, options);
    fs::permissions(m_folder / "listed", fs::perms::owner_all);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "");
    const std::string unreadable =
        ": folder: the folder cannot be read: Permission denied; nobody knows which disks it holds "
        "(folder-unreadable)\n";
    EXPECT_EQ(result.output, "./closed" + unreadable + "./listed/inner" + unreadable +
                                 "./listed/disk.vhdx: file: the file cannot be opened: "
                                 "Permission denied (not-a-disk)\n"
                                 ".: 1 disk read, 3 findings\n");
}

TEST_F(Permissions, KeepFromWritingIntoAFolder) {
    const std::string line = "closed/out: cannot be written: Permission denied";
    Expect({"read", "disk.vhdx", "--offset", "0", "--length", "1", "-o", "closed/out"}, line);
    Expect({"map", "disk.vhdx", "--svg", "closed/out"}, line);
    Expect({"save", "disk.vhdx", "closed/out"}, line);
    Expect({"export", "disk.vhdx", "-o", "closed/out"}, line);
}

}  // namespace
}  // namespace NTest
