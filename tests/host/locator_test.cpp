#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/locator_path.h"
#include "host/parent_linkage.h"

namespace NTest {
namespace {

using namespace NVHDXHost;
using NVHDX::NMetadata::CParent;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

CParent Locator(CParent::EFormat format, const std::wstring& value) {
    CParent locator;
    locator.present = true;
    locator.entries[format] = {format, value};
    return locator;
}

TEST(LocatorPath, BackslashesDivideFolders) {
    EXPECT_EQ(PathFromLocator(L"..\\base\\disk.vhdx"), fs::path("../base/disk.vhdx"));
}

TEST(LocatorPath, Utf16PairsBecomeOneCharacter) {
    const std::wstring pair = {wchar_t(0xD83D), wchar_t(0xDE00)};
    EXPECT_EQ(PathFromLocator(pair), fs::path(u"\U0001F600"));
    EXPECT_EQ(TextFromLocator(pair), "\xF0\x9F\x98\x80");
}

TEST(LocatorPath, HalfAPairIsNoPath) {
    const std::wstring half = {wchar_t(0xD83D), L'x'};
    EXPECT_EQ(PathFromLocator(half), std::nullopt);
    EXPECT_EQ(TextFromLocator(half), "?x");
}

TEST(LocatorPath, ZerosAtTheEndAreDroppedAndInsideRefused) {
    EXPECT_EQ(PathFromLocator(std::wstring(L"a\0", 2)), fs::path("a"));
    EXPECT_EQ(PathFromLocator(std::wstring(L"a\0b", 3)), std::nullopt);
    EXPECT_EQ(PathFromLocator(L""), std::nullopt);
}

TEST(LocatorPath, TextIsUtf8) {
    EXPECT_EQ(TextFromLocator(L"\u00E4\u0434\u20AC"), "\xC3\xA4\xD0\xB4\xE2\x82\xAC");
}

TEST(ParentCandidates, RelativePathFirstThenTheFileNameInTheFolder) {
    EXPECT_THAT(ParentCandidates(Locator(CParent::formatRelativePath, L"..\\b\\disk.vhdx"),
                                 "c/d/e.avhdx", false),
                ElementsAre(fs::path("c/b/disk.vhdx"), fs::path("c/d/disk.vhdx")));
}

TEST(ParentCandidates, APathIntoTheSameFolderIsOneCandidate) {
    EXPECT_THAT(
        ParentCandidates(Locator(CParent::formatRelativePath, L".\\x.vhdx"), "f/e.avhdx", false),
        ElementsAre(fs::path("f/x.vhdx")));
}

TEST(ParentCandidates, ARelativePathNeverLeavesFromTheRoot) {
    EXPECT_THAT(
        ParentCandidates(Locator(CParent::formatRelativePath, L"\\x\\y.vhdx"), "f/e.avhdx", false),
        ElementsAre(fs::path("f/x/y.vhdx"), fs::path("f/y.vhdx")));
}

TEST(ParentCandidates, TheChildItselfOnlyWhereItsPathSaysSo) {
    EXPECT_THAT(
        ParentCandidates(Locator(CParent::formatRelativePath, L"..\\b\\e.vhdx"), "f/e.vhdx", false),
        ElementsAre(fs::path("b/e.vhdx")));
    EXPECT_THAT(
        ParentCandidates(Locator(CParent::formatRelativePath, L".\\e.vhdx"), "f/e.vhdx", false),
        ElementsAre(fs::path("f/e.vhdx")));
}

TEST(ParentCandidates, AbsolutePathsOnRequestOnly) {
    const CParent locator = Locator(CParent::formatAbsoluteWin32Path, L"\\images\\x.vhdx");
    EXPECT_THAT(ParentCandidates(locator, "f/e.avhdx", false), IsEmpty());
    EXPECT_THAT(ParentCandidates(locator, "f/e.avhdx", true),
                ElementsAre(fs::path("/images/x.vhdx")));
}

TEST(ParentLinkage, AGuidIsReadInEitherCase) {
    const auto guid = ParseGuid(L"{2dc27766-F623-4200-9d64-115E9BFD4A08}");
    ASSERT_TRUE(guid);
    EXPECT_EQ(TextOf(*guid), "{2DC27766-F623-4200-9D64-115E9BFD4A08}");
}

TEST(ParentLinkage, AnyOtherTextIsNoGuid) {
    for (const wchar_t* const text :
         {L"", L"{}", L"2DC27766-F623-4200-9D64-115E9BFD4A08",
          L"{2DC27766-F623-4200-9D64-115E9BFD4A0}", L"{2DC27766-F623-4200-9D64-115E9BFD4A08)",
          L"{2DC27766+F623-4200-9D64-115E9BFD4A08}", L"{2DC27766-F623-4200-9D64-115E9BFD4A0G}"}) {
        EXPECT_EQ(ParseGuid(text).has_value(), false) << text;
    }
}

TEST(ParentLinkage, BothKeysCountAndBadTextsDoNot) {
    CParent locator = Locator(CParent::formatParentLinkage, L"nothing");
    locator.entries[CParent::formatParentLinkage2] = {CParent::formatParentLinkage2,
                                                      L"{2DC27766-F623-4200-9D64-115E9BFD4A08}"};
    EXPECT_EQ(LinkagesOf(locator).size(), 1u);
}

TEST(ParentLinkage, TheNullGuidIsNone) {
    EXPECT_THAT(LinkagesOf(Locator(CParent::formatParentLinkage2,
                                   L"{00000000-0000-0000-0000-000000000000}")),
                IsEmpty());
}

}  // namespace
}  // namespace NTest
