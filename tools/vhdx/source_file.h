#ifndef VHDX_TOOLS_VHDX_SOURCE_FILE_H
#define VHDX_TOOLS_VHDX_SOURCE_FILE_H

#include <string>

namespace NTool {

/// Throws `CFailure` for what is not there and for what is no file with a size: opening a pipe or a
/// device could wait for ever.
void CheckIsFile(const std::string& file);

}  // namespace NTool

#endif
