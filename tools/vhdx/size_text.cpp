#include "tools/vhdx/size_text.h"

#include <charconv>
#include <limits>
#include <string>
#include <system_error>

#include "tools/vhdx/text.h"

namespace NTool {

namespace {

CSizeError NotASize(std::string_view text) {
    return CSizeError("'" + Printable(text) +
                      "' is not a number of bytes (digits, then K, M, G, T or nothing)");
}

CSizeError TooLarge(std::string_view text) {
    return CSizeError("'" + Printable(text) + "' is more bytes than a 64-bit number holds");
}

/// The number of bits by which a suffix moves the number; -1 for what is no suffix.
int SuffixShift(std::string_view suffix) {
    if (suffix.empty()) {
        return 0;
    }
    constexpr std::string_view upper = "KMGT";
    constexpr std::string_view lower = "kmgt";
    if (suffix.size() != 1) {
        return -1;
    }
    const std::size_t position =
        upper.find(suffix) != upper.npos ? upper.find(suffix) : lower.find(suffix);
    return position == lower.npos ? -1 : 10 * static_cast<int>(position + 1);
}

}  // namespace

std::uint64_t ParseSize(std::string_view text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc::result_out_of_range) {
        throw TooLarge(text);
    }
    const int shift = SuffixShift(std::string_view(rest, static_cast<std::size_t>(end - rest)));
    if (error != std::errc() || shift < 0) {
        throw NotASize(text);
    }
    if (number > std::numeric_limits<std::uint64_t>::max() >> shift) {
        throw TooLarge(text);
    }
    return number << shift;
}

}  // namespace NTool
