#include "vhdx_parser/blocks/bat_entry.h"

#include <type_traits>

#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "vhdx_parser/blocks/bat_table.h"
#include "vhdx_parser/blocks/units.h"

namespace NVHDX {
namespace {

static_assert(!std::is_convertible_v<std::uint64_t, CBATEntry>);
static_assert(!std::is_convertible_v<const unsigned char*, CBATEntry>);
static_assert(!std::is_constructible_v<CBATEntry, const std::uint64_t*>);
static_assert(CBATEntry(std::uint64_t{0x900006}).FileOffsetMB() == 9);

CBATEntry Entry(std::uint64_t word) {
    NTest::CBytes bytes;
    NTest::Put64(bytes, 0, word);
    return CBATEntry(bytes.data());
}

TEST(BATEntry, SplitsTheWord) {
    const CBATEntry entry = Entry(0x123456789ABFFFFE);
    EXPECT_EQ(entry.FileOffsetMB(), 0x123456789ABu);
    EXPECT_EQ(entry.StateBits(), 6u);
    EXPECT_EQ(Entry(0xFFFFFFFFFFFFFFFF).FileOffsetMB(), 0xFFFFFFFFFFFu);
    EXPECT_EQ(Entry(0xFFFFFFFFFFFFFFFF).StateBits(), 7u);
    EXPECT_EQ(Entry(0x00000000000FFFF8).FileOffsetMB(), 0u);
    EXPECT_EQ(Entry(0x00000000000FFFF8).StateBits(), 0u);
}

TEST(BATEntry, IsLittleEndian) {
    const unsigned char bytes[8] = {0x06, 0x00, 0x90, 0x00, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(CBATEntry(bytes).FileOffsetMB(), 9u);
    EXPECT_EQ(CBATEntry(bytes).StateBits(), 6u);
}

TEST(BATEntry, IsTheSameOfAWordAndOfItsBytes) {
    EXPECT_EQ(CBATEntry(std::uint64_t{0x123456789ABFFFFE}).Word(), 0x123456789ABFFFFEu);
    EXPECT_EQ(Entry(0x123456789ABFFFFE).Word(), 0x123456789ABFFFFEu);
}

TEST(BATEntry, HasReservedBitsBetweenStateAndOffset) {
    EXPECT_EQ(Entry(0).ReservedBits(), 0u);
    EXPECT_EQ(Entry(0x7).ReservedBits(), 0u);
    EXPECT_EQ(Entry(0x8).ReservedBits(), 1u);
    EXPECT_EQ(Entry(0x80000).ReservedBits(), 0x10000u);
    EXPECT_EQ(Entry(0xFFFFFFFFFFF00000).ReservedBits(), 0u);
    EXPECT_EQ(Entry(0xFFFFFFFFFFFFFFFF).ReservedBits(), 0x1FFFFu);
    EXPECT_EQ(CBATEntry::StateMask, 0x7u);
    EXPECT_EQ(CBATEntry::OffsetMask, 0xFFFFFFFFFFF00000u);
}

TEST(BATEntry, StateBitsOfAPayloadEntryMeanAState) {
    EXPECT_EQ(Entry(0).PayloadState(), CPayloadBlock::NotPresent);
    EXPECT_EQ(Entry(1).PayloadState(), CPayloadBlock::Undefined);
    EXPECT_EQ(Entry(2).PayloadState(), CPayloadBlock::Zero);
    EXPECT_EQ(Entry(3).PayloadState(), CPayloadBlock::Unmapped);
    EXPECT_EQ(Entry(6).PayloadState(), CPayloadBlock::FullyPresent);
    EXPECT_EQ(Entry(7).PayloadState(), CPayloadBlock::PartiallyPresent);
}

TEST(BATEntry, OnlyBlocksWithDataHaveADataOffset) {
    EXPECT_EQ(Entry(0x900000).DataOffset(), 0u);
    EXPECT_EQ(Entry(0x900001).DataOffset(), 9u);
    EXPECT_EQ(Entry(0x900002).DataOffset(), 0u);
    EXPECT_EQ(Entry(0x900003).DataOffset(), 0u);
    EXPECT_EQ(Entry(0x900004).DataOffset(), 0u);
    EXPECT_EQ(Entry(0x900005).DataOffset(), 0u);
    EXPECT_EQ(Entry(0x900006).DataOffset(), 9u);
    EXPECT_EQ(Entry(0x900007).DataOffset(), 9u);
}

TEST(BATEntry, PayloadEntriesOfStates1And6And7HaveData) {
    for (std::uint64_t state = 0; state < 8; ++state) {
        EXPECT_EQ(Entry(0x900000 | state).HasData(), state == 1 || state == 6 || state == 7)
            << state;
    }
}

TEST(BATEntry, APayloadEntryHasOneOfSixStatesWithAParentAndOfFiveWithout) {
    for (unsigned state = 0; state < 8; ++state) {
        const bool isBlock = state < 4 || state == 6;
        EXPECT_EQ((PayloadStateBitsWithoutParent >> state & 1) != 0, isBlock) << state;
        EXPECT_EQ((PayloadStateBitsWithParent >> state & 1) != 0, isBlock || state == 7) << state;
    }
}

TEST(BATEntry, OfABlockIsTheEntryThatMeansTheBlock) {
    for (const std::uint64_t state : {0u, 1u, 2u, 3u, 6u, 7u}) {
        for (const std::uint64_t offset : {0ull, 9ull, 0xFFFFFFFFFFFull}) {
            const std::uint64_t word = offset << 20 | state;
            EXPECT_EQ(CBATEntry::Of(Entry(word)).Word(), word);
        }
    }
}

TEST(BATEntry, OfNoStateHasANumberThatMeansNothing) {
    for (const int state : {0, -1, 7, 8}) {
        const auto entry = CBATEntry::Of({9, static_cast<CPayloadBlock::EState>(state)});
        EXPECT_EQ(PayloadStateBitsWithParent >> entry.StateBits() & 1, 0u) << state;
        EXPECT_EQ(entry.FileOffsetMB(), 9u) << state;
    }
}

TEST(BATEntry, SectorBitmapIsPresentInState6AndNotPresentInState0) {
    for (std::uint64_t state = 0; state < 8; ++state) {
        EXPECT_EQ(Entry(0x900000 | state).IsSectorBitmapNotPresent(), state == 0) << state;
        EXPECT_EQ(Entry(0x900000 | state).IsSectorBitmapPresent(), state == 6) << state;
    }
}

TEST(BATTable, APartStartsAtItsFirstEntry) {
    NTest::CBytes bytes;
    for (std::uint64_t i = 0; i < 5; ++i) {
        NTest::Put64(bytes, i * 8, i << 20);
    }
    const CBATTable part = CBATTable(bytes.data(), 5).Part(2, 3);
    EXPECT_EQ(part.Count(), 3u);
    EXPECT_EQ(part[0].FileOffsetMB(), 2u);
    EXPECT_EQ(part[2].FileOffsetMB(), 4u);
}

TEST(Units, MebibytesBecomeBytes) {
    EXPECT_EQ(BytesFromMebibytes(0), 0u);
    EXPECT_EQ(BytesFromMebibytes(3), 3145728u);
    EXPECT_EQ(BytesFromMebibytes(0xFFFFFFFFFFF), 0xFFFFFFFFFFF00000u);
    EXPECT_EQ(BytesFromMebibytes(0x100000000001), 1048576u);
}

}  // namespace
}  // namespace NVHDX
