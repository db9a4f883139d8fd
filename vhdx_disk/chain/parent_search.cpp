#include "vhdx_disk/chain/parent_search.h"

#include <algorithm>
#include <utility>

#include "vhdx_disk/chain/locator_path.h"
#include "vhdx_disk/chain/parent_linkage.h"

namespace NVHDXDisk {

namespace {

using NVHDX::NMetadata::CParent;
namespace fs = std::filesystem;

void Add(std::vector<fs::path>& candidates, const fs::path& candidate) {
    fs::path normal = candidate.lexically_normal();
    if (std::find(candidates.begin(), candidates.end(), normal) == candidates.end()) {
        candidates.push_back(std::move(normal));
    }
}

void AddRelative(std::vector<fs::path>& candidates, const fs::path& relative, const fs::path& child,
                 const CParentSearch& search) {
    const fs::path folder = child.parent_path();
    Add(candidates, folder / relative.relative_path());
    if (relative.filename() != child.filename()) {
        Add(candidates, folder / relative.filename());
    }
    for (const fs::path& other : search.folders) {
        Add(candidates, other / relative.filename());
    }
}

ETie TieOf(const std::vector<_GUID>& linkages, const CHeadedFile& parent) {
    if (linkages.empty()) {
        return ETie::unlinked;
    }
    const bool isLinked =
        parent.header && std::any_of(linkages.begin(), linkages.end(), [&](const _GUID& linkage) {
            return IsEqual(linkage, parent.header->dataWriteGuid);
        });
    return isLinked ? ETie::linked : ETie::changed;
}

}  // namespace

fs::path FolderOf(const fs::path& path) {
    return path.lexically_normal().parent_path();
}

ETie TieOf(const CParent& locator, const CHeadedFile& parent) {
    return TieOf(LinkagesOf(locator), parent);
}

std::vector<fs::path> ParentCandidates(const CParent& locator, const fs::path& child,
                                       const CParentSearch& search) {
    std::vector<fs::path> candidates;
    if (const auto relative = RecordedPath(locator, CParent::formatRelativePath)) {
        AddRelative(candidates, *relative, child, search);
    }
    if (search.recordedPaths) {
        for (const auto format : AbsoluteFormats) {
            if (const auto path = RecordedPath(locator, format)) {
                Add(candidates, *path);
            }
        }
    }
    return candidates;
}

std::optional<CParentFile> FindParent(const CParent& locator, const fs::path& child,
                                      const CParentSearch& search) {
    const std::vector<_GUID> linkages = LinkagesOf(locator);
    std::optional<CParentFile> first;
    for (const fs::path& path : ParentCandidates(locator, child, search)) {
        const bool named = search.IsNamed(path);
        if (!named && (linkages.empty() || !search.opener->MayBeDisk(path))) {
            continue;
        }
        CFailure ignored;
        const CSourcePointer source = search.opener->Open(path, ignored);
        if (source == nullptr) {
            continue;
        }
        CParentFile parent{WithHeader(source), ETie::linked};
        parent.tie = TieOf(linkages, parent.file);
        if (parent.tie == ETie::linked) {
            return parent;
        }
        if (named && !first) {
            first = std::move(parent);
        }
    }
    return first;
}

}  // namespace NVHDXDisk
