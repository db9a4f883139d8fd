#ifndef VHDX_TOOLS_VHDX_LIBRARY_DIFF_H
#define VHDX_TOOLS_VHDX_LIBRARY_DIFF_H

#include <cstdint>
#include <optional>
#include <string>

#include "tools/vhdx/scanned_folder.h"

namespace NTool {

struct CLibraryDiffOptions {
    CScanOptions folder;
    std::string base;
    std::optional<std::uint64_t> offset;  ///< in the base disk's file, together with `length`
    std::optional<std::uint64_t> length;
    bool json = false;
};

/// Prints the library's own walk over a chain that the library links, and says that it is that: it
/// names places in the base disk's file, reads sector bitmaps most significant bit first and knows
/// nothing of logs, so that nothing but a host of the library should go by it.
void RunLibraryDiff(const CLibraryDiffOptions& options);

}  // namespace NTool

#endif
