#include "tools/vhdx/image_filling.h"

#include <cstdint>

#include <fmt/format.h>

#include <vhdx_disk/copy.h>
#include <vhdx_disk/reader.h>
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/image_target.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

/// The bytes of the ranges that come from files, without reading them.
std::uint64_t CountData(const CDiskPointer& disk, const CRanges& ranges) {
    NVHDXDisk::CReader reader(disk);
    NVHDXDisk::CFailure failure;
    std::uint64_t sum = 0;
    const auto add = [&sum](const NVHDXDisk::CExtent& extent) {
        sum += extent.kind == NVHDXDisk::CExtent::data ? extent.length : 0;
        return true;
    };
    for (const auto& [offset, length] : ranges) {
        if (!reader.Extents(offset, length, add, failure)) {
            throw FailureOf(failure);
        }
    }
    return sum;
}

void CopyRanges(const CDiskPointer& disk, const CRanges& ranges, CImageFile& raw,
                std::uint64_t olderSize, CProgress& progress) {
    if (progress.IsShown()) {
        progress.Start(CountData(disk, ranges));
    }
    CImageTarget target(raw, olderSize, progress);
    NVHDXDisk::CFailure failure;
    for (const auto& [offset, length] : ranges) {
        if (!NVHDXDisk::CopyDisk(disk, offset, length, target, {}, failure)) {
            throw FailureOf(failure);
        }
    }
}

}  // namespace

void FillImage(const CDiskPointer& disk, CImageFile& raw, EProgress wanted) {
    CProgress progress(wanted, "exporting ");
    raw.Resize(disk->Size());
    CopyRanges(disk, {{0, disk->Size()}}, raw, 0, progress);
}

CRanges RangesToUpdate(const CDiskPointer& disk, CRanges ranges, const CImageFile& raw,
                       std::uint64_t olderSize) {
    if (const std::uint64_t size = raw.Size(); size > disk->Size()) {
        throw CCommandFailure(
            raw.Name(), fmt::format("the image has {} bytes and the disk only {}, so that it is no "
                                    "earlier export of this disk",
                                    size, disk->Size()));
    }
    if (olderSize < disk->Size()) {
        AddTail(ranges, olderSize, disk->Size());
    }
    return ranges;
}

void BringUpToDate(const CDiskPointer& disk, const CRanges& ranges, CImageFile& raw,
                   EProgress wanted) {
    CProgress progress(wanted, "updating ");
    CopyRanges(disk, ranges, raw, raw.Size(), progress);
    raw.Resize(disk->Size());
}

}  // namespace NTool
