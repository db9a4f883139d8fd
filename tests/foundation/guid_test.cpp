#include <vhdx_parser/guid.h>

#include <iomanip>
#include <sstream>

#include <gtest/gtest.h>

namespace {

static_assert(noexcept(Move(std::declval<_GUID&>(), std::declval<_GUID&>())));

// All 16 bytes differ, so that a swapped or skipped byte shows.
constexpr _GUID Sample = {
    0x2DC27766, 0xF623, 0x4200, {0x9D, 0x64, 0x11, 0x5E, 0x9B, 0xFD, 0x4A, 0x08}};

unsigned char& Byte(_GUID& guid, std::size_t index) {
    return reinterpret_cast<unsigned char*>(&guid)[index];
}

std::string Text(const _GUID& guid) {
    std::ostringstream out;
    out << guid;
    return out.str();
}

TEST(Guid, IsEqualToACopy) {
    const _GUID copy = Sample;
    EXPECT_TRUE(IsEqual(Sample, copy));
    EXPECT_TRUE(IsEqual(Sample, Sample));
}

TEST(Guid, IsNotEqualWhenAnySingleByteDiffers) {
    for (std::size_t index = 0; index < 16; ++index) {
        _GUID other = Sample;
        Byte(other, index) ^= 0x80;
        EXPECT_FALSE(IsEqual(Sample, other)) << "byte " << index;
        EXPECT_FALSE(IsEqual(other, Sample)) << "byte " << index;
    }
}

TEST(Guid, IsNullWhenAllBytesAreZero) {
    EXPECT_TRUE(IsNull(_GUID{}));
}

TEST(Guid, IsNotNullWhenAnySingleByteIsSet) {
    for (std::size_t index = 0; index < 16; ++index) {
        _GUID guid = {};
        Byte(guid, index) = 1;
        EXPECT_FALSE(IsNull(guid)) << "byte " << index;
    }
}

TEST(Guid, CopyGivesTheValueAndKeepsTheSource) {
    _GUID to = {};
    const _GUID from = Sample;
    Copy(to, from);
    EXPECT_TRUE(IsEqual(to, Sample));
    EXPECT_TRUE(IsEqual(from, Sample));
}

TEST(Guid, MoveGivesTheValueAndLeavesTheSourceUsable) {
    _GUID to = {};
    _GUID from = Sample;
    Move(to, from);
    EXPECT_TRUE(IsEqual(to, Sample));
    Copy(from, to);
    EXPECT_TRUE(IsEqual(from, Sample));
}

TEST(Guid, CopyAndMoveToItselfKeepTheValue) {
    _GUID guid = Sample;
    Copy(guid, guid);
    EXPECT_TRUE(IsEqual(guid, Sample));
    Move(guid, guid);
    EXPECT_TRUE(IsEqual(guid, Sample));
}

TEST(Guid, TextIsBracedHyphenatedUpperCaseHexadecimal) {
    EXPECT_EQ(Text(Sample), "{2DC27766-F623-4200-9D64-115E9BFD4A08}");
}

TEST(Guid, TextKeepsLeadingZeros) {
    EXPECT_EQ(Text({0x0000000A, 0x000B, 0x000C, {0, 1, 2, 3, 4, 5, 6, 7}}),
              "{0000000A-000B-000C-0001-020304050607}");
    EXPECT_EQ(Text(_GUID{}), "{00000000-0000-0000-0000-000000000000}");
}

TEST(Guid, TextDoesNotDependOnTheStreamsFormatAndLeavesItAlone) {
    std::ostringstream out;
    out << std::oct << std::showbase << std::setfill('*') << Sample << ' ' << 8;
    EXPECT_EQ(out.str(), "{2DC27766-F623-4200-9D64-115E9BFD4A08} 010");
}

TEST(Guid, OutputReturnsTheStream) {
    std::ostringstream out;
    EXPECT_EQ(&(out << Sample), &out);
}

}  // namespace
