#ifndef VHDX_PARSER_CHAIN_DIFFERENCING_SECTOR_BITS_H
#define VHDX_PARSER_CHAIN_DIFFERENCING_SECTOR_BITS_H

/// The bits of a sector bitmap as the merge reads them: most significant bit first, so that sector
/// 0 is the top bit of byte 0. Kept deliberately.

#include <algorithm>
#include <bit>
#include <cstdint>

#include <vhdx_parser/block_model.h>

namespace NVHDX {
namespace NDifferencingVirtualMerge {

/// Whether the bit of a sector below 2^23 is set.
inline bool IsSectorSet(const CSectorBitmapArea& bits, std::uint64_t sector) {
    return (bits[static_cast<std::size_t>(sector / 8)] & (0x80U >> (sector % 8))) != 0;
}

/// 64 sectors from `bits`, the first one in the most significant bit. Compilers make one load and
/// one byte swap of it.
inline std::uint64_t LoadSectors(const unsigned char* bits) {
    return std::uint64_t{bits[0]} << 56 | std::uint64_t{bits[1]} << 48 |
           std::uint64_t{bits[2]} << 40 | std::uint64_t{bits[3]} << 32 |
           std::uint64_t{bits[4]} << 24 | std::uint64_t{bits[5]} << 16 |
           std::uint64_t{bits[6]} << 8 | std::uint64_t{bits[7]};
}

/// Neighbouring sectors whose bits are set: [`first`, `end`).
struct CSetSectors {
    std::uint64_t first;
    std::uint64_t end;
};

/// Finds the pieces of set bits between two sectors, 64 sectors at a time.
class CSetSectorsSearch {
public:
    /// `end` is at most 2^23 and more than `first`.
    CSetSectorsSearch(const CSectorBitmapArea& bits, std::uint64_t first, std::uint64_t end)
        : m_bits(bits), m_end(end) {
        MoveTo(first);
    }

    /// The next piece, as long as can be; false when there is none.
    bool Next(CSetSectors& found) {
        while (m_rest == 0) {
            if (!LoadNextWord()) {
                return false;
            }
        }
        const auto skipped = static_cast<unsigned>(std::countl_zero(m_rest));
        const auto stop = static_cast<unsigned>(std::countl_one(m_rest | ~(AllSectors >> skipped)));
        found.first = m_word + skipped;
        if (stop < SectorsPerWord) {
            m_rest &= AllSectors >> stop;
            found.end = std::min(m_end, m_word + stop);
        } else {
            found.end = EndOfLongPiece();
        }
        return found.first < m_end;
    }

private:
    static constexpr std::uint64_t SectorsPerWord = 64;
    static constexpr std::uint64_t AllSectors = ~std::uint64_t{0};

    void Load() { m_rest = LoadSectors(m_bits.data() + static_cast<std::size_t>(m_word / 8)); }

    bool LoadNextWord() {
        m_word += SectorsPerWord;
        if (m_word >= m_end) {
            m_rest = 0;
            return false;
        }
        Load();
        return true;
    }

    void MoveTo(std::uint64_t sector) {
        m_word = sector - sector % SectorsPerWord;
        Load();
        m_rest &= AllSectors >> (sector % SectorsPerWord);
    }

    /// The piece fills its word up to the end: goes on over full words.
    std::uint64_t EndOfLongPiece() {
        while (LoadNextWord()) {
            const auto stop = static_cast<unsigned>(std::countl_one(m_rest));
            if (stop < SectorsPerWord) {
                m_rest &= AllSectors >> stop;
                return std::min(m_end, m_word + stop);
            }
        }
        return m_end;
    }

    const CSectorBitmapArea& m_bits;
    std::uint64_t m_end;
    std::uint64_t m_word = 0;  ///< first sector of the word at hand
    std::uint64_t m_rest = 0;  ///< its bits that were not found yet
};

}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX

#endif
