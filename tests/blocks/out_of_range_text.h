#ifndef VHDX_PARSER_TESTS_BLOCKS_OUT_OF_RANGE_TEXT_H
#define VHDX_PARSER_TESTS_BLOCKS_OUT_OF_RANGE_TEXT_H

#include <stdexcept>
#include <string>

namespace NTest {

inline constexpr const char* nothingRaised = "(nothing was raised)";

/// The text of the `std::out_of_range` that the call raises.
template <class TCall>
std::string OutOfRangeText(TCall call) {
    try {
        call();
    } catch (const std::out_of_range& error) {
        return error.what();
    }
    return nothingRaised;
}

}  // namespace NTest

#endif
