#ifndef VHDX_DISK_CHECK_TABLE_OVERLAPS_H
#define VHDX_DISK_CHECK_TABLE_OVERLAPS_H

#include <map>
#include <string>
#include <vector>

#include "vhdx_disk/check/checked_entry.h"

namespace NVHDXDisk {

/// Finds entries of the table that claim the same place in the file. One bit for each MiB of the
/// file says that it is taken; whose it is comes from a second pass, and only for what collided.
class CTableOverlaps {
public:
    /// What lies beyond this place of the file is not compared: a disk of 64 TiB needs half of it.
    static constexpr std::uint64_t MostMebibytes = std::uint64_t{128} * 1048576;
    /// More collisions are only counted.
    static constexpr std::size_t MostCollisions = 1000;

    CTableOverlaps(std::uint64_t fileSize, const std::vector<CFilePlace>& taken);

    /// First pass: every entry that has data in the file.
    void Claim(const CCheckedEntry& entry, const CGeometry& geometry);
    [[nodiscard]] bool HasUnknownOwners() const { return m_unknown != 0; }
    /// Second pass: the same entries again.
    void NameOwner(const CCheckedEntry& entry, const CGeometry& geometry);
    void Report(const CFindingSink& findings) const;

private:
    struct CCollision {
        std::string claimant;
        std::uint64_t entry = 0;  ///< position of the claimant's entry in the file
        std::string owner;        ///< empty: not known yet
    };

    void AddCollision(const CCheckedEntry& entry, std::uint64_t mebibyte);

    const std::vector<CFilePlace>& m_places;
    std::vector<bool> m_taken;                              ///< by MiB of the file
    std::multimap<std::uint64_t, CCollision> m_collisions;  ///< by MiB of the file
    std::size_t m_unknown = 0;
    std::uint64_t m_untold = 0;
    bool m_beyond = false;
};

}  // namespace NVHDXDisk

#endif
