#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_disk/check.h>
#include <vhdx_disk/disk.h>
#include <vhdx_disk/folder.h>
#include <vhdx_disk/path_query.h>

#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"

namespace NVHDXDisk {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::ResultOf;

TEST(Printable, KeepsOrdinaryText) {
    EXPECT_EQ(Printable("a b\\c"), "a b\\c");
    EXPECT_EQ(Printable("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"),
              "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Printable, EscapesControlCharacters) {
    EXPECT_EQ(Printable("\x1B[31m\n\t\x7F"), "\\u{1B}[31m\\u{A}\\u{9}\\u{7F}");
    EXPECT_EQ(Printable(std::string("\0", 1)), "\\u{0}");
    EXPECT_EQ(Printable("\xC2\x9B"), "\\u{9B}");
}

TEST(Printable, EscapesDirectionMarksAndLineSeparators) {
    EXPECT_EQ(Printable("\xE2\x80\xAE"), "\\u{202E}");
    EXPECT_EQ(Printable("\xE2\x81\xA6"), "\\u{2066}");
    EXPECT_EQ(Printable("\xE2\x80\xA8"), "\\u{2028}");
}

TEST(Printable, EscapesBytesThatAreNoUtf8) {
    EXPECT_EQ(Printable("\xFF"), "\\xFF");
    EXPECT_EQ(Printable("\x80"), "\\x80");
    EXPECT_EQ(Printable("\xC3"), "\\xC3");  // cut off
    EXPECT_EQ(Printable("\xC3("
                        "a"),
              "\\xC3(a");                                              // no continuation
    EXPECT_EQ(Printable("\xC0\x9B"), "\\xC0\\x9B");                    // longer than need be
    EXPECT_EQ(Printable("\xE0\x80\x9B"), "\\xE0\\x80\\x9B");           // longer than need be
    EXPECT_EQ(Printable("\xED\xA0\x80"), "\\xED\\xA0\\x80");           // a surrogate
    EXPECT_EQ(Printable("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");  // past the last character
    EXPECT_EQ(Printable("\xF8\x88\x80\x80\x80"), "\\xF8\\x88\\x80\\x80\\x80");
}

TEST(Printable, KeepsWhatItMade) {
    const std::string once = Printable("\x1B[31m\n\xFF\xE2\x80\xAE\\");
    EXPECT_EQ(once, "\\u{1B}[31m\\u{A}\\xFF\\u{202E}\\");
    EXPECT_EQ(Printable(once), once);
}

/// What steers a terminal, forges a line or turns the direction of reading.
constexpr auto HostileName = "d\x1B[31m\nvhdx: done\xE2\x80\xAE\xFF";
constexpr auto SafeName = R"(d\u{1B}[31m\u{A}vhdx: done\u{202E}\xFF)";
constexpr auto HostileUnits = u".\\p\u001B[31m\nvhdx: done\u202E\xD800.vhdx";
constexpr auto SafeUnits = "p\\u{1B}[31m\\u{A}vhdx: done\\u{202E}\xEF\xBF\xBD.vhdx";

bool IsSafe(const std::string& text) {
    return !text.empty() && Printable(text) == text;
}

NTest::CImageBuilder ChildOf(const std::u16string& parent) {
    return NTest::CImageBuilder().Differencing().ParentLocator(
        {{u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
         {u"relative_path", parent},
         {u"absolute_win32_path", u"C:" + parent.substr(1)}});
}

CFailure WhyNotOpened(const std::filesystem::path& path) {
    CFailure failure;
    EXPECT_EQ(CDisk::Open(path, {}, failure), nullptr);
    return failure;
}

std::vector<CFinding> FindingsOf(const std::filesystem::path& path) {
    std::vector<CFinding> findings;
    const auto report = [&](const CFinding& finding) { findings.push_back(finding); };
    CFailure failure;
    std::size_t disks = 0;
    EXPECT_TRUE(std::filesystem::is_directory(path)
                    ? CheckFolder(path, ELog::replay, report, disks, failure)
                    : CheckDisk(path, ELog::replay, EParentCheck::complete, report, failure))
        << failure.text;
    return findings;
}

std::vector<std::string> TextsOf(const CFolder& folder) {
    std::vector<std::string> texts = folder.Linking().reasons;
    for (const CTreeFinding& finding : folder.Findings()) {
        texts.push_back(finding.text);
    }
    for (const CTreeFile& file : folder.Files()) {
        if (file.problem) {
            texts.push_back(file.problem->text);
            texts.push_back(file.problem->reason);
        }
    }
    return texts;
}

TEST(PrintableTexts, AreThoseOfAFailureWhateverItsMaker) {
    const CFailure failure =
        MakeFailure(CFailure::targetFailed, "a\nb", "it said \x1B[2J\n\xE2\x80\xAE");
    EXPECT_EQ(failure.reason, R"(it said \u{1B}[2J\u{A}\u{202E})");
    EXPECT_EQ(failure.text, R"("a\u{A}b": it said \u{1B}[2J\u{A}\u{202E})");
    EXPECT_EQ(failure.file, "a\nb");
}

TEST(PrintableTexts, AreThoseWithTextsOfALocator) {
    const NTest::CTemporaryFolder folder;
    ChildOf(HostileUnits).Build().WriteTo(folder / "child.avhdx");
    const CFailure failure = WhyNotOpened(folder / "child.avhdx");
    EXPECT_THAT(failure.text, HasSubstr(SafeUnits));
    EXPECT_TRUE(IsSafe(failure.text)) << failure.text;

    const auto findings = FindingsOf(folder / "child.avhdx");
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_THAT(findings[0].text, HasSubstr(SafeUnits));
    EXPECT_TRUE(IsSafe(findings[0].text)) << findings[0].text;

    CFailure refusal;
    const auto tree = CFolder::Open(folder.Path(), {}, refusal);
    ASSERT_NE(tree, nullptr);
    const std::vector<std::string> texts = TextsOf(*tree);
    ASSERT_EQ(texts.size(), 2U);
    EXPECT_THAT(texts[0],
                HasSubstr("\\u{1B}[31m\\u{A}vhdx: done"));  // as the first library reads it
    EXPECT_THAT(texts[1], HasSubstr(SafeUnits));
    EXPECT_THAT(texts, Each(ResultOf(IsSafe, true)));
}

#if !defined(_WIN32)
/// Disks of names that Windows does not take.
class PrintableNames : public testing::Test {
protected:
    std::string Name(const std::string& suffix) const { return HostileName + suffix; }

    void ExpectSafe(const std::vector<std::string>& texts, std::size_t count) const {
        EXPECT_EQ(texts.size(), count);
        EXPECT_THAT(texts, Each(HasSubstr(SafeName)));
        EXPECT_THAT(texts, Each(ResultOf(IsSafe, true)));
    }

    NTest::CTemporaryFolder folder;
};

TEST_F(PrintableNames, AreInFailures) {
    const CFailure failure = WhyNotOpened(folder / Name(".vhdx"));
    ExpectSafe({failure.text}, 1);
    EXPECT_TRUE(IsSafe(failure.reason));
    EXPECT_EQ(failure.file, folder / Name(".vhdx"));
}

TEST_F(PrintableNames, AreInFindingsOfAFolder) {
    const std::u16string parent(u".\\base.vhdx");
    NTest::CImageBuilder().FileSize(1000).Build().WriteTo(folder / Name(".vhdx"));
    NTest::CImageBuilder().Build().WriteTo(folder / "base.vhdx");
    ChildOf(parent).Build().WriteTo(folder / Name("1.avhdx"));
    ChildOf(parent).Build().WriteTo(folder / Name("2.avhdx"));
    CFailure failure;
    const auto tree = CFolder::Open(folder.Path(), {}, failure);
    ASSERT_NE(tree, nullptr);
    std::vector<std::string> texts = TextsOf(*tree);
    ASSERT_GE(texts.size(), 2U);
    const std::string reason = texts.back();  // the one that names no file
    texts.pop_back();
    EXPECT_TRUE(IsSafe(reason));
    ExpectSafe(texts, texts.size());
    for (const CFinding& finding : FindingsOf(folder.Path())) {
        EXPECT_TRUE(IsSafe(finding.text)) << finding.text;
        EXPECT_TRUE(IsSafe(finding.place)) << finding.place;
    }
}
#endif

}  // namespace
}  // namespace NVHDXDisk
