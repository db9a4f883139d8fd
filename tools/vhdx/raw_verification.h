#ifndef VHDX_TOOLS_VHDX_RAW_VERIFICATION_H
#define VHDX_TOOLS_VHDX_RAW_VERIFICATION_H

#include <memory>

#include "host/merged_disk.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/ranges.h"
#include "tools/vhdx/raw_file.h"

namespace NTool {

/// Reads these ranges of a raw image and compares them with the disk. Takes time for the data of
/// both, not for the size of the disk. Throws `CFailure` that names the first byte that differs.
void VerifyRaw(const std::shared_ptr<const NVHDXHost::CMergedDisk>& disk, const CRanges& ranges,
               CRawFile& raw, EProgress wanted);

}  // namespace NTool

#endif
