#include "tools/vhdx/raw_copy.h"

#include <cstdint>
#include <string>

#include <fmt/format.h>

#include "host/raw_export.h"
#include "tools/vhdx/failure.h"
#include "tools/vhdx/raw_target.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using CDiskPointer = std::shared_ptr<const NVHDXHost::CMergedDisk>;

std::uint64_t CountData(NVHDXHost::CRawExport& copy, const CRanges& ranges) {
    std::uint64_t sum = 0;
    for (const auto& [offset, length] : ranges) {
        std::uint64_t data = 0;
        if (!copy.CountData(offset, length, data)) {
            throw CFailure(Printable(copy.Error()));
        }
        sum += data;
    }
    return sum;
}

void CopyRanges(const CDiskPointer& disk, const CRanges& ranges, CRawFile& raw,
                std::uint64_t olderSize, CProgress& progress) {
    NVHDXHost::CRawExport copy(disk);
    if (progress.IsShown()) {
        progress.Start(CountData(copy, ranges));
    }
    CRawTarget target(*disk, raw, olderSize, progress);
    for (const auto& [offset, length] : ranges) {
        if (!copy.Copy(offset, length, target)) {
            throw CFailure(Printable(copy.Error()));
        }
    }
}

}  // namespace

void FillRaw(const CDiskPointer& disk, CRawFile& raw, EProgress wanted) {
    CProgress progress(wanted, "exporting ");
    raw.Resize(disk->Size());
    CopyRanges(disk, {{0, disk->Size()}}, raw, 0, progress);
}

CRanges UpdateRaw(const CDiskPointer& disk, CRanges ranges, CRawFile& raw, EProgress wanted) {
    const std::uint64_t olderSize = raw.Size();
    if (olderSize > disk->Size()) {
        throw CFailure(raw.Name(),
                       fmt::format("the image has {} bytes and the disk only {}, so that it is no "
                                   "earlier export of this disk",
                                   olderSize, disk->Size()));
    }
    if (olderSize < disk->Size()) {
        AddTail(ranges, olderSize, disk->Size());
    }
    try {
        CProgress progress(wanted, "updating ");
        CopyRanges(disk, ranges, raw, olderSize, progress);
        raw.Resize(disk->Size());
    } catch (const CFailure& failure) {
        throw CFailure(failure.Subject(),
                       std::string(failure.what()) +
                           " (the image may be updated in part; run the update again)");
    }
    return ranges;
}

}  // namespace NTool
