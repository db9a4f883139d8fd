#include <vhdx_disk/folder.h>

#include <utility>

#include <vhdx_disk/path_query.h>

#include "vhdx_disk/chain/disk_tree.h"
#include "vhdx_disk/folder/linking_forecast.h"
#include "vhdx_disk/source/disk_folders.h"
#include "vhdx_disk/source/folder_items.h"
#include "vhdx_disk/source/free_descriptors.h"

namespace NVHDXDisk {

namespace {

namespace fs = std::filesystem;

/// Empty when the disks below the base are no straight line. Ends: each disk has one parent and the
/// base none, so that none is met twice.
std::vector<std::size_t> LineFrom(const std::vector<CTreeFile>& files, std::size_t base) {
    std::vector<std::size_t> line;
    for (std::size_t at = base; !files[at].problem && files[at].children.size() < 2;) {
        line.push_back(at);
        if (files[at].children.empty()) {
            return line;
        }
        at = files[at].children.front();
    }
    return {};
}

}  // namespace

struct CFolder::CParts {
    CDiskTree tree;
    CLinkingForecast linking;

    bool ScanOne(const fs::path& folder, ELog log, CFailure& failure);
    bool ScanAll(const fs::path& folder, ELog log, CFailure& failure);
};

bool CFolder::CParts::ScanOne(const fs::path& folder, ELog log, CFailure& failure) {
    std::vector<CDiskTree::CPlace> places;
    std::vector<CBuilderView> views;
    const auto take = [&](bool isFolder, const CPlatformName& name) {
        if (!isFolder && NVHDX::NLinkingRule::HasDiskExtension(name)) {
            places.push_back({TextOf(fs::path(name)), folder / name});
            views.push_back(ViewAsBuilder(folder, name));
        }
    };
    const bool complete = ForEachItem(folder, take, failure);
    tree = CDiskTree(places, SearchIn({folder}), log);
    linking = ForetellLinking(views);
    HeedFreeDescriptors(linking, views.size(), FreeDescriptors(views.size() + 1));
    return complete;
}

bool CFolder::CParts::ScanAll(const fs::path& folder, ELog log, CFailure& failure) {
    const CDiskFolders found = FindDisksBelow(folder);
    if (found.folders.empty()) {
        failure = found.unreadable.front();
        return false;
    }
    tree = CDiskTree(PlacesOf(found), SearchIn(found.folders), log);
    return true;
}

CFolder::CFolder() : m_parts(std::make_unique<CParts>()) {}

CFolder::~CFolder() = default;

std::shared_ptr<const CFolder> CFolder::Open(const fs::path& folder, const CFolderOptions& options,
                                             CFailure& failure) {
    const std::shared_ptr<CFolder> opened(new CFolder);
    CParts& parts = *opened->m_parts;
    const bool isScanned = options.recursive ? parts.ScanAll(folder, options.log, failure)
                                             : parts.ScanOne(folder, options.log, failure);
    return isScanned ? opened : nullptr;
}

const std::vector<CTreeFile>& CFolder::Files() const {
    return m_parts->tree.Files();
}

const std::vector<std::size_t>& CFolder::Roots() const {
    return m_parts->tree.Roots();
}

const std::vector<CTreeFinding>& CFolder::Findings() const {
    return m_parts->tree.Findings();
}

const CLinkingForecast& CFolder::Linking() const {
    return m_parts->linking;
}

std::vector<std::vector<std::size_t>> CFolder::StraightChains() const {
    std::vector<std::vector<std::size_t>> chains;
    for (const std::size_t root : Roots()) {
        if (Files()[root].HasParent()) {
            continue;
        }
        if (auto line = LineFrom(Files(), root); !line.empty()) {
            chains.push_back(std::move(line));
        }
    }
    return chains;
}

std::vector<std::size_t> CFolder::Tips() const {
    std::vector<std::size_t> tips;
    for (std::size_t file = 0; file < Files().size(); ++file) {
        if (!Files()[file].problem && Files()[file].children.empty()) {
            tips.push_back(file);
        }
    }
    return tips;
}

}  // namespace NVHDXDisk
