#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "vhdx_parser/blocks/bat_entry.h"
#include "vhdx_parser/blocks/bat_table.h"
#include "vhdx_parser/blocks/units.h"

namespace NVHDX {
namespace {

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
