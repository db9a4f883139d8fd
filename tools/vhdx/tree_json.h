#ifndef VHDX_TOOLS_VHDX_TREE_JSON_H
#define VHDX_TOOLS_VHDX_TREE_JSON_H

#include "host/folder_tree.h"
#include "tools/vhdx/output.h"

namespace NTool {

/// The disks of a folder for programs, as the help of 'vhdx chain' describes it.
void PrintTreeJson(const NVHDXHost::CFolderTree& tree, COutput& output);

}  // namespace NTool

#endif
