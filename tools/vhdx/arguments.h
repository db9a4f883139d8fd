#ifndef VHDX_PARSER_TOOLS_VHDX_ARGUMENTS_H
#define VHDX_PARSER_TOOLS_VHDX_ARGUMENTS_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/vhdx/cli11.h"
#include "tools/vhdx/command.h"
#include "tools/vhdx/disk.h"

namespace NTool {

/// A range of the virtual disk, in bytes.
struct CRangeOptions {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

/// FILE, --trace and --no-replay, which every command on one disk file has.
void AddDiskArguments(CLI::App& command, CDiskOptions& disk);

/// --no-replay, which shows files as they stand.
void AddNoReplayArgument(CLI::App& command, NVHDXHost::CReplayStream::EMode& logMode,
                         const std::string& help);

/// --trace, which every command has.
void AddTraceArgument(CLI::App& command, std::optional<std::uint32_t>& level);

/// An option that is a number of bytes, handed to `take`.
CLI::Option* AddSizeArgument(CLI::App& command, const std::string& name, const std::string& help,
                             std::function<void(std::uint64_t)> take);

/// --ranges, the name of a file for `ReadRanges`.
CLI::Option* AddRangesArgument(CLI::App& command, std::string& file);

/// --offset and --length.
void AddRangeArguments(CLI::App& command, CRangeOptions& range);

/// When the arguments name this command, `run` will be called with its options.
template <class TOptions>
void Choose(CLI::App& command, CChosenCommand& chosen, std::shared_ptr<TOptions> options,
            void (*run)(const TOptions&)) {
    command.callback([&chosen, options, run] {
        chosen.subject = options->disk.file;
        chosen.run = [options, run] { run(*options); };
    });
}

}  // namespace NTool

#endif
