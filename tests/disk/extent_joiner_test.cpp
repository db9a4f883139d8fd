#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "vhdx_disk/read/extent_joiner.h"

namespace NTest {
namespace {

using NVHDXDisk::CExtent;
using NVHDXDisk::CExtentCallback;
using NVHDXDisk::CExtentJoiner;
using testing::ElementsAre;

/// What comes out when these go in.
std::vector<CExtent> Joined(const std::vector<CExtent>& extents) {
    std::vector<CExtent> joined;
    const CExtentCallback take = [&](const CExtent& extent) {
        joined.push_back(extent);
        return true;
    };
    CExtentJoiner joiner(take);
    for (const CExtent& extent : extents) {
        EXPECT_TRUE(joiner.Add(extent));
    }
    EXPECT_TRUE(joiner.Finish());
    EXPECT_TRUE(joiner.Finish());  // nothing is left
    return joined;
}

TEST(ExtentJoiner, JoinsWhatFollowsInDiskAndFile) {
    EXPECT_THAT(Joined({{0, 512, CExtent::data, 1, 4096, false},
                        {512, 1024, CExtent::data, 1, 4608, false}}),
                ElementsAre(CExtent{0, 1536, CExtent::data, 1, 4096, false}));
}

TEST(ExtentJoiner, KeepsApartWhatIsDifferent) {
    const std::vector<CExtent> extents = {
        {0, 512, CExtent::data, 1, 4096, false},   {512, 512, CExtent::data, 1, 8192, false},
        {1024, 512, CExtent::data, 1, 8704, true}, {1536, 512, CExtent::data, 0, 9216, true},
        {2048, 512, CExtent::zeros, 0, 0, false},  {2560, 512, CExtent::hole, 0, 0, false}};
    EXPECT_EQ(Joined(extents), extents);
}

TEST(ExtentJoiner, ZerosHaveNoPlaceThatCouldDiffer) {
    EXPECT_THAT(
        Joined({{0, 512, CExtent::zeros, 2, 0, false}, {512, 512, CExtent::zeros, 2, 0, false}}),
        ElementsAre(CExtent{0, 1024, CExtent::zeros, 2, 0, false}));
}

TEST(ExtentJoiner, NothingGivesNothing) {
    EXPECT_THAT(Joined({}), ElementsAre());
}

TEST(ExtentJoiner, SaysWhenTheCallbackWantsNoMore) {
    const CExtentCallback refuse = [](const CExtent&) { return false; };
    CExtentJoiner joiner(refuse);
    EXPECT_TRUE(joiner.Add({0, 512, CExtent::hole, 0, 0, false}));
    EXPECT_FALSE(joiner.Add({512, 512, CExtent::zeros, 0, 0, false}));
    EXPECT_FALSE(joiner.Finish());
}

}  // namespace
}  // namespace NTest
