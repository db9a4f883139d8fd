/// Reads the JSON documents that the benchmarks print, one for each operation, from standard input
/// and prints one Markdown table: each operation beside its baseline, the ratio, the target, and
/// whether it was met; with the argument "growth" how the cost of each operation grows with its
/// size. Of repetitions the median is taken, for growth the fastest.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace {

struct CRow {
    std::string name;
    std::vector<double> ours;
    std::vector<double> baseline;
    double target = 0;
};

using CTable = std::vector<CRow>;
using CDocuments = std::vector<nlohmann::json>;

double Median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double Nanoseconds(const nlohmann::json& run) {
    const std::string unit = run.at("time_unit");
    const double factor = unit == "s" ? 1e9 : unit == "ms" ? 1e6 : unit == "us" ? 1e3 : 1;
    return run.at("cpu_time").get<double>() * factor;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// False for what is worked out of other runs. Throws for a run that failed.
bool IsMeasurement(const nlohmann::json& run) {
    if (run.value("error_occurred", false)) {
        throw std::runtime_error(run.at("name").get<std::string>() + ": " +
                                 run.value("error_message", "failed"));
    }
    return run.value("run_type", "") == "iteration";
}

/// One operation and its baseline.
CRow ReadRow(const nlohmann::json& document) {
    const std::string oursMark = "/ours";
    const std::string baselineMark = "/baseline";
    CRow row;
    for (const nlohmann::json& run : document.at("benchmarks")) {
        if (!IsMeasurement(run)) {
            continue;
        }
        const std::string name = run.at("name");
        if (EndsWith(name, oursMark)) {
            row.name = name.substr(0, name.size() - oursMark.size());
            row.ours.push_back(Nanoseconds(run));
            row.target = run.at("target");
        } else if (EndsWith(name, baselineMark)) {
            row.baseline.push_back(Nanoseconds(run));
        }
    }
    return row;
}

CTable ReadTable(const CDocuments& documents) {
    CTable table;
    std::transform(documents.begin(), documents.end(), std::back_inserter(table), ReadRow);
    return table;
}

std::string Duration(double nanoseconds) {
    if (nanoseconds >= 1e9) {
        return fmt::format("{:.2f} s", nanoseconds / 1e9);
    }
    if (nanoseconds >= 1e6) {
        return fmt::format("{:.2f} ms", nanoseconds / 1e6);
    }
    if (nanoseconds >= 1e3) {
        return fmt::format("{:.2f} us", nanoseconds / 1e3);
    }
    return fmt::format("{:.0f} ns", nanoseconds);
}

void Print(const CTable& table) {
    fmt::print("| {:<66} | {:>9} | {:>9} | {:>8} | {:>7} | {:<3} |\n", "operation, setting", "ours",
               "baseline", "ratio", "target", "met");
    fmt::print("|{:-<68}|{:->10}:|{:->10}:|{:->9}:|{:->8}:|{:-<5}|\n", "", "", "", "", "", "");
    for (const CRow& row : table) {
        const double ours = Median(row.ours);
        const double baseline = Median(row.baseline);
        const double ratio = ours / baseline;
        fmt::print("| {:<66} | {:>9} | {:>9} | {:>8.3g} | {:>7.4g} | {:<3} |\n", row.name,
                   Duration(ours), Duration(baseline), ratio, row.target,
                   ratio <= row.target ? "yes" : "NO");
    }
}

/// Nanoseconds by size, of one operation.
using CSeries = std::map<double, std::vector<double>>;

using CGrowth = std::map<std::string, CSeries>;

CGrowth ReadGrowth(const CDocuments& documents) {
    CGrowth growth;
    for (const nlohmann::json& document : documents) {
        for (const nlohmann::json& run : document.at("benchmarks")) {
            if (IsMeasurement(run)) {
                std::string name = run.at("name");
                name.resize(name.rfind('/'));
                growth[name][run.at("size").get<double>()].push_back(Nanoseconds(run));
            }
        }
    }
    return growth;
}

/// Whatever else the machine does can only add to the time.
double Fastest(const std::vector<double>& times) {
    return *std::min_element(times.begin(), times.end());
}

/// The exponent of the power of the size that comes closest to the fastest times: the slope of the
/// line of least squares through their logarithms.
double Exponent(const CSeries& series) {
    double sumX = 0;
    double sumY = 0;
    double sumXX = 0;
    double sumXY = 0;
    for (const auto& [size, times] : series) {
        const double x = std::log(size);
        const double y = std::log(Fastest(times));
        sumX += x;
        sumY += y;
        sumXX += x * x;
        sumXY += x * y;
    }
    const auto count = static_cast<double>(series.size());
    return (count * sumXY - sumX * sumY) / (count * sumXX - sumX * sumX);
}

/// An exponent of 1 is linear. What is above it, up to here, is noise, and the caches, which hold
/// more of a small size than of a large one.
constexpr double largestExponent = 1.15;

void Print(const CGrowth& growth) {
    fmt::print("| {:<50} | {:>9} | {:>9} | {:>9} | {:>9} | {:>8} | {:<6} |\n",
               "operation (size is the number of)", "from", "time", "to", "time", "exponent",
               "linear");
    fmt::print("|{:-<52}|{:->10}:|{:->10}:|{:->10}:|{:->10}:|{:->9}:|{:-<8}|\n", "", "", "", "", "",
               "", "");
    for (const auto& [name, series] : growth) {
        const auto& [first, firstTimes] = *series.begin();
        const auto& [last, lastTimes] = *series.rbegin();
        const double exponent = Exponent(series);
        fmt::print("| {:<50} | {:>9} | {:>9} | {:>9} | {:>9} | {:>8.2f} | {:<6} |\n", name, first,
                   Duration(Fastest(firstTimes)), last, Duration(Fastest(lastTimes)), exponent,
                   exponent <= largestExponent ? "yes" : "NO");
    }
}

CDocuments ReadDocuments(std::istream& stream) {
    CDocuments documents;
    while (stream >> std::ws, stream.good()) {
        stream >> documents.emplace_back();
    }
    return documents;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    try {
        const CDocuments documents = ReadDocuments(std::cin);
        const bool growth = argumentCount == 2 && std::string_view(arguments[1]) == "growth";
        growth ? Print(ReadGrowth(documents)) : Print(ReadTable(documents));
    } catch (const std::exception& error) {
        fmt::print(stderr, "bench_table: {}\n", error.what());
        return 1;
    }
    return 0;
}
