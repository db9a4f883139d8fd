#ifndef VHDX_DISK_READ_NEARBY_READS_H
#define VHDX_DISK_READ_NEARBY_READS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace NVHDXDisk {

/// Fills many places of memory from a few files with few reads: pieces that lie near one another in
/// a file are read together, over what stands between them. A chain whose files take turns sector
/// by sector would else cost a call to the system for each run.
class CNearbyReads {
public:
    /// Fills the bytes from a position of one of the files; false when it cannot.
    using CReadFile = std::function<bool(std::size_t file, std::uint64_t position,
                                         std::span<unsigned char> bytes)>;

    void Clear() { m_pieces.clear(); }
    /// `bytes` stay the caller's, and are filled by `Read`.
    void Add(std::size_t file, std::uint64_t position, std::span<unsigned char> bytes);
    /// False as soon as a read fails. Every byte asked for lies between the first and the last byte
    /// of a piece of its file.
    [[nodiscard]] bool Read(const CReadFile& readFile);

private:
    struct CPiece {
        std::size_t file;
        std::uint64_t position;
        std::span<unsigned char> bytes;

        [[nodiscard]] std::uint64_t End() const { return position + bytes.size(); }
    };
    using CPieces = std::span<const CPiece>;

    static std::size_t CountTogether(CPieces pieces);
    bool ReadTogether(CPieces pieces, const CReadFile& readFile);

    std::vector<CPiece> m_pieces;
    std::vector<unsigned char> m_window;
};

}  // namespace NVHDXDisk

#endif
