#ifndef VHDX_DISK_FOLDER_LINKING_FORECAST_H
#define VHDX_DISK_FOLDER_LINKING_FORECAST_H

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <vhdx_disk/folder.h>

#include "vhdx_disk/source/platform_name.h"
#include "vhdx_parser/chain/linking_rule.h"

namespace NVHDXDisk {

/// What the first library's chain builder takes from one file of a folder: it goes by names alone,
/// reads the file as it stands and fails as a whole for one bad file.
struct CBuilderView {
    std::string name;        ///< for people
    std::string refusal;     ///< why the builder fails for this file; empty when it does not
    std::string parentName;  ///< for people
    /// As the rule compares names; without a parent where the file is refused.
    NVHDX::NLinkingRule::CLinkedDisk<CPlatformLetter> disk;
};

[[nodiscard]] CBuilderView ViewAsBuilder(const std::filesystem::path& folder,
                                         const CPlatformName& name);

/// `files` are those of one folder, in the order of their names.
[[nodiscard]] CLinkingForecast ForetellLinking(const std::vector<CBuilderView>& files);

/// Takes back what needs more open files than the process may still have.
void HeedFreeDescriptors(CLinkingForecast& forecast, std::size_t disks, std::size_t free);

}  // namespace NVHDXDisk

#endif
