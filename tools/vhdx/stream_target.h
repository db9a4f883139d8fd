#ifndef VHDX_TOOLS_VHDX_STREAM_TARGET_H
#define VHDX_TOOLS_VHDX_STREAM_TARGET_H

#include <string>

#include <vhdx_disk/copy.h>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/progress.h"

namespace NTool {

/// Writes the bytes of a range of the disk one behind the other, zeros and all: who reads them may
/// be anybody. Throws `CCommandFailure`.
void WriteBytes(const CDiskPointer& disk, const CRangeOptions& range, EProgress wanted,
                const std::string& title, COutput& output);

}  // namespace NTool

#endif
