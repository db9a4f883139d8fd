#include "tests/faults/failing_allocation.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include <gtest/gtest.h>

namespace {

std::int64_t g_live = 0;
std::uint64_t g_untilFailure = 0;  // 0: none will fail

void* Allocate(std::size_t size) {
    if (g_untilFailure != 0 && --g_untilFailure == 0) {
        throw std::bad_alloc();
    }
    void* const block = std::malloc(std::max<std::size_t>(size, 1));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++g_live;
    return block;
}

void Release(void* block) {
    g_live -= block != nullptr ? 1 : 0;
    std::free(block);
}

enum class EEnd { succeeded, failed, outOfMemory, otherException };

EEnd Run(const std::function<bool()>& request) {
    try {
        return request() ? EEnd::succeeded : EEnd::failed;
    } catch (const std::bad_alloc&) {
        return EEnd::outOfMemory;
    } catch (...) {
        return EEnd::otherException;
    }
}

}  // namespace

namespace NTest {

std::int64_t LiveAllocations() {
    return g_live;
}

std::uint64_t FailEveryAllocation(const std::function<bool()>& request,
                                  const std::function<bool()>& unchanged) {
    // What the standard library allocates once and keeps does not count as a leak.
    EXPECT_EQ(Run(request), EEnd::succeeded);
    std::uint64_t failures = 0;
    for (std::uint64_t n = 1;; ++n) {
        const std::int64_t before = g_live;
        g_untilFailure = n;
        const EEnd end = Run(request);
        const bool wasReached = g_untilFailure == 0;
        g_untilFailure = 0;
        EXPECT_EQ(g_live, before) << "allocation " << n;
        if (!wasReached) {
            EXPECT_EQ(end, EEnd::succeeded);
            return failures;
        }
        EXPECT_TRUE(end == EEnd::outOfMemory || end == EEnd::succeeded)
            << "allocation " << n << " ended as " << static_cast<int>(end);
        if (end == EEnd::outOfMemory) {
            ++failures;
            EXPECT_TRUE(unchanged()) << "allocation " << n;
        }
    }
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
