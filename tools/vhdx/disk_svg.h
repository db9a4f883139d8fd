#ifndef VHDX_TOOLS_VHDX_DISK_SVG_H
#define VHDX_TOOLS_VHDX_DISK_SVG_H

#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/output.h"

namespace NTool {

/// Draws the disk as rows of cells, each one block or a group of blocks, filled from below as far
/// as files hold its bytes, a colour for each file and for each state without data. The picture has
/// the same size for every disk. Of one file, `leavesToParents` names what it does not hold.
void DrawDisk(const CDiskPointer& disk, bool leavesToParents, COutput& output);

}  // namespace NTool

#endif
