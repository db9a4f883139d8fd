#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vhdx_disk/chain/parent_search.h"

namespace NTest {
namespace {

using NVHDX::NMetadata::CParent;
using NVHDXDisk::CParentSearch;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

CParent Locator(CParent::EFormat format, const std::wstring& value) {
    CParent locator;
    locator.present = true;
    locator.entries[format] = {format, value};
    return locator;
}

std::vector<fs::path> Candidates(const CParent& locator, const fs::path& child,
                                 const CParentSearch& search = {}) {
    return NVHDXDisk::ParentCandidates(locator, child, search);
}

TEST(ParentCandidates, RelativePathFirstThenTheFileNameInTheFolder) {
    EXPECT_THAT(
        Candidates(Locator(CParent::formatRelativePath, L"..\\b\\disk.vhdx"), "c/d/e.avhdx"),
        ElementsAre(fs::path("c/b/disk.vhdx"), fs::path("c/d/disk.vhdx")));
}

TEST(ParentCandidates, APathIntoTheSameFolderIsOneCandidate) {
    EXPECT_THAT(Candidates(Locator(CParent::formatRelativePath, L".\\x.vhdx"), "f/e.avhdx"),
                ElementsAre(fs::path("f/x.vhdx")));
}

TEST(ParentCandidates, ARelativePathNeverLeavesFromTheRoot) {
    EXPECT_THAT(Candidates(Locator(CParent::formatRelativePath, L"\\x\\y.vhdx"), "f/e.avhdx"),
                ElementsAre(fs::path("f/x/y.vhdx"), fs::path("f/y.vhdx")));
}

TEST(ParentCandidates, TheChildItselfOnlyWhereItsPathSaysSo) {
    EXPECT_THAT(Candidates(Locator(CParent::formatRelativePath, L"..\\b\\e.vhdx"), "f/e.vhdx"),
                ElementsAre(fs::path("b/e.vhdx")));
    EXPECT_THAT(Candidates(Locator(CParent::formatRelativePath, L".\\e.vhdx"), "f/e.vhdx"),
                ElementsAre(fs::path("f/e.vhdx")));
}

TEST(ParentCandidates, AbsolutePathsOnRequestOnly) {
    const CParent locator = Locator(CParent::formatAbsoluteWin32Path, L"\\images\\x.vhdx");
    EXPECT_THAT(Candidates(locator, "f/e.avhdx"), IsEmpty());
    CParentSearch recorded;
    recorded.recordedPaths = true;
    EXPECT_THAT(Candidates(locator, "f/e.avhdx", recorded),
                ElementsAre(fs::path("/images/x.vhdx")));
}

TEST(ParentCandidates, TheFileNameInFurtherFoldersComesAfterTheChildsOwn) {
    CParentSearch search;
    search.folders = {"g", "h/i"};
    EXPECT_THAT(
        Candidates(Locator(CParent::formatRelativePath, L"..\\b\\x.vhdx"), "f/e.avhdx", search),
        ElementsAre(fs::path("b/x.vhdx"), fs::path("f/x.vhdx"), fs::path("g/x.vhdx"),
                    fs::path("h/i/x.vhdx")));
}

}  // namespace
}  // namespace NTest
