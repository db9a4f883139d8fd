#ifndef VHDX_DISK_READ_BITMAP_CACHE_H
#define VHDX_DISK_READ_BITMAP_CACHE_H

#include <array>
#include <cstdint>
#include <list>
#include <map>
#include <utility>

namespace NVHDXDisk {

/// The pieces of sector bitmaps that were read last, in bounded memory. One thread at a time.
class CBitmapCache {
public:
    static constexpr std::uint64_t PieceSize = 16384;
    using CPiece = std::array<unsigned char, PieceSize>;

    /// At most `capacity` pieces, at least one; the default takes 16 MiB.
    explicit CBitmapCache(std::size_t capacity = 1024) : m_capacity(capacity == 0 ? 1 : capacity) {}

    /// The piece at a position of a file; null when it must be read. Valid until the next `Add`.
    [[nodiscard]] const CPiece* Find(std::size_t file, std::uint64_t position);

    /// Makes room for a piece that was not found, in place of the one that was not used for
    /// longest. The caller fills it, or takes it back with `Remove`.
    [[nodiscard]] CPiece& Add(std::size_t file, std::uint64_t position);
    void Remove(std::size_t file, std::uint64_t position);

    [[nodiscard]] std::size_t Count() const { return m_pieces.size(); }

private:
    using CKey = std::pair<std::size_t, std::uint64_t>;
    using CPieces = std::list<std::pair<CKey, CPiece>>;

    std::size_t m_capacity;
    CPieces m_pieces;  ///< the one used last comes first
    std::map<CKey, CPieces::iterator> m_places;
};

}  // namespace NVHDXDisk

#endif
