#ifndef VHDX_DISK_CHECK_CHAIN_CHECK_H
#define VHDX_DISK_CHECK_CHAIN_CHECK_H

#include <filesystem>
#include <optional>

#include <vhdx_disk/check.h>
#include <vhdx_disk/replayed_stream.h>
#include <vhdx_parser/metadata.h>

#include "vhdx_disk/chain/disk_tree.h"
#include "vhdx_disk/check/finding_sink.h"

namespace NVHDXDisk {

/// Checks that the disk's parent locator can be read and used. The locator, when there is one.
std::optional<NVHDX::NMetadata::CParent> CheckLocator(const CSourcePointer& source,
                                                      const CFindingSink& findings);

/// How parents are looked at.
struct CParentOptions {
    ELog log;
    EParentCheck check;
};

/// Follows the parents of a disk to the one that has none: each must be there and be the disk from
/// which its child was made. No limit on their number.
void CheckParents(NVHDX::NMetadata::CParent locator, std::filesystem::path child,
                  const CParentOptions& options, const CFindingCallback& report);

/// Hands on what is wrong between the disks of a tree: parents that are missing, elsewhere or
/// changed, several children of one parent, and circles.
void CheckTree(const CDiskTree& tree, const CFindingCallback& report);

}  // namespace NVHDXDisk

#endif
