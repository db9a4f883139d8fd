#ifndef VHDX_PARSER_TESTS_BLOCKS_ALLOCATION_WATCH_H
#define VHDX_PARSER_TESTS_BLOCKS_ALLOCATION_WATCH_H

#include <cstddef>

namespace NTest {

/// Watches the memory that the program asks for. One at a time, on one thread.
class CAllocationWatch {
public:
    CAllocationWatch();

    /// The largest block asked for since this watch began, in bytes.
    std::size_t Largest() const;
};

}  // namespace NTest

#endif
