#ifndef VHDX_TOOLS_VHDX_COMMAND_LINE_H
#define VHDX_TOOLS_VHDX_COMMAND_LINE_H

/// Texts of the command line, and the files that they name.

#include <filesystem>
#include <string>
#include <vector>

namespace NTool {

/// The arguments behind the program's name. On Windows they come from the wide command line and are
/// UTF-8, because `main` is given them in a code page that cannot express every file name.
[[nodiscard]] std::vector<std::string> CommandLineArguments(int argc, char** argv);

/// The file that an argument names.
[[nodiscard]] std::filesystem::path PathOf(const std::string& argument);

/// Whether it is a folder. Throws `CCommandFailure` where the system does not tell.
[[nodiscard]] bool IsFolder(const std::string& argument);
/// A path in results: UTF-8, with '/' between its parts on every platform.
[[nodiscard]] std::string TextOfPath(const std::filesystem::path& path);

}  // namespace NTool

#endif
