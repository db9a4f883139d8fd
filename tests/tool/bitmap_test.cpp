#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/file_content.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/chain_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

class Bitmap : public testing::Test {
protected:
    CChildResult Run(const CImageBuilder& disk, std::vector<std::string> arguments) const {
        disk.Build().WriteTo(m_folder / "disk.avhdx");
        arguments.insert(arguments.begin(), {"bitmap", "disk.avhdx"});
        return RunVhdxIn(m_folder.Path(), arguments);
    }

    void ExpectRefusal(const CImageBuilder& disk, const std::string& chunk,
                       const std::string& reason) const {
        const CChildResult result = Run(disk, {"--chunk", chunk, "-o", "out.bin"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors, "vhdx: disk.avhdx: " + reason + "\n");
        EXPECT_FALSE(std::filesystem::exists(m_folder / "out.bin"));
    }

    CTemporaryFolder m_folder;
};

std::string WholeBitmap(CBytes start) {
    start.resize(MiB);
    return std::string(start.begin(), start.end());
}

// The comparisons do not print both sides: they are megabytes.

TEST_F(Bitmap, IsWrittenAsItStandsInTheFile) {
    ASSERT_EQ(Run(ChainFirst(), {"--chunk", "0", "-o", "out.bin"}).status, 0);
    EXPECT_TRUE(FileText(m_folder / "out.bin") == WholeBitmap(BitmapOfBlock5(0, 2)));
}

TEST_F(Bitmap, GoesToStandardOutputOnRequest) {
    const CChildResult result = Run(ChainSecond(), {"--chunk", "0", "-o", "-"});
    EXPECT_TRUE(result.output == WholeBitmap(BitmapOfBlock5(1, 3)));
}

TEST_F(Bitmap, IsTheOneOfTheChunkThatIsAskedFor) {
    const CImageBuilder disk = CImageBuilder()
                                   .VirtualSize(4100 * MiB)
                                   .Differencing()
                                   .AllocateSectorBitmap(0, CBytes{1})
                                   .AllocateSectorBitmap(1, CBytes{2});
    EXPECT_TRUE(Run(disk, {"--chunk", "1", "-o", "-"}).output == WholeBitmap({2}));
    EXPECT_EQ(Run(disk, {"--chunk", "1", "--position"}).output,
              std::to_string(disk.BitmapPosition(1)) + "\n");
}

TEST_F(Bitmap, HasAPosition) {
    const CImageBuilder disk = ChainFirst();
    const CChildResult result = Run(disk, {"--chunk", "0", "--position"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, std::to_string(disk.BitmapPosition(0)) + "\n");
}

TEST_F(Bitmap, IsRefusedWhereThereIsNone) {
    ExpectRefusal(ChainBase(), "0", "the disk has no parent, and so no sector bitmaps");
    ExpectRefusal(ChildDisk('1', '0', u"disk.vhdx"), "0",
                  "chunk 0 has no sector bitmap in the file");
    ExpectRefusal(ChainFirst(), "1", "there is no chunk 1: the chunks are numbered from 0 to 0");
    ExpectRefusal(ChainFirst(), "4294967295",
                  "there is no chunk 4294967295: the chunks are numbered from 0 to 0");
}

TEST_F(Bitmap, IsRefusedWhereTheFileEndsBeforeIt) {
    const CImageBuilder disk =
        CImageBuilder().VirtualSize(MiB).Differencing().SectorBitmapBlock(0, 6, 100);
    const CChildResult result = Run(disk, {"--chunk", "0", "-o", "out.bin"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.errors.find("Failed to load data"), std::string::npos) << result.errors;
}

TEST_F(Bitmap, NeedsAChunkAndOneKindOfResult) {
    EXPECT_EQ(RunVhdx({"bitmap", "disk.avhdx", "--position"}).status, 2);
    EXPECT_EQ(RunVhdx({"bitmap", "disk.avhdx", "--chunk", "0"}).status, 2);
    EXPECT_EQ(RunVhdx({"bitmap", "d", "--chunk", "0", "--position", "-o", "x"}).status, 2);
    EXPECT_EQ(RunVhdx({"bitmap", "d", "--chunk", "4294967296", "--position"}).status, 2);
    EXPECT_EQ(RunVhdx({"bitmap", "d", "--chunk", "-1", "--position"}).status, 2);
}

}  // namespace
}  // namespace NTest
