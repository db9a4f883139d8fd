#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "vhdx_disk/log/checksum.h"

namespace NTest {
namespace {

using NVHDXDisk::HasRightChecksum;

/// Bytes of a structure whose checksum, in bytes 4 to 7, is right.
CBytes Structure(std::size_t size) {
    CBytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(i + 1);
    }
    Put32(bytes, 4, 0);
    Put32(bytes, 4, Crc32c(bytes));
    return bytes;
}

TEST(Checksum, IsThatOfAllBytesButItself) {
    CBytes bytes = Structure(12);
    EXPECT_TRUE(HasRightChecksum(bytes));
    for (unsigned char& byte : bytes) {
        byte ^= 0x10;
        EXPECT_FALSE(HasRightChecksum(bytes));
        byte ^= 0x10;
    }
}

TEST(Checksum, NothingNeedFollowIt) {
    EXPECT_TRUE(HasRightChecksum(Structure(8)));
}

TEST(Checksum, AStructureWithoutRoomForItIsWrong) {
    EXPECT_FALSE(HasRightChecksum(CBytes(7)));
    EXPECT_FALSE(HasRightChecksum({}));
}

}  // namespace
}  // namespace NTest
