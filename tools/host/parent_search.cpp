#include "host/parent_search.h"

#include <algorithm>

#include "host/current_header.h"
#include "host/locator_path.h"
#include "host/parent_linkage.h"
#include "host/replay_stream.h"

namespace NVHDXHost {

namespace {

bool IsLinked(const std::vector<_GUID>& linkages, CByteStream& parent) {
    const auto header = ReadCurrentHeader(parent);
    return header && std::any_of(linkages.begin(), linkages.end(), [&](const _GUID& linkage) {
               return IsEqual(linkage, header->dataWriteGuid);
           });
}

}  // namespace

std::optional<CParentFile> FindParent(const NVHDX::NMetadata::CParent& locator,
                                      const std::filesystem::path& childFolder, bool otherPaths) {
    const std::vector<_GUID> linkages = LinkagesOf(locator);
    std::optional<CParentFile> first;
    for (const auto& path : ParentCandidates(locator, childFolder, otherPaths)) {
        CReplayStream parent(path, CReplayStream::asItStands);
        if (!parent.IsOpen()) {
            continue;
        }
        if (IsLinked(linkages, parent)) {
            return CParentFile{path, true};
        }
        if (!first) {
            first = CParentFile{path, false};
        }
    }
    return first;
}

}  // namespace NVHDXHost
