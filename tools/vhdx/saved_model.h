#ifndef VHDX_PARSER_TOOLS_VHDX_SAVED_MODEL_H
#define VHDX_PARSER_TOOLS_VHDX_SAVED_MODEL_H

#include <filesystem>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/vhdx/disk.h"

namespace NTool {

/// --model, which takes the place of the block allocation table.
void AddModelArgument(CLI::App& command, CDiskOptions& disk);

/// Reads a model that `SaveModel` wrote. Throws `CFailure` whose subject is `file` when it cannot
/// be read, is no model, or is not one of a disk of this geometry.
CModel ReadModel(const std::string& file, const CGeometry& geometry);

/// Writes the model to an open result's place. Throws `CFailure` for a model that would not come
/// back as it is.
void SaveModel(const std::filesystem::path& path, const std::string& name, const CModel& model);

}  // namespace NTool

#endif
