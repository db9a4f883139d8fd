#ifndef VHDX_PARSER_TOOLS_VHDX_RANGES_H
#define VHDX_PARSER_TOOLS_VHDX_RANGES_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace NTool {

/// Changed ranges: byte offset on the virtual disk → length in bytes.
using CRanges = std::map<std::uint64_t, std::uint64_t>;

/// The ranges of a text: a JSON array of {"offset", "length"}, or a line "offset,length" for each.
/// Throws `CCommandFailure` that names the line or the element for what is neither, for ranges that
/// are not in ascending order or overlap, and for ranges that end past 2^64.
CRanges ParseRanges(std::string_view text);

/// The ranges of a file, or of standard input for "-", of which no more than a piece is in memory
/// beside them. Throws `CCommandFailure` whose subject is
/// the file.
CRanges ReadRanges(const std::string& file);

/// Throws `CCommandFailure` that names the file and the first range which ends past the end of a
/// disk of this size.
void CheckRanges(const std::string& file, const CRanges& ranges, std::uint64_t diskSize);

/// Cuts the ranges to a disk of this size, and drops those that lie past its end.
void ClipRanges(CRanges& ranges, std::uint64_t diskSize);

/// The bytes of all ranges together.
std::uint64_t LengthOf(const CRanges& ranges);

/// Adds the bytes [begin, end), which no range may reach past.
void AddTail(CRanges& ranges, std::uint64_t begin, std::uint64_t end);

}  // namespace NTool

#endif
