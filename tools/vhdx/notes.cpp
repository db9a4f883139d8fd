#include "tools/vhdx/notes.h"

#include <cstdio>

#include <fmt/format.h>

#include "tools/vhdx/text.h"

namespace NTool {

void PrintNote(const std::string& text) {
    const std::string line = fmt::format("vhdx: {}\n", Printable(text));
    // Where standard error cannot take the line there is nobody left to tell.
    (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

void PrintReplay(const std::string& file, std::uint64_t entries) {
    if (entries != 0) {
        PrintNote(fmt::format("{}: log: {} replayed in memory, the file is not changed", file,
                              entries == 1 ? "1 entry" : fmt::format("{} entries", entries)));
    }
}

}  // namespace NTool
