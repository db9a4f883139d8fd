#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include <vhdx_parser/differencing_merge.h>

#include "tests/chain/differencing_model.h"
#include "tests/support/bytes.h"
#include "tests/support/stop_at_every_call.h"
#include "tests/support/trace_capture.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {
namespace {

using NTest::MiB;
using CRun = NTest::CRun<char>;

/// A random chain. Few chunks, because the naive walk visits 8,388,608 sectors of each chunk in
/// each file.
class CRandomChain {
public:
    explicit CRandomChain(unsigned seed) : m_random(seed) {
        const std::uint64_t blockSizes[] = {MiB, 2 * MiB, 32 * MiB, 3 * MiB};
        const std::uint64_t blockSize = blockSizes[seed % 4];
        const std::uint32_t sectorSize = seed / 4 % 2 == 0 ? 512 : 4096;
        const std::uint64_t chunks = 1 + Below(2);
        circuit.base = File("base", blockSize, sectorSize, chunks);
        NTest::IndexBase(circuit);
        for (std::uint64_t i = 1 + Below(4); i > 0; --i) {
            // Now and then fewer chunks than the base, or another geometry.
            const std::uint64_t own = Below(5) == 0 ? chunks - 1 : chunks;
            const bool other = Below(6) == 0;
            circuit.differencing.push_back(File(("diff" + std::to_string(i)).c_str(),
                                                other ? blockSizes[Below(4)] : blockSize,
                                                other ? 512 : sectorSize, own));
        }
        for (auto& file : circuit.differencing) {
            for (CBlockChunk& chunk : file.blocks.chunks) {
                chunk.SetSectorBitmap(Bitmap());
            }
        }
    }

    std::uint64_t Below(std::uint64_t limit) { return m_random() % limit; }

    CFileDataCircuit<char> circuit;

private:
    CFileData<char> File(const char* name, std::uint64_t blockSize, std::uint32_t sectorSize,
                         std::uint64_t chunks) {
        std::vector<std::vector<CPayloadBlock>> blocks;
        const std::uint64_t ratio = sectorSize * NTest::sectorsPerChunk / blockSize;
        for (std::uint64_t i = 0; i < chunks; ++i) {
            // Sometimes cut short, sometimes with entries past the chunk's end.
            const std::uint64_t count = Below(3) == 0 ? Below(ratio + 1) : ratio + Below(3);
            blocks.push_back(Chunk(count, blockSize / MiB));
        }
        return NTest::MakeFile<char>(name, blockSize, sectorSize, blocks);
    }

    /// Blocks in the file's order with gaps and swaps, so that some follow one another.
    std::vector<CPayloadBlock> Chunk(std::uint64_t count, std::uint64_t blockMebibytes) {
        const std::uint64_t presentIn8 = Below(9);
        const std::uint64_t partialIn8 = Below(9);
        std::vector<CPayloadBlock> blocks;
        std::uint64_t offset = 1 + Below(10);
        for (std::uint64_t i = 0; i < count; ++i) {
            CPayloadBlock block = {0, static_cast<CPayloadBlock::EState>(1 + Below(4))};
            if (Below(8) < presentIn8) {
                block = {offset, Below(8) < partialIn8 ? CPayloadBlock::PartiallyPresent
                                                       : CPayloadBlock::FullyPresent};
                offset += Below(16) == 0 ? 1000 : blockMebibytes;
            }
            blocks.push_back(block);
        }
        for (std::uint64_t swaps = Below(2) * Below(count / 4 + 1); swaps > 0; --swaps) {
            std::swap(blocks[Below(count)].offset, blocks[Below(count)].offset);
        }
        return blocks;
    }

    /// None, sparse, dense, alternating or noisy.
    std::shared_ptr<CSectorBitmap> Bitmap() {
        const std::uint64_t kind = Below(6);
        if (kind == 0) {
            return nullptr;
        }
        auto bitmap = NTest::MakeBitmap({});
        auto& bits = bitmap->bits;
        if (kind == 1) {
            bits.fill(0xAA);
        } else if (kind == 2) {
            for (unsigned char& byte : bits) {
                byte = static_cast<unsigned char>(Below(256));
            }
        } else {
            // Runs of up to some length, one after another.
            const std::uint64_t longest = std::uint64_t{1} << (4 + 4 * Below(4));
            std::uint64_t sector = 0;
            for (bool set = Below(2) == 0; sector < NTest::sectorsPerChunk; set = !set) {
                const std::uint64_t end =
                    std::min(NTest::sectorsPerChunk, sector + 1 + Below(longest));
                for (; sector < end; ++sector) {
                    if (set) {
                        bits[sector / 8] =
                            static_cast<unsigned char>(bits[sector / 8] | (0x80 >> (sector % 8)));
                    }
                }
            }
        }
        return bitmap;
    }

    std::mt19937_64 m_random;
};

class RandomChain : public testing::TestWithParam<unsigned> {};

TEST_P(RandomChain, HasTheRunsOfTheNaiveWalk) {
    const CRandomChain chain(GetParam());
    const std::vector<CRun> expected = NTest::EnumerateNaively(chain.circuit);
    NTest::WithoutAndWithAWriter([&] {
        std::size_t count = 0;
        EXPECT_TRUE(
            EnumerateDifferences(chain.circuit, NTest::RunReporter<char>([&](const CRun& run) {
                                     if (count >= expected.size() || !(run == expected[count])) {
                                         ADD_FAILURE() << "run " << count << ": " << run;
                                         return false;
                                     }
                                     ++count;
                                     return true;
                                 })));
        EXPECT_EQ(count, expected.size());
    });
}

/// A random chain of a few large blocks, with bitmaps whose few runs begin and end at, before and
/// behind the borders of blocks and of the words in which bitmaps are read.
class CChainOfFewRuns {
public:
    explicit CChainOfFewRuns(unsigned seed) : m_random(seed) {
        circuit.base = NTest::MakeFile<char>("base", blockSize, sectorSize, {Blocks(), Blocks()});
        for (std::uint64_t i = 1 + Below(3); i > 0; --i) {
            circuit.differencing.push_back(NTest::MakeFile<char>(
                ("diff" + std::to_string(i)).c_str(), blockSize, sectorSize, {Blocks(), Blocks()}));
            for (CBlockChunk& chunk : circuit.differencing.back().blocks.chunks) {
                chunk.SetSectorBitmap(Below(8) == 0 ? nullptr : Bitmap());
            }
        }
    }

    CFileDataCircuit<char> circuit;

private:
    static constexpr std::uint64_t blockSize = 512 * MiB;
    static constexpr std::uint32_t sectorSize = 512;
    static constexpr std::uint64_t sectorsPerBlock = blockSize / sectorSize;

    std::uint64_t Below(std::uint64_t limit) { return m_random() % limit; }

    /// Mostly one behind the other in the file, so that runs go on from block to block.
    std::vector<CPayloadBlock> Blocks() {
        std::vector<CPayloadBlock> blocks;
        std::uint64_t offset = 1 + Below(10);
        for (std::uint64_t i = Below(4) == 0 ? Below(8) : 8; i > 0; --i) {
            constexpr CPayloadBlock::EState states[] = {
                CPayloadBlock::NotPresent, CPayloadBlock::Undefined, CPayloadBlock::FullyPresent,
                CPayloadBlock::PartiallyPresent, CPayloadBlock::PartiallyPresent};
            blocks.push_back({offset, states[Below(5)]});
            offset += Below(4) == 0 ? 1000 : blockSize / MiB;
        }
        return blocks;
    }

    std::shared_ptr<CSectorBitmap> Bitmap() {
        auto bitmap = NTest::MakeBitmap({});
        for (std::uint64_t i = Below(14); i > 0; --i) {
            const std::uint64_t border = Below(9) * sectorsPerBlock + Below(3) * 64;
            const std::uint64_t first = border - std::min(border, Below(4) * 33);
            const std::uint64_t end =
                Below(4) == 0 ? first + sectorsPerBlock : first + 1 + Below(130);
            Flip(*bitmap, first, std::min(end, NTest::sectorsPerChunk));
        }
        return bitmap;
    }

    static void Flip(CSectorBitmap& bitmap, std::uint64_t first, std::uint64_t end) {
        for (std::uint64_t sector = first; sector < end; ++sector) {
            bitmap.bits[sector / 8] =
                static_cast<unsigned char>(bitmap.bits[sector / 8] ^ (0x80 >> (sector % 8)));
        }
    }

    std::mt19937_64 m_random;
};

class ChainOfFewRuns : public testing::TestWithParam<unsigned> {};

TEST_P(ChainOfFewRuns, StopsAtEveryRunOfTheNaiveWalk) {
    const CChainOfFewRuns chain(GetParam());
    const std::vector<CRun> expected = NTest::EnumerateNaively(chain.circuit);
    NTest::WithoutAndWithAWriter([&] {
        NTest::ExpectStopAtEveryCall(expected, false, [&](const auto& report) {
            return EnumerateDifferences(chain.circuit, NTest::RunReporter<char>(report));
        });
    });
}

INSTANTIATE_TEST_SUITE_P(Seeds, ChainOfFewRuns, testing::Range(1U, 25U));

/// False when it raises, as it must for a bit past the chunk's last sector.
bool RunsToEnd(const std::function<void()>& operation) {
    try {
        operation();
        return true;
    } catch (const std::out_of_range&) {
        return false;
    }
}

TEST_P(RandomChain, AnswersAsTheNaiveLookUpDoes) {
    CRandomChain chain(GetParam());
    const auto& circuit = chain.circuit;
    const std::uint64_t sectorSize = circuit.base.parameters.logsectsz;
    const std::uint64_t blockSize = circuit.base.parameters.payloadblksz;
    std::uint64_t asked = 0;
    for (const auto& entry : circuit.baseBlocksByOffset) {
        const std::uint64_t key = entry.first;
        const auto& place = entry.second;
        const std::uint64_t inBlock = chain.Below(blockSize);
        const std::uint64_t offset = key * MiB + inBlock;
        const std::uint64_t length = chain.Below(3 * blockSize);
        // The quirk that misses blocks which do not lie at a multiple of their size.
        const std::uint64_t step = blockSize / MiB;
        const std::uint64_t mebibyte = offset / MiB;
        const auto found = circuit.baseBlocksByOffset.lower_bound(mebibyte / step * step);
        if (found->first != key) {
            continue;
        }
        const auto first = static_cast<std::uint32_t>(place.second * (blockSize / sectorSize) +
                                                      inBlock / sectorSize);
        const auto count = static_cast<std::uint32_t>((length + sectorSize - 1) / sectorSize);
        std::vector<CGetDifferentialResult<char>> expected;
        const bool expectedToEnd = RunsToEnd([&] {
            NTest::AnswerNaively(expected, circuit, place.first, first, first + count, length);
        });
        NTest::WithoutAndWithAWriter([&] {
            std::vector<CGetDifferentialResult<char>> results;
            ASSERT_EQ(RunsToEnd([&] { GetDifferential(results, offset, length, circuit); }),
                      expectedToEnd);
            ASSERT_EQ(results.size(), expected.size());
            for (std::size_t i = 0; i < expected.size(); ++i) {
                ASSERT_EQ(results[i].found, expected[i].found) << i;
                ASSERT_EQ(results[i].path, expected[i].path) << i;
                ASSERT_EQ(results[i].offset, expected[i].offset) << i;
                ASSERT_EQ(results[i].length, expected[i].length) << i;
            }
        });
        if (++asked == 20) {
            break;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomChain, testing::Range(1U, 25U));

}  // namespace
}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX
