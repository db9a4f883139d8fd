#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_disk/path_query.h>

#include "vhdx_disk/chain/locator_path.h"

namespace NTest {
namespace {

using NVHDXDisk::PathFromLocator;
using NVHDXDisk::Utf8;
namespace fs = std::filesystem;

TEST(LocatorPath, BackslashesDivideFolders) {
    EXPECT_EQ(PathFromLocator(L"..\\base\\disk.vhdx"), fs::path("../base/disk.vhdx"));
}

TEST(LocatorPath, Utf16PairsBecomeOneCharacter) {
    const std::wstring pair = {wchar_t(0xD83D), wchar_t(0xDE00)};
    EXPECT_EQ(PathFromLocator(pair), fs::path(u"\U0001F600"));
    EXPECT_EQ(Utf8(pair), "\xF0\x9F\x98\x80");
}

TEST(LocatorPath, HalfAPairIsNoPath) {
    const std::wstring half = {wchar_t(0xD83D), L'x'};
    EXPECT_EQ(PathFromLocator(half), std::nullopt);
    EXPECT_EQ(Utf8(half), "\xEF\xBF\xBDx");
}

TEST(LocatorPath, ZerosAtTheEndAreDroppedAndInsideRefused) {
    EXPECT_EQ(PathFromLocator(std::wstring(L"a\0", 2)), fs::path("a"));
    EXPECT_EQ(PathFromLocator(std::wstring(L"a\0b", 3)), std::nullopt);
    EXPECT_EQ(PathFromLocator(L""), std::nullopt);
}

TEST(LocatorPath, TextIsUtf8) {
    EXPECT_EQ(Utf8(L"\u00E4\u0434\u20AC"), "\xC3\xA4\xD0\xB4\xE2\x82\xAC");
}

}  // namespace
}  // namespace NTest
