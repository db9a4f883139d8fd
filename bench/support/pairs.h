#ifndef VHDX_PARSER_BENCH_SUPPORT_PAIRS_H
#define VHDX_PARSER_BENCH_SUPPORT_PAIRS_H

/// What the program measures: benchmarks, each with a baseline in the same program, and series that
/// show how the cost of an operation grows.

#include <cstdint>
#include <functional>
#include <string>

#include <benchmark/benchmark.h>

namespace NBench {

using CBody = std::function<void(benchmark::State&)>;

/// Registers "operation/setting/ours" and "operation/setting/baseline". `target` is the largest
/// ratio of their times that is good enough.
void AddPair(const std::string& operation, const std::string& setting, double target, CBody ours,
             CBody baseline);

/// Registers "operation/size" for `size` from `first` on, doubled until `last`; `makeBody` makes
/// the benchmark of a size. These run instead of the pairs when the program's first argument is
/// "growth".
void AddGrowth(const std::string& operation, std::uint64_t first, std::uint64_t last,
               const std::function<CBody(std::uint64_t)>& makeBody);

/// Runs a function that adds pairs or series before `main` does.
struct CRegistration {
    explicit CRegistration(const std::function<void()>& add) { add(); }
};

/// "64 Ki", "1 Mi", "16 Mi".
std::string Binary(std::uint64_t number);

}  // namespace NBench

#endif
