/// Prints a Markdown table of the memory that loading a block allocation table takes at its peak,
/// for each entry and beyond the 8 bytes of the entry itself.

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "bench/support/bench_disk.h"

namespace {

/// A value of this process in bytes: "VmRSS" is what is resident, "VmHWM" the most that ever was.
std::uint64_t Resident(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == key + ":") {
            std::uint64_t kibibytes = 0;
            status >> kibibytes;
            return kibibytes * 1024;
        }
    }
    std::fprintf(stderr, "load_memory: the system does not tell %s\n", key.c_str());
    std::exit(1);
}

/// From here on the most that is resident counts anew.
void ResetPeak() {
    ::malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5;
}

double PeakPerEntry(std::uint64_t entryCount) {
    NBench::CBenchDisk disk(NBench::MakeTableDisk(entryCount));
    ResetPeak();
    const std::uint64_t before = Resident("VmRSS");
    disk.Load();
    return static_cast<double>(Resident("VmHWM") - before) / static_cast<double>(entryCount);
}

constexpr double tableBytes = 8;
constexpr double target = 26;

}  // namespace

int main() {
    std::printf("| %-12s | %-32s | %6s | %-3s |\n", "entries", "peak, bytes per entry beyond the 8",
                "target", "met");
    std::printf("|%s|%s|%s|%s|\n",
                "-------------:", "-----------------------------------:", "-------:", "-----");
    for (std::uint64_t entryCount = 1ULL << 20; entryCount <= 1ULL << 25; entryCount *= 2) {
        const double bytes = PeakPerEntry(entryCount) - tableBytes;
        std::printf("| %12llu | %34.1f | %6.0f | %-3s |\n",
                    static_cast<unsigned long long>(entryCount), bytes, target,
                    bytes <= target ? "yes" : "NO");
        std::filesystem::remove(NBench::MakeTableDisk(entryCount));
    }
    return 0;
}
