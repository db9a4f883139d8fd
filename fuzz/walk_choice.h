#ifndef VHDX_PARSER_FUZZ_WALK_CHOICE_H
#define VHDX_PARSER_FUZZ_WALK_CHOICE_H

#include <cstddef>
#include <cstdint>

namespace NFuzz {

/// Whether an input is compared with the naive walk from sector to sector. The walk takes as long
/// as some hundred executions, so it is worth it for one input of 512. Which one follows from all
/// its bytes: mutants of a chosen input are mostly not chosen.
inline bool IsWorthTheWalk(const std::uint8_t* data, std::size_t size) {
    std::uint32_t hash = 2166136261;
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ data[i]) * 16777619;
    }
    return hash >> 23 == 0;
}

}  // namespace NFuzz

#endif
