#ifndef VHDX_PARSER_TOOLS_VHDX_CLI11_H
#define VHDX_PARSER_TOOLS_VHDX_CLI11_H

/// CLI11 without its questions about paths, which nothing here uses. With MinGW they would bring
/// the runtime's calls along that refuse the paths of snapshots and devices; whether one of them is
/// linked is how a test sees that the command asks nothing by them.

#if defined(__MINGW32__)

#include <sys/stat.h>

namespace CLI {

/// Both the answer and the question, as `stat` is: nothing is ever found.
struct CNoStatus {
    CNoStatus() = default;
    CNoStatus(const char*, CNoStatus*) {}
    bool operator==(int) const { return false; }

    unsigned st_mode = 0;
};

}  // namespace CLI

#define CLI11_HAS_FILESYSTEM 0
#pragma push_macro("stat")
#undef stat
#define stat CNoStatus
#include <CLI/CLI.hpp>
#pragma pop_macro("stat")

#else

#include <CLI/CLI.hpp>

#endif

#endif
