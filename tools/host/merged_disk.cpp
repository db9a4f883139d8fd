#include "host/merged_disk.h"

#include <numeric>
#include <set>

#include "host/locator_path.h"
#include "host/parent_search.h"
#include "host/path_query.h"

namespace NVHDXHost {

namespace {

namespace fs = std::filesystem;

/// How the child names its parent, for people, and a blank; nothing when it does not.
std::string ParentText(const CDiskLayer& child) {
    const auto& entries = child.locator.entries;
    const auto entry = entries.find(NVHDX::NMetadata::CParent::formatRelativePath);
    return entry == entries.end() ? "" : QuotedText(TextFromLocator(entry->second.value)) + " ";
}

}  // namespace

std::shared_ptr<const CMergedDisk> CMergedDisk::Open(const fs::path& path,
                                                     const CMergeOptions& options,
                                                     std::string& error) {
    const std::shared_ptr<CMergedDisk> disk(new CMergedDisk);
    return disk->Follow(path, options, error) ? disk : nullptr;
}

/// Ends: each turn adds a file that was not in the chain before.
bool CMergedDisk::Follow(fs::path path, const CMergeOptions& options, std::string& error) {
    std::set<fs::path> visited;
    bool linked = true;
    while (true) {
        if (!visited.insert(Canonical(path)).second) {
            error =
                "the chain leads from " + Quoted(m_layers.back().path) + " back to " + Quoted(path);
            return false;
        }
        CDiskLayer layer;
        if (!LoadLayer(path, options.logMode, layer, error)) {
            return false;
        }
        m_layers.push_back(std::move(layer));
        if (m_layers.size() > 1 && !ComparesWithChild(options, linked, error)) {
            return false;
        }
        const CDiskLayer& child = m_layers.back();
        if (!child.HasParent() || !options.withParents) {
            return true;
        }
        const auto parent = FindParent(child.locator, child.path.parent_path(), options.otherPaths);
        if (!parent) {
            error = Quoted(child.path) + ": the parent " + ParentText(child) + "is missing";
            return false;
        }
        path = parent->path;
        linked = parent->linked;
    }
}

/// Notes what does not fit between the file that was added last and its child.
bool CMergedDisk::ComparesWithChild(const CMergeOptions& options, bool linked, std::string& error) {
    const CDiskLayer& child = m_layers[m_layers.size() - 2];
    const CDiskLayer& parent = m_layers.back();
    if (!linked) {
        const std::string text = Quoted(child.path) + ": the parent " + Quoted(parent.path) +
                                 " was changed or replaced since the child was made: its "
                                 "DataWriteGuid is not the child's parent linkage";
        if (options.strictLinkage) {
            error = text;
            return false;
        }
        m_findings.push_back(text);
    }
    if (child.parameters.logsectsz != parent.parameters.logsectsz) {
        m_findings.push_back(Quoted(child.path) + ": the sectors have " +
                             std::to_string(child.parameters.logsectsz) + " bytes, those of " +
                             Quoted(parent.path) + " " +
                             std::to_string(parent.parameters.logsectsz));
    }
    return true;
}

std::uint64_t CMergedDisk::ReplayedEntries() const {
    return std::accumulate(
        m_layers.begin(), m_layers.end(), std::uint64_t{0},
        [](std::uint64_t sum, const CDiskLayer& layer) { return sum + layer.replay.entries; });
}

}  // namespace NVHDXHost
