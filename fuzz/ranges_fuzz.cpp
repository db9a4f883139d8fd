#include <string>

#include "fuzz/input.h"
#include "fuzz/target.h"
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/json_value.h"
#include "tools/vhdx/ranges.h"

// Parses a text as ranges and as JSON; what is printed of either parses to the same.

namespace {

using namespace NTool;

std::string Lines(const CRanges& ranges) {
    std::string text;
    for (const auto& [offset, length] : ranges) {
        text.append(std::to_string(offset)).append(",").append(std::to_string(length)).append("\n");
    }
    return text;
}

CJsonValue Json(const CRanges& ranges) {
    CJsonValue::CElements elements;
    for (const auto& [offset, length] : ranges) {
        elements.push_back(CJsonValue::CMembers{{"offset", offset}, {"length", length}});
    }
    return elements;
}

/// One line for people.
void RequireReason(const CCommandFailure& failure) {
    const std::string reason = failure.what();
    NFuzz::Require(!reason.empty() && reason.find('\n') == std::string::npos &&
                   reason.find('\0') == std::string::npos);
}

/// They ascend, do not overlap, and end below 2^64.
void RequireOrder(const CRanges& ranges) {
    std::uint64_t end = 0;
    bool isFirst = true;
    for (const auto& [offset, length] : ranges) {
        NFuzz::Require((isFirst || offset >= end) && length <= ~offset);
        end = offset + length;
        isFirst = false;
    }
}

void TryRanges(const std::string& text) {
    CRanges ranges;
    try {
        ranges = ParseRanges(text);
    } catch (const CCommandFailure& failure) {
        RequireReason(failure);
        return;
    }
    RequireOrder(ranges);
    NFuzz::Require(ParseRanges(Lines(ranges)) == ranges);
    NFuzz::Require(ParseRanges(JsonText(Json(ranges))) == ranges);
    NFuzz::Require(ParseRanges(JsonLines(Json(ranges))) == ranges);
}

void TryJson(const std::string& text) {
    CJsonValue value;
    try {
        value = ParseJson(text);
    } catch (const CCommandFailure& failure) {
        RequireReason(failure);
        return;
    }
    const std::string printed = JsonText(value);
    NFuzz::Require(JsonText(ParseJson(printed)) == printed);
    NFuzz::Require(JsonText(ParseJson(JsonLines(value))) == printed);
}

/// Cut to a disk, no range ends past it and the others stay.
void TryClipping(const std::string& text, std::uint64_t diskSize) {
    CRanges ranges;
    try {
        ranges = ParseRanges(text);
    } catch (const CCommandFailure&) {
        return;
    }
    CRanges clipped = ranges;
    ClipRanges(clipped, diskSize);
    for (const auto& [offset, length] : clipped) {
        NFuzz::Require(offset <= diskSize && length <= diskSize - offset);
        NFuzz::Require(length <= ranges.at(offset));
    }
    CRanges inside;
    for (const auto& [offset, length] : ranges) {
        if (offset <= diskSize && length <= diskSize - offset) {
            inside.emplace(offset, length);
        }
    }
    for (const auto& range : inside) {
        NFuzz::Require(clipped.count(range.first) == 1 && clipped.at(range.first) == range.second);
    }
}

}  // namespace

void RunTarget(const std::uint8_t* data, std::size_t size) {
    NFuzz::CInput input(data, size);
    const std::uint64_t kind = input.Number(1) % 3;
    const std::uint64_t diskSize = kind == 2 ? input.Number(8) : 0;
    const NTest::CBytes rest = input.Rest();
    const std::string text(rest.begin(), rest.end());
    if (kind == 0) {
        TryRanges(text);
    } else if (kind == 1) {
        TryJson(text);
    } else {
        TryClipping(text, diskSize);
    }
}
