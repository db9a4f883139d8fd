#ifndef VHDX_PARSER_TOOLS_VHDX_SIZE_TEXT_H
#define VHDX_PARSER_TOOLS_VHDX_SIZE_TEXT_H

#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace NTool {

/// A text that is no number of bytes; says what is wrong with it.
class CSizeError : public std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

/// The number of bytes that a text like "4096", "64K" or "1T" means: decimal digits, then nothing
/// or one of the suffixes K, M, G, T (powers of 1024, upper or lower case). Throws `CSizeError` for
/// any other text and for numbers of 2^64 and more.
std::uint64_t ParseSize(std::string_view text);

}  // namespace NTool

#endif
