#include "host/folder_chains.h"

#include <utility>

namespace NVHDXHost {

namespace {

/// Empty when the disks below the base are no straight line. Ends: each disk has one parent and the
/// base none, so that none is met twice.
std::vector<std::size_t> LineFrom(const std::vector<CFolderFile>& files, std::size_t base) {
    std::vector<std::size_t> line;
    for (std::size_t at = base; files[at].problem.empty() && files[at].children.size() < 2;) {
        line.push_back(at);
        if (files[at].children.empty()) {
            return line;
        }
        at = files[at].children.front();
    }
    return {};
}

}  // namespace

std::vector<std::vector<std::size_t>> StraightChains(const CFolderTree& tree) {
    std::vector<std::vector<std::size_t>> chains;
    for (const std::size_t root : tree.Roots()) {
        if (tree.Files()[root].HasParent()) {
            continue;
        }
        if (auto line = LineFrom(tree.Files(), root); !line.empty()) {
            chains.push_back(std::move(line));
        }
    }
    return chains;
}

std::vector<std::size_t> Tips(const CFolderTree& tree) {
    std::vector<std::size_t> tips;
    for (std::size_t file = 0; file < tree.Files().size(); ++file) {
        if (tree.Files()[file].problem.empty() && tree.Files()[file].children.empty()) {
            tips.push_back(file);
        }
    }
    return tips;
}

}  // namespace NVHDXHost
