#ifndef VHDX_DISK_CHAIN_DISK_PARTS_H
#define VHDX_DISK_CHAIN_DISK_PARTS_H

#include <memory>
#include <vector>

#include <vhdx_disk/disk.h>

#include "vhdx_disk/chain/chain_file.h"

namespace NVHDXDisk {

/// What a disk is made of: for each of its files, newest first, what reading needs and what hosts
/// are told.
class CDiskParts {
public:
    [[nodiscard]] static const CDiskParts& Of(const CDisk& disk) { return *disk.m_parts; }

    std::vector<CChainFile> chain;
    std::vector<CDiskFile> files;
    std::vector<CFinding> findings;
    bool live = false;  ///< nobody minds that the files change
};

}  // namespace NVHDXDisk

#endif
