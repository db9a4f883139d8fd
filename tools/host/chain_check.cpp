#include "host/chain_check.h"

#include <set>

#include <vhdx_parser/accessor.h>

#include "host/container_entry.h"
#include "host/locator_path.h"
#include "host/parent_linkage.h"
#include "host/parent_search.h"
#include "host/path_query.h"

namespace NVHDXHost {

namespace {

namespace fs = std::filesystem;
using NVHDX::NMetadata::CParent;

constexpr auto Where = "parent locator";

std::string ParentText(const CParent& locator) {
    const auto entry = locator.entries.find(CParent::formatRelativePath);
    return entry == locator.entries.end() ? "that the locator does not name"
                                          : QuotedText(TextFromLocator(entry->second.value));
}

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
            return {{"parent-missing", ": what this disk does not hold cannot be read"}};
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
            break;
    }
    return std::nullopt;  // one file's own trouble
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
        findings.Add("linkage-missing", Where,
                     "the parent locator has no valid parent_linkage: nobody can tell whether a "
                     "parent is the right one");
    }
    return locator;
}

void CheckParents(CParent locator, fs::path child, CReplayStream::EMode mode,
                  const CFindingCallback& report) {
    std::set<fs::path> seen = {Canonical(child)};
    for (std::optional<CParent> next = std::move(locator); next;) {
        const CFindingSink findings(child, report);
        const auto parent = FindParent(*next, child.parent_path(), false);
        if (!parent) {
            findings.Add("parent-missing", Where,
                         "the parent " + ParentText(*next) +
                             " is missing: what this disk does not hold cannot be read");
            return;
        }
        if (!parent->linked) {
            findings.Add("parent-changed", Where,
                         "the parent " + Quoted(parent->path.filename()) +
                             " was changed or replaced since the child was made: its "
                             "DataWriteGuid is not the child's parent linkage");
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
