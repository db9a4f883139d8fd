#include "host/folder_tree.h"

#include <algorithm>
#include <set>

#include <vhdx_parser/accessor.h>
#include <vhdx_parser/file_system.h>

#include "host/container_entry.h"
#include "host/current_header.h"
#include "host/library_name.h"
#include "host/locator_path.h"
#include "host/parent_text.h"
#include "host/path_query.h"

namespace NVHDXHost {

namespace {

namespace fs = std::filesystem;

bool IsDiskName(const CPlatformName& name) {
    CPlatformName extension;
    return NSystem::ExtractFileExt(extension, name) &&
           (fs::path(extension) == "vhdx" || fs::path(extension) == "avhdx");
}

/// Why the file's metadata cannot be had; empty when it can.
std::string ReadMetadata(CReplayStream& stream, CFolderFile& file) {
    NVHDX::CAccessor accessor;
    NVHDX::NMetadata::CVirtualDiskSize size;
    if (std::string error; !OpenContainer(accessor, stream, error)) {
        return error;
    }
    if (!accessor.Retrieve(file.locator, stream)) {
        file.locator = {};
        return "the parent locator cannot be read";
    }
    if (!accessor.Retrieve(size, stream)) {
        return "the size of the virtual disk cannot be read";
    }
    file.virtualSize = size.size;
    NVHDX::NMetadata::CPage83Data page83;
    if (accessor.Retrieve(page83, stream)) {
        file.diskId = page83.page83Data;
    }
    return {};
}

CFolderFile ReadFile(std::string name, fs::path path, CReplayStream::EMode mode) {
    CFolderFile file;
    file.name = std::move(name);
    file.path = std::move(path);
    CReplayStream stream(file.path, mode);
    file.replay = stream.Result();
    file.problem = ReadMetadata(stream, file);
    if (stream.IsOpen()) {
        if (const auto header = ReadCurrentHeader(stream)) {
            file.dataWriteGuid = header->dataWriteGuid;
        }
    }
    return file;
}

}  // namespace

std::optional<CFolderTree> CFolderTree::Scan(const fs::path& folder, CReplayStream::EMode mode) {
    CFolderTree tree;
    if (!tree.FindFiles(folder, mode)) {
        return std::nullopt;
    }
    tree.FindTies({{FolderOf(folder / "disk")}});
    return tree;
}

CFolderTree CFolderTree::Of(const CDiskFolders& folders, CReplayStream::EMode mode) {
    CFolderTree tree;
    CParentSearch search;
    for (const fs::path& folder : folders.folders) {
        search.namedFolders.insert(FolderOf(folder / "disk"));
    }
    for (const fs::path& disk : folders.disks) {
        const auto name = disk.lexically_relative(folders.folders.front()).generic_u8string();
        tree.m_files.push_back(ReadFile(std::string(name.begin(), name.end()), disk, mode));
    }
    tree.FindTies(search);
    return tree;
}

void CFolderTree::FindTies(const CParentSearch& search) {
    FindParents(search);
    FindForks();
    FindCycles();
}

bool CFolderTree::FindFiles(const fs::path& folder, CReplayStream::EMode mode) {
    std::vector<CLibraryView> views;
    const bool complete = NSystem::for_each_item_in_folder(
        folder.native(), nullptr,
        [&](bool&, bool isFolder, CPlatformName& name, const NSystem::CFileAttributes&) {
            if (!isFolder && IsDiskName(name)) {
                m_files.push_back(ReadFile(TextFromPath(name), folder / name, mode));
                views.push_back(ViewAsLibrary(folder, name));
            }
            return true;
        });
    m_linking = ForetellLinking(views);
    return complete;
}

void CFolderTree::FindParents(const CParentSearch& search) {
    CPlaces places;
    for (std::size_t i = 0; i < m_files.size(); ++i) {
        places.emplace(Canonical(m_files[i].path), i);
    }
    for (std::size_t i = 0; i < m_files.size(); ++i) {
        if (!m_files[i].problem.empty()) {
            AddFinding(CFolderFinding::unreadable, {i},
                       QuotedText(m_files[i].name) + ": " + m_files[i].problem);
        }
        if (m_files[i].HasParent()) {
            FindParentOf(i, search, places);
        }
        if (!m_files[i].parent) {
            m_roots.push_back(i);
        }
    }
}

void CFolderTree::FindParentOf(std::size_t file, const CParentSearch& search,
                               const CPlaces& places) {
    CFolderFile& child = m_files[file];
    const auto found = FindParent(child.locator, child.path, search);
    if (!found) {
        AddFinding(CFolderFinding::parentMissing, {file},
                   QuotedText(child.name) + ": " +
                       MissingParentText(child.locator, child.path, search, nullptr));
        return;
    }
    child.parentLinked = found->tie == CParentFile::linked;
    const auto parent = places.find(Canonical(found->path));
    if (parent == places.end()) {
        child.parentOutside = found->path;
        AddFinding(CFolderFinding::parentOutside, {file},
                   QuotedText(child.name) + ": the parent lies outside the folder, at " +
                       Quoted(found->path));
    } else {
        child.parent = parent->second;
        m_files[parent->second].children.push_back(file);
    }
    if (!child.parentLinked) {
        AddFinding(found->tie == CParentFile::changed ? CFolderFinding::parentChanged
                                                      : CFolderFinding::linkageMissing,
                   {file}, QuotedText(child.name) + ": " + DoubtfulParentText(*found));
    }
}

void CFolderTree::FindForks() {
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
        AddFinding(CFolderFinding::severalChildren, std::move(files), std::move(text));
    }
}

/// Follows the parents from every file; each file is walked over once.
void CFolderTree::FindCycles() {
    std::set<std::size_t> seen;
    for (std::size_t start = 0; start < m_files.size(); ++start) {
        std::vector<std::size_t> way;
        std::optional<std::size_t> at = start;
        while (at && seen.insert(*at).second) {
            way.push_back(*at);
            at = m_files[*at].parent;
        }
        const auto cycle = at ? std::find(way.begin(), way.end(), *at) : way.end();
        if (cycle == way.end()) {
            continue;
        }
        std::string text = "the parents lead in a circle:";
        std::for_each(cycle, way.end(), [&](std::size_t file) {
            text.append(" ").append(QuotedText(m_files[file].name));
        });
        text.append(" ").append(QuotedText(m_files[*at].name));
        AddFinding(CFolderFinding::cycle, std::vector<std::size_t>(cycle, way.end()),
                   std::move(text));
    }
}

void CFolderTree::AddFinding(CFolderFinding::EKind kind, std::vector<std::size_t> files,
                             std::string text) {
    m_findings.push_back({kind, std::move(files), std::move(text)});
}

}  // namespace NVHDXHost
