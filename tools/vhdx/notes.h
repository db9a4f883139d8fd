#ifndef VHDX_TOOLS_VHDX_NOTES_H
#define VHDX_TOOLS_VHDX_NOTES_H

#include <cstdint>
#include <string>

namespace NTool {

/// One line for people on standard error.
void PrintNote(const std::string& text);

/// Says how many entries of a file's log were replayed; nothing when there were none.
void PrintReplay(const std::string& file, std::uint64_t entries);

/// Says how many entries of a file's log are missing from what was read; nothing when none are.
void PrintPending(const std::string& file, std::uint64_t entries);

}  // namespace NTool

#endif
