#ifndef VHDX_HOST_FOLDER_CHAINS_H
#define VHDX_HOST_FOLDER_CHAINS_H

#include <cstddef>
#include <vector>

#include "host/folder_tree.h"

namespace NVHDXHost {

/// The chains of a folder, each from its base to its tip, as places in `CFolderTree::Files`: a disk
/// without parent and what descends from it, where no disk has two children and each can be read.
[[nodiscard]] std::vector<std::vector<std::size_t>> StraightChains(const CFolderTree& tree);

/// The disks that no other disk of the folder has for its parent and that can be read.
[[nodiscard]] std::vector<std::size_t> Tips(const CFolderTree& tree);

}  // namespace NVHDXHost

#endif
