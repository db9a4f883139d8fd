#ifndef VHDX_PARSER_TESTS_ACCESS_PAYLOAD_TRACE_H
#define VHDX_PARSER_TESTS_ACCESS_PAYLOAD_TRACE_H

/// The trace lines of requests for payload data.

#include <cstdint>
#include <string>

#include "tests/support/trace_capture.h"

namespace NTest {

inline CTraceLine GetLine(std::uint64_t diskOffset) {
    return Line(4, "Get payload data for disk offset \"" + std::to_string(diskOffset) + "\"");
}

inline CTraceLine NoBlockLine(std::uint64_t index) {
    return Line(4, "No payblock block with index \"" + std::to_string(index) + "\"");
}

inline CTraceLine PieceLine(std::uint64_t position, std::uint64_t remaining, std::uint64_t length) {
    return Line(4, "Request data. Offset \"" + std::to_string(position) + "\". Area size \"" +
                       std::to_string(remaining) + "\". Count \"" + std::to_string(length) + "\"");
}

inline CTraceLine DetectedLine(std::uint64_t index) {
    return Line(4,
                "Request payload. Block is detected. Index is \"" + std::to_string(index) + "\"");
}

inline CTraceLine StateLine(int state) {
    return Line(4, "Request data. Payload block stat is \"" + std::to_string(state) + "\"");
}

inline CTraceLine ZeroLine(std::uint64_t index) {
    return Line(
        4, "Request Zero data. Block is NOT detected. Index is \"" + std::to_string(index) + "\"");
}

inline CTraceLine FailedStateLine(std::uint64_t length) {
    return Line(3, "File is in failed state after request data with size \"" +
                       std::to_string(length) + "\"");
}

inline CTraceLine FailedLine(std::uint64_t position) {
    return Line(
        3, "Requested data. Failed to process with offset \"" + std::to_string(position) + "\"");
}

inline CTraceLine NotImplementedLine() {
    return Line(3, "Undefined payload data is not implemented");
}

}  // namespace NTest

#endif
