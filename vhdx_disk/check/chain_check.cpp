#include "vhdx_disk/check/chain_check.h"

#include <set>
#include <utility>

#include <vhdx_disk/path_query.h>

#include "vhdx_disk/chain/parent_linkage.h"
#include "vhdx_disk/chain/parent_search.h"
#include "vhdx_disk/check/source_check.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/quoted.h"
#include "vhdx_disk/table/container.h"

namespace NVHDXDisk {

namespace {

namespace fs = std::filesystem;
using NVHDX::NMetadata::CParent;

constexpr auto Where = "parent locator";
constexpr auto MissingMeans = ": what this disk does not hold cannot be read";

/// The locator of a container that was opened; none where it has none or it cannot be read.
template <class TRetrieve>
std::optional<CParent> CheckLocatorOf(TRetrieve retrieve, const CFindingSink& findings) {
    CParent locator;
    CFailure cause;
    if (!retrieve(locator, cause)) {
        findings.Add(EFinding::locatorUnreadable, Where,
                     "the parent locator cannot be read: the parent cannot be found" +
                         (IsRefused(cause) ? " (" + cause.reason + ")" : ""));
        return std::nullopt;
    }
    if (!locator.present) {
        return std::nullopt;
    }
    if (LinkagesOf(locator).empty()) {
        findings.Add(EFinding::parentLinkageMissing, Where, UnlinkedParentText());
    }
    return locator;
}

/// The parent's own locator; none where the way up ends.
std::optional<CParent> ReadParent(const CHeadedFile& parent, const CParentOptions& options,
                                  const CFindingSink& childFindings,
                                  const CFindingCallback& report) {
    CContainer container;
    CFailure failure;
    const bool isOpen = container.Open(parent, options.log, failure);
    if (!isOpen) {
        childFindings.Add(
            EFinding::parentUnreadable, Where,
            "the parent " + Quoted(parent.source->Path()) + " cannot be read: " + failure.reason);
    }
    if (options.check == EParentCheck::complete) {
        std::optional<CParent> locator;
        CFailure told;  // what is no disk cannot be opened either
        (void)CheckSource(parent.source, options.log, report, locator, told);
        return locator;
    }
    if (!isOpen) {
        return std::nullopt;
    }
    const auto retrieve = [&](CParent& locator, CFailure& cause) {
        return container.Retrieve(locator) || container.Fail(cause, {});
    };
    return CheckLocatorOf(retrieve, CFindingSink(parent.source->Path(), report));
}

/// The kind of a finding, and what it means where the tree's text does not say so.
struct CTreeTrouble {
    EFinding kind;
    const char* meaning;
};

std::optional<CTreeTrouble> TroubleOf(CTreeFinding::EKind kind) {
    switch (kind) {
        case CTreeFinding::parentMissing:
            return {{EFinding::parentMissing, MissingMeans}};
        case CTreeFinding::parentOutside:
            return {{EFinding::parentOutside, ": it is not checked here"}};
        case CTreeFinding::parentChanged:
            return {{EFinding::parentChanged, ""}};
        case CTreeFinding::severalChildren:
            return {{EFinding::severalChildren,
                     ": a tree and no chain; who merges one of them into the parent spoils the "
                     "others"}};
        case CTreeFinding::circle:
            return {{EFinding::parentCycle, ": none of them can be read"}};
        case CTreeFinding::parentUnreadable:
            return {{EFinding::parentUnreadable, MissingMeans}};
        case CTreeFinding::unreadable:
        case CTreeFinding::linkageMissing:
            break;
    }
    return std::nullopt;  // one file's own trouble, which is found there
}

}  // namespace

std::optional<CParent> CheckLocator(const CSourcePointer& source, const CFindingSink& findings) {
    NVHDX::CAccessor accessor;
    CSourceBuffer buffer(source);
    std::basic_istream<unsigned char> stream(&buffer);
    if (!Enter(accessor, stream, *source)) {
        return std::nullopt;  // what is wrong with the container is found elsewhere
    }
    const auto retrieve = [&](CParent& locator, CFailure& cause) {
        const bool isRead = accessor.Retrieve(locator, stream);
        cause = buffer.Refusal();
        return isRead;
    };
    return CheckLocatorOf(retrieve, findings);
}

void CheckParents(CParent locator, fs::path child, const CParentOptions& options,
                  const CFindingCallback& report) {
    const CParentSearch search = SearchIn({child.parent_path()});
    std::set<fs::path> seen = {Canonical(child)};
    for (std::optional<CParent> next = std::move(locator); next;) {
        const CFindingSink findings(child, report);
        std::optional<CParentFile> parent;
        CFailure failure;
        if (!FindParent(*next, child, search, parent, failure)) {
            findings.Add(EFinding::parentUnreadable, Where, failure.text + MissingMeans);
            return;
        }
        if (!parent) {
            findings.Add(EFinding::parentMissing, Where,
                         MissingParentText(*next, child, search, {}) + MissingMeans);
            return;
        }
        const fs::path& path = parent->file.source->Path();
        if (parent->tie == ETie::changed) {
            findings.Add(EFinding::parentChanged, Where, DoubtfulParentText(path, parent->tie));
        }
        if (!seen.insert(Canonical(path)).second) {
            findings.Add(
                EFinding::parentCycle, Where,
                "the parents lead in a circle: " + Quoted(path.filename()) + " comes again");
            return;
        }
        next = ReadParent(parent->file, options, findings, report);
        child = path;
    }
}

void CheckTree(const CDiskTree& tree, const CFindingCallback& report) {
    for (const CTreeFinding& finding : tree.Findings()) {
        if (const auto trouble = TroubleOf(finding.kind)) {
            const bool ofTree = finding.kind == CTreeFinding::severalChildren ||
                                finding.kind == CTreeFinding::circle;
            report(MakeFinding(tree.Files()[finding.files.front()].path, ofTree ? "folder" : Where,
                               trouble->kind, finding.text + trouble->meaning));
        }
    }
}

}  // namespace NVHDXDisk
