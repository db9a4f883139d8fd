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

/// What has to be copied to an image of an earlier state: these ranges of the disk, all inside it,
/// and what the image of `olderSize` bytes lacks to the disk's size. Throws `CCommandFailure` when
/// the image is larger than the disk.
CRanges RangesToUpdate(const CDiskPointer& disk, CRanges ranges, const CImageFile& raw,
                       std::uint64_t olderSize);

/// Copies the ranges over an image of an earlier state, which takes the disk's size last. Throws
/// `CCommandFailure`.
void BringUpToDate(const CDiskPointer& disk, const CRanges& ranges, CImageFile& raw,
                   EProgress wanted);

}  // namespace NTool

#endif
