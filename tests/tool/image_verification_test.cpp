#include "tools/vhdx/image_verification.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/support/chain_model.h"
#include "tests/support/temporary_folder.h"
#include "tools/vhdx/command_failure.h"

namespace NTool {
namespace {

using NTest::CBytes;
using NTest::MiB;

/// Data in blocks 1 and 2, zeros elsewhere; the image is right but for what a test spoils.
class ImageVerification : public testing::Test {
protected:
    ImageVerification() {
        m_chain.AddDisk(NTest::CDiskShape()).Present(1, 1).Present(2, 2);
        m_image = m_chain.Content();
    }

    /// Why the image is refused; empty when it is not.
    std::string Refusal(const CRanges& ranges) const {
        m_chain.WriteTo(m_folder.Path());
        std::ofstream(m_folder / "disk.raw", std::ios::binary)
            .write(reinterpret_cast<const char*>(m_image.data()),
                   static_cast<std::streamsize>(m_image.size()));
        NVHDXDisk::CFailure unopened;
        const auto disk = NVHDXDisk::CDisk::Open(m_folder / "0.vhdx", {}, unopened);
        CImageFile raw(m_folder / "disk.raw", "disk.raw", CImageFile::toReadAndWrite);
        try {
            VerifyImage(disk, ranges, raw, EProgress::never);
        } catch (const CCommandFailure& failure) {
            return failure.Subject() + ": " + failure.what();
        }
        return "";
    }

    NTest::CChainModel m_chain;
    CBytes m_image;
    NTest::CTemporaryFolder m_folder;
};

TEST_F(ImageVerification, TakesAnImageThatIsTheDisk) {
    EXPECT_EQ(Refusal({{0, 8 * MiB}}), "");
}

TEST_F(ImageVerification, NamesTheFirstByteThatDiffers) {
    m_image[3 * MiB - 1] ^= 1;
    EXPECT_EQ(Refusal({{0, 8 * MiB}}), "disk.raw: the image differs from the disk at byte 3145727");
    m_image[MiB] ^= 0x80;
    EXPECT_EQ(Refusal({{0, 8 * MiB}}), "disk.raw: the image differs from the disk at byte 1048576");
}

TEST_F(ImageVerification, FindsBytesWhereTheDiskHasNone) {
    m_image[8 * MiB - 1] = 1;
    EXPECT_EQ(Refusal({{0, 8 * MiB}}), "disk.raw: the image differs from the disk at byte 8388607");
}

TEST_F(ImageVerification, LooksAtTheRangesOnly) {
    m_image[MiB] ^= 1;
    m_image[MiB + 100] ^= 1;
    m_image[5 * MiB] = 1;
    const CRanges around = {{0, MiB}, {MiB + 1, 99}, {MiB + 101, 2 * MiB}, {5 * MiB + 1, MiB}};
    EXPECT_EQ(Refusal(around), "");
    EXPECT_EQ(Refusal({{0, MiB}, {MiB + 1, 100}}),
              "disk.raw: the image differs from the disk at byte 1048676");
    EXPECT_EQ(Refusal({{5 * MiB, 1}}), "disk.raw: the image differs from the disk at byte 5242880");
}

TEST_F(ImageVerification, WantsTheSizeOfTheDisk) {
    m_image.push_back(0);
    EXPECT_EQ(Refusal({}), "disk.raw: the image has 8388609 bytes, the disk 8388608");
    m_image.resize(7 * MiB);
    EXPECT_EQ(Refusal({}), "disk.raw: the image has 7340032 bytes, the disk 8388608");
}

}  // namespace
}  // namespace NTool
