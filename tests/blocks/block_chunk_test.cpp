#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/block_model.h>
#include <vhdx_parser/metadata.h>

namespace NVHDX {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

static_assert(std::is_nothrow_move_constructible_v<CBlockChunk>);
static_assert(!std::is_copy_constructible_v<CBlockChunk>);
static_assert(!std::is_copy_assignable_v<CBlockChunk>);
static_assert(
    std::is_void_v<decltype(std::declval<CBlockChunk&>() = std::declval<CBlockChunk&&>())>);

using CBlockList = std::vector<std::pair<std::uint64_t, CPayloadBlock::EState>>;

CBlockList Listed(const CBlockChunk& chunk) {
    CBlockList list;
    for (const CPayloadBlock& block : chunk.getPayloadBlocks()) {
        list.emplace_back(block.offset, block.state);
    }
    return list;
}

std::unique_ptr<CSectorBitmapBlock> BitmapBlock(std::uint64_t offset) {
    auto block = std::make_unique<CSectorBitmapBlock>();
    *block = {offset, 2};
    return block;
}

void SetBitmapBlock(CBlockChunk& chunk, std::uint64_t offset) {
    auto block = BitmapBlock(offset);
    chunk.Set(block);
}

/// Two blocks, the second without data, a sector bitmap block at 9 MiB, and a loaded bitmap.
void Fill(CBlockChunk& chunk) {
    chunk.Init(4);
    chunk.InitPayloadBlock(CPayloadBlock::FullyPresent, 7);
    chunk.InitPayloadBlock(CPayloadBlock::Zero, 8);
    SetBitmapBlock(chunk, 9);
    chunk.SetNoSectorBitmap();
    chunk.SetSectorBitmap(std::make_shared<CSectorBitmap>());
}

TEST(BlockChunk, AbsentMarkerIsAllOnes) {
    EXPECT_EQ(CBlockChunk::m_payloadblkcollidxAbsent, 0xFFFFFFFFFFFFFFFFu);
}

TEST(BlockChunk, StartsEmpty) {
    const CBlockChunk chunk;
    EXPECT_EQ(chunk.getCount(), 0u);
    EXPECT_THAT(chunk.getPayloadBlocks(), IsEmpty());
    EXPECT_EQ(chunk.getSectorBitmatBlock(), nullptr);
    EXPECT_EQ(chunk.getSectorBitmap(), nullptr);
    EXPECT_TRUE(chunk.IsSectorBitmapPresent());
    EXPECT_EQ(chunk.GetPayloadBlock(0), nullptr);
}

TEST(BlockChunk, InitAddsNoBlock) {
    CBlockChunk chunk;
    chunk.Init(4);
    EXPECT_EQ(chunk.getCount(), 0u);
    EXPECT_THAT(chunk.getPayloadBlocks(), IsEmpty());
    EXPECT_EQ(chunk.GetPayloadBlock(0), nullptr);
}

TEST(BlockChunk, InitPayloadBlockKeepsEveryBlockAndFindsThoseWithData) {
    CBlockChunk chunk;
    chunk.Init(6);
    chunk.InitPayloadBlock(CPayloadBlock::NotPresent, 10);
    chunk.InitPayloadBlock(CPayloadBlock::Undefined, 11);
    chunk.InitPayloadBlock(CPayloadBlock::Zero, 12);
    chunk.InitPayloadBlock(CPayloadBlock::Unmapped, 13);
    chunk.InitPayloadBlock(CPayloadBlock::FullyPresent, 14);
    chunk.InitPayloadBlock(CPayloadBlock::PartiallyPresent, 15);

    EXPECT_EQ(chunk.getCount(), 6u);
    EXPECT_THAT(Listed(chunk),
                ElementsAre(Pair(10, CPayloadBlock::NotPresent), Pair(11, CPayloadBlock::Undefined),
                            Pair(12, CPayloadBlock::Zero), Pair(13, CPayloadBlock::Unmapped),
                            Pair(14, CPayloadBlock::FullyPresent),
                            Pair(15, CPayloadBlock::PartiallyPresent)));
    EXPECT_EQ(chunk.GetPayloadBlock(0), nullptr);
    EXPECT_EQ(chunk.GetPayloadBlock(1), &chunk.getPayloadBlocks()[1]);
    EXPECT_EQ(chunk.GetPayloadBlock(2), nullptr);
    EXPECT_EQ(chunk.GetPayloadBlock(3), nullptr);
    EXPECT_EQ(chunk.GetPayloadBlock(4), &chunk.getPayloadBlocks()[4]);
    EXPECT_EQ(chunk.GetPayloadBlock(5), &chunk.getPayloadBlocks()[5]);
}

TEST(BlockChunk, AddAllPayloadBlocksFindsEveryState) {
    std::vector<CPayloadBlock> blocks = {
        {10, CPayloadBlock::NotPresent},   {11, CPayloadBlock::Undefined},
        {12, CPayloadBlock::Zero},         {13, CPayloadBlock::Unmapped},
        {14, CPayloadBlock::FullyPresent}, {15, CPayloadBlock::PartiallyPresent}};
    CBlockChunk chunk;
    chunk.Init(6);
    chunk.AddAllPayloadBlocks(blocks);

    EXPECT_THAT(blocks, IsEmpty());
    EXPECT_EQ(chunk.getCount(), 6u);
    ASSERT_EQ(chunk.getPayloadBlocks().size(), 6u);
    for (std::uint64_t i = 0; i < 6; ++i) {
        EXPECT_EQ(chunk.GetPayloadBlock(i), &chunk.getPayloadBlocks()[i]) << i;
        EXPECT_EQ(chunk.getPayloadBlocks()[i].offset, 10 + i);
    }
}

TEST(BlockChunk, AddAllPayloadBlocksReplacesTheBlocks) {
    CBlockChunk chunk;
    chunk.Init(3);
    chunk.InitPayloadBlock(CPayloadBlock::Zero, 1);
    chunk.InitPayloadBlock(CPayloadBlock::Zero, 2);
    chunk.InitPayloadBlock(CPayloadBlock::Zero, 3);
    std::vector<CPayloadBlock> blocks = {{20, CPayloadBlock::NotPresent}};
    chunk.AddAllPayloadBlocks(blocks);
    EXPECT_EQ(chunk.getCount(), 1u);
    EXPECT_THAT(Listed(chunk), ElementsAre(Pair(20, CPayloadBlock::NotPresent)));
    EXPECT_EQ(chunk.GetPayloadBlock(0), &chunk.getPayloadBlocks()[0]);
    EXPECT_EQ(chunk.GetPayloadBlock(1), nullptr);
}

TEST(BlockChunk, InitPayloadBlockGoesOnAfterAddAllPayloadBlocks) {
    CBlockChunk chunk;
    std::vector<CPayloadBlock> blocks = {{20, CPayloadBlock::Zero}, {21, CPayloadBlock::Zero}};
    chunk.AddAllPayloadBlocks(blocks);
    chunk.InitPayloadBlock(CPayloadBlock::Zero, 22);
    chunk.InitPayloadBlock(CPayloadBlock::FullyPresent, 23);
    EXPECT_EQ(chunk.getCount(), 4u);
    EXPECT_EQ(chunk.GetPayloadBlock(1), &chunk.getPayloadBlocks()[1]);
    EXPECT_EQ(chunk.GetPayloadBlock(2), nullptr);
    EXPECT_EQ(chunk.GetPayloadBlock(3), &chunk.getPayloadBlocks()[3]);
}

TEST(BlockChunk, FindsNoBlockAtOrPastItsCount) {
    CBlockChunk chunk;
    chunk.Init(4);
    chunk.InitPayloadBlock(CPayloadBlock::FullyPresent, 7);
    EXPECT_NE(chunk.GetPayloadBlock(0), nullptr);
    EXPECT_EQ(chunk.GetPayloadBlock(1), nullptr);
    EXPECT_EQ(chunk.GetPayloadBlock(3), nullptr);
    EXPECT_EQ(chunk.GetPayloadBlock(4), nullptr);
    EXPECT_EQ(chunk.GetPayloadBlock(0xFFFFFFFFFFFFFFFF), nullptr);
}

TEST(BlockChunk, InitPayloadBlockGrowsPastTheSlotsOfInit) {
    CBlockChunk chunk;
    chunk.Init(1);
    for (std::uint64_t i = 0; i < 100; ++i) {
        chunk.InitPayloadBlock(i % 2 == 0 ? CPayloadBlock::FullyPresent : CPayloadBlock::Zero, i);
    }
    EXPECT_EQ(chunk.getCount(), 100u);
    EXPECT_EQ(chunk.GetPayloadBlock(98), &chunk.getPayloadBlocks()[98]);
    EXPECT_EQ(chunk.GetPayloadBlock(99), nullptr);
}

TEST(BlockChunk, AddAllPayloadBlocksGrowsPastTheSlotsOfInit) {
    CBlockChunk chunk;
    chunk.Init(1);
    std::vector<CPayloadBlock> blocks(100, {5, CPayloadBlock::Zero});
    chunk.AddAllPayloadBlocks(blocks);
    EXPECT_EQ(chunk.getCount(), 100u);
    EXPECT_EQ(chunk.GetPayloadBlock(99), &chunk.getPayloadBlocks()[99]);
}

// A new index is all zeros, and 0 names the first block.
TEST(BlockChunk, EveryPositionNamesTheFirstBlockAfterInitAnew) {
    CBlockChunk chunk;
    chunk.Init(3);
    chunk.InitPayloadBlock(CPayloadBlock::Zero, 7);
    chunk.InitPayloadBlock(CPayloadBlock::FullyPresent, 8);
    chunk.Init(3);
    EXPECT_EQ(chunk.getCount(), 2u);
    EXPECT_THAT(Listed(chunk),
                ElementsAre(Pair(7, CPayloadBlock::Zero), Pair(8, CPayloadBlock::FullyPresent)));
    EXPECT_EQ(chunk.GetPayloadBlock(0), &chunk.getPayloadBlocks()[0]);
    EXPECT_EQ(chunk.GetPayloadBlock(1), &chunk.getPayloadBlocks()[0]);
    EXPECT_EQ(chunk.GetPayloadBlock(2), nullptr);
}

TEST(BlockChunk, InitPayloadBlockSetsItsOwnSlotAfterInitAnew) {
    CBlockChunk chunk;
    chunk.Init(3);
    chunk.InitPayloadBlock(CPayloadBlock::Zero, 7);
    chunk.InitPayloadBlock(CPayloadBlock::FullyPresent, 8);
    chunk.Init(0);
    chunk.InitPayloadBlock(CPayloadBlock::FullyPresent, 9);
    chunk.InitPayloadBlock(CPayloadBlock::NotPresent, 10);
    EXPECT_EQ(chunk.GetPayloadBlock(1), &chunk.getPayloadBlocks()[0]);
    EXPECT_EQ(chunk.GetPayloadBlock(2), &chunk.getPayloadBlocks()[2]);
    EXPECT_EQ(chunk.GetPayloadBlock(3), nullptr);
}

TEST(BlockChunk, SetTakesTheBlock) {
    CBlockChunk chunk;
    auto block = BitmapBlock(9);
    CSectorBitmapBlock* const address = block.get();
    chunk.Set(block);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(chunk.getSectorBitmatBlock().get(), address);
}

TEST(BlockChunk, SetReplacesTheBlock) {
    CBlockChunk chunk;
    SetBitmapBlock(chunk, 9);
    SetBitmapBlock(chunk, 10);
    EXPECT_EQ(chunk.getSectorBitmatBlock()->offset, 10u);
    std::unique_ptr<CSectorBitmapBlock> none;
    chunk.Set(none);
    EXPECT_EQ(chunk.getSectorBitmatBlock(), nullptr);
}

TEST(BlockChunk, SetOfItsOwnOwnerDoesNothing) {
    CBlockChunk chunk;
    SetBitmapBlock(chunk, 9);
    chunk.Set(const_cast<std::unique_ptr<CSectorBitmapBlock>&>(chunk.getSectorBitmatBlock()));
    ASSERT_NE(chunk.getSectorBitmatBlock(), nullptr);
    EXPECT_EQ(chunk.getSectorBitmatBlock()->offset, 9u);
}

TEST(BlockChunk, SectorBitmapIsPresentUntilSaidOtherwise) {
    CBlockChunk chunk;
    EXPECT_EQ(chunk.getSectorBitmatBlock(), nullptr);
    EXPECT_TRUE(chunk.IsSectorBitmapPresent());
    chunk.SetNoSectorBitmap();
    EXPECT_FALSE(chunk.IsSectorBitmapPresent());
    SetBitmapBlock(chunk, 9);
    EXPECT_FALSE(chunk.IsSectorBitmapPresent());
    EXPECT_NE(chunk.getSectorBitmatBlock(), nullptr);
}

void ExpectTaken(const CBlockChunk& chunk) {
    EXPECT_EQ(chunk.getCount(), 2u);
    EXPECT_THAT(Listed(chunk),
                ElementsAre(Pair(7, CPayloadBlock::FullyPresent), Pair(8, CPayloadBlock::Zero)));
    EXPECT_EQ(chunk.GetPayloadBlock(0), &chunk.getPayloadBlocks()[0]);
    EXPECT_EQ(chunk.GetPayloadBlock(1), nullptr);
    ASSERT_NE(chunk.getSectorBitmatBlock(), nullptr);
    EXPECT_EQ(chunk.getSectorBitmatBlock()->offset, 9u);
    EXPECT_FALSE(chunk.IsSectorBitmapPresent());
}

void ExpectLeftEmpty(const CBlockChunk& chunk) {
    EXPECT_EQ(chunk.getCount(), 0u);
    EXPECT_THAT(chunk.getPayloadBlocks(), IsEmpty());
    EXPECT_EQ(chunk.GetPayloadBlock(0), nullptr);
    EXPECT_EQ(chunk.getSectorBitmatBlock(), nullptr);
    EXPECT_TRUE(chunk.IsSectorBitmapPresent());
}

TEST(BlockChunk, MoveConstructionTakesAllButTheLoadedSectorBitmap) {
    CBlockChunk source;
    Fill(source);
    const CBlockChunk target(std::move(source));
    ExpectTaken(target);
    EXPECT_EQ(target.getSectorBitmap(), nullptr);
    ExpectLeftEmpty(source);
    EXPECT_NE(source.getSectorBitmap(), nullptr);
}

TEST(BlockChunk, MoveAssignmentLeavesBothLoadedSectorBitmapsAlone) {
    CBlockChunk source;
    Fill(source);
    const auto ofSource = source.getSectorBitmap();
    const auto ofTarget = std::make_shared<CSectorBitmap>();
    CBlockChunk target;
    target.InitPayloadBlock(CPayloadBlock::Undefined, 1);
    SetBitmapBlock(target, 2);
    target.SetSectorBitmap(ofTarget);

    target = std::move(source);
    ExpectTaken(target);
    EXPECT_EQ(target.getSectorBitmap(), ofTarget);
    ExpectLeftEmpty(source);
    EXPECT_EQ(source.getSectorBitmap(), ofSource);
}

TEST(BlockChunk, MoveAssignmentOfAnEmptyChunkEmptiesTheTarget) {
    CBlockChunk target;
    Fill(target);
    CBlockChunk source;
    target = std::move(source);
    ExpectLeftEmpty(target);
    EXPECT_NE(target.getSectorBitmap(), nullptr);
}

TEST(Records, HaveEveryFieldInitialised) {
    const CPayloadBlock block;
    EXPECT_EQ(block.offset, 0u);
    EXPECT_EQ(block.state, CPayloadBlock::NotPresent);
    const CSectorBitmapBlock sectorBitmap;
    EXPECT_EQ(sectorBitmap.offset, 0u);
    EXPECT_EQ(sectorBitmap.state, 0);
    const NMetadata::CParent::CEntry entry;
    EXPECT_EQ(entry.format, NMetadata::CParent::formatParentLinkage);
}

TEST(BlockChunk, SelfAssignmentKeepsAllButThePayloadBlocks) {
    CBlockChunk chunk;
    Fill(chunk);
    CBlockChunk& same = chunk;
    chunk = std::move(same);
    EXPECT_EQ(chunk.getCount(), 2u);
    ASSERT_NE(chunk.getSectorBitmatBlock(), nullptr);
    EXPECT_EQ(chunk.getSectorBitmatBlock()->offset, 9u);
    EXPECT_FALSE(chunk.IsSectorBitmapPresent());
    EXPECT_NE(chunk.getSectorBitmap(), nullptr);
    // The blocks end as a vector's own self-assignment leaves them; what is found is one of them.
    const CPayloadBlock* const expected =
        chunk.getPayloadBlocks().empty() ? nullptr : chunk.getPayloadBlocks().data();
    EXPECT_EQ(chunk.GetPayloadBlock(0), expected);
    EXPECT_EQ(chunk.GetPayloadBlock(1), nullptr);
}

TEST(BlockChunk, SourceOfAMoveCanBeFilledAgain) {
    CBlockChunk source;
    Fill(source);
    const CBlockChunk target(std::move(source));
    Fill(source);
    ExpectTaken(source);
    ExpectTaken(target);
}

TEST(BlockChunk, SourceOfAMoveForgetsWhichBlocksItFound) {
    CBlockChunk source;
    CBlockChunk target(std::move(source));
    source.InitPayloadBlock(CPayloadBlock::NotPresent, 7);
    EXPECT_EQ(source.GetPayloadBlock(0), nullptr);
    target = std::move(source);
    source.InitPayloadBlock(CPayloadBlock::NotPresent, 7);
    EXPECT_EQ(source.GetPayloadBlock(0), nullptr);
}

TEST(BlockChunk, GrowthOfAChunkVectorDropsLoadedSectorBitmaps) {
    std::vector<CBlockChunk> chunks(1);
    Fill(chunks[0]);
    chunks.reserve(chunks.capacity() + 1);
    ExpectTaken(chunks[0]);
    EXPECT_EQ(chunks[0].getSectorBitmap(), nullptr);
}

TEST(BlockChunk, DestructionReleasesTheSharedSectorBitmap) {
    const auto bitmap = std::make_shared<CSectorBitmap>();
    {
        CBlockChunk chunk;
        chunk.SetSectorBitmap(bitmap);
        EXPECT_EQ(bitmap.use_count(), 2);
    }
    EXPECT_EQ(bitmap.use_count(), 1);
}

TEST(BlockModel, StartsAsNotRead) {
    const CFileParameters params;
    EXPECT_EQ(params.payloadblksz, 0xFFFFFFFFu);
    EXPECT_EQ(params.logsectsz, 0xFFFFu);
    EXPECT_EQ(params.virtdisksz, 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ(params.maxFileOffset, 0u);
    EXPECT_EQ(params.lastPayloadBlockIndex, 0u);
    EXPECT_TRUE(params.requestNewBlockOffset);
    EXPECT_FALSE(params.bDifferencing);
    const CBlocks blocks;
    EXPECT_THAT(blocks.chunks, IsEmpty());
    EXPECT_EQ(blocks.ratio, 0u);
}

}  // namespace
}  // namespace NVHDX
