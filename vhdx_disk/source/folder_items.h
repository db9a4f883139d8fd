#ifndef VHDX_DISK_SOURCE_FOLDER_ITEMS_H
#define VHDX_DISK_SOURCE_FOLDER_ITEMS_H

#include <filesystem>
#include <functional>

#include <vhdx_disk/failure.h>

#include "vhdx_disk/source/platform_name.h"

namespace NVHDXDisk {

/// Told of each item, by name: whether it is a folder, and what it is called.
using CItemCallback = std::function<void(bool isFolder, const CPlatformName& name)>;

/// Walks over the items of a folder. False, with the reason in `failure`, when it cannot be read to
/// its end.
[[nodiscard]] bool ForEachItem(const std::filesystem::path& folder, const CItemCallback& callback,
                               CFailure& failure);

}  // namespace NVHDXDisk

#endif
