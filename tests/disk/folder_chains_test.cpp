#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_disk/folder.h>

#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FolderChains : public testing::Test {
protected:
    void Base(const std::string& name) { CImageBuilder().Build().WriteTo(m_folder / name); }

    void Child(const std::string& name, const std::u16string& parent) {
        CImageBuilder()
            .Differencing()
            .ParentLocator({{u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
                            {u"relative_path", u".\\" + parent}})
            .Build()
            .WriteTo(m_folder / name);
    }

    std::shared_ptr<const NVHDXDisk::CFolder> Scan() {
        NVHDXDisk::CFailure failure;
        auto folder = NVHDXDisk::CFolder::Open(m_folder.Path(), {}, failure);
        EXPECT_NE(folder, nullptr) << failure.text;
        return folder;
    }

    CTemporaryFolder m_folder;
};

TEST_F(FolderChains, LeadFromTheBaseToTheTip) {
    Base("z.vhdx");
    Child("b.avhdx", u"c.avhdx");
    Child("c.avhdx", u"z.vhdx");
    Base("a.vhdx");
    EXPECT_THAT(Scan()->StraightChains(), ElementsAre(ElementsAre(0u), ElementsAre(3u, 2u, 1u)));
    EXPECT_THAT(Scan()->Tips(), ElementsAre(0u, 1u));
}

TEST_F(FolderChains, AreNoTrees) {
    Base("base.vhdx");
    Child("a.avhdx", u"base.vhdx");
    Child("b.avhdx", u"a.avhdx");
    Child("c.avhdx", u"a.avhdx");
    EXPECT_THAT(Scan()->StraightChains(), IsEmpty());
    EXPECT_THAT(Scan()->Tips(), ElementsAre(1u, 3u));
}

TEST_F(FolderChains, NeedADiskWithoutParent) {
    Child("a.avhdx", u"gone.vhdx");
    Child("b.avhdx", u"c.avhdx");
    Child("c.avhdx", u"b.avhdx");
    EXPECT_THAT(Scan()->StraightChains(), IsEmpty());
    EXPECT_THAT(Scan()->Tips(), ElementsAre(0u));
}

TEST_F(FolderChains, HaveNoDiskThatCannotBeRead) {
    Base("base.vhdx");
    std::ofstream(m_folder / "bad.vhdx") << "not a disk";
    EXPECT_THAT(Scan()->StraightChains(), ElementsAre(ElementsAre(1u)));
    EXPECT_THAT(Scan()->Tips(), ElementsAre(1u));
}

}  // namespace
}  // namespace NTest
