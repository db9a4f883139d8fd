#ifndef VHDX_HOST_PARENT_TEXT_H
#define VHDX_HOST_PARENT_TEXT_H

/// What people are told of a disk's parent: the same words for the same cause, whoever asks.

#include <filesystem>
#include <string>

#include <vhdx_parser/metadata.h>

#include "host/parent_search.h"

namespace NVHDXHost {

/// That `FindParent` found none. Names the paths that the locator records, as it spells them, and
/// is the same whatever lies there. `otherPathsOption` is what lets the absolute ones be looked at,
/// where they were not; null where there is no such option.
[[nodiscard]] std::string MissingParentText(const NVHDX::NMetadata::CParent& locator,
                                            const std::filesystem::path& child,
                                            const CParentSearch& search,
                                            const char* otherPathsOption);

/// That the child keeps no linkage to compare a parent with.
[[nodiscard]] std::string UnlinkedParentText();

/// Why a parent that was found may be the wrong one; it is not `linked`.
[[nodiscard]] std::string DoubtfulParentText(const CParentFile& parent);

}  // namespace NVHDXHost

#endif
