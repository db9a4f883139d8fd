#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/snapshot_chain.h>

#include "host/folder_tree.h"
#include "tests/support/log_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NVHDXHost::CFolderFile;
using NVHDXHost::CFolderFinding;
using NVHDXHost::CFolderTree;
using NVHDXHost::CLinking;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using CLibraryChains =
    std::vector<NVHDX::NSnapshotCircuit::CSource<std::shared_ptr<NVHDX::CFileObject<char>>>>;

class FolderTree : public testing::Test {
protected:
    void Base(const std::string& name) { CImageBuilder().Build().WriteTo(m_folder / name); }

    static CImageBuilder ChildOf(const std::u16string& relativePath) {
        return CImageBuilder().Differencing().ParentLocator(
            {{u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
             {u"relative_path", relativePath}});
    }

    void Child(const std::string& name, const std::u16string& relativePath) {
        ChildOf(relativePath).Build().WriteTo(m_folder / name);
    }

    CFolderTree Scan() {
        auto tree = CFolderTree::Scan(m_folder.Path());
        EXPECT_TRUE(tree);
        return tree ? *tree : CFolderTree();
    }

    /// The forecast, held against the library wherever it returns.
    CLinking Linking() {
        const CLinking linking = Scan().Linking();
        if (linking.outcome != CLinking::neverEnds) {
            CLibraryChains chains;
            const bool linked = NVHDX::NSnapshotCircuit::NBuilder::DoIt(chains, m_folder.Narrow());
            EXPECT_EQ(linked, linking.outcome == CLinking::links);
            if (linked) {
                ExpectChains(linking, chains);
            }
        }
        return linking;
    }

    void ExpectChains(const CLinking& linking, const CLibraryChains& chains) {
        const CFolderTree tree = Scan();
        ASSERT_EQ(chains.size(), linking.chains.size());
        for (std::size_t i = 0; i < chains.size(); ++i) {
            std::vector<std::string> expected;
            for (const std::size_t file : linking.chains[i].files) {
                expected.push_back(tree.Files()[file].name);
            }
            std::vector<std::string> names = {NameOf(*chains[i].base)};
            for (auto file = chains[i].snapshots.rbegin(); file != chains[i].snapshots.rend();
                 ++file) {
                names.push_back(NameOf(**file));
            }
            EXPECT_EQ(names, expected);
            EXPECT_TRUE(linking.chains[i].linkable);
        }
    }

    static std::string NameOf(const NVHDX::CFileObject<char>& file) {
        return file.path->substr(file.path->find_last_of("\\/") + 1);
    }

    static std::vector<CFolderFinding::EKind> Kinds(const CFolderTree& tree) {
        std::vector<CFolderFinding::EKind> kinds;
        for (const CFolderFinding& finding : tree.Findings()) {
            kinds.push_back(finding.kind);
        }
        return kinds;
    }

    CTemporaryFolder m_folder;
};

TEST_F(FolderTree, AFolderThatIsNotThereCannotBeScanned) {
    EXPECT_FALSE(CFolderTree::Scan(m_folder / "absent"));
}

TEST_F(FolderTree, AFolderWithoutDisksIsEmptyAndCannotBeLinked) {
    std::ofstream(m_folder / "notes.txt") << "nothing";
    EXPECT_THAT(Scan().Files(), IsEmpty());
    const CLinking linking = Linking();
    EXPECT_EQ(linking.outcome, CLinking::refuses);
    EXPECT_THAT(linking.reasons, ElementsAre("the folder holds no disk"));
}

TEST_F(FolderTree, AChainLinks) {
    Base("base.vhdx");
    Child("b.avhdx", u".\\a.avhdx");
    Child("a.avhdx", u".\\base.vhdx");
    const CFolderTree tree = Scan();
    ASSERT_EQ(tree.Files().size(), 3u);
    EXPECT_EQ(tree.Files()[0].name, "a.avhdx");
    EXPECT_EQ(tree.Files()[0].parent, 2u);
    EXPECT_THAT(tree.Files()[0].children, ElementsAre(1u));
    EXPECT_EQ(tree.Files()[2].parent, std::nullopt);
    EXPECT_EQ(tree.Files()[2].virtualSize, 16 * MiB);
    EXPECT_THAT(tree.Roots(), ElementsAre(2u));
    EXPECT_THAT(tree.Findings(), IsEmpty());
    EXPECT_EQ(Linking().outcome, CLinking::links);
}

TEST_F(FolderTree, SeveralBasesMakeSeveralChains) {
    Base("b.vhdx");
    Base("a.vhdx");
    Child("c.avhdx", u".\\b.vhdx");
    EXPECT_EQ(Scan().Roots().size(), 2u);
    const CLinking linking = Linking();
    EXPECT_EQ(linking.outcome, CLinking::links);
    EXPECT_EQ(linking.chains.size(), 2u);
}

TEST_F(FolderTree, OtherExtensionsAndFoldersAreNoDisks) {
    Base("base.vhdx");
    Base("base.VHDX");
    Base("base.vhdx.bak");
    std::filesystem::create_directory(m_folder / "folder.vhdx");
    EXPECT_EQ(Scan().Files().size(), 1u);
    EXPECT_EQ(Linking().outcome, CLinking::links);
}

TEST_F(FolderTree, TwoChildrenOfOneParentAreATreeThatIsNeverLinked) {
    Base("base.vhdx");
    Child("a.avhdx", u".\\base.vhdx");
    Child("b.avhdx", u".\\base.vhdx");
    Child("c.avhdx", u".\\b.avhdx");
    const CFolderTree tree = Scan();
    EXPECT_THAT(tree.Files()[2].children, ElementsAre(0u, 1u));
    EXPECT_THAT(Kinds(tree), ElementsAre(CFolderFinding::severalChildren));
    EXPECT_EQ(tree.Findings()[0].text,
              "\"base.vhdx\" is the parent of \"a.avhdx\" and \"b.avhdx\"");
    const CLinking linking = Linking();
    EXPECT_EQ(linking.outcome, CLinking::neverEnds);
    EXPECT_THAT(linking.reasons,
                ElementsAre("\"a.avhdx\" and \"b.avhdx\" have one parent, \"base.vhdx\": the "
                            "library attaches one child to each disk"));
    ASSERT_EQ(linking.chains.size(), 1u);
    EXPECT_FALSE(linking.chains[0].linkable);
}

TEST_F(FolderTree, AForkInOneChainLeavesTheOtherLinkable) {
    Base("base.vhdx");
    Base("other.vhdx");
    Child("a.avhdx", u".\\base.vhdx");
    Child("b.avhdx", u".\\base.vhdx");
    Child("o.avhdx", u".\\other.vhdx");
    const CLinking linking = Linking();
    EXPECT_EQ(linking.outcome, CLinking::neverEnds);
    ASSERT_EQ(linking.chains.size(), 2u);
    EXPECT_FALSE(linking.chains[0].linkable);
    EXPECT_TRUE(linking.chains[1].linkable);
    EXPECT_EQ(linking.chains[1].files.size(), 2u);
}

TEST_F(FolderTree, ACycleIsNeverLinked) {
    Base("base.vhdx");
    Child("a.avhdx", u".\\b.avhdx");
    Child("b.avhdx", u".\\a.avhdx");
    Child("c.avhdx", u".\\b.avhdx");
    const CFolderTree tree = Scan();
    EXPECT_THAT(Kinds(tree), ElementsAre(CFolderFinding::severalChildren, CFolderFinding::cycle));
    EXPECT_EQ(tree.Findings()[1].text,
              "the parents lead in a circle: \"a.avhdx\" \"b.avhdx\" \"a.avhdx\"");
    EXPECT_THAT(tree.Roots(), ElementsAre(2u));
    const CLinking linking = Linking();
    EXPECT_EQ(linking.outcome, CLinking::neverEnds);
    EXPECT_THAT(linking.reasons,
                ElementsAre(HasSubstr("\"a.avhdx\" and \"c.avhdx\" have one parent"),
                            "\"a.avhdx\" has the parent \"b.avhdx\" has the parent \"a.avhdx\": "
                            "they never reach a disk without parent"));
}

TEST_F(FolderTree, ADiskThatIsItsOwnParentIsRefused) {
    Child("a.avhdx", u".\\a.avhdx");
    EXPECT_THAT(Kinds(Scan()), ElementsAre(CFolderFinding::cycle));
    EXPECT_EQ(Linking().outcome, CLinking::refuses);
}

TEST_F(FolderTree, AMissingParentIsNamed) {
    Base("base.vhdx");
    Child("a.avhdx", u".\\gone.vhdx");
    const CFolderTree tree = Scan();
    EXPECT_THAT(Kinds(tree), ElementsAre(CFolderFinding::parentMissing));
    EXPECT_EQ(tree.Findings()[0].text, "\"a.avhdx\": the parent \".\\gone.vhdx\" is missing");
    EXPECT_THAT(Linking().reasons,
                ElementsAre("\"a.avhdx\": its parent \"gone.vhdx\" is not in the folder"));
}

TEST_F(FolderTree, AParentInAnotherFolderIsFoundAndNotLinked) {
    std::filesystem::create_directory(m_folder / "sub");
    Base("sub/base.vhdx");
    Child("a.avhdx", u".\\sub\\base.vhdx");
    const CFolderTree tree = Scan();
    EXPECT_THAT(Kinds(tree), ElementsAre(CFolderFinding::parentOutside));
    EXPECT_EQ(tree.Files()[0].parentOutside, m_folder / "sub" / "base.vhdx");
    EXPECT_TRUE(tree.Files()[0].parentLinked);
    EXPECT_EQ(Linking().outcome, CLinking::refuses);
}

TEST_F(FolderTree, ARelativePathWithoutFullStopIsATreeThatTheLibraryRefuses) {
    Base("base.vhdx");
    Child("a.avhdx", u"base.vhdx");
    EXPECT_EQ(Scan().Files()[0].parent, 1u);
    EXPECT_THAT(Linking().reasons,
                ElementsAre("\"a.avhdx\": it names its parent by \"base.vhdx\", and the library "
                            "follows nothing but \".\\\" and a file name"));
}

TEST_F(FolderTree, ALocatorWithoutRelativePathIsRefused) {
    Base("base.vhdx");
    CImageBuilder().Differencing().ParentLocator({}).Build().WriteTo(m_folder / "a.avhdx");
    EXPECT_THAT(Linking().reasons,
                ElementsAre("\"a.avhdx\": its parent locator has no relative path"));
}

TEST_F(FolderTree, ALocatorThatCannotBeReadIsRefused) {
    Base("base.vhdx");
    ChildOf(u".\\base.vhdx")
        .EditParentLocator([](CParentLocator& locator) { locator.entries[0].keyLength = 29; })
        .Build()
        .WriteTo(m_folder / "a.avhdx");
    const CFolderTree tree = Scan();
    EXPECT_EQ(tree.Files()[0].problem, "the parent locator cannot be read");
    EXPECT_THAT(Linking().reasons, ElementsAre("\"a.avhdx\": its parent locator cannot be read"));
}

TEST_F(FolderTree, OneBadFileStopsTheLibraryForTheWholeFolder) {
    Base("base.vhdx");
    std::ofstream(m_folder / "bad.vhdx") << "not a disk";
    const CFolderTree tree = Scan();
    EXPECT_THAT(Kinds(tree), ElementsAre(CFolderFinding::unreadable));
    const CLinking linking = Linking();
    EXPECT_EQ(linking.outcome, CLinking::refuses);
    EXPECT_THAT(linking.reasons,
                ElementsAre("\"bad.vhdx\": this is no VHDX disk: the file does not begin with "
                            "\"vhdxfile\""));
    EXPECT_TRUE(linking.chains.at(0).linkable);
}

TEST_F(FolderTree, ADiskOfWhichNobodyKnowsWhetherItHasALogIsUnreadable) {
    CImageBuilder()
        .EditHeaders([](CHeader& header) { header.checksum = 1; })
        .Build()
        .WriteTo(m_folder / "base.vhdx");
    EXPECT_EQ(Scan().Files()[0].problem,
              "neither header of the file is valid (--no-replay shows the file as it stands)");
    const auto standing = CFolderTree::Scan(m_folder.Path(), NVHDXHost::CReplayStream::asItStands);
    EXPECT_EQ(standing.value().Files()[0].problem, "");
}

TEST_F(FolderTree, AParentThatChangedIsReportedAndStillTheParent) {
    CImageBuilder().DataWriteGuid(NGuid::unknown).Build().WriteTo(m_folder / "base.vhdx");
    Child("a.avhdx", u".\\base.vhdx");
    const CFolderTree tree = Scan();
    EXPECT_THAT(Kinds(tree), ElementsAre(CFolderFinding::parentChanged));
    EXPECT_EQ(tree.Files()[0].parent, 1u);
    EXPECT_FALSE(tree.Files()[0].parentLinked);
    EXPECT_EQ(Linking().outcome, CLinking::links);
}

TEST_F(FolderTree, AChildWithoutLinkageIsReportedAndItsParentNotCalledChanged) {
    Base("base.vhdx");
    CImageBuilder()
        .Differencing()
        .ParentLocator({{u"relative_path", u".\\base.vhdx"}})
        .Build()
        .WriteTo(m_folder / "a.avhdx");
    const CFolderTree tree = Scan();
    EXPECT_THAT(Kinds(tree), ElementsAre(CFolderFinding::linkageMissing));
    EXPECT_EQ(
        tree.Findings()[0].text,
        "\"a.avhdx\": the parent locator has no valid parent_linkage: nobody can tell whether "
        "a parent is the right one");
    EXPECT_EQ(tree.Files()[0].parent, 1u);
    EXPECT_FALSE(tree.Files()[0].parentLinked);
}

TEST_F(FolderTree, ANameThatTheChildHasItselfIsNotItsParent) {
    Child("a.avhdx", u"..\\elsewhere\\a.avhdx");
    EXPECT_THAT(Kinds(Scan()), ElementsAre(CFolderFinding::parentMissing));
}

#if !defined(_WIN32)
TEST_F(FolderTree, ANameBeyondLatin1IsFoundAndRefusedByTheLibrarysNarrowForm) {
    CImageBuilder().Build().WriteTo(m_folder / std::filesystem::path(u"\u0434.vhdx"));
    Child("a.avhdx", u".\\\u0434.vhdx");
    EXPECT_EQ(Scan().Files()[0].parent, 1u);
    EXPECT_EQ(Linking().outcome, CLinking::refuses);
}

TEST_F(FolderTree, ABackslashInANameKeepsTheLibraryFromOpeningIt) {
    Base("odd\\name.vhdx");
    EXPECT_EQ(Scan().Files()[0].problem, "");
    EXPECT_EQ(Linking().outcome, CLinking::refuses);
}
#endif

TEST_F(FolderTree, ADirtyDiskIsReadWithItsLogReplayed) {
    CBytes page(4096);
    Put64(page, 0, 0x617461646174656D);
    CImageBuilder()
        .LogAt(logGuid, MiB, 1048576)
        .Bytes(MiB, CLogEntryBuilder(1).Zero(2 * MiB, 4096).Page(2 * MiB, page).Bytes())
        .Build()
        .WriteTo(m_folder / "base.vhdx");
    const CFolderTree tree = Scan();
    EXPECT_EQ(tree.Files()[0].replay.entries, 1u);
    EXPECT_EQ(tree.Files()[0].problem, "the size of the virtual disk cannot be read");
    EXPECT_EQ(Linking().outcome, CLinking::links);
}

}  // namespace
}  // namespace NTest
