#ifndef VHDX_TOOLS_VHDX_TREE_TEXT_H
#define VHDX_TOOLS_VHDX_TREE_TEXT_H

#include <vhdx_disk/folder.h>
#include "tools/vhdx/output.h"

namespace NTool {

/// The disks of a folder for people: each child under its parent, the chains that they form, what
/// is to be said of them and what the library would make of the folder.
void PrintTree(const NVHDXDisk::CFolder& tree, COutput& output);

}  // namespace NTool

#endif
