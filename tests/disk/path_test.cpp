#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <vhdx_disk/path_query.h>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using fs::file_type;

class PathQuery : public testing::Test {
protected:
    PathQuery() {
        fs::create_directory(m_folder / "folder");
        std::ofstream(m_folder / "file") << "7";
    }

    file_type KindOf(const fs::path& name) const {
        std::error_code error;
        const file_type kind = NVHDXDisk::KindOf(m_folder / name, error);
        EXPECT_FALSE(error && kind != file_type::not_found) << error.message();
        return kind;
    }

    NTest::CTemporaryFolder m_folder;
};

TEST_F(PathQuery, TellsFilesFoldersAndNothing) {
    std::error_code error;
    EXPECT_EQ(KindOf("file"), file_type::regular);
    EXPECT_EQ(KindOf("folder"), file_type::directory);
    EXPECT_EQ(KindOf("missing"), file_type::not_found);
    EXPECT_EQ(KindOf("missing/file"), file_type::not_found);
    EXPECT_TRUE(NVHDXDisk::IsFolder(m_folder / "folder", error));
    EXPECT_FALSE(NVHDXDisk::IsFolder(m_folder / "file", error));
    EXPECT_FALSE(NVHDXDisk::IsFolder(m_folder / "missing", error));
    EXPECT_FALSE(error) << error.message();
}

TEST_F(PathQuery, TellsAFileThatIsOpen) {
    const std::ofstream writer(m_folder / "file");
    EXPECT_EQ(KindOf("file"), file_type::regular);
}

TEST_F(PathQuery, KnowsAFileByEachOfItsNames) {
    const fs::path file = m_folder / "file";
    const fs::path other = m_folder / "folder/../file";
    EXPECT_TRUE(NVHDXDisk::AreSameFile(file, other));
    EXPECT_EQ(NVHDXDisk::Canonical(file), NVHDXDisk::Canonical(other));
    std::ofstream(m_folder / "copy") << "7";
    EXPECT_FALSE(NVHDXDisk::AreSameFile(file, m_folder / "copy"));
    EXPECT_NE(NVHDXDisk::Canonical(file), NVHDXDisk::Canonical(m_folder / "copy"));
    EXPECT_FALSE(NVHDXDisk::AreSameFile(file, m_folder / "missing"));
    EXPECT_FALSE(NVHDXDisk::AreSameFile(m_folder / "missing", m_folder / "missing"));
}

TEST_F(PathQuery, GivesACanonicalNameThatOpens) {
    std::ifstream file(NVHDXDisk::Canonical(m_folder / "folder/../file"));
    EXPECT_EQ(file.get(), '7');
}

TEST_F(PathQuery, LeavesANameOfNothingAsItIs) {
    EXPECT_EQ(NVHDXDisk::Canonical(m_folder / "missing"), m_folder / "missing");
}

#if defined(_WIN32)

TEST_F(PathQuery, TellsWhatLiesAtAPathThatWindowsTakesAsItStands) {
    const fs::path folder =
        L"\\\\?\\" + fs::path(m_folder.Path()).make_preferred().wstring() + L"\\";
    std::error_code error;
    EXPECT_EQ(NVHDXDisk::KindOf(folder / "file", error), file_type::regular);
    EXPECT_EQ(NVHDXDisk::KindOf(folder / "folder", error), file_type::directory);
    EXPECT_EQ(NVHDXDisk::KindOf(folder / "missing", error), file_type::not_found);
    EXPECT_TRUE(NVHDXDisk::AreSameFile(folder / "file", m_folder / "file"));
}

TEST_F(PathQuery, TellsADeviceFromAFile) {
    std::error_code error;
    EXPECT_EQ(NVHDXDisk::KindOf(L"NUL", error), file_type::unknown);
}

#else

TEST_F(PathQuery, FollowsALinkOrNot) {
    fs::create_symlink("file", m_folder / "link");
    std::error_code error;
    EXPECT_EQ(KindOf("link"), file_type::regular);
    EXPECT_EQ(NVHDXDisk::KindOfLink(m_folder / "link", error), file_type::symlink);
    EXPECT_EQ(NVHDXDisk::KindOfLink(m_folder / "file", error), file_type::regular);
}

TEST_F(PathQuery, TellsAPipe) {
    ASSERT_EQ(mkfifo((m_folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(KindOf("pipe"), file_type::fifo);
}

#endif

}  // namespace
