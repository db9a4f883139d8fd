#ifndef VHDX_DISK_CHECK_SOURCE_CHECK_H
#define VHDX_DISK_CHECK_SOURCE_CHECK_H

#include <optional>

#include <vhdx_disk/finding.h>
#include <vhdx_disk/replayed_stream.h>
#include <vhdx_disk/source.h>
#include <vhdx_parser/metadata.h>

namespace NVHDXDisk {

/// Checks one file of a disk by itself, and hands on what it says of its parent. False, with the
/// reason in `failure`, when it is no disk file.
[[nodiscard]] bool CheckSource(const CSourcePointer& file, ELog log, const CFindingCallback& report,
                               std::optional<NVHDX::NMetadata::CParent>& locator,
                               CFailure& failure);

}  // namespace NVHDXDisk

#endif
