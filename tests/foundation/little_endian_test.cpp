#include "vhdx_parser/foundation/little_endian.h"

#include <cstring>

#include <vhdx_parser/guid.h>

#include <gtest/gtest.h>

namespace {

constexpr unsigned char Bytes[] = {0x01, 0x82, 0x03, 0x84, 0x05, 0x86, 0x07, 0x88,
                                   0x09, 0x8A, 0x0B, 0x8C, 0x0D, 0x8E, 0x0F, 0x90};

static_assert(sizeof(CLittleEndian16) == 2 && alignof(CLittleEndian16) == 1);
static_assert(sizeof(CLittleEndian32) == 4 && alignof(CLittleEndian32) == 1);
static_assert(sizeof(CLittleEndian64) == 8 && alignof(CLittleEndian64) == 1);
static_assert(sizeof(CGuidOnDisk) == 16 && alignof(CGuidOnDisk) == 1);

template <class TField>
TField FieldOf(const unsigned char* bytes) {
    TField field;
    std::memcpy(&field, bytes, sizeof(field));
    return field;
}

TEST(LittleEndian, LowestByteComesFirst) {
    EXPECT_EQ(LoadLittleEndian<std::uint16_t>(Bytes), 0x8201u);
    EXPECT_EQ(LoadLittleEndian<std::uint32_t>(Bytes), 0x84038201u);
    EXPECT_EQ(LoadLittleEndian<std::uint64_t>(Bytes), 0x8807860584038201u);
}

TEST(LittleEndian, LoadsFromAnyAddress) {
    EXPECT_EQ(LoadLittleEndian<std::uint64_t>(Bytes + 1), 0x0988078605840382u);
    EXPECT_EQ(LoadLittleEndian<std::uint64_t>(Bytes + 7), 0x8E0D8C0B8A0988u | (0x0Full << 56));
}

TEST(LittleEndian, StoresAtAnyAddressWhatIsLoadedThere) {
    unsigned char bytes[10] = {};
    StoreLittleEndian(bytes + 1, std::uint64_t{0x8807860584038201});
    EXPECT_EQ(bytes[0], 0u);
    EXPECT_EQ(std::memcmp(bytes + 1, Bytes, 8), 0);
    EXPECT_EQ(bytes[9], 0u);
    StoreLittleEndian(bytes + 3, std::uint32_t{0x11223344});
    EXPECT_EQ(LoadLittleEndian<std::uint32_t>(bytes + 3), 0x11223344u);
    EXPECT_EQ(bytes[3], 0x44u);
    StoreLittleEndian(bytes, std::uint16_t{0xABCD});
    EXPECT_EQ(bytes[0], 0xCDu);
    EXPECT_EQ(bytes[1], 0xABu);
    EXPECT_EQ(bytes[2], 0x82u);
}

TEST(LittleEndian, FieldsHaveTheValueOfTheirBytes) {
    EXPECT_EQ(FieldOf<CLittleEndian16>(Bytes).Value(), 0x8201u);
    EXPECT_EQ(FieldOf<CLittleEndian32>(Bytes).Value(), 0x84038201u);
    EXPECT_EQ(FieldOf<CLittleEndian64>(Bytes).Value(), 0x8807860584038201u);
}

TEST(LittleEndian, GuidHasThreeNumbersThenEightBytesAsTheyStand) {
    const _GUID expected = {
        0x84038201, 0x8605, 0x8807, {0x09, 0x8A, 0x0B, 0x8C, 0x0D, 0x8E, 0x0F, 0x90}};
    EXPECT_TRUE(IsEqual(FieldOf<CGuidOnDisk>(Bytes).Value(), expected));
}

}  // namespace
