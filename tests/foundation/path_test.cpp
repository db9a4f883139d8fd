#include "vhdx_parser/foundation/path.h"

#include <gtest/gtest.h>

#include "tests/support/character_types.h"

namespace {

using NTest::Text;

template <class TChar>
class Path : public ::testing::Test {
protected:
    static std::basic_string<TChar> Joined(std::string_view folder, std::string_view name) {
        return NPath::Join(Text<TChar>(folder), Text<TChar>(name));
    }
};
TYPED_TEST_SUITE(Path, NTest::TCharacterTypes);

TYPED_TEST(Path, IsJoinedWithABackslash) {
    EXPECT_EQ(this->Joined("D:\\vm", "disk.vhdx"), Text<TypeParam>("D:\\vm\\disk.vhdx"));
    EXPECT_EQ(this->Joined("/srv/vm", "disk.vhdx"), Text<TypeParam>("/srv/vm\\disk.vhdx"));
}

TYPED_TEST(Path, GetsNoSecondSeparator) {
    EXPECT_EQ(this->Joined("D:\\vm\\", "disk.vhdx"), Text<TypeParam>("D:\\vm\\disk.vhdx"));
    EXPECT_EQ(this->Joined("/srv/vm/", "disk.vhdx"), Text<TypeParam>("/srv/vm/disk.vhdx"));
}

TYPED_TEST(Path, GetsNoSeparatorWithoutAFolder) {
    EXPECT_EQ(this->Joined("", "disk.vhdx"), Text<TypeParam>("disk.vhdx"));
}

TYPED_TEST(Path, BecomesNativeAtItsLastSeparatorOnly) {
    const auto separator = std::string(1, char(std::filesystem::path::preferred_separator));
    EXPECT_EQ(NPath::ToNative(Text<TypeParam>("a\\b\\c d.vhdx")), "a\\b" + separator + "c d.vhdx");
    EXPECT_EQ(NPath::ToNative(Text<TypeParam>("a\\b/c.vhdx")), "a\\b" + separator + "c.vhdx");
    EXPECT_EQ(NPath::ToNative(Text<TypeParam>("c.vhdx")), "c.vhdx");
}

TYPED_TEST(Path, OfAFolderIsNativeWithOrWithoutASeparatorAtItsEnd) {
    const auto separator = std::string(1, char(std::filesystem::path::preferred_separator));
    EXPECT_EQ(NPath::FolderToNative(Text<TypeParam>("a\\b")), "a\\b" + separator);
    EXPECT_EQ(NPath::FolderToNative(Text<TypeParam>("a\\b\\")), "a\\b" + separator);
    EXPECT_EQ(NPath::FolderToNative(Text<TypeParam>("a\\b/")), "a\\b" + separator);
    EXPECT_EQ(NPath::FolderToNative(Text<TypeParam>("\\")), separator);
    EXPECT_EQ(NPath::FolderToNative(Text<TypeParam>("")), "");
}

TYPED_TEST(Path, WithAZeroCharacterIsNone) {
    EXPECT_EQ(NPath::ToNative(Text<TypeParam>(std::string_view("a\0b", 3))), std::nullopt);
    EXPECT_EQ(NPath::FolderToNative(Text<TypeParam>(std::string_view("a\0", 2))), std::nullopt);
}

TYPED_TEST(Path, KeepsCharactersBeyondAscii) {
    if constexpr (NTest::hasEveryName<TypeParam>) {
        const std::filesystem::path native(u8"Pr\u00FCfung/\u65E5\u672C.vhdx");
        EXPECT_EQ(NPath::ToNative(NTest::PathText<TypeParam>(native)), native);
    }
}

#if !defined(_WIN32)

TEST(WidePath, IsNoneWhenACharacterHasNoEncoding) {
    EXPECT_EQ(NPath::ToNative(std::wstring{L'a', wchar_t(0x110000)}), std::nullopt);
    EXPECT_EQ(NPath::FolderToNative(std::wstring{L'a', wchar_t(0x7FFFFFFF)}), std::nullopt);
}

TEST(WidePath, TurnsLoneSurrogatesBackIntoTheBytesThatTheyStandFor) {
    EXPECT_EQ(NPath::ToNative(std::wstring{L'a', L'\\', wchar_t(0xDCFF)}), "a/\xFF");
}

#endif

}  // namespace
