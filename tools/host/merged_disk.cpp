#include "host/merged_disk.h"

#include <numeric>
#include <set>

#include "host/locator_path.h"
#include "host/parent_text.h"
#include "host/path_query.h"

namespace NVHDXHost {

namespace {

namespace fs = std::filesystem;

}  // namespace

std::shared_ptr<const CMergedDisk> CMergedDisk::Open(const fs::path& path,
                                                     const CMergeOptions& options,
                                                     std::string& error) {
    const std::shared_ptr<CMergedDisk> disk(new CMergedDisk);
    return disk->Follow(path, options, error) ? disk : nullptr;
}

std::shared_ptr<const CMergedDisk> CMergedDisk::OfFile(CDiskLayer layer) {
    const std::shared_ptr<CMergedDisk> disk(new CMergedDisk);
    disk->m_layers.push_back(std::move(layer));
    return disk;
}

/// Ends: each turn adds a file that was not in the chain before.
bool CMergedDisk::Follow(fs::path path, const CMergeOptions& options, std::string& error) {
    const CParentSearch search{{FolderOf(path)}, options.otherPaths};
    std::set<fs::path> visited;
    std::optional<CParentFile> parent;
    while (true) {
        if (!visited.insert(Canonical(path)).second) {
            error =
                "the chain leads from " + Quoted(m_layers.back().path) + " back to " + Quoted(path);
            return false;
        }
        CDiskLayer layer;
        if (!LoadLayer(path, options.logMode, layer, error) ||
            (parent && !AcceptsParent(*parent, options, error))) {
            return false;
        }
        m_layers.push_back(std::move(layer));
        CompareSectors();
        const CDiskLayer& child = m_layers.back();
        if (!child.HasParent() || !options.withParents) {
            return true;
        }
        parent = FindParent(child.locator, child.path, search);
        if (!parent) {
            error = Quoted(child.path) + ": " +
                    MissingParentText(child.locator, child.path, search, options.otherPathsOption);
            return false;
        }
        path = parent->path;
    }
}

/// Whether the file is taken for the parent of the one that was added last.
bool CMergedDisk::AcceptsParent(const CParentFile& parent, const CMergeOptions& options,
                                std::string& error) {
    if (parent.tie == CParentFile::linked) {
        return true;
    }
    const std::string text = Quoted(m_layers.back().path) + ": " + DoubtfulParentText(parent);
    if (!options.acceptChangedParent) {
        error = text + "; " + options.acceptOption + " reads it all the same";
        return false;
    }
    m_findings.push_back(text);
    return true;
}

/// Notes where the file that was added last has other sectors than its child.
void CMergedDisk::CompareSectors() {
    if (m_layers.size() < 2) {
        return;
    }
    const CDiskLayer& child = m_layers[m_layers.size() - 2];
    const CDiskLayer& parent = m_layers.back();
    if (child.parameters.logsectsz != parent.parameters.logsectsz) {
        m_findings.push_back(Quoted(child.path) + ": the sectors have " +
                             std::to_string(child.parameters.logsectsz) + " bytes, those of " +
                             Quoted(parent.path) + " " +
                             std::to_string(parent.parameters.logsectsz));
    }
}

std::uint64_t CMergedDisk::ReplayedEntries() const {
    return std::accumulate(
        m_layers.begin(), m_layers.end(), std::uint64_t{0},
        [](std::uint64_t sum, const CDiskLayer& layer) { return sum + layer.replay.entries; });
}

}  // namespace NVHDXHost
