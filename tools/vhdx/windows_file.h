#ifndef VHDX_TOOLS_VHDX_WINDOWS_FILE_H
#define VHDX_TOOLS_VHDX_WINDOWS_FILE_H

#include <cstdint>
#include <filesystem>

/// Files of Windows in the terms of the C runtime. Built for Windows only.
namespace NTool {

enum class EOpening {
    toRead,
    toReadAndWrite,
    toWrite,            ///< makes the file, or empties the one that is there
    toReadAndWriteNew,  ///< fails when the file is there
};

/// A descriptor of the C runtime, or -1 with `errno` set. Unlike a file that the runtime opens,
/// this one can be removed while it is open, and no child process inherits it.
int OpenRemovable(const std::filesystem::path& path, EOpening opening);

/// Makes the file longer without writing, or cuts it off. 0 or a value of `errno`.
int SetFileSize(int file, std::uint64_t size);

}  // namespace NTool

#endif
