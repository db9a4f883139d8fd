#include "tests/support/image_builder.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace NTest {
namespace {

std::string Text(const CSparseImage& image, std::uint64_t offset, std::uint64_t length) {
    const CBytes bytes = image.Bytes(offset, length);
    return std::string(bytes.begin(), bytes.end());
}

/// The checksum that the structure should carry: its own field counts as zero.
std::uint32_t ExpectedChecksum(const CSparseImage& image, std::uint64_t offset,
                               std::uint64_t length) {
    CBytes bytes = image.Bytes(offset, length);
    Put32(bytes, 4, 0);
    return Crc32c(bytes);
}

TEST(ImageBuilder, PlacesTheFixedStructures) {
    const CSparseImage image = CImageBuilder().Build();
    EXPECT_EQ(Text(image, 0, 8), "vhdxfile");
    EXPECT_EQ(Text(image, 64 * KiB, 4), "head");
    EXPECT_EQ(Text(image, 128 * KiB, 4), "head");
    EXPECT_EQ(Text(image, 192 * KiB, 4), "regi");
    EXPECT_EQ(Text(image, 256 * KiB, 4), "regi");
    EXPECT_EQ(Text(image, 2 * MiB, 8), "metadata");
    EXPECT_EQ(image.Size(), 4 * MiB);
}

TEST(ImageBuilder, ChecksumsAreRight) {
    const CSparseImage image = CImageBuilder().Build();
    for (const std::uint64_t header : {64 * KiB, 128 * KiB}) {
        EXPECT_EQ(image.Number(header + 4, 4), ExpectedChecksum(image, header, 4 * KiB));
    }
    for (const std::uint64_t table : {192 * KiB, 256 * KiB}) {
        EXPECT_EQ(image.Number(table + 4, 4), ExpectedChecksum(image, table, 64 * KiB));
    }
}

TEST(ImageBuilder, HeadersAreVariedOneByOne) {
    const CSparseImage image = CImageBuilder()
                                   .EditHeader(0, [](CHeader& header) { header.signature = 1; })
                                   .EditHeader(1, [](CHeader& header) { header.checksum = 2; })
                                   .EditHeaders([](CHeader& header) { header.version = 3; })
                                   .Build();
    EXPECT_EQ(image.Number(64 * KiB, 4), 1u);
    EXPECT_EQ(image.Number(128 * KiB, 4), 0x64616568u);
    EXPECT_EQ(image.Number(128 * KiB + 4, 4), 2u);
    EXPECT_EQ(image.Number(64 * KiB + 66, 2), 3u);
    EXPECT_EQ(image.Number(64 * KiB + 8, 8), 1u);
    EXPECT_EQ(image.Number(128 * KiB + 8, 8), 2u);
}

TEST(ImageBuilder, MissingHeaderLeavesZeros) {
    const CSparseImage image =
        CImageBuilder().EditHeader(0, [](CHeader& header) { header.present = false; }).Build();
    EXPECT_EQ(image.Bytes(64 * KiB, 4 * KiB), CBytes(4 * KiB));
}

TEST(ImageBuilder, RegionTableCountMayDifferFromItsEntries) {
    const CSparseImage image =
        CImageBuilder()
            .EditRegionTable(0,
                             [](CRegionTable& table) {
                                 table.entryCount = 7;
                                 table.entries.push_back({NGuid::unknown, 5, 6, 0});
                             })
            .BatLength(8)
            .Build();
    EXPECT_EQ(image.Number(192 * KiB + 8, 4), 7u);
    EXPECT_EQ(image.Number(256 * KiB + 8, 4), 2u);
    EXPECT_EQ(image.Number(192 * KiB + 16 + 24, 4), 8u);
    EXPECT_EQ(image.Number(192 * KiB + 16 + 64 + 16, 8), 5u);
    EXPECT_EQ(image.Number(256 * KiB + 16 + 64 + 16, 8), 0u);
}

TEST(ImageBuilder, MetadataItemsLieWhereTheTableSays) {
    const CImageBuilder builder =
        CImageBuilder().BlockSize(2 * MiB).VirtualSize(5 * GiB).SectorSize(4096).Differencing();
    const CSparseImage image = builder.Build();
    EXPECT_EQ(image.Number(2 * MiB + 10, 2), 6u);
    EXPECT_EQ(image.Number(2 * MiB + 32 + 16, 4), 64 * KiB);
    EXPECT_EQ(image.Number(builder.ItemPosition(NGuid::fileParameters), 4), 2 * MiB);
    EXPECT_EQ(image.Number(builder.ItemPosition(NGuid::fileParameters) + 4, 4), 2u);
    EXPECT_EQ(image.Number(builder.ItemPosition(NGuid::virtualDiskSize), 8), 5 * GiB);
    EXPECT_EQ(image.Number(builder.ItemPosition(NGuid::logicalSectorSize), 4), 4096u);
}

TEST(ImageBuilder, ParentLocatorHoldsKeysAndValues) {
    CImageBuilder builder;
    builder.Differencing().ParentLocator({{u"relative_path", u".\\base.vhdx"}});
    const CSparseImage image = builder.Build();
    const std::uint64_t item = builder.ItemPosition(NGuid::parentLocator);
    EXPECT_EQ(image.Number(item + 18, 2), 1u);
    EXPECT_EQ(image.Number(item + 20, 4), 32u);
    EXPECT_EQ(image.Number(item + 24, 4), 32u + 26);
    EXPECT_EQ(image.Number(item + 28, 2), 26u);
    EXPECT_EQ(image.Number(item + 30, 2), 22u);
    EXPECT_EQ(image.Bytes(item + 32, 4), (CBytes{'r', 0, 'e', 0}));
}

TEST(ImageBuilder, ParentLocatorCanBeWrong) {
    CImageBuilder builder;
    builder.Differencing().EditParentLocator([](CParentLocator& locator) {
        locator.type = NGuid::unknown;
        locator.count = 500;
        locator.entries[0].keyLength = static_cast<std::uint16_t>(29);
    });
    const CSparseImage image = builder.Build();
    const std::uint64_t item = builder.ItemPosition(NGuid::parentLocator);
    EXPECT_EQ(image.Number(item, 4), 0x0BADF00Du);
    EXPECT_EQ(image.Number(item + 18, 2), 500u);
    EXPECT_EQ(image.Number(item + 28, 2), 29u);
}

TEST(ImageBuilder, LogEntryLiesWhereTheHeadersSay) {
    CLogEntry entry;
    entry.sequenceNumber = 77;
    const CSparseImage image = CImageBuilder().Log(NGuid::unknown, entry.Bytes()).Build();
    const std::uint64_t offset = image.Number(64 * KiB + 72, 8);
    EXPECT_EQ(image.Number(64 * KiB + 48, 4), 0x0BADF00Du);
    EXPECT_EQ(Text(image, offset, 4), "loge");
    EXPECT_EQ(image.Number(offset + 16, 8), 77u);
    EXPECT_EQ(image.Number(offset + 4, 4), ExpectedChecksum(image, offset, 4 * KiB));
}

TEST(ImageBuilder, BytesAndFileSizeHaveTheLastWord) {
    const CSparseImage image = CImageBuilder().Bytes(0, {'X'}).FileSize(100000).Build();
    EXPECT_EQ(Text(image, 0, 8), "Xhdxfile");
    EXPECT_EQ(image.Size(), 100000u);
}

TEST(ImageBuilder, IsAValue) {
    const CImageBuilder first;
    const CSparseImage varied = CImageBuilder(first).BlockSize(8 * MiB).Build();
    EXPECT_EQ(first.Build().Number(first.ItemPosition(NGuid::fileParameters), 4), 1 * MiB);
    EXPECT_EQ(varied.Number(first.ItemPosition(NGuid::fileParameters), 4), 8 * MiB);
}

}  // namespace
}  // namespace NTest
