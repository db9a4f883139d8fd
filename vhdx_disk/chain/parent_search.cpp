#include "vhdx_disk/chain/parent_search.h"

#include <algorithm>
#include <cerrno>
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

/// Whether nothing that could be opened lies there, in the system's words, as against something
/// that it does not open.
bool IsNothing(const CFailure& failure) {
    switch (failure.error) {
        case 0:
        case ENOENT:
        case ENOTDIR:
        case EISDIR:
        case ELOOP:
        case ENAMETOOLONG:
        case EINVAL:
        case EILSEQ:
        case ENODEV:
        case ENXIO:
            return failure.kind == CFailure::notFound || failure.kind == CFailure::cannotBeOpened ||
                   failure.kind == CFailure::none;
        default:
            return false;
    }
}

/// None when nothing is there, or, with the first reason in `refusal`, when nobody knows what is.
std::optional<CParentFile> OpenCandidate(const fs::path& path, const ISourceOpener& opener,
                                         CFailure& refusal) {
    CFailure cause;
    const CSourcePointer source = opener.Open(path, cause);
    if (source != nullptr) {
        CParentFile candidate{WithHeader(source), ETie::linked};
        cause = WhyHeaderRefused(candidate.file.copies);
        if (cause.kind == CFailure::none) {
            return candidate;
        }
    } else if (IsNothing(cause)) {
        return std::nullopt;
    }
    if (refusal.kind == CFailure::none) {
        refusal = MakeFailure(cause.kind, cause.file.empty() ? path : cause.file,
                              "this may be the parent: " + cause.reason, cause.error);
    }
    return std::nullopt;
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

bool FindParent(const CParent& locator, const fs::path& child, const CParentSearch& search,
                std::optional<CParentFile>& parent, CFailure& failure) {
    const std::vector<_GUID> linkages = LinkagesOf(locator);
    CFailure refusal;
    parent.reset();
    for (const fs::path& path : ParentCandidates(locator, child, search)) {
        const bool named = search.IsNamed(path);
        if (!named && (linkages.empty() || !search.opener->MayBeDisk(path))) {
            continue;
        }
        std::optional<CParentFile> candidate = OpenCandidate(path, *search.opener, refusal);
        if (!candidate) {
            continue;
        }
        candidate->tie = TieOf(linkages, candidate->file);
        if (candidate->tie == ETie::linked) {
            parent = std::move(candidate);
            return true;
        }
        if (named && !parent) {
            parent = std::move(candidate);
        }
    }
    if (refusal.kind == CFailure::none) {
        return true;
    }
    parent.reset();
    failure = std::move(refusal);
    return false;
}

}  // namespace NVHDXDisk
