// Narrow names in the code pages of Windows, whichever of them this process has.

#include "vhdx_parser/foundation/code_page.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace NTest {
namespace {

using NCodePage::FindLastSeparator;
using NCodePage::Narrow;
using NCodePage::Widen;

constexpr unsigned japanese = 932;
constexpr unsigned simplifiedChinese = 936;
constexpr unsigned traditionalChinese = 950;
constexpr unsigned westernEuropean = 1252;

TEST(CodePage, ConvertsBothWays) {
    EXPECT_EQ(Narrow(L"Pr\u00FCfung.vhdx", westernEuropean),
              "Pr\xFC"
              "fung.vhdx");
    EXPECT_EQ(Widen("Pr\xFC"
                    "fung.vhdx",
                    westernEuropean),
              L"Pr\u00FCfung.vhdx");
    EXPECT_EQ(Narrow(L"\u65E5\u672C", japanese), "\x93\xFA\x96\x7B");
    EXPECT_EQ(Widen("\x93\xFA\x96\x7B", japanese), L"\u65E5\u672C");
    EXPECT_EQ(Narrow(L"\u65E5 \U0001F4BE", CP_UTF8), "\xE6\x97\xA5 \xF0\x9F\x92\xBE");
    EXPECT_EQ(Widen("\xE6\x97\xA5 \xF0\x9F\x92\xBE", CP_UTF8), L"\u65E5 \U0001F4BE");
    EXPECT_EQ(Narrow(L"", japanese), "");
    EXPECT_EQ(Widen("", japanese), L"");
}

TEST(CodePage, PutsAQuestionMarkForWhatItDoesNotHave) {
    EXPECT_EQ(Narrow(L"\u65E5.vhdx", westernEuropean), "?.vhdx");
    EXPECT_EQ(Narrow(L"\u00FC\u0E01.vhdx", japanese)->find('?'), 0u);
}

TEST(CodePage, PutsNoSimilarCharacter) {
    // With the best fit these would be "A" and a backslash, and name other files.
    EXPECT_EQ(Narrow(L"\uFF21.vhdx", westernEuropean), "?.vhdx");
    EXPECT_EQ(Narrow(L"a\u2216b.vhdx", westernEuropean), "a?b.vhdx");
}

TEST(CodePage, PutsAQuestionMarkForHalvesOfAPairInUtf8Too) {
    EXPECT_EQ(Narrow(L"a\xD83D", CP_UTF8), "a?");
    EXPECT_EQ(Narrow(L"\xDCBE\xD83D.vhdx", CP_UTF8), "??.vhdx");
}

TEST(CodePage, RefusesBytesThatAreNoText) {
    EXPECT_EQ(Widen("\xFF.vhdx", CP_UTF8), std::nullopt);
    EXPECT_EQ(Widen("a\x93", japanese), std::nullopt);
}

TEST(CodePage, KnowsNoOtherCodePages) {
    EXPECT_EQ(Narrow(L"a", 12345), std::nullopt);
    EXPECT_EQ(Widen("a", 12345), std::nullopt);
}

TEST(CodePage, SeeksSeparatorsByCharacters) {
    // The second byte of each of these characters is that of a backslash.
    EXPECT_EQ(FindLastSeparator("D:\\vm\\\x83\x5C.vhdx", japanese), 5u);
    EXPECT_EQ(FindLastSeparator("D:\\vm\\\x81\x5C.vhdx", simplifiedChinese), 5u);
    EXPECT_EQ(FindLastSeparator("D:/vm/\xA5\x5C.vhdx", traditionalChinese), 5u);
    EXPECT_EQ(FindLastSeparator("\x83\x5C", japanese), std::string_view::npos);
    EXPECT_EQ(FindLastSeparator("\x83\x5C\\", japanese), 2u);
    EXPECT_EQ(FindLastSeparator("", japanese), std::string_view::npos);
}

TEST(CodePage, SeeksSeparatorsByBytesWhereCharactersHaveOne) {
    EXPECT_EQ(FindLastSeparator("D:\\vm\\\x83\x5C.vhdx", westernEuropean), 7u);
    EXPECT_EQ(FindLastSeparator("D:\\vm\\\xE3\x82\xBD.vhdx", CP_UTF8), 5u);
}

TEST(CodePage, OfFileNamesIsThatOfTheFileFunctions) {
    ASSERT_NE(AreFileApisANSI(), 0);
    EXPECT_EQ(NCodePage::OfFileNames(), GetACP());
    SetFileApisToOEM();
    EXPECT_EQ(NCodePage::OfFileNames(), GetOEMCP());
    SetFileApisToANSI();
    EXPECT_EQ(NCodePage::OfFileNames(), GetACP());
}

}  // namespace
}  // namespace NTest
