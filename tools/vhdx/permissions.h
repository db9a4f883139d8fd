#ifndef VHDX_TOOLS_VHDX_PERMISSIONS_H
#define VHDX_TOOLS_VHDX_PERMISSIONS_H

/// Who may read and write what a command has made. On Windows, where a file has the permissions of
/// its folder and none that is read-only can be replaced, all of this does nothing.

#include <filesystem>
#include <vector>

namespace NTool {

/// Gives the file those of an older one that it replaces.
void TakePermissionsOf(const std::filesystem::path& older, int file);

/// Gives the file those of a new one, as far as all files that it was made from have them too: a
/// copy is read by nobody who may not read the original.
void TakePermissionsAllowedBy(const std::vector<std::filesystem::path>& sources, int file);

}  // namespace NTool

#endif
