#ifndef VHDX_PARSER_TESTS_BLOCKS_BAT_TRACE_H
#define VHDX_PARSER_TESTS_BLOCKS_BAT_TRACE_H

/// The trace lines of the block allocation table.

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/trace_capture.h"

namespace NTest {

inline std::string Quoted(std::uint64_t number) {
    // Appended piece by piece: GCC 12 takes the insertion in front of a text for an overlap.
    std::string text = "\"";
    text += std::to_string(number);
    text += '"';
    return text;
}

inline CTraceLine RatioLine(std::uint64_t ratio) {
    return Line(4, "INFO. Chunk radio is " + Quoted(ratio));
}

inline std::vector<CTraceLine> CountLines(std::uint64_t ratio, std::uint64_t dataBlocks,
                                          std::uint64_t sectorBitmapBlocks, std::uint64_t entries) {
    return {RatioLine(ratio), Line(4, "INFO. Data blocks count is " + Quoted(dataBlocks)),
            Line(4, "INFO. Sector bitmap blocks count is " + Quoted(sectorBitmapBlocks)),
            Line(4, "BAT. Entries counts is " + Quoted(entries))};
}

inline CTraceLine PayloadBlockLine(std::uint64_t index, std::uint64_t offsetMB,
                                   const std::string& state) {
    return Line(4, "Payload block. Index is " + Quoted(index) + "; Offset is " + Quoted(offsetMB) +
                       " MB; State is \"" + state + "\"");
}

inline std::vector<CTraceLine> operator+(std::vector<CTraceLine> lines,
                                         const std::vector<CTraceLine>& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

/// The lines of a load up to the counts: the ratio appears twice.
inline std::vector<CTraceLine> LoadLines(std::uint64_t ratio, std::uint64_t dataBlocks,
                                         std::uint64_t sectorBitmapBlocks, std::uint64_t entries) {
    return std::vector<CTraceLine>{RatioLine(ratio)} +
           CountLines(ratio, dataBlocks, sectorBitmapBlocks, entries);
}

inline CTraceLine PayloadBlocksLine() {
    return Line(4, "----------Payload blocks----------");
}

}  // namespace NTest

#endif
