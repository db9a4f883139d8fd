// A folder with all that lies below it.

#include <cerrno>
#include <fstream>

#include "tests/disk/check_result.h"
#include "vhdx_disk/source/quoted.h"

namespace NTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

class DiskCheckFolder : public testing::Test {
protected:
    CCheckResult CheckAll() const { return CheckFolderAt(m_folder.Path()); }

    static CImageBuilder ChildOf(const std::u16string& path) {
        return CImageBuilder().Differencing().ParentLocator(
            {{u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
             {u"relative_path", path}});
    }
    void Write(const std::string& name, const CImageBuilder& disk) const {
        fs::create_directories((m_folder / name).parent_path());
        disk.Build().WriteTo(m_folder / name);
    }

    CTemporaryFolder m_folder;
};

TEST_F(DiskCheckFolder, ReadsEveryDiskBelowItWhateverTheCaseOfItsExtension) {
    const CImageBuilder bad = CImageBuilder().PayloadBlock(0, 5, 0);
    Write("a.VHDX", bad);
    Write("vm/b.Avhdx", bad);
    Write("vm/deep/er/c.vhdx", bad);
    Write("vm.vhdx/d.avhdX", bad);
    Write("notes.txt", bad);
    Write("vhdx", bad);
    const CCheckResult result = CheckAll();
    EXPECT_EQ(result.disks, 4u);
    std::vector<fs::path> files;
    for (const NVHDXDisk::CFinding& finding : result.findings) {
        EXPECT_EQ(finding.kind, "block-state");
        files.push_back(finding.file.lexically_relative(m_folder.Path()));
    }
    EXPECT_THAT(files, ElementsAre(fs::path("a.VHDX"), fs::path("vm/b.Avhdx"),
                                   fs::path("vm/deep/er/c.vhdx"), fs::path("vm.vhdx/d.avhdX")));
}

TEST_F(DiskCheckFolder, FindsParentsInOtherFoldersBelowIt) {
    Write("golden/base.vhdx", CImageBuilder());
    Write("vm/a.avhdx", ChildOf(u"..\\golden\\base.vhdx"));
    const CCheckResult sound = CheckAll();
    EXPECT_THAT(sound.Lines(), IsEmpty());
    EXPECT_EQ(sound.disks, 2u);

    Write("vm/b.avhdx", ChildOf(u"..\\golden\\base.vhdx"));
    EXPECT_THAT(CheckAll().Sentences(),
                ElementsAre("several-children at folder: \"golden/base.vhdx\" is the parent of "
                            "\"vm/a.avhdx\" and \"vm/b.avhdx\": a tree and no chain; who merges "
                            "one of them into the parent spoils the others"));
}

TEST_F(DiskCheckFolder, CallsAParentInAnotherFolderBelowItChanged) {
    Write("golden/base.vhdx", CImageBuilder().DataWriteGuid(NGuid::unknown));
    Write("vm/a.avhdx", ChildOf(u"..\\golden\\base.vhdx"));
    EXPECT_THAT(CheckAll().Kinds(), ElementsAre("parent-changed"));
    EXPECT_THAT(CheckFolderAt(m_folder / "vm").Kinds(), ElementsAre("parent-missing"));
}

TEST_F(DiskCheckFolder, FindsACircleThroughTwoFolders) {
    Write("a/a.avhdx", ChildOf(u"..\\b\\b.avhdx"));
    Write("b/b.avhdx", ChildOf(u"..\\a\\a.avhdx"));
    EXPECT_THAT(CheckAll().Kinds(), ElementsAre("parent-cycle"));
}

TEST_F(DiskCheckFolder, FindsWhatIsNoDisk) {
    Write("a.vhdx", CImageBuilder());
    std::ofstream(m_folder / "b.vhdx") << "notes";
    const CCheckResult result = CheckAll();
    EXPECT_THAT(result.Sentences(),
                ElementsAre("not-a-disk at file: the file is no VHDX container"));
    EXPECT_EQ(result.disks, 1u);
}

TEST_F(DiskCheckFolder, CannotCheckAFolderOfWhichItReadsNothing) {
    const CCheckResult empty = CheckAll();
    EXPECT_FALSE(empty.checked);
    EXPECT_EQ(empty.failure.reason, "the folder holds no .vhdx or .avhdx file");
    EXPECT_EQ(empty.failure.kind, NVHDXDisk::CFailure::notADisk);

    std::ofstream(m_folder / "b.vhdx") << "notes";
    const CCheckResult unread = CheckAll();
    EXPECT_FALSE(unread.checked);
    EXPECT_EQ(unread.failure.kind, NVHDXDisk::CFailure::notADisk);
    EXPECT_EQ(unread.failure.reason, "not one disk could be read; " +
                                         NVHDXDisk::Quoted(m_folder / "b.vhdx") +
                                         ": the file is no VHDX container");
    EXPECT_THAT(unread.findings, IsEmpty());

    const CCheckResult missing = CheckFolderAt(m_folder / "none");
    EXPECT_FALSE(missing.checked);
    EXPECT_EQ(missing.failure.reason, "the folder cannot be read: No such file or directory");
    EXPECT_EQ(missing.failure.error, ENOENT);
    EXPECT_EQ(missing.failure.kind, NVHDXDisk::CFailure::cannotBeRead);
}

#if !defined(_WIN32)
TEST_F(DiskCheckFolder, FollowsNoLinkToAFolder) {
    Write("vm/a.vhdx", CImageBuilder());
    fs::create_directory_symlink("..", m_folder / "vm" / "circle");
    fs::create_directory_symlink("vm", m_folder / "again");
    fs::create_symlink("vm/a.vhdx", m_folder / "link.vhdx");
    const CCheckResult result = CheckAll();
    EXPECT_THAT(result.Lines(), IsEmpty());
    EXPECT_EQ(result.disks, 2u);
}

TEST_F(DiskCheckFolder, FindsALinkToNothing) {
    Write("a.vhdx", CImageBuilder());
    fs::create_symlink("nowhere", m_folder / "b.vhdx");
    EXPECT_THAT(CheckAll().Kinds(), ElementsAre("not-a-disk"));
}
#endif

}  // namespace
}  // namespace NTest
