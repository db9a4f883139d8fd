#include "vhdx_disk/read/bitmap_cache.h"

namespace NVHDXDisk {

const CBitmapCache::CPiece* CBitmapCache::Find(std::size_t file, std::uint64_t position) {
    const auto found = m_places.find({file, position});
    if (found == m_places.end()) {
        return nullptr;
    }
    m_pieces.splice(m_pieces.begin(), m_pieces, found->second);
    return &found->second->second;
}

CBitmapCache::CPiece& CBitmapCache::Add(std::size_t file, std::uint64_t position) {
    const CKey key(file, position);
    if (m_pieces.size() < m_capacity) {
        m_pieces.emplace_front();
    } else {
        m_places.erase(m_pieces.back().first);
        m_pieces.splice(m_pieces.begin(), m_pieces, std::prev(m_pieces.end()));
    }
    m_pieces.front().first = key;
    m_places[key] = m_pieces.begin();
    return m_pieces.front().second;
}

void CBitmapCache::Remove(std::size_t file, std::uint64_t position) {
    const auto found = m_places.find({file, position});
    if (found != m_places.end()) {
        m_pieces.erase(found->second);
        m_places.erase(found);
    }
}

}  // namespace NVHDXDisk
