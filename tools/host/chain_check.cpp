#include "host/chain_check.h"

#include <set>

#include <vhdx_parser/accessor.h>

#include "host/container_entry.h"
#include "host/locator_path.h"
#include "host/parent_linkage.h"
#include "host/parent_text.h"
#include "host/path_query.h"

namespace NVHDXHost {

namespace {

namespace fs = std::filesystem;
using NVHDX::NMetadata::CParent;

constexpr auto Where = "parent locator";
constexpr auto MissingMeans = ": what this disk does not hold cannot be read";

/// The parent's own locator; none where the way up ends.
std::optional<CParent> ReadParent(const fs::path& path, CReplayStream::EMode mode,
                                  const CFindingSink& childFindings,
                                  const CFindingCallback& report) {
    CReplayStream stream(path, mode);
    NVHDX::CAccessor accessor;
    if (std::string error; !OpenContainer(accessor, stream, error)) {
        childFindings.Add("parent-unreadable", Where,
                          "the parent " + Quoted(path) + " cannot be read: " + error);
        return std::nullopt;
    }
    return CheckLocator(stream, CFindingSink(path, report));
}

/// The word for a finding, and what it means where the tree's text does not say so.
struct CTreeTrouble {
    const char* kind;
    const char* meaning;
};

std::optional<CTreeTrouble> TroubleOf(CFolderFinding::EKind kind) {
    switch (kind) {
        case CFolderFinding::parentMissing:
            return {{"parent-missing", MissingMeans}};
        case CFolderFinding::parentOutside:
            return {{"parent-outside", ": it is not checked here"}};
        case CFolderFinding::parentChanged:
            return {{"parent-changed", ""}};
        case CFolderFinding::severalChildren:
            return {{"several-children",
                     ": a tree and no chain; who merges one of them into the parent spoils the "
                     "others"}};
        case CFolderFinding::cycle:
            return {{"parent-cycle", ": none of them can be read"}};
        case CFolderFinding::unreadable:
        case CFolderFinding::linkageMissing:
            break;
    }
    return std::nullopt;  // one file's own trouble, which is found there
}

}  // namespace

std::optional<CParent> CheckLocator(CByteStream& stream, const CFindingSink& findings) {
    NVHDX::CAccessor accessor;
    CParent locator;
    if (!EnterContainer(accessor, stream)) {
        return std::nullopt;  // what is wrong with the container is found elsewhere
    }
    if (!accessor.Retrieve(locator, stream)) {
        findings.Add("locator-unreadable", Where,
                     "the parent locator cannot be read: the parent cannot be found");
        return std::nullopt;
    }
    if (!locator.present) {
        return std::nullopt;
    }
    if (LinkagesOf(locator).empty()) {
        findings.Add("parent-linkage-missing", Where, UnlinkedParentText());
    }
    return locator;
}

void CheckParents(CParent locator, fs::path child, CReplayStream::EMode mode,
                  const CFindingCallback& report) {
    const CParentSearch search{{FolderOf(child)}};
    std::set<fs::path> seen = {Canonical(child)};
    for (std::optional<CParent> next = std::move(locator); next;) {
        const CFindingSink findings(child, report);
        const auto parent = FindParent(*next, child, search);
        if (!parent) {
            findings.Add("parent-missing", Where,
                         MissingParentText(*next, child, search, nullptr) + MissingMeans);
            return;
        }
        if (parent->tie == CParentFile::changed) {
            findings.Add("parent-changed", Where, DoubtfulParentText(*parent));
        }
        if (!seen.insert(Canonical(parent->path)).second) {
            findings.Add("parent-cycle", Where,
                         "the parents lead in a circle: " + Quoted(parent->path.filename()) +
                             " comes again");
            return;
        }
        child = parent->path;
        next = ReadParent(child, mode, findings, report);
    }
}

void CheckTree(const CFolderTree& tree, const CFindingCallback& report) {
    for (const CFolderFinding& finding : tree.Findings()) {
        if (const auto trouble = TroubleOf(finding.kind)) {
            const bool ofTree = finding.kind == CFolderFinding::severalChildren ||
                                finding.kind == CFolderFinding::cycle;
            report({tree.Files()[finding.files.front()].path, ofTree ? "folder" : Where,
                    trouble->kind, finding.text + trouble->meaning});
        }
    }
}

}  // namespace NVHDXHost
