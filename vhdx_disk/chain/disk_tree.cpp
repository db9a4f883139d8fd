#include "vhdx_disk/chain/disk_tree.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include <vhdx_disk/path_query.h>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/quoted.h"
#include "vhdx_disk/table/container.h"

namespace NVHDXDisk {

namespace {

namespace fs = std::filesystem;

bool ReadMetadata(CSourcePointer source, ELog log, CTreeFile& file, CFailure& failure) {
    const CHeadedFile headed = WithHeader(std::move(source));
    CContainer container;
    NVHDX::NMetadata::CVirtualDiskSize size;
    const bool isOpen = container.Open(headed, log, failure);
    file.log = container.File().log;
    file.header = headed.header;
    if (!isOpen) {
        return false;
    }
    if (!container.Retrieve(file.locator)) {
        file.locator = {};
        return container.Fail(failure, "the parent locator cannot be read");
    }
    if (!container.Retrieve(size)) {
        return container.Fail(failure, "the size of the virtual disk cannot be read");
    }
    file.virtualSize = size.size;
    if (NVHDX::NMetadata::CPage83Data page83; container.Retrieve(page83)) {
        file.identifier = page83.page83Data;
    }
    return !container.WasRefused(failure);
}

CTreeFile ReadFile(const CDiskTree::CPlace& place, ELog log) {
    CTreeFile file;
    file.name = place.name;
    file.path = place.path;
    CFailure failure;
    const CSourcePointer source = OpenFile(file.path, failure);
    if (source == nullptr || !ReadMetadata(source, log, file, failure)) {
        file.problem = failure;
    }
    return file;
}

}  // namespace

CDiskTree::CDiskTree(const std::vector<CPlace>& places, const CParentSearch& search, ELog log) {
    for (const CPlace& place : places) {
        m_files.push_back(ReadFile(place, log));
    }
    FindParents(search);
    FindForks();
    FindCircles();
}

void CDiskTree::FindParents(const CParentSearch& search) {
    CIndices indices;
    for (std::size_t i = 0; i < m_files.size(); ++i) {
        indices.emplace(Canonical(m_files[i].path), i);
    }
    for (std::size_t i = 0; i < m_files.size(); ++i) {
        if (m_files[i].problem) {
            AddFinding(CTreeFinding::unreadable, {i},
                       QuotedText(m_files[i].name) + ": " + m_files[i].problem->reason);
        }
        if (m_files[i].HasParent()) {
            FindParentOf(i, search, indices);
        }
        if (!m_files[i].parent) {
            m_roots.push_back(i);
        }
    }
}

void CDiskTree::FindParentOf(std::size_t file, const CParentSearch& search,
                             const CIndices& indices) {
    CTreeFile& child = m_files[file];
    std::optional<CParentFile> found;
    CFailure failure;
    if (!FindParent(child.locator, child.path, search, found, failure)) {
        AddFinding(CTreeFinding::parentUnreadable, {file},
                   QuotedText(child.name) + ": " + failure.text);
        return;
    }
    if (!found) {
        AddFinding(CTreeFinding::parentMissing, {file},
                   QuotedText(child.name) + ": " +
                       MissingParentText(child.locator, child.path, search, {}));
        return;
    }
    child.parentLinked = found->tie == ETie::linked;
    const auto parent = indices.find(Canonical(found->file.source->Path()));
    if (parent == indices.end()) {
        child.parentOutside = found->file.source->Path();
        AddFinding(CTreeFinding::parentOutside, {file},
                   QuotedText(child.name) + ": the parent lies outside the folder, at " +
                       Quoted(child.parentOutside));
    } else {
        child.parent = parent->second;
        m_files[parent->second].children.push_back(file);
    }
    if (!child.parentLinked) {
        AddFinding(found->tie == ETie::changed ? CTreeFinding::parentChanged
                                               : CTreeFinding::linkageMissing,
                   {file},
                   QuotedText(child.name) + ": " +
                       DoubtfulParentText(found->file.source->Path(), found->tie));
    }
}

void CDiskTree::FindForks() {
    for (std::size_t i = 0; i < m_files.size(); ++i) {
        if (m_files[i].children.size() < 2) {
            continue;
        }
        std::vector<std::size_t> files = {i};
        std::string text = QuotedText(m_files[i].name) + " is the parent of";
        for (const std::size_t child : m_files[i].children) {
            const bool isLast = child == m_files[i].children.back();
            text.append(files.size() == 1 ? " " : isLast ? " and " : ", ");
            text.append(QuotedText(m_files[child].name));
            files.push_back(child);
        }
        AddFinding(CTreeFinding::severalChildren, std::move(files), text);
    }
}

/// Follows the parents from every file; each file is walked over once.
void CDiskTree::FindCircles() {
    std::set<std::size_t> seen;
    for (std::size_t start = 0; start < m_files.size(); ++start) {
        std::vector<std::size_t> way;
        std::optional<std::size_t> at = start;
        while (at && seen.insert(*at).second) {
            way.push_back(*at);
            at = m_files[*at].parent;
        }
        const auto circle = at ? std::find(way.begin(), way.end(), *at) : way.end();
        if (circle == way.end()) {
            continue;
        }
        std::string text = "the parents lead in a circle:";
        std::for_each(circle, way.end(), [&](std::size_t file) {
            text.append(" ").append(QuotedText(m_files[file].name));
        });
        text.append(" ").append(QuotedText(m_files[*at].name));
        AddFinding(CTreeFinding::circle, std::vector<std::size_t>(circle, way.end()), text);
    }
}

void CDiskTree::AddFinding(CTreeFinding::EKind kind, std::vector<std::size_t> files,
                           const std::string& text) {
    m_findings.push_back({kind, std::move(files), Printable(text)});
}

std::vector<CDiskTree::CPlace> PlacesOf(const CDiskFolders& folders) {
    std::vector<CDiskTree::CPlace> places;
    for (const fs::path& disk : folders.disks) {
        const auto name = disk.lexically_relative(folders.folders.front()).generic_u8string();
        places.push_back({std::string(name.begin(), name.end()), disk});
    }
    return places;
}

CParentSearch SearchIn(const std::vector<fs::path>& folders) {
    CParentSearch search;
    for (const fs::path& folder : folders) {
        search.namedFolders.insert(FolderOf(folder / "disk"));
    }
    return search;
}

}  // namespace NVHDXDisk
