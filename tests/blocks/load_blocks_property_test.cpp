#include <algorithm>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <vhdx_parser/accessor.h>

#include "tests/blocks/bat_trace.h"
#include "tests/blocks/naive_bat_walk.h"
#include "tests/blocks/opened_container.h"

namespace NVHDX {
namespace {

using NTest::CImageBuilder;
using NTest::CNaiveWalk;
using NTest::COpenedContainer;
using NTest::CTraceCapture;
using NTest::Described;
using NTest::LoadLines;
using NTest::NaiveWalk;
using NTest::PayloadBlocksLine;

using CWords = std::vector<std::uint64_t>;

/// A disk with few blocks to the chunk and few chunks.
struct CDisk {
    std::uint64_t sectorSize;
    std::uint64_t blockSize;
    std::uint64_t virtualSize;
    bool hasParent;

    std::uint64_t Ratio() const { return sectorSize * 8388608 / blockSize; }
    std::uint64_t DataBlocks() const { return (virtualSize + blockSize - 1) / blockSize; }
    std::uint64_t Chunks() const { return (DataBlocks() + Ratio() - 1) / Ratio(); }
    std::uint64_t Entries() const {
        return hasParent ? (Ratio() + 1) * Chunks() : (DataBlocks() - 1) / Ratio() + DataBlocks();
    }
};

CDisk AnyDisk() {
    CDisk disk{};
    disk.sectorSize = *rc::gen::element<std::uint64_t>(1, 3, 512, 520, 4096, 65535);
    // Any ratio from 1 to 12, also where the block size does not divide the chunk.
    const std::uint64_t ratio = *rc::gen::inRange<std::uint64_t>(1, 13);
    const std::uint64_t largest =
        std::min<std::uint64_t>(disk.sectorSize * 8388608 / ratio, 0xFFFFFFFF);
    const std::uint64_t smallest = disk.sectorSize * 8388608 / (ratio + 1) + 1;
    disk.blockSize = smallest < largest ? *rc::gen::inRange(smallest, largest + 1) : largest;
    const std::uint64_t dataBlocks = *rc::gen::inRange<std::uint64_t>(1, 40);
    disk.virtualSize =
        (dataBlocks - 1) * disk.blockSize + *rc::gen::inRange<std::uint64_t>(1, disk.blockSize + 1);
    disk.hasParent = *rc::gen::arbitrary<bool>();
    return disk;
}

/// Bad states are rare, so that most tables load.
CWords AnyTable(const CDisk& disk) {
    const bool mayBeBad = *rc::gen::inRange(0, 4) == 0;
    CWords words;
    for (std::uint64_t i = 0; i < disk.Entries(); ++i) {
        const bool isBitmap = i % (disk.Ratio() + 1) == disk.Ratio();
        const auto good =
            isBitmap && disk.hasParent
                ? rc::gen::element<std::uint64_t>(0, 6)
                : rc::gen::element<std::uint64_t>(0, 1, 2, 3, 6, 6, disk.hasParent ? 7 : 6);
        const bool isBad = mayBeBad && *rc::gen::inRange(0, 20) == 0;
        const auto stateBits = isBad ? *rc::gen::inRange<std::uint64_t>(0, 8) : *good;
        const auto offset = *rc::gen::oneOf(rc::gen::inRange<std::uint64_t>(0, 6),
                                            rc::gen::inRange<std::uint64_t>(0, 0x100000000000));
        const auto reserved = *rc::gen::inRange<std::uint64_t>(0, 0x20000);
        words.push_back(offset << 20 | reserved << 3 | stateBits);
    }
    return words;
}

CImageBuilder Container(const CDisk& disk, const CWords& words) {
    CImageBuilder builder;
    builder.BlockSize(disk.blockSize)
        .SectorSize(static_cast<std::uint32_t>(disk.sectorSize))
        .VirtualSize(disk.virtualSize)
        .Differencing(disk.hasParent);
    for (std::uint64_t i = 0; i < words.size(); ++i) {
        builder.RawBatEntry(i, words[i]);
    }
    return builder;
}

void CheckLoad(COpenedContainer& opened, const CDisk& disk, const CNaiveWalk& expected) {
    CBlocks blocks;
    CFileParameters params;
    RC_ASSERT(opened.accessor.LoadBlocks(blocks, params, opened.stream) == expected.success);
    if (!expected.success) {
        RC_ASSERT(blocks.chunks.empty());
        RC_ASSERT(params.payloadblksz == 0xFFFFFFFFu);
        return;
    }
    RC_ASSERT(Described(blocks.chunks) == expected.chunks);
    RC_ASSERT(blocks.ratio == disk.Ratio());
    RC_ASSERT(params.payloadblksz == disk.blockSize);
    RC_ASSERT(params.logsectsz == disk.sectorSize);
    RC_ASSERT(params.virtdisksz == disk.virtualSize);
    RC_ASSERT(params.maxFileOffset == expected.largestOffset * 1048576 + disk.blockSize);
    RC_ASSERT(params.lastPayloadBlockIndex == expected.largestOffsetIndex);
    RC_ASSERT(params.requestNewBlockOffset);
    RC_ASSERT(params.bDifferencing == disk.hasParent);
}

RC_GTEST_PROP(LoadBlocksProperty, IsTheNaiveWalkWithAndWithoutAWriter, ()) {
    const CDisk disk = AnyDisk();
    const CWords words = AnyTable(disk);
    const CNaiveWalk expected = NaiveWalk(words, disk.Ratio(), disk.hasParent);
    RC_CLASSIFY(expected.success, "loads");
    COpenedContainer opened(Container(disk, words));
    CheckLoad(opened, disk, expected);
    CTraceCapture trace;
    CheckLoad(opened, disk, expected);
    RC_ASSERT(trace.Lines() ==
              LoadLines(disk.Ratio(), disk.DataBlocks(), disk.Chunks(), disk.Entries()) +
                  std::vector{PayloadBlocksLine()} + expected.lines);
}

RC_GTEST_PROP(LoadBlocksProperty, ARegionShorterThanTheTableIsRefused, ()) {
    const CDisk disk = AnyDisk();
    const auto length = *rc::gen::inRange<std::uint64_t>(0, disk.Entries() * 8);
    COpenedContainer opened(Container(disk, {}).BatLength(static_cast<std::uint32_t>(length)));
    CBlocks blocks;
    CFileParameters params;
    RC_ASSERT(!opened.accessor.LoadBlocks(blocks, params, opened.stream));
}

}  // namespace
}  // namespace NVHDX
