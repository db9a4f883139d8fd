#include <string>

#include <gtest/gtest.h>
#include <vhdx_parser/file_system.h>

#include "tests/support/character_types.h"

namespace {

using NTest::Text;

template <class TChar>
class FileExtension : public ::testing::Test {
protected:
    using TText = std::basic_string<TChar>;

    /// What `ExtractFileExt` leaves in a text that held "before".
    static TText ExtensionOf(std::string_view name, bool expected) {
        TText extension = Text<TChar>("before");
        EXPECT_EQ(NSystem::ExtractFileExt(extension, Text<TChar>(name)), expected) << name;
        return extension;
    }

    static void ExpectExtension(std::string_view name, std::string_view extension) {
        EXPECT_EQ(ExtensionOf(name, true), Text<TChar>(extension)) << name;
    }

    static void ExpectNone(std::string_view name) {
        EXPECT_EQ(ExtensionOf(name, false), Text<TChar>("before")) << name;
    }
};
TYPED_TEST_SUITE(FileExtension, NTest::TCharacterTypes);

TYPED_TEST(FileExtension, IsTheTextAfterTheLastDot) {
    this->ExpectExtension("disk.avhdx", "avhdx");
    this->ExpectExtension("archive.tar.vhdx", "vhdx");
    this->ExpectExtension("a..b", "b");
}

TYPED_TEST(FileExtension, KeepsCaseAndBlanks) {
    this->ExpectExtension("disk.VHDX", "VHDX");
    this->ExpectExtension("disk.vhdx ", "vhdx ");
    this->ExpectExtension("disk. vhdx", " vhdx");
}

TYPED_TEST(FileExtension, MayBeAllOfTheName) {
    this->ExpectExtension(".vhdx", "vhdx");
}

TYPED_TEST(FileExtension, IsMissingWithoutADot) {
    this->ExpectNone("disk");
    this->ExpectNone("");
}

TYPED_TEST(FileExtension, IsMissingBehindADotAtTheEnd) {
    this->ExpectNone("disk.");
    this->ExpectNone("disk.vhdx.");
    this->ExpectNone(".");
    this->ExpectNone("..");
}

TYPED_TEST(FileExtension, MayReplaceTheNameItself) {
    auto text = Text<TypeParam>("disk.vhdx");
    EXPECT_TRUE(NSystem::ExtractFileExt(text, text));
    EXPECT_EQ(text, Text<TypeParam>("vhdx"));
}

template <class TChar>
class FolderAndName : public ::testing::Test {
protected:
    using TText = std::basic_string<TChar>;

    static void ExpectSplit(std::string_view path, std::string_view folder, std::string_view name) {
        TText actualFolder;
        TText actualName;
        EXPECT_TRUE(
            NSystem::ExtractFileFolderAndName(&actualFolder, &actualName, Text<TChar>(path)));
        EXPECT_EQ(actualFolder, Text<TChar>(folder)) << path;
        EXPECT_EQ(actualName, Text<TChar>(name)) << path;
    }

    static void ExpectNoSplit(std::string_view path) {
        TText folder = Text<TChar>("before");
        TText name = Text<TChar>("before");
        EXPECT_FALSE(NSystem::ExtractFileFolderAndName(&folder, &name, Text<TChar>(path))) << path;
        EXPECT_EQ(folder, Text<TChar>("before")) << path;
        EXPECT_EQ(name, Text<TChar>("before")) << path;
    }
};
TYPED_TEST_SUITE(FolderAndName, NTest::TCharacterTypes);

TYPED_TEST(FolderAndName, AreSplitAtTheLastSeparatorOfEitherKind) {
    this->ExpectSplit("D:\\vm\\disk.vhdx", "D:\\vm", "disk.vhdx");
    this->ExpectSplit("/srv/vm/disk.vhdx", "/srv/vm", "disk.vhdx");
    this->ExpectSplit("/srv/vm\\disk.vhdx", "/srv/vm", "disk.vhdx");
    this->ExpectSplit("D:\\vm/disk.vhdx", "D:\\vm", "disk.vhdx");
}

TYPED_TEST(FolderAndName, KeepEverythingElseOfThePath) {
    this->ExpectSplit("a\\\\b", "a\\", "b");
    this->ExpectSplit("\\disk.vhdx", "", "disk.vhdx");
    this->ExpectSplit("my vm \\ disk .vhdx ", "my vm ", " disk .vhdx ");
}

TYPED_TEST(FolderAndName, NeedASeparator) {
    this->ExpectNoSplit("disk.vhdx");
    this->ExpectNoSplit("D:disk.vhdx");
    this->ExpectNoSplit("");
}

TYPED_TEST(FolderAndName, NeedANameBehindTheSeparator) {
    this->ExpectNoSplit("D:\\vm\\");
    this->ExpectNoSplit("/");
}

TYPED_TEST(FolderAndName, AreStoredOnlyWhereWanted) {
    const auto path = Text<TypeParam>("D:\\vm\\disk.vhdx");
    auto folder = Text<TypeParam>("before");
    auto name = Text<TypeParam>("before");
    EXPECT_TRUE(NSystem::ExtractFileFolderAndName(nullptr, &name, path));
    EXPECT_EQ(name, Text<TypeParam>("disk.vhdx"));
    EXPECT_TRUE(NSystem::ExtractFileFolderAndName(&folder, nullptr, path));
    EXPECT_EQ(folder, Text<TypeParam>("D:\\vm"));
    EXPECT_TRUE(NSystem::ExtractFileFolderAndName(nullptr, nullptr, path));
}

TYPED_TEST(FolderAndName, MayReplaceThePathItself) {
    auto path = Text<TypeParam>("D:\\vm\\disk.vhdx");
    auto name = Text<TypeParam>("");
    EXPECT_TRUE(NSystem::ExtractFileFolderAndName(&path, &name, path));
    EXPECT_EQ(path, Text<TypeParam>("D:\\vm"));
    EXPECT_EQ(name, Text<TypeParam>("disk.vhdx"));
}

}  // namespace
