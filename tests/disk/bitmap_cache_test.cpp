#include <gtest/gtest.h>

#include "vhdx_disk/read/bitmap_cache.h"

namespace NTest {
namespace {

using NVHDXDisk::CBitmapCache;

TEST(BitmapCache, KeepsWhatWasUsedLast) {
    CBitmapCache cache(2);
    cache.Add(0, 0)[0] = 1;
    cache.Add(1, 0)[0] = 2;
    ASSERT_NE(cache.Find(0, 0), nullptr);
    cache.Add(0, 16384)[0] = 3;
    EXPECT_EQ(cache.Count(), 2u);
    EXPECT_EQ(cache.Find(1, 0), nullptr);
    EXPECT_EQ((*cache.Find(0, 0))[0], 1);
    EXPECT_EQ((*cache.Find(0, 16384))[0], 3);
}

TEST(BitmapCache, APieceCanBeTakenBack) {
    CBitmapCache cache(2);
    (void)cache.Add(0, 0);
    cache.Remove(0, 0);
    EXPECT_EQ(cache.Find(0, 0), nullptr);
    EXPECT_EQ(cache.Count(), 0u);
}

TEST(BitmapCache, WhatIsNotThereCannotBeTakenBack) {
    CBitmapCache cache(2);
    cache.Add(0, 0)[0] = 1;
    cache.Remove(0, 16384);
    cache.Remove(1, 0);
    EXPECT_EQ(cache.Count(), 1u);
    EXPECT_EQ((*cache.Find(0, 0))[0], 1);
}

}  // namespace
}  // namespace NTest
