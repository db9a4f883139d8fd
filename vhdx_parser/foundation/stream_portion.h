#ifndef VHDX_PARSER_FOUNDATION_STREAM_PORTION_H
#define VHDX_PARSER_FOUNDATION_STREAM_PORTION_H

/// Records of a fixed size, read at a short list of candidate positions of a byte stream.

#include <array>
#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "vhdx_parser/foundation/positioned_transfer.h"

namespace NStreamPortion {

/// Frees a block that was allocated as raw bytes.
struct CFreeBlock {
    void operator()(void* block) const { ::operator delete(block); }
};

/// One on-disk record in a block of its own. Moved or exchanged, never copied: the block changes
/// hands.
template <class T>
struct CDynamicContainer {
    // The record is viewed in the bytes that were read, so it may be nothing but bytes.
    static_assert(std::is_trivially_copyable_v<T> && alignof(T) == 1);

    std::uint64_t size = sizeof(T);       ///< bytes to read for one record, at least sizeof(T)
    std::unique_ptr<T, CFreeBlock> data;  ///< null until a record was read into this container

    /// Makes sure that there is a block; its content is left as it is.
    void Allocate() {
        if (data == nullptr) {
            data.reset(static_cast<T*>(::operator new(size)));
        }
    }
};

/// Called for each candidate. Returns false to abort the search as failed; clears the flag to end
/// it as successful. May take the candidate's block.
template <class T>
using CStep = std::function<bool(bool& goOn, CDynamicContainer<T>& candidate)>;

/// Says whether a candidate is valid.
template <class T>
using CTest = std::function<bool(const CDynamicContainer<T>& candidate)>;

/// Says whether a candidate replaces the record chosen so far.
template <class T>
using CPreference =
    std::function<bool(const CDynamicContainer<T>& candidate, const CDynamicContainer<T>& actual)>;

/// Reads a record at each position in turn and hands it to the step. False when a seek or a read
/// fails or the step says so; what the step stored by then stays. The stream is left behind the
/// last record read.
template <class T>
bool IteratePositions(const std::array<std::uint64_t, 2>& positions,
                      std::basic_istream<unsigned char>& stream, const CStep<T>& step) {
    CDynamicContainer<T> candidate;
    bool goOn = true;
    for (const std::uint64_t position : positions) {
        if (!SeekInput(stream, position)) {
            return false;
        }
        // The step may have taken the previous block.
        candidate.Allocate();
        if (!ReadBlock(stream, candidate.data.get(), candidate.size)) {
            return false;
        }
        if (!step(goOn, candidate)) {
            return false;
        }
        if (!goOn) {
            return true;
        }
    }
    return true;
}

/// A step that keeps the preferred one of the valid candidates in `actual`, which must outlive it.
/// It never ends the search, so every position is visited.
template <class T>
CStep<T> SelectActual(CDynamicContainer<T>& actual, CTest<T> test, CPreference<T> preference) {
    return [&actual, test = std::move(test), preference = std::move(preference)](
               bool&, CDynamicContainer<T>& candidate) {
        if (!test(candidate)) {
            return true;
        }
        if (actual.data == nullptr) {
            actual.data = std::move(candidate.data);
        } else if (preference(candidate, actual)) {
            std::swap(actual.data, candidate.data);
        }
        return true;
    };
}

}  // namespace NStreamPortion

#endif
