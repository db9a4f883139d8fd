#include "tools/vhdx/block_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NTool::CBlockTable;
using NTool::CBlockWord;
using NVHDX::CPayloadBlock;

/// What is asked of a table, from whichever source.
struct CAnswers {
    std::uint64_t maxFileOffset = 0;
    std::uint64_t lastPayloadBlockIndex = 0;
    std::map<int, std::uint64_t> counts;                // by state; without those that no block has
    std::vector<std::pair<int, std::uint64_t>> blocks;  // state, offset in MiB

    bool operator==(const CAnswers&) const = default;
};

/// By the library's loading, block by block; nothing when it refuses the table.
std::optional<CAnswers> AnswersOfModel(const std::filesystem::path& path) {
    std::basic_ifstream<unsigned char> stream;
    NByteStream::Imbue(stream);
    stream.open(path, std::ios::binary);
    NVHDX::CAccessor accessor;
    NVHDX::CBlocks model;
    NVHDX::CFileParameters params;
    EXPECT_TRUE(accessor.Entry(stream));
    if (!accessor.LoadBlocks(model, params, stream)) {
        return std::nullopt;
    }
    CAnswers answers{params.maxFileOffset, params.lastPayloadBlockIndex, {}, {}};
    const std::uint64_t blockCount = NTool::BlocksOf(params.virtdisksz, params.payloadblksz);
    for (const NVHDX::CBlockChunk& chunk : model.chunks) {
        for (const CPayloadBlock& block : chunk.getPayloadBlocks()) {
            if (answers.blocks.size() < blockCount) {
                answers.blocks.emplace_back(block.state, block.offset);
                ++answers.counts[block.state];
            }
        }
    }
    return answers;
}

/// By the table that passes by.
std::optional<CAnswers> AnswersOfTable(const std::filesystem::path& path) {
    NTool::CDiskOptions options;
    options.file = path.string();
    NTool::CDisk disk(options);
    try {
        CBlockTable table(disk);
        CAnswers answers{table.MaxFileOffset(), table.LastPayloadBlockIndex(), {}, {}};
        for (int state = CPayloadBlock::NotPresent; state <= CPayloadBlock::PartiallyPresent;
             ++state) {
            const std::uint64_t count =
                table.Summary().Count(static_cast<CPayloadBlock::EState>(state));
            if (count != 0) {
                answers.counts[state] = count;
            }
        }
        table.ForEach([&answers](std::span<const std::uint64_t> words) {
            for (const std::uint64_t word : words) {
                answers.blocks.emplace_back(CBlockWord::State(word),
                                            CBlockWord::FileOffset(word) >> 20);
            }
        });
        return answers;
    } catch (const NTool::CFailure& failure) {
        EXPECT_STREQ(failure.what(), NVHDXHost::NoBlockTable);
        return std::nullopt;
    }
}

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
        if (Below(10) == 0) {
            builder.BatLength(static_cast<std::uint32_t>(count * 8 - Below(2)));
        }
        if (Below(10) == 0) {
            builder.FileSize(builder.BatPosition() + count * 8 - Below(2));
        }
        return builder;
    }

private:
    std::uint64_t Below(std::uint64_t limit) { return m_random() % limit; }

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

void ExpectSameAnswers(const CImageBuilder& builder, const std::string& what) {
    const CTemporaryFolder folder;
    builder.Build().WriteTo(folder / "disk.vhdx");
    EXPECT_EQ(AnswersOfTable(folder / "disk.vhdx"), AnswersOfModel(folder / "disk.vhdx")) << what;
}

TEST(BlockTable, AnswersAsTheLoadedModelDoesForAnyTable) {
    for (unsigned seed = 0; seed < 400; ++seed) {
        ExpectSameAnswers(CTableMaker(seed).Make(256 * MiB, 60), "seed " + std::to_string(seed));
    }
}

/// 100,000 entries are more than three pieces.
TEST(BlockTable, AnswersAsTheLoadedModelDoesForATableOfManyPieces) {
    for (unsigned seed = 0; seed < 8; ++seed) {
        ExpectSameAnswers(CTableMaker(seed).Make(MiB, 100000), "seed " + std::to_string(seed));
    }
}

TEST(BlockTable, NamesTheFirstOfTwoBlocksThatLieFurthest) {
    const CTemporaryFolder folder;
    CImageBuilder()
        .VirtualSize(4 * MiB)
        .PayloadBlock(0, 6, 7)
        .PayloadBlock(1, 1, 9)
        .PayloadBlock(2, 6, 9)
        .PayloadBlock(3, 2, 99)
        .Build()
        .WriteTo(folder / "disk.vhdx");
    const auto answers = AnswersOfTable(folder / "disk.vhdx");
    ASSERT_TRUE(answers);
    EXPECT_EQ(answers->maxFileOffset, 10 * MiB);
    EXPECT_EQ(answers->lastPayloadBlockIndex, 1U);
}

TEST(BlockTable, RefusesStatesThatTheirPlaceDoesNotAllow) {
    const auto isRefused = [](const CImageBuilder& builder) {
        const CTemporaryFolder folder;
        builder.Build().WriteTo(folder / "disk.vhdx");
        return !AnswersOfTable(folder / "disk.vhdx");
    };
    const CImageBuilder alone = CImageBuilder().VirtualSize(4 * MiB);
    const CImageBuilder child = CImageBuilder(alone).Differencing();
    EXPECT_FALSE(isRefused(alone));
    EXPECT_TRUE(isRefused(CImageBuilder(alone).PayloadBlock(1, 4, 0)));
    EXPECT_TRUE(isRefused(CImageBuilder(alone).PayloadBlock(1, 5, 0)));
    EXPECT_TRUE(isRefused(CImageBuilder(alone).PayloadBlock(1, 7, 9)));
    EXPECT_FALSE(isRefused(CImageBuilder(child).PayloadBlock(1, 7, 9)));
    EXPECT_TRUE(isRefused(CImageBuilder(child).PayloadBlock(4, 5, 0)));  // behind the disk's end
    EXPECT_TRUE(isRefused(CImageBuilder(child).SectorBitmapBlock(0, 7, 9)));
}

/// The memory of a piece is all that the bytes take: what is read lands nowhere else.
TEST(BlockTable, LeavesTheDestinationOfAReadAlone) {
    const CTemporaryFolder folder;
    CImageBuilder().Build().WriteTo(folder / "disk.vhdx");
    std::basic_ifstream<unsigned char> file;
    NByteStream::Imbue(file);
    file.open(folder / "disk.vhdx", std::ios::binary);
    std::uint64_t passed = 0;
    NTool::CPassingBuffer buffer(
        *file.rdbuf(), [&passed](std::span<const unsigned char> bytes) { passed += bytes.size(); });
    std::basic_istream<unsigned char> stream(&buffer);
    std::vector<unsigned char> destination(MiB, 0xAB);
    stream.read(destination.data(), static_cast<std::streamsize>(destination.size()));
    EXPECT_TRUE(stream);
    EXPECT_EQ(passed, destination.size());
    EXPECT_EQ(std::count(destination.begin(), destination.end(), 0xAB),
              static_cast<std::ptrdiff_t>(destination.size()));
}

}  // namespace
}  // namespace NTest
