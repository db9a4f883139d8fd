#ifndef VHDX_PARSER_FUZZ_TARGET_H
#define VHDX_PARSER_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// What each target defines: runs the library on one input.
void RunTarget(const std::uint8_t* data, std::size_t size);

namespace NFuzz {

/// A property that no input may break.
inline void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

}  // namespace NFuzz

#endif
