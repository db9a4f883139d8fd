#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "tests/support/bytes.h"
#include "vhdx_disk/log/log_overlay.h"

namespace NTest {
namespace {

using NVHDXDisk::CLogOverlay;
using NVHDXDisk::CLogPage;

CLogPage PageOf(unsigned char value) {
    CLogPage page;
    page.fill(value);
    return page;
}

TEST(LogOverlay, StartsEmpty) {
    const CLogOverlay overlay;
    EXPECT_TRUE(overlay.IsEmpty());
    EXPECT_EQ(overlay.RunFrom(0), std::nullopt);
}

TEST(LogOverlay, ARunBeginsWhereItIsAskedFor) {
    CLogOverlay overlay;
    overlay.WritePage(8192, PageOf(7));
    const auto run = overlay.RunFrom(8200);
    ASSERT_TRUE(run);
    EXPECT_EQ(run->begin, 8200u);
    EXPECT_EQ(run->end, 12288u);
    EXPECT_EQ(*run->bytes, 7);
}

TEST(LogOverlay, ARunIsFoundBehindThePosition) {
    CLogOverlay overlay;
    overlay.WriteZeros(8192, 4096);
    const auto run = overlay.RunFrom(0);
    ASSERT_TRUE(run);
    EXPECT_EQ(run->begin, 8192u);
    EXPECT_EQ(run->end, 12288u);
    EXPECT_EQ(run->bytes, nullptr);
}

TEST(LogOverlay, ZerosEndWhereAPageLiesOnThem) {
    CLogOverlay overlay;
    overlay.WriteZeros(0, 16384);
    overlay.WritePage(8192, PageOf(1));
    EXPECT_EQ(overlay.RunFrom(0)->end, 8192u);
    EXPECT_NE(overlay.RunFrom(8192)->bytes, nullptr);
    EXPECT_EQ(overlay.RunFrom(12288)->bytes, nullptr);
    EXPECT_EQ(overlay.RunFrom(16384), std::nullopt);
}

TEST(LogOverlay, ZerosOfNoLengthWriteNothing) {
    CLogOverlay overlay;
    overlay.WriteZeros(8192, 0);
    EXPECT_TRUE(overlay.IsEmpty());
}

TEST(LogOverlay, HugeRangesOfZerosCostNoMemory) {
    CLogOverlay overlay;
    overlay.WriteZeros(0, 0x7FFFFFFFFFFFF000);
    EXPECT_EQ(overlay.RunFrom(TiB)->end, 0x7FFFFFFFFFFFF000u);
}

RC_GTEST_PROP(LogOverlay, ShowsWhatTheWritesLeaveOnAnArrayOfPages, ()) {
    constexpr std::uint64_t pages = 12;
    const auto writes =
        *rc::gen::container<std::vector<std::tuple<unsigned, unsigned, bool>>>(rc::gen::tuple(
            rc::gen::inRange(0u, 12u), rc::gen::inRange(1u, 6u), rc::gen::arbitrary<bool>()));
    std::array<int, pages> model;
    model.fill(-1);
    CLogOverlay overlay;
    unsigned char value = 0;
    for (const auto& [first, count, zeros] : writes) {
        const std::uint64_t end = zeros ? std::min<std::uint64_t>(first + count, pages) : first + 1;
        ++value;
        if (zeros) {
            overlay.WriteZeros(first * 4096, (end - first) * 4096);
        } else {
            overlay.WritePage(first * 4096, PageOf(value));
        }
        for (std::uint64_t page = first; page < end; ++page) {
            model[page] = zeros ? 0 : value;
        }
    }
    for (std::uint64_t page = 0; page < pages; ++page) {
        const std::uint64_t position = page * 4096 + 5;
        const auto run = overlay.RunFrom(position);
        const bool covered = run && run->begin == position;
        RC_ASSERT(covered == (model[page] >= 0));
        if (covered) {
            RC_ASSERT(int{run->bytes == nullptr ? 0 : *run->bytes} == model[page]);
        }
    }
}

}  // namespace
}  // namespace NTest
