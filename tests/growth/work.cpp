#include "tests/growth/work.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

#include <gtest/gtest.h>

namespace {

NTest::CWork g_work;
std::uint64_t g_live = 0;

/// Stands before each block, and leaves it as aligned as `malloc` gives it.
struct alignas(std::max_align_t) CBlockHeader {
    std::size_t size;
};

void* Allocate(std::size_t size) {
    auto* const block = static_cast<CBlockHeader*>(std::malloc(sizeof(CBlockHeader) + size));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    block->size = size;
    g_live += size;
    ++g_work.allocations;
    g_work.bytes += size;
    g_work.peak = std::max(g_work.peak, g_live);
    return block + 1;
}

void Release(void* memory) {
    if (memory != nullptr) {
        auto* const block = static_cast<CBlockHeader*>(memory) - 1;
        g_live -= block->size;
        std::free(block);
    }
}

double SecondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double SecondsSoFar() {
    rusage usage = {};
    (void)getrusage(RUSAGE_SELF, &usage);
    return SecondsOf(usage.ru_utime) + SecondsOf(usage.ru_stime);
}

}  // namespace

namespace NTest {

namespace {

/// Twice, and what a block more or a colder cache may come to. What grows as the square is at 4,
/// what copies all once in every eighth step is above this still.
constexpr double MostGrowth = 2.3;

/// A few runs first, so that no single one decides; and no more once they took so long that it is
/// not the others on the machine.
constexpr int FewestRounds = 3;
constexpr int MostRounds = 200;
constexpr double MostSeconds = 20;

/// Time is taken of shorter inputs, as many times over: theirs stay where the caches and the
/// allocator treat them as those of twice the length. What grows as the square shows there too.
constexpr std::uint64_t Brevity = 8;

std::function<void()> Repeated(std::function<void()> call) {
    return [call = std::move(call)] {
        for (std::uint64_t i = 0; i < Brevity; ++i) {
            call();
        }
    };
}

double Growth(double once, double twice) {
    return twice / std::max(once, std::numeric_limits<double>::min());
}

}  // namespace

CWork WorkOf(const std::function<void()>& call) {
    const std::uint64_t before = g_live;
    g_work = {};
    g_work.peak = before;
    const double start = SecondsSoFar();
    call();
    CWork work = g_work;
    work.seconds = SecondsSoFar() - start;
    work.peak -= before;
    return work;
}

void ExpectProportional(std::uint64_t size, const CPrepare& prepare) {
    const std::function<void()> small = prepare(size);
    const std::function<void()> large = prepare(2 * size);
    small();  // what is set up once in a process
    const auto growth = [&](auto count) {
        return Growth(static_cast<double>(WorkOf(small).*count),
                      static_cast<double>(WorkOf(large).*count));
    };
    EXPECT_LT(growth(&CWork::allocations), MostGrowth);
    EXPECT_LT(growth(&CWork::bytes), MostGrowth);
    EXPECT_LT(growth(&CWork::peak), MostGrowth);

    const std::function<void()> briefSmall = Repeated(prepare(size / Brevity));
    const std::function<void()> briefLarge = Repeated(prepare(2 * (size / Brevity)));
    double once = std::numeric_limits<double>::max();
    double twice = once;
    const double start = SecondsSoFar();
    const auto mayGoOn = [&](int round) {
        return twice >= MostGrowth * once && round < MostRounds &&
               SecondsSoFar() - start < MostSeconds;
    };
    for (int round = 0; round < FewestRounds || mayGoOn(round); ++round) {
        once = std::min(once, WorkOf(briefSmall).seconds);
        twice = std::min(twice, WorkOf(briefLarge).seconds);
    }
    EXPECT_LT(Growth(once, twice), MostGrowth) << once << " s and " << twice << " s";
}

}  // namespace NTest

// In place of the standard library's, for the whole test program.
void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return Allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
void operator delete(void* block) noexcept {
    Release(block);
}
void operator delete[](void* block) noexcept {
    Release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    Release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    Release(block);
}
