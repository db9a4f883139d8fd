#include "tests/support/sparse_image.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>

#include "tests/support/file_content.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

TEST(SparseImage, HolesReadAsZerosAndCostNothing) {
    CSparseImage image;
    image.Write(64 * TiB - 2, CBytes{7, 8});
    EXPECT_EQ(image.Size(), 64 * TiB);
    EXPECT_EQ(image.ResidentSize(), 64 * KiB);
    EXPECT_EQ(image.Bytes(64 * TiB - 4, 4), (CBytes{0, 0, 7, 8}));
}

TEST(SparseImage, WritesAndReadsAcrossPages) {
    CSparseImage image;
    const CBytes bytes(200000, 0x5A);
    image.Write(1000, bytes);
    EXPECT_EQ(image.Size(), 201000u);
    EXPECT_EQ(image.Bytes(1000, 200000), bytes);
    EXPECT_EQ(image.Bytes(999, 2), (CBytes{0, 0x5A}));
}

TEST(SparseImage, ZerosOverwriteWhatWasWritten) {
    CSparseImage image;
    image.Write(0, CBytes{1, 2, 3});
    image.Write(1, CBytes{0});
    EXPECT_EQ(image.Bytes(0, 3), (CBytes{1, 0, 3}));
}

TEST(SparseImage, ReadComesUpShortAtTheEnd) {
    CSparseImage image;
    image.Write(0, CBytes{1, 2, 3});
    CBytes bytes(5, 9);
    EXPECT_EQ(image.Read(1, bytes), 2u);
    EXPECT_EQ(bytes, (CBytes{2, 3, 9, 9, 9}));
    EXPECT_EQ(image.Read(3, bytes), 0u);
    EXPECT_THROW(image.Bytes(1, 3), std::out_of_range);
}

TEST(SparseImage, CutOffBytesDoNotComeBack) {
    CSparseImage image;
    image.Write(0, CBytes(100000, 1));
    image.Resize(10);
    image.Resize(100000);
    EXPECT_EQ(image.Bytes(9, 2), (CBytes{1, 0}));
    EXPECT_EQ(image.Bytes(70000, 1), CBytes{0});
}

TEST(SparseImage, CopiesAreIndependent) {
    CSparseImage image;
    image.Write(0, CBytes{1});
    CSparseImage copy = image;
    copy.Write(0, CBytes{2});
    EXPECT_EQ(image.Bytes(0, 1), CBytes{1});
}

TEST(SparseImage, FileHasTheSameBytesAndLength) {
    CTemporaryFolder folder;
    CSparseImage image;
    image.Write(65535, CBytes{1, 2});
    image.Resize(200001);
    image.WriteTo(folder / "image");
    EXPECT_EQ(FileBytes(folder / "image"), image.Bytes(0, 200001));
}

TEST(TemporaryFolder, IsGoneAtTheEnd) {
    std::filesystem::path path;
    {
        CTemporaryFolder folder;
        path = folder.Path();
        std::ofstream(folder / "file") << "content";
        EXPECT_TRUE(std::filesystem::is_directory(path));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace NTest
