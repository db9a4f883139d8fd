#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vhdx_parser/file_system.h>

#include "tests/support/character_types.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using NSystem::CFileAttributes;
using NTest::PathText;
using NTest::Text;

template <class TChar>
class FolderWalk : public ::testing::Test {
protected:
    using TText = std::basic_string<TChar>;

    void CreateFile(const fs::path& name, std::size_t size = 0) {
        std::ofstream file(m_folder / name, std::ios::binary);
        file << std::string(size, 'x');
        ASSERT_TRUE(file.good()) << name;
    }

    TText Folder() const { return PathText<TChar>(m_folder.Path()); }

    /// The names that a walk through the whole folder reports.
    static std::vector<TText> Names(const TText& folder, const TText* mask = nullptr) {
        std::vector<TText> names;
        EXPECT_TRUE(NSystem::for_each_item_in_folder(
            folder, mask, [&](bool&, bool, TText& name, const CFileAttributes&) {
                names.push_back(name);
                return true;
            }));
        return names;
    }

    static bool IsRefused(const TText& folder) {
        std::size_t calls = 0;
        const bool result = NSystem::for_each_item_in_folder(
            folder, nullptr, [&](bool&, bool, TText&, const CFileAttributes&) {
                ++calls;
                return true;
            });
        return !result && calls == 0;
    }

    static std::vector<TText> Texts(std::initializer_list<std::string_view> texts) {
        std::vector<TText> result;
        for (const std::string_view text : texts) {
            result.push_back(Text<TChar>(text));
        }
        return result;
    }

    NTest::CTemporaryFolder m_folder;
};
TYPED_TEST_SUITE(FolderWalk, NTest::TCharacterTypes);

TYPED_TEST(FolderWalk, ReportsItemsSortedByName) {
    for (const char* name : {"c", "B", "a.vhdx", "a", "_", "10", "9"}) {
        this->CreateFile(name);
    }
    EXPECT_EQ(this->Names(this->Folder()), this->Texts({"10", "9", "B", "_", "a", "a.vhdx", "c"}));
}

TYPED_TEST(FolderWalk, SortsNamesBeyondAsciiBehindAscii) {
    const fs::path umlaut(u8"\u00FC.vhdx");
    const fs::path kanji(u8"\u65E5.vhdx");
    this->CreateFile(kanji);
    this->CreateFile(umlaut);
    this->CreateFile("z.vhdx");
    if constexpr (NTest::hasEveryName<TypeParam>) {
        const std::vector<std::basic_string<TypeParam>> expected{
            Text<TypeParam>("z.vhdx"), PathText<TypeParam>(umlaut), PathText<TypeParam>(kanji)};
        EXPECT_EQ(this->Names(this->Folder()), expected);
    } else {
        EXPECT_EQ(this->Names(this->Folder()).size(), 3u);
    }
}

TYPED_TEST(FolderWalk, TellsFoldersFromFilesAndTheirSizes) {
    this->CreateFile("file", 5);
    fs::create_directory(this->m_folder / "sub");
    std::vector<typename TestFixture::TText> seen;
    const auto remember = [&](bool& flag, bool isFolder, typename TestFixture::TText& name,
                              const CFileAttributes& attributes) {
        EXPECT_FALSE(flag);
        EXPECT_EQ(isFolder, name == Text<TypeParam>("sub"));
        EXPECT_EQ(attributes.isFolder, isFolder);
        EXPECT_EQ(attributes.size, isFolder ? 0u : 5u);
        seen.push_back(name);
        return true;
    };
    EXPECT_TRUE(NSystem::for_each_item_in_folder(this->Folder(), nullptr, remember));
    EXPECT_EQ(seen, this->Texts({"file", "sub"}));
}

TYPED_TEST(FolderWalk, StaysOutOfSubfolders) {
    fs::create_directory(this->m_folder / "sub");
    this->CreateFile(fs::path("sub") / "inside");
    EXPECT_EQ(this->Names(this->Folder()), this->Texts({"sub"}));
}

TYPED_TEST(FolderWalk, OfAnEmptyFolderSucceedsWithoutACall) {
    EXPECT_TRUE(this->Names(this->Folder()).empty());
}

TYPED_TEST(FolderWalk, StopsWhenTheCallbackSaysSo) {
    this->CreateFile("a");
    this->CreateFile("b");
    this->CreateFile("c");
    std::vector<typename TestFixture::TText> seen;
    const auto stopAt = [&](const typename TestFixture::TText& last) {
        seen.clear();
        return NSystem::for_each_item_in_folder(
            this->Folder(), nullptr,
            [&](bool&, bool, typename TestFixture::TText& name, const CFileAttributes&) {
                seen.push_back(name);
                return name != last;
            });
    };
    EXPECT_FALSE(stopAt(Text<TypeParam>("a")));
    EXPECT_EQ(seen, this->Texts({"a"}));
    EXPECT_FALSE(stopAt(Text<TypeParam>("b")));
    EXPECT_EQ(seen, this->Texts({"a", "b"}));
    EXPECT_FALSE(stopAt(Text<TypeParam>("c")));
    EXPECT_EQ(seen, this->Texts({"a", "b", "c"}));
}

TYPED_TEST(FolderWalk, ReportsOnlyNamesThatTheMaskDescribes) {
    for (const char* name : {"a.vhdx", "b.avhdx", "c.vhdx", "c.vhdx.bak"}) {
        this->CreateFile(name);
    }
    const auto mask = Text<TypeParam>("*.vhdx");
    EXPECT_EQ(this->Names(this->Folder(), &mask), this->Texts({"a.vhdx", "c.vhdx"}));
}

TYPED_TEST(FolderWalk, TakesAFolderWithASeparatorAtItsEnd) {
    fs::create_directory(this->m_folder / "with blank");
    this->CreateFile(fs::path("with blank") / "a");
    const auto folder = PathText<TypeParam>(this->m_folder / "with blank");
    EXPECT_EQ(this->Names(folder), this->Texts({"a"}));
    EXPECT_EQ(this->Names(folder + TypeParam('/')), this->Texts({"a"}));
    EXPECT_EQ(this->Names(folder + TypeParam('\\')), this->Texts({"a"}));
}

TYPED_TEST(FolderWalk, RefusesWhatIsNoFolder) {
    this->CreateFile("file");
    const auto folder = this->Folder();
    EXPECT_TRUE(this->IsRefused(folder + Text<TypeParam>("/file")));
    EXPECT_TRUE(this->IsRefused(folder + Text<TypeParam>("/missing")));
    EXPECT_TRUE(this->IsRefused(folder + Text<TypeParam>("/missing/")));
    EXPECT_TRUE(this->IsRefused(folder + Text<TypeParam>(std::string_view("\0", 1))));
    EXPECT_TRUE(this->IsRefused(folder + Text<TypeParam>("/" + std::string(5000, 'x'))));
    EXPECT_TRUE(this->IsRefused(Text<TypeParam>("")));
}

TYPED_TEST(FolderWalk, LetsTheCallbacksExceptionOut) {
    this->CreateFile("a");
    const auto raise = [](bool&, bool, typename TestFixture::TText&,
                          const CFileAttributes&) -> bool {
        throw std::runtime_error("from the callback");
    };
    EXPECT_THROW((void)NSystem::for_each_item_in_folder(this->Folder(), nullptr, raise),
                 std::runtime_error);
    EXPECT_THROW((void)NSystem::for_each_item_in_folder(this->Folder(), nullptr, nullptr),
                 std::bad_function_call);
}

#if !defined(_WIN32)

TYPED_TEST(FolderWalk, ReportsALinkToNothingAsAnEmptyFile) {
    fs::create_symlink("nowhere", this->m_folder / "link");
    fs::create_directory_symlink(".", this->m_folder / "self");
    std::vector<bool> folders;
    EXPECT_TRUE(NSystem::for_each_item_in_folder(
        this->Folder(), nullptr,
        [&](bool&, bool isFolder, typename TestFixture::TText&, const CFileAttributes& attributes) {
            EXPECT_EQ(attributes.size, 0u);
            folders.push_back(isFolder);
            return true;
        }));
    EXPECT_EQ(folders, (std::vector<bool>{false, true}));
}

TYPED_TEST(FolderWalk, LeavesTheRestOfTheFoldersTextAlone) {
    const fs::path odd = this->m_folder / "odd\\folder\\";
    fs::create_directory(odd);
    std::ofstream(odd / "a");
    const auto text = PathText<TypeParam>(odd);
    EXPECT_EQ(this->Names(text + TypeParam('\\')), this->Texts({"a"}));
    EXPECT_EQ(this->Names(text + TypeParam('/')), this->Texts({"a"}));
}

TYPED_TEST(FolderWalk, ReportsBytesThatEncodeNothing) {
    this->CreateFile("a");
    this->CreateFile("\xFF.vhdx");
    if constexpr (sizeof(TypeParam) == 1) {
        EXPECT_EQ(this->Names(this->Folder()), this->Texts({"a", "\xFF.vhdx"}));
    } else {
        EXPECT_EQ(this->Names(this->Folder()),
                  (std::vector<std::wstring>{L"a", wchar_t(0xDCFF) + std::wstring(L".vhdx")}));
    }
}

TYPED_TEST(FolderWalk, TakesAFolderWhoseBytesEncodeNothing) {
    const fs::path odd = this->m_folder / "\xFF";
    fs::create_directory(odd);
    std::ofstream(odd / "a");
    const auto inFolder = this->Folder() + TypeParam('/');
    if constexpr (sizeof(TypeParam) == 1) {
        EXPECT_EQ(this->Names(inFolder + "\xFF"), this->Texts({"a"}));
    } else {
        EXPECT_EQ(this->Names(inFolder + wchar_t(0xDCFF)), this->Texts({"a"}));
    }
}

TEST(WideFolderWalk, RefusesAFolderThatHasNoEncoding) {
    const std::wstring folder{L'/', wchar_t(0x110000)};
    EXPECT_FALSE(NSystem::for_each_item_in_folder(
        folder, nullptr, [](bool&, bool, std::wstring&, const CFileAttributes&) { return true; }));
}

#endif

}  // namespace
