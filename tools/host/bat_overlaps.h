#ifndef VHDX_HOST_BAT_OVERLAPS_H
#define VHDX_HOST_BAT_OVERLAPS_H

#include <map>
#include <string>
#include <vector>

#include "host/bat_entries.h"

namespace NVHDXHost {

/// Finds entries of the table that claim the same place in the file. One bit for each MiB of the
/// file says that it is taken; whose it is comes from a second pass, and only for what collided.
class CBatOverlaps {
public:
    /// What lies beyond this place of the file is not compared: a disk of 64 TiB needs half of it.
    static constexpr std::uint64_t MostMebibytes = std::uint64_t{128} * 1048576;
    /// More collisions are only counted.
    static constexpr std::size_t MostCollisions = 1000;

    CBatOverlaps(std::uint64_t fileSize, const std::vector<CFilePlace>& taken);

    /// First pass: every entry that has data in the file.
    void Claim(const CBatEntry& entry, const CCheckedGeometry& geometry);
    [[nodiscard]] bool HasUnknownOwners() const { return m_unknown != 0; }
    /// Second pass: the same entries again.
    void NameOwner(const CBatEntry& entry, const CCheckedGeometry& geometry);
    void Report(const CFindingSink& findings) const;

private:
    struct CCollision {
        std::string claimant;
        std::uint64_t entry = 0;  ///< position of the claimant's entry in the file
        std::string owner;        ///< empty: not known yet
    };

    void AddCollision(const CBatEntry& entry, std::uint64_t mebibyte);

    const std::vector<CFilePlace>& m_places;
    std::vector<bool> m_taken;                              ///< by MiB of the file
    std::multimap<std::uint64_t, CCollision> m_collisions;  ///< by MiB of the file
    std::size_t m_unknown = 0;
    std::uint64_t m_untold = 0;
    bool m_beyond = false;
};

}  // namespace NVHDXHost

#endif
