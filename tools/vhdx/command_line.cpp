#include "tools/vhdx/command_line.h"

#if defined(_WIN32)
// The second header needs the first.
// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <memory>

#include "tools/vhdx/text.h"
#endif

#include <system_error>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/command_failure.h"

namespace NTool {

#if defined(_WIN32)

std::vector<std::string> CommandLineArguments(int, char**) {
    int count = 0;
    const std::unique_ptr<wchar_t*, decltype(&LocalFree)> texts(
        CommandLineToArgvW(GetCommandLineW(), &count), &LocalFree);
    std::vector<std::string> arguments;
    for (int i = 1; texts != nullptr && i < count; ++i) {
        arguments.push_back(Utf8(texts.get()[i]));
    }
    return arguments;
}

std::filesystem::path PathOf(const std::string& argument) {
    return std::u8string(argument.begin(), argument.end());
}

#else

std::vector<std::string> CommandLineArguments(int argc, char** argv) {
    return std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc);
}

std::filesystem::path PathOf(const std::string& argument) {
    return argument;
}

#endif

bool IsFolder(const std::string& argument) {
    std::error_code error;
    const bool isFolder = NVHDXDisk::IsFolder(PathOf(argument), error);
    if (error) {
        throw CCommandFailure(argument, "it cannot be looked at: " + error.message());
    }
    return isFolder;
}

std::string TextOfPath(const std::filesystem::path& path) {
    std::string text = NVHDXDisk::TextOf(path);
    // Windows takes such a path as it stands, and none with '/' in it.
    const bool isTakenAsItStands = text.starts_with(R"(\\?\)");
    return isTakenAsItStands
               ? text
               : NVHDXDisk::TextOf(path.generic_string<std::filesystem::path::value_type>());
}

}  // namespace NTool
