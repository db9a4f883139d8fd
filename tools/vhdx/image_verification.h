#ifndef VHDX_TOOLS_VHDX_IMAGE_VERIFICATION_H
#define VHDX_TOOLS_VHDX_IMAGE_VERIFICATION_H

#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/image_file.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/ranges.h"

namespace NTool {

/// Reads these ranges of a raw image and compares them with the disk. Takes time for the data of
/// both, not for the size of the disk. Throws `CCommandFailure` that names the first byte that
/// differs.
void VerifyImage(const CDiskPointer& disk, const CRanges& ranges, CImageFile& image,
                 EProgress wanted);

}  // namespace NTool

#endif
