#include "vhdx_disk/check/table_overlaps.h"

namespace NVHDXDisk {

namespace {

using NVHDX::Mebibyte;

bool Covers(const CFilePlace& place, std::uint64_t mebibyte) {
    const std::uint64_t begin = mebibyte * Mebibyte;
    return place.length != 0 &&
           (place.Holds(begin) || (place.begin >= begin && place.begin - begin < Mebibyte));
}

}  // namespace

CTableOverlaps::CTableOverlaps(std::uint64_t fileSize, const std::vector<CFilePlace>& taken)
    : m_places(taken),
      m_taken(static_cast<std::size_t>(
          std::min(fileSize / Mebibyte + (fileSize % Mebibyte == 0 ? 0 : 1), MostMebibytes))) {
    for (const CFilePlace& place : taken) {
        for (std::uint64_t at = place.begin / Mebibyte; at < m_taken.size() && Covers(place, at);
             ++at) {
            m_taken[static_cast<std::size_t>(at)] = true;
        }
    }
}

void CTableOverlaps::Claim(const CCheckedEntry& entry, const CGeometry& geometry) {
    const std::uint64_t begin = entry.FirstMebibyte();
    const std::uint64_t end = begin + entry.Mebibytes(geometry);
    m_beyond = m_beyond || end > MostMebibytes;
    bool collided = false;
    for (std::uint64_t at = begin; at < std::min<std::uint64_t>(end, m_taken.size()); ++at) {
        if (m_taken[static_cast<std::size_t>(at)] && !collided) {
            AddCollision(entry, at);
            collided = true;
        }
        m_taken[static_cast<std::size_t>(at)] = true;
    }
}

void CTableOverlaps::AddCollision(const CCheckedEntry& entry, std::uint64_t mebibyte) {
    if (m_collisions.size() == MostCollisions) {
        ++m_untold;
        return;
    }
    CCollision collision{entry.Name(), entry.position, {}};
    const auto place = std::find_if(m_places.begin(), m_places.end(),
                                    [&](const CFilePlace& one) { return Covers(one, mebibyte); });
    if (place != m_places.end()) {
        collision.owner = place->name;
    } else {
        ++m_unknown;
    }
    m_collisions.emplace(mebibyte, std::move(collision));
}

/// The first entry that claims the place owns it: the claimant comes later.
void CTableOverlaps::NameOwner(const CCheckedEntry& entry, const CGeometry& geometry) {
    const std::uint64_t begin = entry.FirstMebibyte();
    const auto end = m_collisions.lower_bound(begin + entry.Mebibytes(geometry));
    for (auto at = m_collisions.lower_bound(begin); at != end; ++at) {
        if (at->second.owner.empty()) {
            at->second.owner = entry.Name();
            --m_unknown;
        }
    }
}

void CTableOverlaps::Report(const CFindingSink& findings) const {
    for (const auto& [mebibyte, collision] : m_collisions) {
        findings.Add(EFinding::blockOverlap,
                     Sentence(collision.claimant, ", entry at offset ", collision.entry),
                     Sentence("claims the place of ", collision.owner, " at offset ",
                              mebibyte * Mebibyte, " of the file: one has overwritten the other"));
    }
    if (m_untold != 0) {
        findings.Add(EFinding::blockOverlap, "block allocation table",
                     Sentence(m_untold, " more entries claim places that are taken"));
    }
    if (m_beyond) {
        findings.Add(EFinding::fileTooLarge, "block allocation table",
                     "blocks lie more than 128 TiB into the file, further than any disk needs: "
                     "whether those overlap was not checked");
    }
}

}  // namespace NVHDXDisk
