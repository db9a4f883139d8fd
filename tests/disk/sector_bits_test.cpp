#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "vhdx_disk/table/sector_bits.h"

namespace NTest {
namespace {

using NVHDXDisk::EndOfRun;
using NVHDXDisk::IsSectorPresent;

TEST(BitmapRun, TheFirstSectorIsTheLowestBit) {
    const CBytes bitmap = {0x01, 0x80};
    EXPECT_TRUE(IsSectorPresent(bitmap, 0));
    EXPECT_FALSE(IsSectorPresent(bitmap, 7));
    EXPECT_TRUE(IsSectorPresent(bitmap, 15));
}

/// Bit by bit.
std::uint64_t SlowEndOfRun(const CBytes& bitmap, std::uint64_t sector, std::uint64_t end) {
    std::uint64_t at = sector + 1;
    while (at < end && IsSectorPresent(bitmap, at) == IsSectorPresent(bitmap, sector)) {
        ++at;
    }
    return at;
}

/// Ones up to a bit, and zeros from there on.
CBytes Ones(std::uint64_t count, std::size_t size) {
    CBytes bitmap(size, 0xFF);
    for (std::uint64_t bit = count; bit < 8 * size; ++bit) {
        bitmap[bit / 8] = static_cast<unsigned char>(bitmap[bit / 8] & ~(1u << bit % 8));
    }
    return bitmap;
}

TEST(BitmapRun, EndsWhereTheBitsChange) {
    for (const std::size_t size : {25u, 31u}) {  // of the last word, one byte and all but one
        const std::uint64_t bits = 8 * size;
        for (const std::uint64_t change :
             std::vector<std::uint64_t>{1, 7, 8, 63, 64, 65, 127, 128, bits - 10, bits - 5, bits}) {
            const CBytes bitmap = Ones(change, size);
            for (std::uint64_t sector = 0; sector < bits; ++sector) {
                for (const std::uint64_t end : {sector + 1, (sector + bits) / 2 + 1, bits}) {
                    ASSERT_EQ(EndOfRun(bitmap, sector, end), SlowEndOfRun(bitmap, sector, end))
                        << size << " " << change << " " << sector << " " << end;
                }
            }
        }
    }
}

}  // namespace
}  // namespace NTest
