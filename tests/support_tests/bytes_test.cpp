#include "tests/support/bytes.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace NTest {
namespace {

TEST(Bytes, NumbersAreStoredLeastSignificantByteFirst) {
    CBytes bytes;
    Put32(bytes, 1, 0x11223344);
    EXPECT_EQ(bytes, (CBytes{0, 0x44, 0x33, 0x22, 0x11}));
    EXPECT_EQ(LittleEndian(bytes), 0x1122334400u);
}

TEST(Bytes, GuidStoresItsFirstThreeGroupsAsNumbers) {
    EXPECT_EQ(Guid("{2DC27766-F623-4200-9D64-115E9BFD4a08}"),
              (CGuid{0x66, 0x77, 0xC2, 0x2D, 0x23, 0xF6, 0x00, 0x42, 0x9D, 0x64, 0x11, 0x5E, 0x9B,
                     0xFD, 0x4A, 0x08}));
    EXPECT_THROW(Guid("2DC27766-F623-4200-9D64-115E9BFD4A08"), std::invalid_argument);
    EXPECT_THROW(Guid("{2DC27766-F623-4200-9D64-115E9BFD4A0G}"), std::invalid_argument);
}

TEST(Bytes, ChecksumHasThePublishedCheckValue) {
    const std::string digits = "123456789";
    EXPECT_EQ(Crc32c(CBytes(digits.begin(), digits.end())), 0xE3069283u);
    EXPECT_EQ(Crc32c(CBytes(32)), 0x8A9136AAu);
}

TEST(Bytes, TextBecomesUtf16WithoutTerminator) {
    CBytes bytes;
    AppendUtf16(bytes, u"a\u20AC");
    EXPECT_EQ(bytes, (CBytes{'a', 0, 0xAC, 0x20}));
}

}  // namespace
}  // namespace NTest
