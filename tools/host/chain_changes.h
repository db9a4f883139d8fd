#ifndef VHDX_HOST_CHAIN_CHANGES_H
#define VHDX_HOST_CHAIN_CHANGES_H

#include <cstddef>
#include <cstdint>

#include "host/merged_reader.h"

namespace NVHDXHost {

/// Reports the runs of [offset, offset + length) that the files newer than `since`, an index of
/// `CMergedDisk::Layers`, hold in place of what the disk had there when `since` was its newest
/// file. Data and zeros are told with the newest file that holds them. A hole is what a smaller
/// file in between cut off: bytes of the older disk that read as zeros though no newer file says
/// so. False as for `CMergedReader::Extents`, with the reason in the reader's `Error`.
[[nodiscard]] bool ChangesSince(CMergedReader& reader, std::size_t since, std::uint64_t offset,
                                std::uint64_t length, const CExtentCallback& callback);

}  // namespace NVHDXHost

#endif
