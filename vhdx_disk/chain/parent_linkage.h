#ifndef VHDX_DISK_CHAIN_PARENT_LINKAGE_H
#define VHDX_DISK_CHAIN_PARENT_LINKAGE_H

#include <vector>

#include <vhdx_parser/guid.h>
#include <vhdx_parser/metadata.h>

namespace NVHDXDisk {

/// The identifiers that a child's locator accepts for its parent's DataWriteGuid: parent_linkage
/// and parent_linkage2. Texts that are no GUID are left out, and so is the null GUID: who writes it
/// means that there is none, and it would fit every disk that has none either.
[[nodiscard]] std::vector<_GUID> LinkagesOf(const NVHDX::NMetadata::CParent& locator);

}  // namespace NVHDXDisk

#endif
