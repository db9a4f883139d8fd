#ifndef VHDX_PARSER_TOOLS_VHDX_ARGUMENTS_H
#define VHDX_PARSER_TOOLS_VHDX_ARGUMENTS_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/vhdx/command.h"
#include "tools/vhdx/command_syntax.h"
#include "tools/vhdx/durable.h"
#include "tools/vhdx/opened_file.h"

namespace NTool {

/// A range of the virtual disk, in bytes.
struct CRangeOptions {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

/// A range of a virtual disk whose ends may be left open.
struct CRangeChoice {
    std::optional<std::uint64_t> offset;  ///< none: from the start of the disk
    std::optional<std::uint64_t> length;  ///< none: to its end

    /// The range on a disk of this size. Throws `CCommandFailure` when the disk does not have it.
    CRangeOptions On(std::uint64_t virtualSize) const;
};

/// FILE, --trace, --no-replay and --live, which every command on one disk file has.
void AddDiskArguments(CCommandSyntax& command, CFileOptions& disk);

/// --live, which reads also what is written meanwhile.
void AddLiveArgument(CCommandSyntax& command, bool& live);

/// --no-replay, which shows files as they stand.
void AddNoReplayArgument(CCommandSyntax& command, NVHDXDisk::ELog& log, const std::string& help);

/// --trace, which every command has.
void AddTraceArgument(CCommandSyntax& command, std::optional<std::uint32_t>& level);

/// --no-sync, for a command that writes a file.
CArgument AddNoSyncArgument(CCommandSyntax& command, ESync& sync);

/// An option that is a number of bytes, handed to `take`.
CArgument AddSizeArgument(CCommandSyntax& command, const std::string& name, const std::string& help,
                          std::function<void(std::uint64_t)> take);

/// --ranges, the name of a file for `ReadRanges`.
CArgument AddRangesArgument(CCommandSyntax& command, std::string& file);

/// --offset and --length, both required.
void AddRangeArguments(CCommandSyntax& command, CRangeOptions& range);

/// --offset and --length, of which either may be left out.
void AddRangeArguments(CCommandSyntax& command, CRangeChoice& range);

/// When the arguments name this command, `run` will be called with its options.
template <class TOptions>
void Choose(CCommandSyntax& command, CChosenCommand& chosen, std::shared_ptr<TOptions> options,
            void (*run)(const TOptions&)) {
    command.WhenChosen([&chosen, options, run] {
        chosen.subject = options->disk.file;
        chosen.run = [options, run] { run(*options); };
    });
}

}  // namespace NTool

#endif
