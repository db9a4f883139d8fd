#include "vhdx_disk/source/disk_folders.h"

#include <algorithm>
#include <string_view>
#include <system_error>

#include <vhdx_disk/path_query.h>
#include <vhdx_parser/file_system.h>

#include "vhdx_disk/source/folder_items.h"

namespace NVHDXDisk {

namespace {

namespace fs = std::filesystem;

/// Whether they differ in the case of ASCII letters at most; `lower` is in lower case.
bool IsAlike(const CPlatformName& text, std::string_view lower) {
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](CPlatformLetter letter, char wanted) {
                          const bool isUpper = letter >= 'A' && letter <= 'Z';
                          return static_cast<CPlatformLetter>(letter + (isUpper ? 'a' - 'A' : 0)) ==
                                 wanted;
                      });
}

bool IsDiskName(const CPlatformName& name) {
    CPlatformName extension;
    return NSystem::ExtractFileExt(extension, name) &&
           (IsAlike(extension, "vhdx") || IsAlike(extension, "avhdx"));
}

/// What the item itself is, not what it leads to; `none` where that cannot be looked at.
fs::file_type TypeOf(const fs::path& item) {
    std::error_code error;
    return KindOfLink(item, error);
}

/// Adds the disks of the folder to those that were found, and to `below` the folders in it and what
/// may be one.
bool ReadFolder(const fs::path& folder, std::vector<fs::path>& disks, std::vector<fs::path>& below,
                CFailure& failure) {
    const auto take = [&](bool isFolder, const CPlatformName& name) {
        fs::path path = folder / name;
        const fs::file_type type = TypeOf(path);
        const bool isDisk = !isFolder && IsDiskName(name);
        if (type == fs::file_type::directory || (type == fs::file_type::none && !isDisk)) {
            below.push_back(std::move(path));
        } else if (isDisk) {
            disks.push_back(std::move(path));
        }
    };
    return ForEachItem(folder, take, failure);
}

}  // namespace

/// Ends: no folder lies below itself where links are not followed.
CDiskFolders FindDisksBelow(const fs::path& folder) {
    CDiskFolders found;
    std::vector<fs::path> waiting = {folder};
    while (!waiting.empty()) {
        fs::path next = std::move(waiting.back());
        waiting.pop_back();
        std::vector<fs::path> below;
        CFailure failure;
        const bool complete = ReadFolder(next, found.disks, below, failure);
        waiting.insert(waiting.end(), below.rbegin(), below.rend());
        if (complete) {
            found.folders.push_back(std::move(next));
        } else {
            found.unreadable.push_back(std::move(failure));
        }
    }
    return found;
}

}  // namespace NVHDXDisk
