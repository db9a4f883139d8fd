#include <fstream>

#include "tests/disk/check_result.h"
#include "tests/support/chain_model.h"
#include "tests/support/log_builder.h"
#include "vhdx_disk/source/quoted.h"

namespace NTest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class DiskCheckChain : public testing::Test {
protected:
    CCheckResult CheckOne(const std::string& name) const { return CheckFileAt(m_folder / name); }
    CCheckResult CheckAll() const { return CheckFolderAt(m_folder.Path()); }

    static CImageBuilder ChildOf(const std::u16string& parent) {
        return CImageBuilder().Differencing().ParentLocator(
            {{u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
             {u"relative_path", u".\\" + parent}});
    }
    void Write(const std::string& name, const CImageBuilder& disk) const {
        disk.Build().WriteTo(m_folder / name);
    }

    CTemporaryFolder m_folder;
};

TEST_F(DiskCheckChain, FindsNothingInASoundChain) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(2, 1);
    chain.AddDisk(CDiskShape()).Partial(2, 5, {0, 7});
    chain.AddDisk(CDiskShape()).Empty(2, CChainModel::zero, false);
    chain.WriteTo(m_folder.Path());
    EXPECT_THAT(CheckAll().Lines(), IsEmpty());
    EXPECT_THAT(CheckOne("2.avhdx").Lines(), IsEmpty());
}

TEST_F(DiskCheckChain, FindsAMissingParent) {
    Write("a.avhdx", ChildOf(u"gone.vhdx"));
    const CCheckResult one = CheckOne("a.avhdx");
    ASSERT_THAT(one.Lines(), ElementsAre("parent-missing at parent locator"));
    EXPECT_THAT(one.findings[0].text, HasSubstr("\".\\gone.vhdx\" is missing"));
    EXPECT_THAT(CheckAll().Lines(), ElementsAre("parent-missing at parent locator"));
}

TEST_F(DiskCheckChain, FollowsParentsBesideABrokenLogOnlyWhereTheFileIsTakenAsItStands) {
    Write("a.avhdx", ChildOf(u"gone.vhdx").Log(logGuid, CBytes(4096)));
    EXPECT_THAT(CheckAll().Kinds(), ElementsAre("log-unreadable"));
    EXPECT_THAT(CheckFolderAt(m_folder.Path(), NVHDXDisk::ELog::asItStands).Kinds(),
                ElementsAre("log-unreadable", "parent-missing"));
}

TEST_F(DiskCheckChain, FindsAMissingGrandparent) {
    Write("a.avhdx", ChildOf(u"b.avhdx"));
    Write("b.avhdx", ChildOf(u"gone.vhdx"));
    const CCheckResult one = CheckOne("a.avhdx");
    ASSERT_THAT(one.Lines(), ElementsAre("parent-missing at parent locator"));
    EXPECT_EQ(one.findings[0].file.filename(), "b.avhdx");
}

TEST_F(DiskCheckChain, FindsAParentThatWasChanged) {
    Write("base.vhdx",
          CImageBuilder().DataWriteGuid(Guid("{6E4D5F00-0002-4A00-8000-0000000000FF}")));
    Write("a.avhdx", ChildOf(u"base.vhdx"));
    const std::string text = "the parent " + NVHDXDisk::Quoted(m_folder / "base.vhdx") +
                             " was changed or replaced since the child was made: its DataWriteGuid "
                             "is not the child's parent linkage";
    EXPECT_THAT(CheckOne("a.avhdx").Sentences(),
                ElementsAre("parent-changed at parent locator: " + text));
    EXPECT_THAT(CheckAll().Sentences(),
                ElementsAre("parent-changed at parent locator: \"a.avhdx\": " + text));
}

TEST_F(DiskCheckChain, FindsAParentThatIsNoDisk) {
    std::ofstream(m_folder / "base.vhdx") << std::string(4096, 'x');
    Write("a.avhdx", ChildOf(u"base.vhdx"));
    EXPECT_THAT(CheckOne("a.avhdx").Kinds(), ElementsAre("parent-changed", "parent-unreadable"));
    EXPECT_THAT(CheckAll().Kinds(), ElementsAre("not-a-disk", "parent-changed"));
}

TEST_F(DiskCheckChain, FindsSeveralChildrenOfOneParent) {
    Write("base.vhdx", CImageBuilder());
    Write("a.avhdx", ChildOf(u"base.vhdx"));
    Write("b.avhdx", ChildOf(u"base.vhdx"));
    const CCheckResult all = CheckAll();
    ASSERT_THAT(all.Lines(), ElementsAre("several-children at folder"));
    EXPECT_EQ(all.findings[0].file.filename(), "base.vhdx");
    EXPECT_THAT(CheckOne("a.avhdx").Lines(), IsEmpty());
}

TEST_F(DiskCheckChain, FindsACircle) {
    Write("a.avhdx", ChildOf(u"b.avhdx"));
    Write("b.avhdx", ChildOf(u"a.avhdx"));
    EXPECT_THAT(CheckOne("a.avhdx").Kinds(), ElementsAre("parent-cycle"));
    EXPECT_THAT(CheckAll().Lines(), ElementsAre("parent-cycle at folder"));
    Write("self.avhdx", ChildOf(u"self.avhdx"));
    EXPECT_THAT(CheckOne("self.avhdx").Kinds(), ElementsAre("parent-cycle"));
}

TEST_F(DiskCheckChain, FindsAParentOutsideTheFolder) {
    std::filesystem::create_directory(m_folder / "inner");
    Write("base.vhdx", CImageBuilder());
    Write("inner/a.avhdx", ChildOf(u"..\\base.vhdx"));
    EXPECT_THAT(CheckFolderAt(m_folder / "inner").Kinds(), ElementsAre("parent-outside"));
    EXPECT_THAT(CheckOne("inner/a.avhdx").Kinds(), IsEmpty());
}

TEST_F(DiskCheckChain, FindsALocatorWithoutLinkage) {
    Write("base.vhdx", CImageBuilder());
    Write("a.avhdx", CImageBuilder().Differencing().ParentLocator(
                         {{u"relative_path", u".\\base.vhdx"}, {u"parent_linkage", u"none"}}));
    const auto found = ElementsAre(
        "parent-linkage-missing at parent locator: the parent locator has no valid parent_linkage: "
        "nobody can tell whether a parent is the right one");
    EXPECT_THAT(CheckOne("a.avhdx").Sentences(), found);
    EXPECT_THAT(CheckAll().Sentences(), found);
}

TEST_F(DiskCheckChain, FindsALocatorThatCannotBeRead) {
    Write("a.avhdx", ChildOf(u"base.vhdx").EditParentLocator([](CParentLocator& locator) {
        locator.entries[0].keyOffset = 0xFFFFFF00;
    }));
    EXPECT_THAT(CheckOne("a.avhdx").Kinds(), ElementsAre("locator-entry", "locator-unreadable"));
}

TEST_F(DiskCheckChain, ChecksTheFilesOfTheParents) {
    Write("base.vhdx", CImageBuilder().PayloadBlock(0, 6, 4000));
    Write("a.avhdx", ChildOf(u"base.vhdx").PayloadBlock(1, 4, 0));
    Write("b.avhdx", ChildOf(u"a.avhdx"));
    const CCheckResult one = CheckOne("b.avhdx");
    ASSERT_THAT(one.Kinds(), ElementsAre("block-state", "block-past-end"));
    EXPECT_EQ(one.findings[0].file.filename(), "a.avhdx");
    EXPECT_EQ(one.findings[1].file.filename(), "base.vhdx");
    EXPECT_THAT(
        CheckFileAt(m_folder / "b.avhdx", NVHDXDisk::ELog::replay, NVHDXDisk::EParentCheck::tie)
            .Lines(),
        IsEmpty());
}

TEST_F(DiskCheckChain, ChecksEachFileOfACircleOnce) {
    Write("a.avhdx", ChildOf(u"b.avhdx").PayloadBlock(1, 4, 0));
    Write("b.avhdx", ChildOf(u"a.avhdx").PayloadBlock(0, 4, 0));
    const CCheckResult one = CheckOne("a.avhdx");
    ASSERT_THAT(one.Kinds(), ElementsAre("block-state", "block-state", "parent-cycle"));
    EXPECT_EQ(one.findings[0].file.filename(), "a.avhdx");
    EXPECT_EQ(one.findings[1].file.filename(), "b.avhdx");
}

TEST_F(DiskCheckChain, ChecksAParentThatCannotBeOpenedAndThoseAboveIt) {
    Write("a.avhdx", ChildOf(u"base.vhdx").Log(logGuid, CBytes(4096)));
    Write("b.avhdx", ChildOf(u"a.avhdx"));
    const CCheckResult one = CheckOne("b.avhdx");
    ASSERT_THAT(one.Kinds(), ElementsAre("parent-unreadable", "log-unreadable", "parent-missing"));
    EXPECT_EQ(one.findings[0].file.filename(), "b.avhdx");
    EXPECT_EQ(one.findings[1].file.filename(), "a.avhdx");
}

TEST_F(DiskCheckChain, ChecksEveryFileOfTheFolder) {
    Write("a.vhdx", CImageBuilder().PayloadBlock(0, 5, 0));
    Write("b.vhdx", CImageBuilder().PayloadBlock(0, 4, 0));
    EXPECT_THAT(CheckAll().Kinds(), ElementsAre("block-state", "block-state"));
}

}  // namespace
}  // namespace NTest
