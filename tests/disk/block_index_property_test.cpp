// The index of a table against the table's description, block by block.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/support/disk_geometry.h"
#include "tests/support/memory_source.h"
#include "vhdx_disk/table/block_index.h"

namespace NTest {
namespace {

using NVHDX::CPayloadBlock;
using NVHDXDisk::CBlockIndex;
using NVHDXDisk::CFailure;
using NVHDXDisk::CGeometry;
using NVHDXDisk::CIndexRun;

constexpr std::uint64_t TablePosition = MiB;

/// What a table says of one block.
struct CNaiveBlock {
    CPayloadBlock::EState state = CPayloadBlock::NotPresent;
    std::uint64_t position = 0;  ///< where it holds bytes
    bool isInFile = true;

    bool operator==(const CNaiveBlock&) const = default;
};

std::ostream& operator<<(std::ostream& out, const CNaiveBlock& block) {
    return out << block.state << " at " << block.position << (block.isInFile ? "" : " (outside)");
}

/// A disk of blocks of 128 MiB, 32 in a chunk, with a table of any words.
class CRandomTable {
public:
    explicit CRandomTable(std::uint64_t seed) : m_random(seed) {
        m_shape.blockSize = static_cast<std::uint32_t>(128 * MiB);
        m_shape.virtualSize = (1 + Below(100)) * m_shape.blockSize - 512 * Below(4);
        m_shape.differencing = Below(2) != 0;
        m_fileSize = (2 + Below(2000)) * MiB + Below(2) * Below(MiB);
        const std::uint64_t group = m_shape.ChunkRatio() + 1;
        for (std::uint64_t entry = 0; entry < m_shape.EntryCount(); ++entry) {
            m_words.push_back(entry % group + 1 == group ? BitmapWord() : PayloadWord());
        }
    }

    CGeometry Geometry() const {
        return {m_shape.blockSize, 512, m_shape.virtualSize, m_shape.ChunkRatio(),
                m_shape.differencing};
    }
    std::uint64_t BlockCount() const { return m_shape.DataBlocks(); }
    std::uint64_t ChunkCount() const { return m_shape.Chunks(); }

    bool Load(CBlockIndex& index, CFailure& failure) const {
        CBytes table;
        for (std::size_t entry = 0; entry < m_words.size(); ++entry) {
            Put64(table, 8 * entry, m_words[entry]);
        }
        CSparseImage file;
        file.Write(TablePosition, table);
        file.Resize(m_fileSize);
        const auto source = std::make_shared<CMemorySource>(std::move(file));
        const NVHDXDisk::CEntriesInFile entries(source, TablePosition, m_words.size(),
                                                m_shape.ChunkRatio());
        return index.Load(entries, Geometry(), *source, failure);
    }

    CNaiveBlock Block(std::uint64_t block) const {
        static constexpr CPayloadBlock::EState states[] = {
            CPayloadBlock::NotPresent,   CPayloadBlock::Undefined,       CPayloadBlock::Zero,
            CPayloadBlock::Unmapped,     CPayloadBlock::NotPresent,      CPayloadBlock::NotPresent,
            CPayloadBlock::FullyPresent, CPayloadBlock::PartiallyPresent};
        const std::uint64_t word = m_words[m_shape.PayloadEntry(block)];
        CNaiveBlock naive{states[word & 7], 0, true};
        if ((word & 7) >= 6) {
            const std::uint64_t needed = std::min<std::uint64_t>(
                m_shape.blockSize, m_shape.virtualSize - block * m_shape.blockSize);
            naive.position = word >> 20 << 20;
            naive.isInFile = Fits(naive.position, needed);
        }
        return naive;
    }

    std::optional<std::uint64_t> SectorBitmap(std::uint64_t chunk) const {
        const std::uint64_t entry = m_shape.SectorBitmapEntry(chunk);
        if (entry >= m_words.size() || (m_words[entry] & 7) != 6) {
            return std::nullopt;
        }
        const std::uint64_t position = m_words[entry] >> 20 << 20;
        return Fits(position, MiB) ? std::optional(position) : std::nullopt;
    }

    /// Gives one of the entries, behind the end of the disk too, a state that no block has.
    void Spoil() { m_words[Below(m_words.size())] |= 4; }
    bool IsSpoilt() const {
        const std::uint64_t group = m_shape.ChunkRatio() + 1;
        for (std::size_t entry = 0; entry < m_words.size(); ++entry) {
            const std::uint64_t state = m_words[entry] & 7;
            const bool isBitmap = entry % group + 1 == group;
            const bool isBad =
                isBitmap ? m_shape.differencing && state != 0 && state != 6
                         : state == 4 || state == 5 || (state == 7 && !m_shape.differencing);
            if (isBad) {
                return true;
            }
        }
        return false;
    }

private:
    std::uint64_t Below(std::uint64_t bound) { return m_random() % bound; }

    bool Fits(std::uint64_t position, std::uint64_t length) const {
        return position != 0 && position <= m_fileSize && length <= m_fileSize - position;
    }

    /// In MiB: the next one in the file, the first and the last ones of all, and any.
    std::uint64_t Place() {
        constexpr std::uint64_t last = (std::uint64_t{1} << 44) - 1;
        switch (Below(8)) {
            case 0:
                return 0;
            case 1:
                return last - Below(300);
            case 2:
                return m_fileSize / MiB - std::min(m_fileSize / MiB, Below(300));
            case 3:
                return m_random() >> 20;
            default:
                return m_place = (m_place + 128) & last;
        }
    }

    std::uint64_t PayloadWord() {
        if (Below(10) == 0) {
            m_place = Place();
        }
        if (Below(4) == 0) {
            static constexpr std::uint64_t states[] = {0, 1, 2, 3, 6, 7};
            m_state = states[Below(m_shape.differencing ? 6 : 5)];
        }
        return Place() << 20 | Below(2) * (m_random() & 0xFFFF8) | m_state;
    }

    std::uint64_t BitmapWord() { return Place() << 20 | (Below(3) == 0 ? 0U : 6U); }

    std::mt19937_64 m_random;
    CDiskGeometry m_shape;
    std::uint64_t m_fileSize = 0;
    std::vector<std::uint64_t> m_words;
    std::uint64_t m_place = 2;
    std::uint64_t m_state = 6;
};

CNaiveBlock BlockOf(const CBlockIndex& index, const CGeometry& geometry, std::uint64_t block) {
    const CIndexRun* const run = index.RunFrom(block);
    if (run == nullptr || run->firstBlock > block) {
        return {};
    }
    const bool holdsBytes =
        run->state == CPayloadBlock::FullyPresent || run->state == CPayloadBlock::PartiallyPresent;
    const std::uint64_t position = run->position + (block - run->firstBlock) * geometry.blockSize;
    return {run->state, holdsBytes ? position : 0, run->isInFile};
}

/// They ascend, none is empty, and no two that are in the file could be one.
void ExpectLongestRuns(const CBlockIndex& index, const CGeometry& geometry) {
    const CIndexRun* last = nullptr;
    for (const CIndexRun& run : index.Runs()) {
        EXPECT_GT(run.count, 0U);
        EXPECT_NE(run.state, CPayloadBlock::NotPresent);
        if (last != nullptr) {
            const std::uint64_t end = last->firstBlock + last->count;
            EXPECT_GE(run.firstBlock, end);
            const bool couldJoin =
                run.firstBlock == end && run.state == last->state && run.isInFile &&
                last->isInFile &&
                (run.state == CPayloadBlock::Undefined || run.state == CPayloadBlock::Zero ||
                 run.state == CPayloadBlock::Unmapped ||
                 run.position == last->position + last->count * geometry.blockSize);
            EXPECT_FALSE(couldJoin) << "at block " << end;
        }
        last = &run;
    }
}

void ExpectSame(const CRandomTable& table) {
    CBlockIndex index;
    CFailure failure;
    ASSERT_TRUE(table.Load(index, failure)) << failure.text;
    for (std::uint64_t block = 0; block < table.BlockCount(); ++block) {
        EXPECT_EQ(BlockOf(index, table.Geometry(), block), table.Block(block)) << block;
    }
    EXPECT_EQ(index.RunFrom(table.BlockCount()), nullptr);
    for (std::uint64_t chunk = 0; chunk < table.ChunkCount() + 2; ++chunk) {
        EXPECT_EQ(index.SectorBitmap(chunk), table.SectorBitmap(chunk)) << chunk;
    }
    ExpectLongestRuns(index, table.Geometry());
}

TEST(BlockIndex, SaysOfEveryBlockWhatTheTableSays) {
    for (std::uint64_t seed = 0; seed < 3000; ++seed) {
        ExpectSame(CRandomTable(seed));
        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed;
    }
}

TEST(BlockIndex, RefusesATableWithAStateThatItsPlaceDoesNotAllow) {
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        CRandomTable table(seed);
        table.Spoil();
        CBlockIndex index;
        CFailure failure;
        ASSERT_EQ(table.Load(index, failure), !table.IsSpoilt()) << seed;
        ASSERT_EQ(failure.kind, table.IsSpoilt() ? CFailure::damaged : CFailure::none) << seed;
    }
}

TEST(BlockIndex, KnowsNoSectorBitmapBehindTheDisk) {
    EXPECT_EQ(CBlockIndex().SectorBitmap(0), std::nullopt);
    EXPECT_EQ(CBlockIndex().RunFrom(0), nullptr);
}

}  // namespace
}  // namespace NTest
