#ifndef VHDX_TOOLS_VHDX_DURABLE_H
#define VHDX_TOOLS_VHDX_DURABLE_H

/// What was written outlasts a power cut: the bytes of a file, and the names in a folder. The
/// results are 0 or a value of `errno`. What has no such thing, as a pipe or some file systems for
/// their folders, is as durable as it gets.

#include <filesystem>

namespace NTool {

/// Whether a command ends only when what it wrote outlasts a power cut.
enum class ESync { needed, unneeded };

/// The file of this descriptor: its bytes, size and permissions.
[[nodiscard]] int MakeDurable(int file);

/// The name of this file in its folder: that it is there, or that it is there no more.
[[nodiscard]] int MakeNameDurable(const std::filesystem::path& file);

}  // namespace NTool

#endif
