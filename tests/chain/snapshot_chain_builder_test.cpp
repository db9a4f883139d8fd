#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vhdx_parser/snapshot_chain.h>

#include "tests/chain/chain_folder.h"

namespace {

namespace fs = std::filesystem;
using NTest::Line;
using NTest::PathText;
using NTest::Text;

template <class TChar>
class ChainBuilder : public ::testing::Test {
protected:
    using TText = std::basic_string<TChar>;
    using TFile = std::shared_ptr<NVHDX::CFileObject<TChar>>;
    using TSources = std::vector<NVHDX::NSnapshotCircuit::CSource<TFile>>;

    TText Folder() const { return PathText<TChar>(m_folder.Path()); }

    bool Build(const TText& folder) {
        return NVHDX::NSnapshotCircuit::NBuilder::DoIt(m_sources, folder);
    }
    bool Build() { return Build(Folder()); }

    /// The paths of each chain: base first, then the differencing disks, newest first.
    std::vector<std::vector<TText>> Paths() const {
        std::vector<std::vector<TText>> paths;
        for (const auto& source : m_sources) {
            paths.push_back({*source.base->path});
            for (const TFile& file : source.snapshots) {
                paths.back().push_back(*file->path);
            }
        }
        return paths;
    }

    /// The same, expected from names in the folder as it was given.
    static std::vector<std::vector<TText>> InFolder(
        const TText& folder, const std::vector<std::vector<fs::path>>& chains) {
        std::vector<std::vector<TText>> paths;
        for (const auto& chain : chains) {
            paths.emplace_back();
            for (const fs::path& name : chain) {
                paths.back().push_back(folder + PathText<TChar>(name));
            }
        }
        return paths;
    }

    void ExpectChains(const std::vector<std::vector<fs::path>>& chains) {
        ASSERT_TRUE(Build());
        EXPECT_EQ(Paths(), InFolder(Folder() + TChar('\\'), chains));
    }

    /// False with exactly these lines at level 3, nothing in `sources` and no file left open.
    void ExpectFailure(const std::vector<NTest::CTraceLine>& failures) {
        const std::size_t openBefore = NTest::OpenFiles();
        NTest::CTraceCapture trace;
        EXPECT_FALSE(Build());
        EXPECT_EQ(trace.LinesAt(3), failures);
        EXPECT_TRUE(m_sources.empty());
        EXPECT_EQ(NTest::OpenFiles(), openBefore);
    }

    NTest::CChainFolder m_folder;
    TSources m_sources;
};
TYPED_TEST_SUITE(ChainBuilder, NTest::TCharacterTypes);

TYPED_TEST(ChainBuilder, MakesAChainOfASingleBase) {
    this->m_folder.AddBase("disk.vhdx");
    this->ExpectChains({{"disk.vhdx"}});
    EXPECT_TRUE(this->m_sources[0].snapshots.empty());
}

TYPED_TEST(ChainBuilder, ListsIndependentBasesByName) {
    this->m_folder.AddBase("b.vhdx");
    this->m_folder.AddBase("a.vhdx");
    this->ExpectChains({{"a.vhdx"}, {"b.vhdx"}});
}

TYPED_TEST(ChainBuilder, PutsTheNewestSnapshotFirst) {
    this->m_folder.AddBase("base.vhdx");
    this->m_folder.AddChild("a.avhdx", u"base.vhdx");
    this->m_folder.AddChild("b.avhdx", u"a.avhdx");
    this->ExpectChains({{"base.vhdx", "b.avhdx", "a.avhdx"}});
}

TYPED_TEST(ChainBuilder, LinksWhateverTheOrderOfTheNames) {
    this->m_folder.AddBase("m.vhdx");
    this->m_folder.AddChild("z.avhdx", u"m.vhdx");
    this->m_folder.AddChild("a.vhdx", u"z.avhdx");
    this->m_folder.AddBase("b.vhdx");
    this->m_folder.AddChild("c.avhdx", u"b.vhdx");
    this->ExpectChains({{"b.vhdx", "c.avhdx"}, {"m.vhdx", "a.vhdx", "z.avhdx"}});
}

TYPED_TEST(ChainBuilder, HandsOverOpenFilesOfASingleOwner) {
    this->m_folder.AddBase("base.vhdx");
    this->m_folder.AddChild("a.avhdx", u"base.vhdx");
    ASSERT_TRUE(this->Build());
    for (const auto& file : {this->m_sources[0].base, this->m_sources[0].snapshots.at(0)}) {
        // One owner is the chain, the other one this list.
        EXPECT_EQ(file.use_count(), 2);
        EXPECT_EQ(file->path.use_count(), 1);
        EXPECT_TRUE(file->stream.is_open());
        NVHDX::NMetadata::CFileParameters parameters;
        EXPECT_TRUE(file->accessor.Retrieve(parameters, file->stream));
    }
}

TYPED_TEST(ChainBuilder, ClosesTheFilesWithTheirLastHolder) {
    this->m_folder.AddBase("base.vhdx");
    this->m_folder.AddChild("a.avhdx", u"base.vhdx");
    const std::size_t openBefore = NTest::OpenFiles();
    ASSERT_TRUE(this->Build());
    if (openBefore != 0) {
        EXPECT_EQ(NTest::OpenFiles(), openBefore + 2);
    }
    this->m_sources.clear();
    EXPECT_EQ(NTest::OpenFiles(), openBefore);
}

TYPED_TEST(ChainBuilder, KeepsEarlierSourcesInFront) {
    this->m_folder.AddBase("disk.vhdx");
    const auto earlier = std::make_shared<NVHDX::CFileObject<TypeParam>>();
    this->m_sources.push_back({earlier, {}});
    ASSERT_TRUE(this->Build());
    ASSERT_EQ(this->m_sources.size(), 2u);
    EXPECT_EQ(this->m_sources[0].base, earlier);
    EXPECT_EQ(*this->m_sources[1].base->path, this->Folder() + Text<TypeParam>("\\disk.vhdx"));
}

TYPED_TEST(ChainBuilder, LeavesTheSourcesAloneOnFailure) {
    this->m_folder.AddBase("a.vhdx");
    this->m_folder.AddChild("b.avhdx", u"missing.vhdx");
    const auto earlier = std::make_shared<NVHDX::CFileObject<TypeParam>>();
    this->m_sources.push_back({earlier, {}});
    EXPECT_FALSE(this->Build());
    ASSERT_EQ(this->m_sources.size(), 1u);
    EXPECT_EQ(this->m_sources[0].base, earlier);
}

TYPED_TEST(ChainBuilder, TakesTheFolderWithOrWithoutASeparatorAtItsEnd) {
    const fs::path sub =
        NTest::hasEveryName<TypeParam> ? fs::path(u8"my vms \u00FC\u65E5 .d") : "my vms .d";
    fs::create_directory(this->m_folder / sub);
    this->m_folder.AddBase(sub / "base disk.vhdx");
    this->m_folder.AddChild(sub / "a.avhdx", u"base disk.vhdx");
    const auto folder = PathText<TypeParam>(this->m_folder / sub);
    const auto backslash = folder + TypeParam('\\');
    const auto slash = folder + TypeParam('/');
    const auto chainsOf = [&](const std::basic_string<TypeParam>& given) {
        this->m_sources.clear();
        EXPECT_TRUE(this->Build(given));
        return this->Paths();
    };
    EXPECT_EQ(chainsOf(folder), this->InFolder(backslash, {{"base disk.vhdx", "a.avhdx"}}));
    EXPECT_EQ(chainsOf(backslash), this->InFolder(backslash, {{"base disk.vhdx", "a.avhdx"}}));
    EXPECT_EQ(chainsOf(slash), this->InFolder(slash, {{"base disk.vhdx", "a.avhdx"}}));
}

TYPED_TEST(ChainBuilder, LinksWideNamesBeyondAscii) {
    const fs::path base(u8"Pr\u00FCfung \u65E5.vhdx");
    this->m_folder.AddBase(base);
    this->m_folder.AddChild("a.avhdx", u"Pr\u00FCfung \u65E5.vhdx");
    if constexpr (!NTest::hasEveryName<TypeParam>) {
        // The base has no narrow name that finds it again, and is not passed over.
        this->ExpectFailure({Line(3, "opening file error")});
    } else if constexpr (sizeof(TypeParam) == 1) {
        // A narrow parent name keeps low bytes only, which are not the bytes of the file's name.
        this->ExpectFailure({});
    } else {
        this->ExpectChains({{base, "a.avhdx"}});
    }
}

TYPED_TEST(ChainBuilder, LinksWideNamesOutsideTheBasicPlane) {
    // The disk keeps the name as UTF-16, where it has two units more than in UTF-32.
    const fs::path base(u8"\U0001F4BE \U0001F5C4.vhdx");
    this->m_folder.AddBase(base);
    this->m_folder.AddChild("a.avhdx", u"\U0001F4BE \U0001F5C4.vhdx");
    this->m_folder.AddChild("b.avhdx", u"a.avhdx");
    if constexpr (!NTest::hasEveryName<TypeParam>) {
        this->ExpectFailure({Line(3, "opening file error")});
    } else if constexpr (sizeof(TypeParam) == 1) {
        this->ExpectFailure({});
    } else {
        this->ExpectChains({{base, "b.avhdx", "a.avhdx"}});
    }
}

TYPED_TEST(ChainBuilder, LinksNarrowNamesByTheirLowBytes) {
    this->m_folder.AddBase("A.vhdx");
    this->m_folder.AddChild("b.avhdx", u"\u0141.vhdx");
    if constexpr (sizeof(TypeParam) == 1) {
        this->ExpectChains({{"A.vhdx", "b.avhdx"}});
    } else {
        this->ExpectFailure({});
    }
}

TYPED_TEST(ChainBuilder, IgnoresWhatIsNoDisk) {
    this->m_folder.AddBase("disk.vhdx");
    std::ofstream(this->m_folder / "x.VHDX") << "no disk";
    std::ofstream(this->m_folder / "x.Vhdx") << "no disk";
    std::ofstream(this->m_folder / "readme") << "no disk";
    fs::create_directory(this->m_folder / "y.vhdx");
    this->ExpectChains({{"disk.vhdx"}});
}

TYPED_TEST(ChainBuilder, RefusesAFolderThatCannotBeRead) {
    NTest::CTraceCapture trace;
    EXPECT_FALSE(this->Build(this->Folder() + Text<TypeParam>("/missing")));
    EXPECT_FALSE(this->Build(Text<TypeParam>("")));
    EXPECT_TRUE(trace.Lines().empty());
    EXPECT_TRUE(this->m_sources.empty());
}

TYPED_TEST(ChainBuilder, RefusesAFolderWithoutDisks) {
    this->ExpectFailure({});
    std::ofstream(this->m_folder / "x.VHDX") << "no disk";
    fs::create_directory(this->m_folder / "y.vhdx");
    this->ExpectFailure({});
}

TYPED_TEST(ChainBuilder, RefusesAMissingParentInSilence) {
    this->m_folder.AddBase("base.vhdx");
    this->m_folder.AddChild("a.avhdx", u"gone.vhdx");
    this->ExpectFailure({});
}

TYPED_TEST(ChainBuilder, RefusesARenamedParent) {
    // Upper and lower case differ, also where the file system does not tell them apart.
    this->m_folder.AddBase("Base.vhdx");
    this->m_folder.AddChild("a.avhdx", u"base.vhdx");
    this->ExpectFailure({});
}

TYPED_TEST(ChainBuilder, RefusesADiskThatNamesItself) {
    this->m_folder.AddBase("base.vhdx");
    this->m_folder.AddChild("a.avhdx", u"a.avhdx");
    this->ExpectFailure({});
}

TYPED_TEST(ChainBuilder, RefusesTheWholeFolderForOneFileThatIsNoDisk) {
    this->m_folder.AddBase("a.vhdx");
    std::ofstream(this->m_folder / "b.vhdx");
    this->ExpectFailure(
        {Line(3, "Reading failed Stream Portion Reading"), Line(3, "opening file error")});
}

TYPED_TEST(ChainBuilder, RefusesTheWholeFolderForOneBadParentLocator) {
    this->m_folder.AddBase("a.vhdx");
    this->m_folder.Add("b.avhdx", NTest::CImageBuilder().Differencing().EditParentLocator(
                                      [](auto& locator) { locator.type = NTest::NGuid::unknown; }));
    this->ExpectFailure({Line(3, "PARENT_METADATA bad locator type"), Line(3, "retriving error")});
}

TYPED_TEST(ChainBuilder, RefusesAParentLocatorWithoutRelativePathInSilence) {
    this->m_folder.AddBase("a.vhdx");
    this->m_folder.Add("b.avhdx", NTest::CImageBuilder().Differencing().ParentLocator({}));
    this->ExpectFailure({});
}

TYPED_TEST(ChainBuilder, RefusesARelativePathThatIsTooShort) {
    this->m_folder.AddBase("a.vhdx");
    this->m_folder.AddRelative("b.avhdx", u".");
    this->ExpectFailure({Line(3, "ID length < 2")});
}

TYPED_TEST(ChainBuilder, RefusesARelativePathWithoutDotAndBackslash) {
    this->m_folder.AddBase("parent.vhdx");
    this->m_folder.AddRelative("a.avhdx", u"parent.vhdx");
    this->ExpectFailure({Line(3, "symble error")});
}

TYPED_TEST(ChainBuilder, WorksWithoutATraceWriter) {
    this->m_folder.AddBase("a.vhdx");
    EXPECT_TRUE(this->Build());
    std::ofstream(this->m_folder / "b.vhdx");
    EXPECT_FALSE(this->Build());
    EXPECT_EQ(this->m_sources.size(), 1u);
}

#if !defined(_WIN32)

TYPED_TEST(ChainBuilder, TakesNamesThatAreNoUtf8) {
    this->m_folder.AddBase("\xFF.vhdx");
    this->m_folder.AddBase("a.vhdx");
    this->m_folder.AddChild("b.avhdx", u"a.vhdx");
    std::ofstream(this->m_folder / "\xC3(") << "no disk";
    ASSERT_TRUE(this->Build());
    const auto inFolder = this->Folder() + TypeParam('\\');
    const auto odd = sizeof(TypeParam) == 1 ? TypeParam('\xFF') : TypeParam(0xDCFF);
    EXPECT_EQ(this->Paths(),
              (std::vector<std::vector<std::basic_string<TypeParam>>>{
                  {inFolder + Text<TypeParam>("a.vhdx"), inFolder + Text<TypeParam>("b.avhdx")},
                  {inFolder + odd + Text<TypeParam>(".vhdx")}}));
}

TYPED_TEST(ChainBuilder, OpensNoOtherFileForANameThatHoldsABackslash) {
    // The path of the item is that of a file in a folder as well, beside this folder or in it.
    const fs::path folder = this->m_folder / "vm";
    const auto text = PathText<TypeParam>(folder);
    fs::create_directories(folder / "a");
    fs::create_directory(this->m_folder / "vm\\a");
    this->m_folder.AddBase("vm\\a/b.vhdx");
    this->m_folder.AddBase("vm/a/b.vhdx");
    this->m_folder.AddBase("vm/a\\b.vhdx");
    for (const char* const separator : {"", "/", "\\"}) {
        NTest::CTraceCapture trace;
        EXPECT_FALSE(this->Build(text + Text<TypeParam>(separator)));
        EXPECT_EQ(trace.Lines(), (std::vector{Line(3, "opening file error")}));
    }
    fs::rename(folder / "a\\b.vhdx", folder / "a\\b");  // no disk by its name
    this->m_folder.AddBase("vm/c.vhdx");
    EXPECT_TRUE(this->Build(text));
}

TYPED_TEST(ChainBuilder, TakesAFolderWhoseOwnNameHoldsABackslash) {
    fs::create_directory(this->m_folder / "odd\\vm\\");
    this->m_folder.AddBase("odd\\vm\\/disk.vhdx");
    const auto folder = this->Folder() + Text<TypeParam>("/odd\\vm\\/");
    ASSERT_TRUE(this->Build(folder));
    EXPECT_EQ(*this->m_sources[0].base->path, folder + Text<TypeParam>("disk.vhdx"));
}

#endif

}  // namespace
