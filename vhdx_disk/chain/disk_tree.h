#ifndef VHDX_DISK_CHAIN_DISK_TREE_H
#define VHDX_DISK_CHAIN_DISK_TREE_H

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <vhdx_disk/replayed_stream.h>
#include <vhdx_disk/tree.h>

#include "vhdx_disk/chain/parent_search.h"
#include "vhdx_disk/source/disk_folders.h"

namespace NVHDXDisk {

/// The disks of one or several folders as a tree.
class CDiskTree {
public:
    struct CPlace {
        std::string name;  ///< in messages and results
        std::filesystem::path path;
    };

    CDiskTree() = default;

    /// Reads headers, metadata and logs of the files, and finds the parent of each.
    CDiskTree(const std::vector<CPlace>& places, const CParentSearch& search, ELog log);

    /// In the order of the places.
    [[nodiscard]] const std::vector<CTreeFile>& Files() const { return m_files; }
    /// The files without a parent in the tree. Files of a circle are below none of them.
    [[nodiscard]] const std::vector<std::size_t>& Roots() const { return m_roots; }
    [[nodiscard]] const std::vector<CTreeFinding>& Findings() const { return m_findings; }

private:
    using CIndices = std::map<std::filesystem::path, std::size_t>;

    void FindParents(const CParentSearch& search);
    void FindParentOf(std::size_t file, const CParentSearch& search, const CIndices& indices);
    void FindForks();
    void FindCircles();
    void AddFinding(CTreeFinding::EKind kind, std::vector<std::size_t> files,
                    const std::string& text);

    std::vector<CTreeFile> m_files;
    std::vector<std::size_t> m_roots;
    std::vector<CTreeFinding> m_findings;
};

/// The disks of these folders, each named by its path from the first folder, with '/'.
[[nodiscard]] std::vector<CDiskTree::CPlace> PlacesOf(const CDiskFolders& folders);

/// A search for parents in folders that the user named.
[[nodiscard]] CParentSearch SearchIn(const std::vector<std::filesystem::path>& folders);

}  // namespace NVHDXDisk

#endif
