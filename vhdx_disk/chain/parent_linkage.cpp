#include "vhdx_disk/chain/parent_linkage.h"

#include "vhdx_parser/foundation/guid_text.h"

namespace NVHDXDisk {

using NVHDX::NMetadata::CParent;

std::vector<_GUID> LinkagesOf(const CParent& locator) {
    std::vector<_GUID> linkages;
    for (const auto format : {CParent::formatParentLinkage, CParent::formatParentLinkage2}) {
        const auto entry = locator.entries.find(format);
        if (entry == locator.entries.end()) {
            continue;
        }
        const auto linkage = NGuidText::Parse<wchar_t>(entry->second.value);
        if (linkage && !IsNull(*linkage)) {
            linkages.push_back(*linkage);
        }
    }
    return linkages;
}

}  // namespace NVHDXDisk
