#ifndef VHDX_PARSER_DYNAMIC_ALLOC_BUFFER_H
#define VHDX_PARSER_DYNAMIC_ALLOC_BUFFER_H

#include <utility>

#include <vhdx_parser/platform.h>

namespace NVHDX {

/// The byte block in which requests return their data. It grows and never shrinks, so one buffer
/// serves any number of requests with few allocations.
///
/// `size` is the capacity of the block, not the length of the last result: the caller knows how
/// much it asked for. The buffer owns its block, can be moved and is never copied. One thread at a
/// time.
template <class TElement, class TSize>
struct CDynamicAllocBuffer {
    TElement* data = nullptr;
    TSize size = 0;

    CDynamicAllocBuffer() = default;
    CDynamicAllocBuffer(const CDynamicAllocBuffer&) = delete;
    CDynamicAllocBuffer& operator=(const CDynamicAllocBuffer&) = delete;

    CDynamicAllocBuffer(CDynamicAllocBuffer&& other) noexcept
        : data(std::exchange(other.data, nullptr)), size(std::exchange(other.size, TSize{0})) {}

    CDynamicAllocBuffer& operator=(CDynamicAllocBuffer&& other) noexcept {
        CDynamicAllocBuffer taken(std::move(other));
        std::swap(data, taken.data);
        std::swap(size, taken.size);
        return *this;
    }

    ~CDynamicAllocBuffer() { delete[] data; }

    /// Makes sure that the block holds at least `needed` elements. A block that is too small is
    /// replaced by one of exactly that size; its contents are not carried over. A block that is
    /// large enough is kept as it is. When memory runs out the old block stays.
    void Reserve(TSize needed) {
        if (size != 0 && size >= needed) {
            return;
        }
        TElement* const replacement = new TElement[needed];
        delete[] data;
        data = replacement;
        size = needed;
    }
};

}  // namespace NVHDX

#endif
