#include <cerrno>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_disk/folder.h>
#include <vhdx_parser/snapshot_chain.h>

#include "tests/support/log_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NVHDXDisk::CFailure;
using NVHDXDisk::CFolder;
using NVHDXDisk::CFolderOptions;
using NVHDXDisk::CLinkingForecast;
using NVHDXDisk::CTreeFinding;
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

    std::shared_ptr<const CFolder> Open(const CFolderOptions& options = {}) {
        CFailure failure;
        auto folder = CFolder::Open(m_folder.Path(), options, failure);
        EXPECT_NE(folder, nullptr) << failure.text;
        return folder;
    }

    /// Why a file cannot be read; empty when it can.
    static std::string Problem(const CFolder& folder, std::size_t file,
                               CFailure::EKind kind = CFailure::none) {
        const auto& problem = folder.Files()[file].problem;
        EXPECT_EQ(problem ? problem->kind : CFailure::none, kind);
        return problem ? problem->reason : "";
    }

    /// The forecast, held against the library wherever it returns.
    CLinkingForecast Linking() {
        const auto folder = Open();
        const CLinkingForecast& linking = folder->Linking();
        if (linking.outcome != CLinkingForecast::neverEnds) {
            CLibraryChains chains;
            const bool linked = NVHDX::NSnapshotCircuit::NBuilder::DoIt(chains, m_folder.Narrow());
            EXPECT_EQ(linked, linking.outcome == CLinkingForecast::links);
            if (linked) {
                ExpectChains(linking, chains);
            }
        }
        return linking;
    }

    void ExpectChains(const CLinkingForecast& linking, const CLibraryChains& chains) {
        const auto folder = Open();
        ASSERT_EQ(chains.size(), linking.chains.size());
        for (std::size_t i = 0; i < chains.size(); ++i) {
            std::vector<std::string> expected;
            for (const std::size_t file : linking.chains[i].files) {
                expected.push_back(folder->Files()[file].name);
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

    static std::vector<CTreeFinding::EKind> Kinds(const CFolder& folder) {
        std::vector<CTreeFinding::EKind> kinds;
        for (const CTreeFinding& finding : folder.Findings()) {
            kinds.push_back(finding.kind);
        }
        return kinds;
    }

    CTemporaryFolder m_folder;
};

TEST_F(FolderTree, AFolderThatIsNotThereCannotBeScanned) {
    CFailure failure;
    EXPECT_EQ(CFolder::Open(m_folder / "absent", {}, failure), nullptr);
    EXPECT_EQ(failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(failure.reason, "the folder cannot be read: No such file or directory");
    EXPECT_EQ(failure.error, ENOENT);
    EXPECT_EQ(failure.file, m_folder / "absent");
}

TEST_F(FolderTree, AFolderWithoutDisksIsEmptyAndCannotBeLinked) {
    std::ofstream(m_folder / "notes.txt") << "nothing";
    EXPECT_THAT(Open()->Files(), IsEmpty());
    const CLinkingForecast linking = Linking();
    EXPECT_EQ(linking.outcome, CLinkingForecast::refuses);
    EXPECT_THAT(linking.reasons, ElementsAre("the folder holds no disk"));
}

TEST_F(FolderTree, AChainLinks) {
    Base("base.vhdx");
    Child("b.avhdx", u".\\a.avhdx");
    Child("a.avhdx", u".\\base.vhdx");
    const auto folder = Open();
    ASSERT_EQ(folder->Files().size(), 3u);
    EXPECT_EQ(folder->Files()[0].name, "a.avhdx");
    EXPECT_EQ(folder->Files()[0].parent, 2u);
    EXPECT_THAT(folder->Files()[0].children, ElementsAre(1u));
    EXPECT_EQ(folder->Files()[2].parent, std::nullopt);
    EXPECT_EQ(folder->Files()[2].virtualSize, 16 * MiB);
    EXPECT_THAT(folder->Roots(), ElementsAre(2u));
    EXPECT_THAT(folder->Findings(), IsEmpty());
    EXPECT_EQ(Linking().outcome, CLinkingForecast::links);
}

TEST_F(FolderTree, SeveralBasesMakeSeveralChains) {
    Base("b.vhdx");
    Base("a.vhdx");
    Child("c.avhdx", u".\\b.vhdx");
    EXPECT_EQ(Open()->Roots().size(), 2u);
    const CLinkingForecast linking = Linking();
    EXPECT_EQ(linking.outcome, CLinkingForecast::links);
    EXPECT_EQ(linking.chains.size(), 2u);
}

TEST_F(FolderTree, OtherExtensionsAndFoldersAreNoDisks) {
    Base("base.vhdx");
    Base("base.VHDX");
    Base("base.vhdx.bak");
    std::filesystem::create_directory(m_folder / "folder.vhdx");
    EXPECT_EQ(Open()->Files().size(), 1u);
    EXPECT_EQ(Linking().outcome, CLinkingForecast::links);
}

TEST_F(FolderTree, TwoChildrenOfOneParentAreATreeThatIsNeverLinked) {
    Base("base.vhdx");
    Child("a.avhdx", u".\\base.vhdx");
    Child("b.avhdx", u".\\base.vhdx");
    Child("c.avhdx", u".\\b.avhdx");
    const auto folder = Open();
    EXPECT_THAT(folder->Files()[2].children, ElementsAre(0u, 1u));
    EXPECT_THAT(Kinds(*folder), ElementsAre(CTreeFinding::severalChildren));
    EXPECT_EQ(folder->Findings()[0].text,
              "\"base.vhdx\" is the parent of \"a.avhdx\" and \"b.avhdx\"");
    const CLinkingForecast linking = Linking();
    EXPECT_EQ(linking.outcome, CLinkingForecast::neverEnds);
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
    const CLinkingForecast linking = Linking();
    EXPECT_EQ(linking.outcome, CLinkingForecast::neverEnds);
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
    const auto folder = Open();
    EXPECT_THAT(Kinds(*folder), ElementsAre(CTreeFinding::severalChildren, CTreeFinding::circle));
    EXPECT_EQ(folder->Findings()[1].text,
              "the parents lead in a circle: \"a.avhdx\" \"b.avhdx\" \"a.avhdx\"");
    EXPECT_THAT(folder->Roots(), ElementsAre(2u));
    const CLinkingForecast linking = Linking();
    EXPECT_EQ(linking.outcome, CLinkingForecast::neverEnds);
    EXPECT_THAT(linking.reasons,
                ElementsAre(HasSubstr("\"a.avhdx\" and \"c.avhdx\" have one parent"),
                            "\"a.avhdx\" has the parent \"b.avhdx\" has the parent \"a.avhdx\": "
                            "they never reach a disk without parent"));
}

TEST_F(FolderTree, ADiskThatIsItsOwnParentIsRefused) {
    Child("a.avhdx", u".\\a.avhdx");
    EXPECT_THAT(Kinds(*Open()), ElementsAre(CTreeFinding::circle));
    EXPECT_EQ(Linking().outcome, CLinkingForecast::refuses);
}

TEST_F(FolderTree, AMissingParentIsNamed) {
    Base("base.vhdx");
    Child("a.avhdx", u".\\gone.vhdx");
    const auto folder = Open();
    EXPECT_THAT(Kinds(*folder), ElementsAre(CTreeFinding::parentMissing));
    EXPECT_EQ(folder->Findings()[0].text, "\"a.avhdx\": the parent \".\\gone.vhdx\" is missing");
    EXPECT_THAT(Linking().reasons,
                ElementsAre("\"a.avhdx\": its parent \"gone.vhdx\" is not in the folder"));
}

TEST_F(FolderTree, AParentInAnotherFolderIsFoundAndNotLinked) {
    std::filesystem::create_directory(m_folder / "sub");
    Base("sub/base.vhdx");
    Child("a.avhdx", u".\\sub\\base.vhdx");
    const auto folder = Open();
    EXPECT_THAT(Kinds(*folder), ElementsAre(CTreeFinding::parentOutside));
    EXPECT_EQ(folder->Files()[0].parentOutside, m_folder / "sub" / "base.vhdx");
    EXPECT_TRUE(folder->Files()[0].parentLinked);
    EXPECT_EQ(Linking().outcome, CLinkingForecast::refuses);
}

TEST_F(FolderTree, ARelativePathWithoutFullStopIsATreeThatTheLibraryRefuses) {
    Base("base.vhdx");
    Child("a.avhdx", u"base.vhdx");
    EXPECT_EQ(Open()->Files()[0].parent, 1u);
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
    const auto folder = Open();
    EXPECT_EQ(Problem(*folder, 0, CFailure::damaged), "the parent locator cannot be read");
    EXPECT_THAT(Linking().reasons, ElementsAre("\"a.avhdx\": its parent locator cannot be read"));
}

TEST_F(FolderTree, OneBadFileStopsTheLibraryForTheWholeFolder) {
    Base("base.vhdx");
    std::ofstream(m_folder / "bad.vhdx") << "not a disk";
    const auto folder = Open();
    EXPECT_THAT(Kinds(*folder), ElementsAre(CTreeFinding::unreadable));
    const CLinkingForecast linking = Linking();
    EXPECT_EQ(linking.outcome, CLinkingForecast::refuses);
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
    EXPECT_EQ(Problem(*Open(), 0, CFailure::logNotReplayed), "neither header of the file is valid");
    CFolderOptions standing;
    standing.log = NVHDXDisk::ELog::asItStands;
    EXPECT_EQ(Problem(*Open(standing), 0), "");
}

TEST_F(FolderTree, AParentThatChangedIsReportedAndStillTheParent) {
    CImageBuilder().DataWriteGuid(NGuid::unknown).Build().WriteTo(m_folder / "base.vhdx");
    Child("a.avhdx", u".\\base.vhdx");
    const auto folder = Open();
    EXPECT_THAT(Kinds(*folder), ElementsAre(CTreeFinding::parentChanged));
    EXPECT_EQ(folder->Files()[0].parent, 1u);
    EXPECT_FALSE(folder->Files()[0].parentLinked);
    EXPECT_EQ(Linking().outcome, CLinkingForecast::links);
}

TEST_F(FolderTree, AChildWithoutLinkageIsReportedAndItsParentNotCalledChanged) {
    Base("base.vhdx");
    CImageBuilder()
        .Differencing()
        .ParentLocator({{u"relative_path", u".\\base.vhdx"}})
        .Build()
        .WriteTo(m_folder / "a.avhdx");
    const auto folder = Open();
    EXPECT_THAT(Kinds(*folder), ElementsAre(CTreeFinding::linkageMissing));
    EXPECT_EQ(
        folder->Findings()[0].text,
        "\"a.avhdx\": the parent locator has no valid parent_linkage: nobody can tell whether "
        "a parent is the right one");
    EXPECT_EQ(folder->Files()[0].parent, 1u);
    EXPECT_FALSE(folder->Files()[0].parentLinked);
}

TEST_F(FolderTree, ANameThatTheChildHasItselfIsNotItsParent) {
    Child("a.avhdx", u"..\\elsewhere\\a.avhdx");
    EXPECT_THAT(Kinds(*Open()), ElementsAre(CTreeFinding::parentMissing));
}

#if !defined(_WIN32)
TEST_F(FolderTree, ANameBeyondLatin1IsFoundAndRefusedByTheLibrarysNarrowForm) {
    CImageBuilder().Build().WriteTo(m_folder / std::filesystem::path(u"\u0434.vhdx"));
    Child("a.avhdx", u".\\\u0434.vhdx");
    EXPECT_EQ(Open()->Files()[0].parent, 1u);
    EXPECT_EQ(Linking().outcome, CLinkingForecast::refuses);
}

TEST_F(FolderTree, ABackslashInANameKeepsTheLibraryFromOpeningIt) {
    Base("odd\\name.vhdx");
    EXPECT_EQ(Problem(*Open(), 0), "");
    EXPECT_EQ(Linking().outcome, CLinkingForecast::refuses);
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
    const auto folder = Open();
    EXPECT_EQ(folder->Files()[0].log.entries, 1u);
    EXPECT_EQ(Problem(*folder, 0, CFailure::damaged),
              "the size of the virtual disk cannot be read");
    EXPECT_EQ(Linking().outcome, CLinkingForecast::links);
}

TEST_F(FolderTree, OnRequestHoldsTheDisksOfAllFoldersBelow) {
    Base("base.vhdx");
    std::filesystem::create_directories(m_folder / "checkpoints" / "old");
    Child("checkpoints/first.AVHDX", u"..\\base.vhdx");
    Child("checkpoints/old/second.avhdx", u"..\\first.AVHDX");
    CFolderOptions options;
    options.recursive = true;
    const auto folder = Open(options);
    ASSERT_EQ(folder->Files().size(), 3U);
    EXPECT_EQ(folder->Files()[0].name, "base.vhdx");
    EXPECT_EQ(folder->Files()[1].name, "checkpoints/first.AVHDX");
    EXPECT_EQ(folder->Files()[2].name, "checkpoints/old/second.avhdx");
    EXPECT_EQ(folder->Files()[2].parent, std::optional<std::size_t>(1));
    EXPECT_THAT(folder->Roots(), ElementsAre(0U));
    EXPECT_THAT(folder->Tips(), ElementsAre(2U));
    EXPECT_THAT(folder->StraightChains(), ElementsAre(ElementsAre(0U, 1U, 2U)));
}

TEST_F(FolderTree, OfOneFolderLeavesOutWhatLiesBelow) {
    Base("base.vhdx");
    std::filesystem::create_directory(m_folder / "below");
    Base("below/other.vhdx");
    EXPECT_EQ(Open()->Files().size(), 1U);
}

}  // namespace
}  // namespace NTest
