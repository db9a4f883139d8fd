#include "bench/support/pairs.h"

#include <malloc.h>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace NBench {

namespace {

using CRegister = std::function<void()>;

struct CRegistry {
    std::vector<CRegister> pairs;
    std::vector<CRegister> growth;
};

/// Filled before `main`, in an order that nobody promises.
CRegistry& Registry() {
    static CRegistry registry;
    return registry;
}

void AddTo(std::vector<CRegister>& list, const std::string& name, CBody body,
           const std::string& counter, double value) {
    list.emplace_back([=, body = std::move(body)] {
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            body(state);
            state.counters[counter] = value;
        });
    });
}

void RegisterAll(const std::vector<CRegister>& list) {
    for (const CRegister& registerOne : list) {
        registerOne();
    }
}

}  // namespace

void AddPair(const std::string& operation, const std::string& setting, double target, CBody ours,
             CBody baseline) {
    const std::string name = operation + "/" + setting;
    AddTo(Registry().pairs, name + "/ours", std::move(ours), "target", target);
    AddTo(Registry().pairs, name + "/baseline", std::move(baseline), "target", target);
}

void AddGrowth(const std::string& operation, std::uint64_t first, std::uint64_t last,
               const std::function<CBody(std::uint64_t)>& makeBody) {
    for (std::uint64_t size = first; size <= last; size *= 2) {
        AddTo(Registry().growth, operation + "/" + std::to_string(size), makeBody(size), "size",
              static_cast<double>(size));
    }
}

std::string Binary(std::uint64_t number) {
    static constexpr const char* units[] = {"", " Ki", " Mi", " Gi", " Ti"};
    std::size_t unit = 0;
    while (number >= 1024 && number % 1024 == 0 && unit + 1 < std::size(units)) {
        number /= 1024;
        ++unit;
    }
    return std::to_string(number) + units[unit];
}

}  // namespace NBench

int main(int argumentCount, char** arguments) {
    // Freed memory stays with the process. Otherwise the allocator gives it back and takes it anew
    // at moments of its own, and the faults of fresh pages land now on one side, now on the other.
    ::mallopt(M_MMAP_MAX, 0);
    ::mallopt(M_TRIM_THRESHOLD, 1 << 30);
    ::mallopt(M_TOP_PAD, 1 << 26);
    const bool growth = argumentCount > 1 && std::string_view(arguments[1]) == "growth";
    if (growth) {
        std::rotate(arguments + 1, arguments + 2, arguments + argumentCount);
        --argumentCount;
    }
    benchmark::Initialize(&argumentCount, arguments);
    NBench::RegisterAll(growth ? NBench::Registry().growth : NBench::Registry().pairs);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
