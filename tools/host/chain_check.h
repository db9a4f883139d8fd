#ifndef VHDX_HOST_CHAIN_CHECK_H
#define VHDX_HOST_CHAIN_CHECK_H

#include <optional>

#include <vhdx_parser/metadata.h>

#include "host/check_finding.h"
#include "host/folder_tree.h"
#include "host/replay_stream.h"
#include "host/stream_read.h"

namespace NVHDXHost {

/// Checks that the disk's parent locator can be read and used. The locator, when there is one.
std::optional<NVHDX::NMetadata::CParent> CheckLocator(CByteStream& stream,
                                                      const CFindingSink& findings);

/// Follows the parents of a disk to the one that has none: each must be there and be the disk from
/// which its child was made. No limit on their number; reads headers and metadata only.
void CheckParents(NVHDX::NMetadata::CParent locator, std::filesystem::path child,
                  CReplayStream::EMode mode, const CFindingCallback& report);

/// Hands on what is wrong between the disks of a tree: parents that are missing, elsewhere or
/// changed, several children of one parent, and circles.
void CheckTree(const CFolderTree& tree, const CFindingCallback& report);

}  // namespace NVHDXHost

#endif
