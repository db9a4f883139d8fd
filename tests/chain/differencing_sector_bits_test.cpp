#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/chain/differencing_model.h"
#include "vhdx_parser/chain/differencing_sector_bits.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {
namespace {

using NTest::MakeBitmap;
using NTest::sectorsPerChunk;
using testing::ElementsAre;
using testing::Pair;

TEST(SectorBits, EachSectorHasItsBitMostSignificantFirst) {
    const auto bitmap = MakeBitmap({0, 9, 23, sectorsPerChunk - 1});
    std::vector<std::uint64_t> set;
    for (std::uint64_t sector = 0; sector < sectorsPerChunk; ++sector) {
        if (IsSectorSet(bitmap->bits, sector)) {
            set.push_back(sector);
        }
    }
    EXPECT_THAT(set, ElementsAre(0, 9, 23, sectorsPerChunk - 1));
}

TEST(SectorBits, AWordBeginsWithItsFirstSector) {
    const auto bitmap = MakeBitmap({0, 9, 18, 27, 36, 45, 54, 63});
    EXPECT_EQ(LoadSectors(bitmap->bits.data()), 0x8040201008040201u);
}

/// The pieces between two sectors; what comes behind the last one is asked for twice.
std::vector<std::pair<std::uint64_t, std::uint64_t>> Pieces(const CSectorBitmapArea& bits,
                                                            std::uint64_t first,
                                                            std::uint64_t end) {
    CSetSectorsSearch search(bits, first, end);
    std::vector<std::pair<std::uint64_t, std::uint64_t>> pieces;
    CSetSectors found = {};
    while (search.Next(found)) {
        pieces.emplace_back(found.first, found.end);
    }
    EXPECT_FALSE(search.Next(found));
    return pieces;
}

TEST(SectorBits, PiecesAreCutToTheRange) {
    const auto bitmap = MakeBitmap({3, 4, 5, 63, 64, 200});
    EXPECT_THAT(Pieces(bitmap->bits, 0, 256),
                ElementsAre(Pair(3, 6), Pair(63, 65), Pair(200, 201)));
    EXPECT_THAT(Pieces(bitmap->bits, 4, 64), ElementsAre(Pair(4, 6), Pair(63, 64)));
    EXPECT_THAT(Pieces(bitmap->bits, 64, 200), ElementsAre(Pair(64, 65)));
    EXPECT_THAT(Pieces(bitmap->bits, 65, 200), ElementsAre());
    EXPECT_THAT(Pieces(bitmap->bits, 201, sectorsPerChunk), ElementsAre());
}

TEST(SectorBits, APieceGoesOnOverFullWordsUpToTheEnd) {
    auto bitmap = MakeBitmap({});
    bitmap->bits.fill(0xFF);
    EXPECT_THAT(Pieces(bitmap->bits, 1, sectorsPerChunk), ElementsAre(Pair(1, sectorsPerChunk)));
    EXPECT_THAT(Pieces(bitmap->bits, 64, 256), ElementsAre(Pair(64, 256)));
    EXPECT_THAT(Pieces(bitmap->bits, 64, 250), ElementsAre(Pair(64, 250)));
}

}  // namespace
}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX
