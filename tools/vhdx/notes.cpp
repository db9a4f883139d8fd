#include "tools/vhdx/notes.h"

#include <cstdio>
#include <string_view>

#include <fmt/format.h>

#include "tools/vhdx/text.h"

namespace NTool {

void PrintNote(const std::string& text) {
    const std::string line = fmt::format("vhdx: {}\n", Printable(text));
    // Where standard error cannot take the line there is nobody left to tell.
    (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

namespace {

void PrintEntries(const std::string& file, std::uint64_t entries, std::string_view fate) {
    if (entries != 0) {
        PrintNote(fmt::format("{}: log: {} {}", file,
                              entries == 1 ? "1 entry" : fmt::format("{} entries", entries), fate));
    }
}

}  // namespace

void PrintReplay(const std::string& file, std::uint64_t entries) {
    PrintEntries(file, entries, "replayed in memory, the file is not changed");
}

void PrintPending(const std::string& file, std::uint64_t entries) {
    PrintEntries(file, entries, "not in place yet, the file is read as it stands");
}

}  // namespace NTool
