#ifndef VHDX_TOOLS_VHDX_IMAGE_FILLING_H
#define VHDX_TOOLS_VHDX_IMAGE_FILLING_H

#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/image_file.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/ranges.h"

namespace NTool {

/// Fills a raw image that is empty, or was just made, with the whole disk. Throws
/// `CCommandFailure`.
void FillImage(const CDiskPointer& disk, CImageFile& raw, EProgress wanted);

/// Copies these ranges of the disk, all inside it, over an image of an earlier state, and whatever
/// the image lacks to the disk's size. It takes that size last, so that an update that did not
/// come to its end can be run again. The ranges that were copied. Throws `CCommandFailure`; before
/// anything is written when the image is larger than the disk.
CRanges BringUpToDate(const CDiskPointer& disk, CRanges ranges, CImageFile& raw, EProgress wanted);

}  // namespace NTool

#endif
