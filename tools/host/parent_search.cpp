#include "host/parent_search.h"

#include <algorithm>

#include "host/current_header.h"
#include "host/locator_path.h"
#include "host/parent_linkage.h"
#include "host/path_query.h"
#include "host/replay_stream.h"

namespace NVHDXHost {

namespace {

namespace fs = std::filesystem;

/// Where the headers and region tables lie; every container is larger.
constexpr std::uint64_t HeaderArea = 1048576;

/// Not a pipe or a device, and none of the files without a size that a system makes up while they
/// are read: who reads some of those waits for as long as nothing happens.
bool CanBeDisk(const fs::path& path) {
    const std::optional<CFileState> state = StateOf(path);
    return state && state->size >= HeaderArea;
}

bool IsLinked(const std::vector<_GUID>& linkages, CByteStream& parent) {
    const auto header = ReadCurrentHeader(parent);
    return header && std::any_of(linkages.begin(), linkages.end(), [&](const _GUID& linkage) {
               return IsEqual(linkage, header->dataWriteGuid);
           });
}

}  // namespace

fs::path FolderOf(const fs::path& path) {
    return path.lexically_normal().parent_path();
}

std::optional<CParentFile> FindParent(const NVHDX::NMetadata::CParent& locator,
                                      const fs::path& child, const CParentSearch& search) {
    const std::vector<_GUID> linkages = LinkagesOf(locator);
    std::optional<CParentFile> first;
    for (const fs::path& path : ParentCandidates(locator, child, search.otherPaths)) {
        const bool named = search.IsNamed(path);
        if (!named && (linkages.empty() || !CanBeDisk(path))) {
            continue;
        }
        CReplayStream parent(path, CReplayStream::asItStands);
        if (!parent.IsOpen()) {
            continue;
        }
        if (IsLinked(linkages, parent)) {
            return CParentFile{path, CParentFile::linked};
        }
        if (named && !first) {
            first = {path, linkages.empty() ? CParentFile::unlinked : CParentFile::changed};
        }
    }
    return first;
}

}  // namespace NVHDXHost
