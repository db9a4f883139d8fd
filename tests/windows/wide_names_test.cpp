// Names of Windows: characters outside every code page, both separators, drive letters, and files
// that another process writes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <vhdx_parser/vhdx_parser.h>

#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"
#include "tests/windows/holding_process.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;
using namespace NVHDX;

using CWideChain = NSnapshotCircuit::CSource<std::shared_ptr<CFileObject<wchar_t>>>;
using CWideCircuit = NDifferencingVirtualMerge::CFileDataCircuit<wchar_t>;

// Cyrillic, Japanese, and a character that takes two units of UTF-16.
const std::wstring folderName = L"\u0414\u0438\u0441\u043A\u0438 \u65E5\u672C \U0001F4BE";
const std::wstring baseName = L"\u0431\u0430\u0437\u0430.vhdx";
const std::wstring snapshotName = L"\u65E5\u672C \U0001F4BE.avhdx";

/// One file that holds block 0, whole.
CImageBuilder Base() {
    return CImageBuilder().AllocateData(0, 1);
}

/// The first eight sectors of block 0, on top of `baseName`.
CImageBuilder Snapshot() {
    return CImageBuilder()
        .Differencing()
        .ParentLocator({{u"relative_path", u".\\\u0431\u0430\u0437\u0430.vhdx"}})
        .AllocatePartialData(0, 2)
        .AllocateSectorBitmap(0, CBytes{0xFF});
}

/// A folder whose name and files no code page has.
class WideNames : public testing::Test {
protected:
    WideNames() : m_folder(m_temporary / folderName) {
        fs::create_directory(m_folder);
        Base().Build().WriteTo(m_folder / baseName);
        Snapshot().Build().WriteTo(m_folder / snapshotName);
    }

    /// The chain that is found in the folder under this text.
    static void Build(std::vector<CWideChain>& chains, const std::wstring& folder) {
        ASSERT_TRUE(NSnapshotCircuit::NBuilder::DoIt(chains, folder));
        ASSERT_EQ(chains.size(), 1u);
        ASSERT_EQ(chains[0].snapshots.size(), 1u);
    }

    CTemporaryFolder m_temporary;
    fs::path m_folder;
};

TEST_F(WideNames, AChainIsFound) {
    std::vector<CWideChain> chains;
    ASSERT_NO_FATAL_FAILURE(Build(chains, m_folder.wstring()));
    EXPECT_EQ(*chains[0].base->path, m_folder.wstring() + L"\\" + baseName);
    EXPECT_EQ(*chains[0].snapshots[0]->path, m_folder.wstring() + L"\\" + snapshotName);
}

TEST_F(WideNames, TheDifferencesOfAChainAreEnumerated) {
    std::vector<CWideChain> chains;
    ASSERT_NO_FATAL_FAILURE(Build(chains, m_folder.wstring()));
    CWideCircuit circuit;
    ASSERT_TRUE(NDifferencingVirtualMerge::Prepare(circuit, chains[0]));
    std::vector<std::wstring> paths;
    std::vector<std::uint64_t> positions;
    EXPECT_TRUE(NDifferencingVirtualMerge::EnumerateDifferences(
        circuit, [&](std::uint64_t baseOffset, std::shared_ptr<std::wstring>& path,
                     std::uint64_t offset, std::uint64_t) {
            paths.push_back(*path);
            positions = {baseOffset, offset};
            return true;
        }));
    EXPECT_THAT(paths, testing::ElementsAre(m_folder.wstring() + L"\\" + snapshotName));
    EXPECT_THAT(positions,
                testing::ElementsAre(Base().BlockPosition(0), Snapshot().BlockPosition(0)));
}

TEST_F(WideNames, TheBytesOfAFoundFileAreRead) {
    std::vector<CWideChain> chains;
    ASSERT_NO_FATAL_FAILURE(Build(chains, m_folder.wstring()));
    CBlocks blocks;
    CFileParameters parameters;
    CFileObject<wchar_t>& base = *chains[0].base;
    ASSERT_TRUE(base.accessor.LoadBlocks(blocks, parameters, base.stream));
    CDynamicAllocBuffer<unsigned char, unsigned __int64> buffer;
    ASSERT_TRUE(RequestPayloadData(base.stream, blocks, 0, 4096, parameters, buffer, true));
    EXPECT_EQ(CBytes(buffer.data, buffer.data + 4096), Pattern(1, 0, 4096));
}

TEST_F(WideNames, TheFolderWalkReportsThemSorted) {
    std::vector<std::wstring> names;
    EXPECT_TRUE(NSystem::for_each_item_in_folder(
        m_folder.wstring(), nullptr,
        [&](bool&, bool, std::wstring& name, const NSystem::CFileAttributes&) {
            names.push_back(name);
            return true;
        }));
    EXPECT_THAT(names, testing::ElementsAre(baseName, snapshotName));
}

TEST_F(WideNames, EverySpellingOfTheFolderIsTaken) {
    const std::wstring backslashes = fs::path(m_folder).make_preferred().wstring();
    const std::wstring slashes = m_folder.generic_wstring();
    ASSERT_EQ(backslashes.substr(1, 2), L":\\") << "the temporary folder lies on a drive";
    ASSERT_EQ(slashes.substr(1, 2), L":/");
    for (const std::wstring& folder :
         {backslashes, backslashes + L"\\", backslashes + L"/", slashes, slashes + L"/"}) {
        std::vector<CWideChain> chains;
        ASSERT_NO_FATAL_FAILURE(Build(chains, folder));
    }
}

TEST_F(WideNames, APathThatWindowsTakesAsItStandsIsTaken) {
    // As the paths of snapshots and devices begin, which no call but the opening one understands.
    const std::wstring folder = L"\\\\?\\" + fs::path(m_folder).make_preferred().wstring();
    std::vector<CWideChain> chains;
    ASSERT_NO_FATAL_FAILURE(Build(chains, folder));
    EXPECT_EQ(*chains[0].base->path, folder + L"\\" + baseName);
    CWideCircuit circuit;
    EXPECT_TRUE(NDifferencingVirtualMerge::Prepare(circuit, chains[0]));
}

TEST_F(WideNames, AFolderRelativeToTheCurrentOneIsTaken) {
    const fs::path before = fs::current_path();
    fs::current_path(m_folder.parent_path());
    std::vector<CWideChain> chains;
    EXPECT_NO_FATAL_FAILURE(Build(chains, folderName));
    fs::current_path(before);
}

TEST_F(WideNames, ADriveLetterAloneIsTheRootOfTheDrive) {
    const std::wstring drive = m_folder.root_name().wstring();
    std::vector<std::wstring> names;
    const auto collect = [&](bool&, bool, std::wstring& name, const NSystem::CFileAttributes&) {
        names.push_back(name);
        return true;
    };
    ASSERT_TRUE(NSystem::for_each_item_in_folder(drive, nullptr, collect));
    const std::vector<std::wstring> ofDrive = names;
    names.clear();
    ASSERT_TRUE(NSystem::for_each_item_in_folder(drive + L"\\", nullptr, collect));
    EXPECT_EQ(ofDrive, names);
    EXPECT_THAT(names, testing::Contains(L"windows"));
}

TEST_F(WideNames, AFileThatAnotherProcessWritesIsOpened) {
    const CHoldingProcess writer(m_folder / snapshotName);
    ASSERT_TRUE(writer.Holds());
    std::vector<CWideChain> chains;
    ASSERT_NO_FATAL_FAILURE(Build(chains, m_folder.wstring()));
}

TEST_F(WideNames, AFileThatTheLibraryReadsIsOpenedForWritingByAnotherProcess) {
    std::vector<CWideChain> chains;
    ASSERT_NO_FATAL_FAILURE(Build(chains, m_folder.wstring()));
    EXPECT_TRUE(CHoldingProcess(m_folder / snapshotName).Holds());
}

}  // namespace
}  // namespace NTest
