// Narrow names of Windows: those of the process's code page, which the streams of the standard
// library and `fopen` take.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <vhdx_parser/vhdx_parser.h>

#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;
using namespace NVHDX;

using CNarrowChain = NSnapshotCircuit::CSource<std::shared_ptr<CFileObject<char>>>;

/// Latin, Thai, Hebrew and Devanagari: no code page but UTF-8 has them all.
const std::wstring mixedName = L"\u00FC\u0E01\u05D0\u0905.vhdx";

class NarrowNames : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(GetACP(), 65001u) << "this process has every character"; }

    /// A character of this process's code page beyond ASCII, as the code page has it.
    static char OwnCharacter() {
        for (int byte = 0xFF; byte > 0xA0; --byte) {
            const char text = static_cast<char>(byte);
            wchar_t wide = 0;
            BOOL replaced = TRUE;
            char back = 0;
            if (MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, &text, 1, &wide, 1) == 1 &&
                WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, &wide, 1, &back, 1, "?",
                                    &replaced) == 1 &&
                back == text && replaced == FALSE) {
                return text;
            }
        }
        return 0;
    }

    static std::vector<std::string> Names(const std::string& folder) {
        std::vector<std::string> names;
        EXPECT_TRUE(NSystem::for_each_item_in_folder(
            folder, nullptr, [&](bool&, bool, std::string& name, const NSystem::CFileAttributes&) {
                names.push_back(name);
                return true;
            }));
        return names;
    }

    CTemporaryFolder m_folder;
};

TEST_F(NarrowNames, OfTheCodePageOpenWithTheStandardLibrary) {
    const std::string name = std::string("a") + OwnCharacter() + ".vhdx";
    ASSERT_NE(name[1], 0);
    wchar_t wide[16] = {};
    ASSERT_NE(MultiByteToWideChar(CP_ACP, 0, name.c_str(), -1, wide, 16), 0);
    CImageBuilder().Build().WriteTo(m_folder / wide);

    std::vector<CNarrowChain> chains;
    ASSERT_TRUE(NSnapshotCircuit::NBuilder::DoIt(chains, m_folder.Narrow()));
    const std::string path = *chains.at(0).base->path;
    EXPECT_EQ(path, m_folder.Narrow() + "\\" + name);
    EXPECT_TRUE(std::ifstream(path, std::ios::binary).is_open());
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fgetc(file), 'v');
    EXPECT_EQ(std::fclose(file), 0);
}

TEST_F(NarrowNames, OfOtherCharactersHoldAQuestionMark) {
    std::ofstream(m_folder / mixedName) << "no disk";
    std::ofstream(m_folder / L"a.vhdx") << "no disk";
    EXPECT_THAT(Names(m_folder.Narrow()),
                testing::UnorderedElementsAre("a.vhdx", testing::HasSubstr("?")));
}

TEST_F(NarrowNames, OfADiskThatIsNotFoundAgainFailTheFolder) {
    CImageBuilder().Build().WriteTo(m_folder / L"a.vhdx");
    CImageBuilder().Build().WriteTo(m_folder / mixedName);
    std::vector<CNarrowChain> chains;
    EXPECT_FALSE(NSnapshotCircuit::NBuilder::DoIt(chains, m_folder.Narrow()));
    EXPECT_TRUE(chains.empty());
    std::vector<NSnapshotCircuit::CSource<std::shared_ptr<CFileObject<wchar_t>>>> wideChains;
    EXPECT_TRUE(NSnapshotCircuit::NBuilder::DoIt(wideChains, m_folder.Wide()));
    EXPECT_EQ(wideChains.size(), 2u);
}

TEST_F(NarrowNames, ThatAreNoTextAreNoFolder) {
    const auto accept = [](bool&, bool, std::string&, const NSystem::CFileAttributes&) {
        return true;
    };
    EXPECT_FALSE(NSystem::for_each_item_in_folder(m_folder.Narrow() + "\\?", nullptr, accept));
}

}  // namespace
}  // namespace NTest
