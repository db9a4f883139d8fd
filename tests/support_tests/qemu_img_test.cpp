#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/file_content.h"
#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

bool RunQemuImg(const std::string& arguments) {
    return std::system((VHDX_PARSER_QEMU_IMG " " + arguments).c_str()) == 0;
}

/// Builds a disk, has it checked and converted, and compares every byte with the pattern.
void ExpectSameContent(CImageBuilder builder) {
    CTemporaryFolder folder;
    const std::uint64_t blockSize = builder.Geometry().blockSize;
    builder.AllocateData(3, 42).AllocateData(1, 43).Build().WriteTo(folder / "disk.vhdx");
    ASSERT_TRUE(RunQemuImg("check -q -f vhdx " + (folder / "disk.vhdx").string()));
    ASSERT_TRUE(RunQemuImg("convert -f vhdx -O raw " + (folder / "disk.vhdx").string() + " " +
                           (folder / "disk.raw").string()));
    CBytes expected(static_cast<std::size_t>(builder.Geometry().virtualSize));
    PutBytes(expected, static_cast<std::size_t>(3 * blockSize),
             Pattern(42, 3 * blockSize, blockSize));
    PutBytes(expected, static_cast<std::size_t>(blockSize), Pattern(43, blockSize, blockSize));
    EXPECT_TRUE(FileBytes(folder / "disk.raw") == expected);
}

TEST(QemuImg, ReadsADynamicDisk) {
    ExpectSameContent(CImageBuilder());
}

// qemu-img knows no logical sectors of 4096 bytes.
TEST(QemuImg, ReadsADynamicDiskOfAnotherGeometry) {
    ExpectSameContent(
        CImageBuilder().BlockSize(2 * MiB).PhysicalSectorSize(4096).VirtualSize(32 * MiB));
}

TEST(QemuImg, RefusesAWrongHeaderChecksum) {
    CTemporaryFolder folder;
    CImageBuilder()
        .EditHeaders([](CHeader& header) { header.checksum = 1; })
        .Build()
        .WriteTo(folder / "disk.vhdx");
    EXPECT_FALSE(RunQemuImg("info -f vhdx " + (folder / "disk.vhdx").string() + " 2>" +
                            (folder / "message").string()));
}

}  // namespace
}  // namespace NTest
