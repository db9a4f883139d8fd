#ifndef VHDX_TOOLS_VHDX_RAW_COPY_H
#define VHDX_TOOLS_VHDX_RAW_COPY_H

#include <memory>

#include "host/merged_disk.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/ranges.h"
#include "tools/vhdx/raw_file.h"

namespace NTool {

/// Fills a raw image that is empty, or was just made, with the whole disk. Throws `CFailure`.
void FillRaw(const std::shared_ptr<const NVHDXHost::CMergedDisk>& disk, CRawFile& raw,
             EProgress wanted);

/// Copies these ranges of the disk, all inside it, over an image of an earlier state, and whatever
/// the image lacks to the disk's size. It takes that size last, so that an update that did not
/// come to its end can be run again. The ranges that were copied. Throws `CFailure`; before
/// anything is written when the image is larger than the disk.
CRanges UpdateRaw(const std::shared_ptr<const NVHDXHost::CMergedDisk>& disk, CRanges ranges,
                  CRawFile& raw, EProgress wanted);

}  // namespace NTool

#endif
