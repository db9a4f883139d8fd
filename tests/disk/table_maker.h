#ifndef VHDX_PARSER_TESTS_DISK_TABLE_MAKER_H
#define VHDX_PARSER_TESTS_DISK_TABLE_MAKER_H

#include <cstdint>
#include <random>

#include "tests/support/image_builder.h"

namespace NTest {

/// Makes disks with tables of any states. The same seed makes the same ones.
class CTableMaker {
public:
    explicit CTableMaker(unsigned seed) : m_random(seed) {}

    /// Up to `mostBlocks` blocks in any states, now and then one that is not allowed.
    CImageBuilder Make(std::uint64_t blockSize, std::uint64_t mostBlocks) {
        CImageBuilder builder;
        builder.BlockSize(blockSize)
            .VirtualSize((1 + Below(mostBlocks)) * blockSize - 512 * Below(3))
            .Differencing(Below(2) == 0);
        const bool mayBeBad = Below(4) == 0;
        const std::uint64_t count = FillTable(builder, mayBeBad);
        if (Below(10) == 0) {
            builder.BatLength(static_cast<std::uint32_t>(count * 8 - Below(2)));
        }
        if (Below(10) == 0) {
            builder.FileSize(builder.BatPosition() + count * 8 - Below(2));
        }
        return builder;
    }

    /// A number below `limit`.
    std::uint64_t Below(std::uint64_t limit) { return m_random() % limit; }

    /// Fills the whole table of the disk, and gives the number of its entries.
    std::uint64_t FillTable(CImageBuilder& builder, bool mayBeBad) {
        const std::uint64_t count = builder.Geometry().EntryCount();
        const std::uint64_t group = builder.Geometry().ChunkRatio() + 1;
        const bool differencing = builder.Geometry().differencing;
        CBytes table(count * 8);
        for (std::uint64_t entry = 0; entry < count; ++entry) {
            const bool bad = mayBeBad && Below(count) == 0;
            Put64(table, entry * 8,
                  Word(bad ? Below(8) : State((entry + 1) % group == 0, differencing)));
        }
        builder.Bytes(builder.BatPosition(), table);
        return count;
    }

private:
    std::uint64_t State(bool isBitmap, bool differencing) {
        static constexpr std::uint64_t states[] = {0, 6, 6, 0, 1, 2, 3, 7};
        return states[Below(isBitmap ? 4 : differencing ? 8 : 7)];
    }
    std::uint64_t Word(std::uint64_t state) {
        const std::uint64_t place = Below(8) == 0 ? m_random() >> 20 : Below(64);
        return place << 20 | Below(2) * (m_random() & 0xFFFF8) | state;
    }

    std::mt19937_64 m_random;
};

}  // namespace NTest

#endif
