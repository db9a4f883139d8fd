#include <vhdx_parser/dynamic_alloc_buffer.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

#include <gtest/gtest.h>

namespace NVHDX {
namespace {

using CBuffer = CDynamicAllocBuffer<unsigned char, unsigned __int64>;

static_assert(std::is_same_v<decltype(CBuffer::data), unsigned char*>);
static_assert(std::is_same_v<decltype(CBuffer::size), std::uint64_t>);
static_assert(!std::is_copy_constructible_v<CBuffer> && !std::is_copy_assignable_v<CBuffer>);
static_assert(std::is_nothrow_move_constructible_v<CBuffer>);
static_assert(std::is_nothrow_move_assignable_v<CBuffer>);

TEST(DynamicAllocBuffer, StartsWithoutABlock) {
    const CBuffer buffer;
    EXPECT_EQ(buffer.data, nullptr);
    EXPECT_EQ(buffer.size, 0u);
}

TEST(DynamicAllocBuffer, ReserveAllocatesExactlyWhatIsNeeded) {
    CBuffer buffer;
    buffer.Reserve(100);
    ASSERT_NE(buffer.data, nullptr);
    EXPECT_EQ(buffer.size, 100u);
    std::fill_n(buffer.data, 100, static_cast<unsigned char>(7));
    EXPECT_EQ(buffer.data[99], 7);
}

TEST(DynamicAllocBuffer, ReserveOfLessKeepsBlockSizeAndContent) {
    CBuffer buffer;
    buffer.Reserve(4096);
    unsigned char* const block = buffer.data;
    std::fill_n(block, 4096, static_cast<unsigned char>(7));
    buffer.Reserve(100);
    EXPECT_EQ(buffer.data, block);
    EXPECT_EQ(buffer.size, 4096u);
    EXPECT_EQ(buffer.data[4095], 7);
}

TEST(DynamicAllocBuffer, ReserveOfTheSameSizeKeepsTheBlock) {
    CBuffer buffer;
    buffer.Reserve(4096);
    unsigned char* const block = buffer.data;
    buffer.Reserve(4096);
    EXPECT_EQ(buffer.data, block);
    EXPECT_EQ(buffer.size, 4096u);
}

TEST(DynamicAllocBuffer, ReserveOfMoreGrowsToExactlyThat) {
    CBuffer buffer;
    buffer.Reserve(4096);
    buffer.Reserve(4097);
    EXPECT_EQ(buffer.size, 4097u);
    std::fill_n(buffer.data, 4097, static_cast<unsigned char>(7));
    EXPECT_EQ(buffer.data[4096], 7);
}

TEST(DynamicAllocBuffer, ReserveOfNothingAllocatesABlockOfNoBytes) {
    CBuffer buffer;
    buffer.Reserve(0);
    EXPECT_NE(buffer.data, nullptr);
    EXPECT_EQ(buffer.size, 0u);
}

TEST(DynamicAllocBuffer, ReserveAfterABlockOfNoBytesAllocatesAgain) {
    CBuffer buffer;
    buffer.Reserve(0);
    buffer.Reserve(8);
    EXPECT_EQ(buffer.size, 8u);
    buffer.data[7] = 1;
    EXPECT_EQ(buffer.data[7], 1);
}

TEST(DynamicAllocBuffer, ReserveOfNothingKeepsABlockWithBytes) {
    CBuffer buffer;
    buffer.Reserve(8);
    unsigned char* const block = buffer.data;
    buffer.Reserve(0);
    EXPECT_EQ(buffer.data, block);
    EXPECT_EQ(buffer.size, 8u);
}

/// An element that there is room for only a few of. The sanitizer ends the program when the usual
/// memory runs out.
struct CScarce {
    static void* operator new[](std::size_t size) {
        if (size > 100) {
            throw std::bad_alloc();
        }
        return ::operator new[](size);
    }
    static void operator delete[](void* block) { ::operator delete[](block); }

    unsigned char value;
};

TEST(DynamicAllocBuffer, MemoryExhaustionPassesOutAndKeepsTheBlock) {
    CDynamicAllocBuffer<CScarce, std::uint64_t> buffer;
    buffer.Reserve(8);
    CScarce* const block = buffer.data;
    EXPECT_THROW(buffer.Reserve(101), std::bad_alloc);
    EXPECT_EQ(buffer.data, block);
    EXPECT_EQ(buffer.size, 8u);
}

TEST(DynamicAllocBuffer, MovingHandsTheBlockOver) {
    CBuffer source;
    source.Reserve(8);
    unsigned char* const block = source.data;
    const CBuffer target(std::move(source));
    EXPECT_EQ(target.data, block);
    EXPECT_EQ(target.size, 8u);
    EXPECT_EQ(source.data, nullptr);
    EXPECT_EQ(source.size, 0u);
}

TEST(DynamicAllocBuffer, MoveAssignmentReplacesTheBlock) {
    CBuffer source;
    source.Reserve(8);
    unsigned char* const block = source.data;
    CBuffer target;
    target.Reserve(16);
    target = std::move(source);
    EXPECT_EQ(target.data, block);
    EXPECT_EQ(target.size, 8u);
    EXPECT_EQ(source.data, nullptr);
    EXPECT_EQ(source.size, 0u);
}

TEST(DynamicAllocBuffer, MoveAssignmentToItselfKeepsTheBlock) {
    CBuffer buffer;
    buffer.Reserve(8);
    unsigned char* const block = buffer.data;
    CBuffer& alias = buffer;
    buffer = std::move(alias);
    EXPECT_EQ(buffer.data, block);
    EXPECT_EQ(buffer.size, 8u);
}

}  // namespace
}  // namespace NVHDX
