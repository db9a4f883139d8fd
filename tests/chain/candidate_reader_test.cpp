#include "vhdx_parser/chain/candidate_reader.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include "tests/chain/chain_folder.h"

namespace {

namespace fs = std::filesystem;
using NTest::CImageBuilder;
using NTest::CTraceLine;
using NTest::Line;
using NTest::PathText;
using NTest::Text;

template <class TChar>
class CandidateReader : public ::testing::Test {
protected:
    std::basic_string<TChar> Folder() const { return PathText<TChar>(m_folder.Path()); }

    /// The folder, a backslash and the name, as the library joins them.
    std::basic_string<TChar> PathOf(const fs::path& name) const {
        return Folder() + TChar('\\') + PathText<TChar>(name);
    }

    bool Read(const fs::path& name) { return ReadCandidate(m_candidates, PathOf(name)); }

    /// Reading the disk fails with the lines of `whileReading` and then `failure`, adds nothing to
    /// the candidates, and leaves no file open.
    void ExpectFailure(const fs::path& name, std::vector<CTraceLine> whileReading,
                       const std::vector<CTraceLine>& failure) {
        whileReading.insert(whileReading.end(), failure.begin(), failure.end());
        const std::size_t openBefore = NTest::OpenFiles();
        NTest::CTraceCapture trace;
        EXPECT_FALSE(Read(name));
        EXPECT_EQ(trace.Lines(), whileReading);
        EXPECT_TRUE(m_candidates.empty());
        EXPECT_EQ(NTest::OpenFiles(), openBefore);
    }

    /// The failure comes after the whole disk was read without one.
    void ExpectFailureAfterReading(const fs::path& name, const std::vector<CTraceLine>& failure) {
        const auto lines = NTest::LinesOfReading(m_folder / name);
        ASSERT_EQ(lines.back(), Line(1, "PARENT_METADATA formatRelativePath"));
        ExpectFailure(name, lines, failure);
    }

    NTest::CChainFolder m_folder;
    std::vector<NVHDX::CChainCandidate<TChar>> m_candidates;
};
TYPED_TEST_SUITE(CandidateReader, NTest::TCharacterTypes);

TYPED_TEST(CandidateReader, AppendsABaseDisk) {
    this->m_folder.AddBase("disk.vhdx");
    NTest::CTraceCapture trace;
    ASSERT_TRUE(this->Read("disk.vhdx"));
    const auto lines = trace.Lines();
    EXPECT_EQ(lines, NTest::LinesOfReading(this->m_folder / "disk.vhdx"));
    ASSERT_EQ(this->m_candidates.size(), 1u);
    const auto& candidate = this->m_candidates[0];
    EXPECT_EQ(candidate.name, Text<TypeParam>("disk.vhdx"));
    EXPECT_FALSE(candidate.differencing);
    EXPECT_TRUE(candidate.parentName.empty());
    EXPECT_EQ(*candidate.file->path, this->PathOf("disk.vhdx"));
    EXPECT_TRUE(candidate.file->stream.is_open());
}

TYPED_TEST(CandidateReader, AppendsADifferencingDiskWithItsParentsName) {
    this->m_folder.AddBase("a.vhdx");
    this->m_folder.AddChild("b.avhdx", u"my parent.vhdx");
    ASSERT_TRUE(this->Read("a.vhdx"));
    ASSERT_TRUE(this->Read("b.avhdx"));
    ASSERT_EQ(this->m_candidates.size(), 2u);
    const auto& candidate = this->m_candidates[1];
    EXPECT_EQ(candidate.name, Text<TypeParam>("b.avhdx"));
    EXPECT_TRUE(candidate.differencing);
    EXPECT_EQ(candidate.parentName, Text<TypeParam>("my parent.vhdx"));
}

TYPED_TEST(CandidateReader, KnowsADifferencingDiskByItsParentLocatorAlone) {
    // Neither the extension nor the flag of the file parameters decides.
    this->m_folder.Add("flagged.avhdx", CImageBuilder().Differencing().NoParentLocator());
    this->m_folder.AddChild("linked.vhdx", u"p.vhdx");
    ASSERT_TRUE(this->Read("flagged.avhdx"));
    ASSERT_TRUE(this->Read("linked.vhdx"));
    EXPECT_FALSE(this->m_candidates[0].differencing);
    EXPECT_TRUE(this->m_candidates[1].differencing);
}

TYPED_TEST(CandidateReader, KeepsTheLowByteOfANarrowParentNameOnly) {
    // U+0141 and U+FF61 have the low bytes of "A" and "a".
    this->m_folder.AddChild("b.avhdx", u"\u0141\uFF61\u00FC.vhdx");
    ASSERT_TRUE(this->Read("b.avhdx"));
    if constexpr (sizeof(TypeParam) == 1) {
        EXPECT_EQ(this->m_candidates[0].parentName, "Aa\xFC.vhdx");
    } else {
        EXPECT_EQ(this->m_candidates[0].parentName, L"\u0141\uFF61\u00FC.vhdx");
    }
}

TYPED_TEST(CandidateReader, AcceptsAnEmptyParentName) {
    this->m_folder.AddRelative("b.avhdx", u".\\");
    ASSERT_TRUE(this->Read("b.avhdx"));
    EXPECT_TRUE(this->m_candidates[0].differencing);
    EXPECT_TRUE(this->m_candidates[0].parentName.empty());
}

TYPED_TEST(CandidateReader, RefusesAPathWithoutAFolder) {
    NTest::CTraceCapture trace;
    EXPECT_FALSE(ReadCandidate(this->m_candidates, Text<TypeParam>("disk.vhdx")));
    EXPECT_EQ(trace.Lines(), (std::vector{Line(3, "extraction error")}));
    EXPECT_TRUE(this->m_candidates.empty());
}

TYPED_TEST(CandidateReader, RefusesAFileThatCannotBeOpened) {
    this->ExpectFailure("missing.vhdx", {}, {Line(3, "opening file error")});
}

TYPED_TEST(CandidateReader, RefusesAFileThatIsNoContainer) {
    std::ofstream(this->m_folder / "empty.vhdx");
    this->ExpectFailure(
        "empty.vhdx",
        {Line(4, "Reading size: 520"), Line(3, "Reading failed Stream Portion Reading")},
        {Line(3, "opening file error")});
    this->m_folder.Add("cut.vhdx", CImageBuilder().FileSize(4096));
    this->ExpectFailure("cut.vhdx", NTest::LinesOfReading(this->m_folder / "cut.vhdx"),
                        {Line(3, "opening file error")});
}

TYPED_TEST(CandidateReader, RefusesAParentLocatorThatCannotBeRead) {
    this->m_folder.Add("b.avhdx", CImageBuilder().Differencing().EditParentLocator(
                                      [](auto& locator) { locator.type = NTest::NGuid::unknown; }));
    const auto lines = NTest::LinesOfReading(this->m_folder / "b.avhdx");
    ASSERT_EQ(lines.back(), Line(3, "PARENT_METADATA bad locator type"));
    this->ExpectFailure("b.avhdx", lines, {Line(3, "retriving error")});
}

TYPED_TEST(CandidateReader, RefusesALocatorWithoutARelativePathInSilence) {
    this->m_folder.Add("b.avhdx", CImageBuilder().Differencing().ParentLocator(
                                      {{u"volume_path", u".\\parent.vhdx"}}));
    const auto lines = NTest::LinesOfReading(this->m_folder / "b.avhdx");
    ASSERT_EQ(lines.back(), Line(1, "PARENT_METADATA formatVolumePath"));
    this->ExpectFailure("b.avhdx", lines, {});
}

TYPED_TEST(CandidateReader, RefusesARelativePathOfLessThanTwoCharacters) {
    this->m_folder.AddRelative("empty.avhdx", u"");
    this->ExpectFailureAfterReading("empty.avhdx", {Line(3, "ID length < 2")});
    this->m_folder.AddRelative("dot.avhdx", u".");
    this->ExpectFailureAfterReading("dot.avhdx", {Line(3, "ID length < 2")});
}

TYPED_TEST(CandidateReader, RefusesARelativePathThatDoesNotStartInTheFolder) {
    const std::u16string paths[] = {u"parent.vhdx",      u"./parent.vhdx", u"..\\parent.vhdx",
                                    u"\\.\\parent.vhdx", u"\\\\",          u".."};
    for (const std::u16string& path : paths) {
        this->m_folder.AddRelative("b.avhdx", path);
        this->ExpectFailureAfterReading("b.avhdx", {Line(3, "symble error")});
    }
}

TYPED_TEST(CandidateReader, ReadsEveryDiskOfAFolderSortedByName) {
    this->m_folder.AddBase("c.vhdx");
    this->m_folder.AddChild("a.avhdx", u"c.vhdx");
    this->m_folder.AddBase("b.vhdx");
    ASSERT_TRUE(ReadCandidates(this->m_candidates, this->Folder()));
    std::vector<std::basic_string<TypeParam>> names;
    for (const auto& candidate : this->m_candidates) {
        names.push_back(candidate.name);
    }
    EXPECT_EQ(names, (std::vector{Text<TypeParam>("a.avhdx"), Text<TypeParam>("b.vhdx"),
                                  Text<TypeParam>("c.vhdx")}));
}

TYPED_TEST(CandidateReader, PassesOverWhatIsNoDisk) {
    for (const char* name : {"a.VHDX", "b.Vhdx", "c.vhd", "d.vhdx.bak", "e.xvhdx", "vhdx", "f."}) {
        std::ofstream(this->m_folder / name) << "no disk";
    }
    fs::create_directory(this->m_folder / "y.vhdx");
    fs::create_directory(this->m_folder / "z.avhdx");
    NTest::CTraceCapture trace;
    EXPECT_TRUE(ReadCandidates(this->m_candidates, this->Folder()));
    EXPECT_TRUE(this->m_candidates.empty());
    EXPECT_TRUE(trace.Lines().empty());
}

TYPED_TEST(CandidateReader, StopsAtTheFirstDiskThatCannotBeRead) {
    this->m_folder.AddBase("a.vhdx");
    std::ofstream(this->m_folder / "b.vhdx");
    std::ofstream(this->m_folder / "c.vhdx");
    NTest::CTraceCapture trace;
    EXPECT_FALSE(ReadCandidates(this->m_candidates, this->Folder()));
    EXPECT_EQ(trace.LinesAt(3), (std::vector{Line(3, "Reading failed Stream Portion Reading"),
                                             Line(3, "opening file error")}));
}

#if !defined(_WIN32)

TYPED_TEST(CandidateReader, NeverWaitsForAPipeWithADisksName) {
    ASSERT_EQ(mkfifo((this->m_folder / "pipe.vhdx").c_str(), 0600), 0);
    NTest::CTraceCapture trace;
    EXPECT_FALSE(ReadCandidates(this->m_candidates, this->Folder()));
    EXPECT_EQ(trace.Lines(), (std::vector{Line(3, "opening file error")}));
}

TYPED_TEST(CandidateReader, RefusesALinkToNothing) {
    fs::create_symlink("nowhere", this->m_folder / "link.vhdx");
    this->ExpectFailure("link.vhdx", {}, {Line(3, "opening file error")});
}

#endif

}  // namespace
