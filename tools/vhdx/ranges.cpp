#include "tools/vhdx/ranges.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <numeric>
#include <string_view>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/json_value.h"
#include "tools/vhdx/opened_file.h"
#include "tools/vhdx/size_text.h"
#include "tools/vhdx/text.h"
#include "tools/vhdx/text_stream.h"

namespace NTool {

namespace {

/// Takes ranges in ascending order; `place` says where in the input a range stands.
class CRangeCollector {
public:
    void Add(std::uint64_t offset, std::uint64_t length, const std::string& place) {
        if (length > ~offset) {
            throw CCommandFailure(fmt::format("{}: the range of {} bytes from {} ends past 2^64",
                                              place, length, offset));
        }
        if (!m_ranges.empty()) {
            CheckOrder(offset, place);
        }
        m_ranges.emplace_hint(m_ranges.end(), offset, length);
    }

    CRanges Take() { return std::move(m_ranges); }

private:
    void CheckOrder(std::uint64_t offset, const std::string& place) const {
        const auto& [lastOffset, lastLength] = *m_ranges.rbegin();
        if (offset < lastOffset) {
            throw CCommandFailure(fmt::format(
                "{}: the range from {} stands behind the one from {}; ranges must be sorted", place,
                offset, lastOffset));
        }
        // Also two empty ranges at one place, which the library could not tell apart.
        if (offset == lastOffset || offset - lastOffset < lastLength) {
            throw CCommandFailure(
                fmt::format("{}: the range from {} overlaps the one before it, {} bytes from {}",
                            place, offset, lastLength, lastOffset));
        }
    }

    CRanges m_ranges;
};

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::uint64_t ParseNumber(std::string_view text, const std::string& place) {
    try {
        return ParseSize(text);
    } catch (const CSizeError& error) {
        throw CCommandFailure(place + ": " + Printable(error.what()));
    }
}

CRanges ParseLines(CTextStream& text) {
    CRangeCollector collector;
    std::string whole;
    for (std::size_t number = 1; text.ReadLine(whole); ++number) {
        const std::string_view line = Trimmed(whole);
        if (line.empty()) {
            continue;
        }
        const std::string place = fmt::format("line {}", number);
        const std::size_t comma = line.find(',');
        if (comma == line.npos) {
            throw CCommandFailure(place + ": this is no \"offset,length\"");
        }
        collector.Add(ParseNumber(Trimmed(line.substr(0, comma)), place),
                      ParseNumber(Trimmed(line.substr(comma + 1)), place), place);
    }
    return collector.Take();
}

std::uint64_t NumberOf(const CJsonValue& element, const char* key, const std::string& place) {
    const CJsonValue* const value = element.Find(key);
    const std::uint64_t* const number = value == nullptr ? nullptr : value->Number();
    if (number == nullptr) {
        throw CCommandFailure(fmt::format("{}: \"{}\" is no whole number below 2^64", place, key));
    }
    return *number;
}

CRanges ParseElements(CTextStream& text) {
    CRangeCollector collector;
    std::size_t number = 0;
    const auto add = [&collector, &number](const CJsonValue& element) {
        const std::string place = fmt::format("element {}", ++number);
        if (!element.IsObject()) {
            throw CCommandFailure(place + R"(: this is no {"offset", "length"})");
        }
        collector.Add(NumberOf(element, "offset", place), NumberOf(element, "length", place),
                      place);
    };
    if (!ReadJsonElements(text, {"offset", "length"}, add)) {
        throw CCommandFailure(R"(the JSON is no array of {"offset", "length"})");
    }
    return collector.Take();
}

CRanges Parse(CTextStream& text) {
    const char first = text.FirstVisible();
    return first == '[' || first == '{' ? ParseElements(text) : ParseLines(text);
}

CRanges ReadAll(std::FILE* file) {
    std::vector<char> piece(65536);
    CTextStream text([file, &piece] {
        errno = 0;
        const std::size_t count = std::fread(piece.data(), 1, piece.size(), file);
        if (std::ferror(file) != 0) {
            throw CCommandFailure("cannot be read: " + std::generic_category().message(errno));
        }
        return std::string_view(piece.data(), count);
    });
    return Parse(text);
}

struct CFileCloser {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};

std::string NameOf(const std::string& file) {
    return file == "-" ? "standard input" : file;
}

CRanges ReadFrom(const std::string& file) {
    if (file == "-") {
        return ReadAll(stdin);
    }
    errno = 0;
#if defined(_WIN32)
    const std::unique_ptr<std::FILE, CFileCloser> opened(_wfopen(PathOf(file).c_str(), L"rb"));
#else
    const std::unique_ptr<std::FILE, CFileCloser> opened(std::fopen(PathOf(file).c_str(), "rb"));
#endif
    if (opened == nullptr) {
        throw CCommandFailure("cannot be read: " + std::generic_category().message(errno));
    }
    return ReadAll(opened.get());
}

}  // namespace

CRanges ParseRanges(std::string_view text) {
    CTextStream stream(text);
    return Parse(stream);
}

CRanges ReadRanges(const std::string& file) {
    try {
        return ReadFrom(file);
    } catch (const CCommandFailure& failure) {
        throw CCommandFailure(NameOf(file), failure.what());
    }
}

void CheckRanges(const std::string& file, const CRanges& ranges, std::uint64_t diskSize) {
    try {
        for (const auto& [offset, length] : ranges) {
            CheckRange(offset, length, diskSize);
        }
    } catch (const CCommandFailure& failure) {
        throw CCommandFailure(NameOf(file), failure.what());
    }
}

void ClipRanges(CRanges& ranges, std::uint64_t diskSize) {
    const auto last = std::find_if(ranges.begin(), ranges.end(), [diskSize](const auto& range) {
        return range.first > diskSize || (range.first == diskSize && range.second != 0);
    });
    ranges.erase(last, ranges.end());
    if (!ranges.empty()) {
        auto& [offset, length] = *ranges.rbegin();
        length = std::min(length, diskSize - offset);
    }
}

std::uint64_t LengthOf(const CRanges& ranges) {
    return std::accumulate(
        ranges.begin(), ranges.end(), std::uint64_t{0},
        [](std::uint64_t sum, const CRanges::value_type& range) { return sum + range.second; });
}

void AddTail(CRanges& ranges, std::uint64_t begin, std::uint64_t end) {
    ranges.erase(ranges.lower_bound(begin), ranges.end());
    if (!ranges.empty()) {
        auto& [offset, length] = *ranges.rbegin();
        length = std::min(length, begin - offset);
    }
    ranges.emplace(begin, end - begin);
}

}  // namespace NTool
