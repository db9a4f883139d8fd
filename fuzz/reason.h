#ifndef VHDX_PARSER_FUZZ_REASON_H
#define VHDX_PARSER_FUZZ_REASON_H

#include <algorithm>
#include <cstddef>
#include <string_view>

#include <vhdx_disk/failure.h>

#include "fuzz/target.h"

namespace NFuzz {

/// How many bytes a character of UTF-8 that begins so has; 0 for what begins none.
inline std::size_t Utf8Length(unsigned char first) {
    if (first < 0x80) {
        return 1;
    }
    return first >= 0xC2 && first < 0xE0   ? 2
           : first >= 0xE0 && first < 0xF0 ? 3
           : first >= 0xF0 && first < 0xF5 ? 4
                                           : 0;
}

inline bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = Utf8Length(static_cast<unsigned char>(text.front()));
        if (length == 0 || length > text.size() ||
            !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length),
                         [](char byte) { return (byte & 0xC0) == 0x80; })) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

/// What failed says why, in words that can be shown.
inline void RequireReason(const NVHDXDisk::CFailure& failure) {
    Require(failure.kind != NVHDXDisk::CFailure::none && !failure.text.empty() &&
            !failure.reason.empty() && IsUtf8(failure.text));
}

}  // namespace NFuzz

#endif
