#include <gtest/gtest.h>

#include "vhdx_parser/blocks/block_state.h"

namespace NVHDX {
namespace {

TEST(BlockState, UndefinedFullyAndPartiallyPresentHaveData) {
    EXPECT_FALSE(IsIndexed(CPayloadBlock::NotPresent));
    EXPECT_TRUE(IsIndexed(CPayloadBlock::Undefined));
    EXPECT_FALSE(IsIndexed(CPayloadBlock::Zero));
    EXPECT_FALSE(IsIndexed(CPayloadBlock::Unmapped));
    EXPECT_TRUE(IsIndexed(CPayloadBlock::FullyPresent));
    EXPECT_TRUE(IsIndexed(CPayloadBlock::PartiallyPresent));
    EXPECT_FALSE(IsIndexed(static_cast<CPayloadBlock::EState>(0)));
    EXPECT_FALSE(IsIndexed(static_cast<CPayloadBlock::EState>(7)));
}

TEST(BlockState, NumbersAreFixedAndNamed) {
    EXPECT_STREQ(NameOf(static_cast<CPayloadBlock::EState>(1)), "NotPresent");
    EXPECT_STREQ(NameOf(static_cast<CPayloadBlock::EState>(2)), "Undefined");
    EXPECT_STREQ(NameOf(static_cast<CPayloadBlock::EState>(3)), "Zero");
    EXPECT_STREQ(NameOf(static_cast<CPayloadBlock::EState>(4)), "Unmapped");
    EXPECT_STREQ(NameOf(static_cast<CPayloadBlock::EState>(5)), "FullyPresent");
    EXPECT_STREQ(NameOf(static_cast<CPayloadBlock::EState>(6)), "PartiallyPresent");
    EXPECT_STREQ(NameOf(static_cast<CPayloadBlock::EState>(0)), "");
    EXPECT_STREQ(NameOf(static_cast<CPayloadBlock::EState>(-1)), "");
}

}  // namespace
}  // namespace NVHDX
