#ifndef VHDX_TOOLS_VHDX_OPEN_FILES_H
#define VHDX_TOOLS_VHDX_OPEN_FILES_H

namespace NTool {

/// Lets this process open as many files as the system lets it ask for. A process begins with fewer,
/// for the sake of programs that keep a place for each number, which this is none of.
void OpenAsManyFilesAsAllowed();

}  // namespace NTool

#endif
