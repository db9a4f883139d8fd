#ifndef VHDX_TOOLS_VHDX_TREE_JSON_H
#define VHDX_TOOLS_VHDX_TREE_JSON_H

#include <vhdx_disk/folder.h>
#include "tools/vhdx/output.h"

namespace NTool {

/// The disks of a folder for programs, as the help of 'vhdx chain' describes it.
void PrintTreeJson(const NVHDXDisk::CFolder& tree, COutput& output);

}  // namespace NTool

#endif
