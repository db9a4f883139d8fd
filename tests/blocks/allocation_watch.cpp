#include "tests/blocks/allocation_watch.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

std::size_t g_largest = 0;

void* Allocate(std::size_t size) {
    g_largest = std::max(g_largest, size);
    if (void* const block = std::malloc(std::max<std::size_t>(size, 1))) {
        return block;
    }
    throw std::bad_alloc();
}

}  // namespace

namespace NTest {

CAllocationWatch::CAllocationWatch() {
    g_largest = 0;
}

std::size_t CAllocationWatch::Largest() const {
    return g_largest;
}

}  // namespace NTest

// In place of the standard library's, for the whole test program.
void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
