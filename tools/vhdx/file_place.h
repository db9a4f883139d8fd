#ifndef VHDX_PARSER_TOOLS_VHDX_FILE_PLACE_H
#define VHDX_PARSER_TOOLS_VHDX_FILE_PLACE_H

/// Puts a written file into its place. On Windows by calls that take every path. The results are 0
/// or a value of `errno`.

#include <filesystem>

namespace NTool {

/// Moves the file in the place of another one, when there is one.
[[nodiscard]] int MoveOver(const std::filesystem::path& file, const std::filesystem::path& place);

/// Moves the file; `EEXIST` when there is one already, even one that came up this moment. Where the
/// file system does not offer that, the caller's own look before has to do.
[[nodiscard]] int MoveToFreePlace(const std::filesystem::path& file,
                                  const std::filesystem::path& place);

/// Also 0 when there is no such file.
[[nodiscard]] int Remove(const std::filesystem::path& file) noexcept;
void RemoveQuietly(const std::filesystem::path& file) noexcept;

}  // namespace NTool

#endif
