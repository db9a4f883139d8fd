#ifndef VHDX_PARSER_TOOLS_VHDX_SAVED_MODEL_H
#define VHDX_PARSER_TOOLS_VHDX_SAVED_MODEL_H

#include <filesystem>
#include <string>

#include "tools/vhdx/command_syntax.h"
#include "tools/vhdx/durable.h"
#include "tools/vhdx/opened_file.h"

namespace NTool {

/// --model, which takes the place of the block allocation table. A command refuses it in every form
/// that does not use it.
void AddModelArgument(CCommandSyntax& command, CFileOptions& disk);

/// Reads a model that `SaveModel` wrote. Throws `CCommandFailure` whose subject is `file` when it
/// cannot be read, is no model, or is not one of this disk in this state.
CModel ReadModel(const std::string& file, const CGeometry& geometry, const CDiskIdentity& identity);

/// Writes the model that was loaded from the disk `disk` to the file `name`, and its identity
/// beside it. Throws `CCommandFailure`, for a model that would not come back as it is too. An
/// identity is never beside another document than its own.
void SaveModel(const std::string& name, const std::string& disk, const CModel& model,
               const CDiskIdentity& identity, ESync sync);

/// Throws `CCommandFailure` for what no model can be saved to: standard output, a device.
void CheckModelPlace(const std::string& name);

}  // namespace NTool

#endif
