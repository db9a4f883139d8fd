#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/chain_model.h"
#include "tests/support/file_content.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

std::string Draw(const CTemporaryFolder& folder, const std::string& disk, bool merged) {
    std::vector<std::string> arguments = {"map", disk, "--svg", "out.svg"};
    if (merged) {
        arguments.push_back("--merged");
    }
    const CChildResult result = RunVhdxIn(folder.Path(), arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, "");
    return FileText(folder / "out.svg");
}

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(Picture, ColoursCellsByFileAndKind) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(6 * MiB)).Present(0, 1).Present(1, 2).Present(2, 3);
    chain.AddDisk(CDiskShape().Size(6 * MiB)).Present(2, 4);
    chain.Empty(3, CChainModel::zero, false);
    const CTemporaryFolder folder;
    chain.WriteTo(folder.Path());
    const std::string merged = Draw(folder, "1.avhdx", true);
    // One box for each cell, and one in the legend.
    EXPECT_EQ(Count(merged, "fill=\"#0072B2\""), 2U);
    EXPECT_EQ(Count(merged, "fill=\"#E69F00\""), 3U);
    EXPECT_EQ(Count(merged, "fill=\"#F6E8A8\""), 2U);
    EXPECT_EQ(Count(merged, "fill=\"#E8E8E8\""), 7U);  // under every cell
    EXPECT_NE(merged.find(">data in 0.vhdx: 2 MiB<"), merged.npos);
    EXPECT_NE(merged.find(">data in 1.avhdx: 1 MiB<"), merged.npos);
    EXPECT_NE(merged.find(">zero blocks, read as zeros: 1 MiB<"), merged.npos);
    EXPECT_NE(merged.find(">in no file, reads as zeros: 2 MiB<"), merged.npos);
    EXPECT_NE(Draw(folder, "1.avhdx", false).find(">left to the parents: 4 MiB<"), merged.npos);
}

TEST(Picture, GoesToStandardOutputOnRequest) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(6 * MiB)).Present(0, 1);
    const CTemporaryFolder folder;
    chain.WriteTo(folder.Path());
    const CChildResult result = RunVhdxIn(folder.Path(), {"map", "0.vhdx", "--svg", "-"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_FALSE(std::filesystem::exists(folder / "-"));
    EXPECT_EQ(result.output, Draw(folder, "0.vhdx", false));
}

TEST(Picture, TellsTheStatesWithoutDataApart) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(8 * MiB)).Present(0, 1);
    chain.Empty(1, CChainModel::zero, false);
    chain.Empty(2, CChainModel::unmapped, true).Empty(3, CChainModel::unmapped, false);
    for (std::uint64_t block = 4; block < 7; ++block) {
        chain.Empty(block, CChainModel::undefined, block == 5);
    }
    const CTemporaryFolder folder;
    chain.WriteTo(folder.Path());
    const std::string picture = Draw(folder, "0.vhdx", false);
    // One box for each cell, and one in the legend.
    EXPECT_EQ(Count(picture, "fill=\"#F6E8A8\""), 2U);
    EXPECT_EQ(Count(picture, "fill=\"#A796D1\""), 3U);
    EXPECT_EQ(Count(picture, "fill=\"#000000\""), 4U);
    EXPECT_NE(picture.find(">zero blocks, read as zeros: 1 MiB<"), picture.npos);
    EXPECT_NE(picture.find(">unmapped blocks, given up by the guest, read as zeros: 2 MiB<"),
              picture.npos);
    EXPECT_NE(picture.find(">undefined blocks, read as zeros: 3 MiB<"), picture.npos);
}

TEST(Picture, OfTheLargestDiskHasNoMoreCells) {
    const CTemporaryFolder folder;
    CImageBuilder()
        .BlockSize(256 * MiB)
        .VirtualSize(64 * 1024 * 1024 * MiB)
        .DataStart(8)
        .AllocateData(200000, CBytes{1})
        .Build()
        .WriteTo(folder / "disk.vhdx");
    const std::string picture = Draw(folder, "disk.vhdx", false);
    EXPECT_EQ(Count(picture, "fill=\"#E8E8E8\""), 2049U);
    EXPECT_EQ(Count(picture, "fill=\"#0072B2\""), 2U);
    EXPECT_NE(picture.find(">64 TiB in blocks of 256 MiB; each cell is 32 GiB, 128 blocks<"),
              picture.npos);
}

TEST(Picture, EscapesFileNames) {
#if defined(_WIN32)
    const std::string name = "a&b.vhdx";  // the other characters cannot be in names there
    const std::string escaped = ">a&amp;b.vhdx<";
#else
    const std::string name = "a<&>.vhdx";
    const std::string escaped = ">a&lt;&amp;&gt;.vhdx<";
#endif
    const CTemporaryFolder folder;
    CImageBuilder().VirtualSize(MiB).Build().WriteTo(folder / name);
    EXPECT_NE(Draw(folder, name, false).find(escaped), std::string::npos);
}

}  // namespace
}  // namespace NTest
