#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <vhdx_parser/differencing_merge.h>

#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/chain/differencing_sector_bits.h"
#include "vhdx_parser/chain/differencing_sector_locator.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {

namespace {

constexpr std::uint64_t BytesPerMebibyte = BytesFromMebibytes(1);

/// A fully present block of the base disk.
struct CBaseBlock {
    std::uint64_t chunkIndex;
    std::uint64_t position;  ///< in the chunk
    std::uint64_t offset;    ///< in the file, in MiB
};

// The block is sought from the file position cut to a multiple of the block size. A block that does
// not lie at such a multiple can be missed, deliberately.
template <class TChar>
std::optional<CBaseBlock> FindBaseBlock(const CFileDataCircuit<TChar>& circuit,
                                        std::uint64_t offset) {
    const std::uint64_t mebibyte = offset / BytesPerMebibyte;
    const std::uint64_t blockSize = circuit.base.parameters.payloadblksz / BytesPerMebibyte;
    if (blockSize == 0) {
        return std::nullopt;
    }
    const auto found = circuit.baseBlocksByOffset.lower_bound(mebibyte - mebibyte % blockSize);
    if (found == circuit.baseBlocksByOffset.end()) {
        return std::nullopt;
    }
    const auto [chunkIndex, position] = found->second;
    const auto& chunks = circuit.base.blocks.chunks;
    const CPayloadBlock* const block =
        chunkIndex < chunks.size()
            ? chunks[static_cast<std::size_t>(chunkIndex)].GetPayloadBlock(position)
            : nullptr;
    if (block == nullptr || block->offset > mebibyte || mebibyte - block->offset >= blockSize) {
        return std::nullopt;
    }
    return CBaseBlock{chunkIndex, position, block->offset};
}

/// Answers for the sectors of one chunk which differencing file holds them: the newest that does.
/// The base disk itself is not asked.
template <class TChar>
class CSectorAnswers {
public:
    using CAnswers = std::vector<CGetDifferentialResult<TChar>>;

    CSectorAnswers(const CFileDataCircuit<TChar>& circuit, std::uint64_t chunkIndex) {
        m_files.reserve(circuit.differencing.size());
        for (const CFileData<TChar>& file : circuit.differencing) {
            m_files.push_back({{file.blocks, file.parameters, chunkIndex}, &file.path, 0, 0});
        }
    }

    /// Appends an answer for each sector of [sector, end), which is the range of `length` bytes.
    void AppendTo(CAnswers& answers, std::uint64_t sector, std::uint64_t end, std::uint64_t length,
                  std::uint64_t sectorSize) {
        while (sector < end) {
            const std::uint64_t known = LookUp(sector, end) - sector;
            for (std::uint64_t i = 0; i < known; ++i) {
                CGetDifferentialResult<TChar>& answer = answers.emplace_back();
                answer.length = std::min(length, sectorSize);
                length -= sectorSize;
                Answer(answer, i);
            }
            sector += known;
        }
    }

private:
    static constexpr std::uint64_t FirstSector = std::uint64_t{1} << 63;

    struct CFile {
        CSectorLocator locator;
        const std::shared_ptr<std::basic_string<TChar>>* path;
        std::uint64_t present;  ///< the sectors looked up, the first one in the top bit
        std::uint64_t offset;   ///< of the first one
    };

    /// Looks up as many sectors from this one on as a word of a bitmap and one block tell of; one
    /// past the last.
    std::uint64_t LookUp(std::uint64_t sector, std::uint64_t end) {
        if (sector >= SectorsPerChunk) {
            return LookUpPastChunk(sector);
        }
        end = std::min(end, sector - sector % 64 + 64);
        for (CFile& file : m_files) {
            const CSectorStretch& stretch = file.locator.StretchOf(sector);
            end = std::min(end, stretch.end);
            file.present = PresentFrom(stretch, sector);
            file.offset = stretch.offset + (sector - stretch.first) * file.locator.SectorSize();
        }
        return end;
    }

    static std::uint64_t PresentFrom(const CSectorStretch& stretch, std::uint64_t sector) {
        if (stretch.bits == nullptr) {
            return stretch.isPresent ? ~std::uint64_t{0} : 0;
        }
        return LoadSectors(stretch.bits->data() + static_cast<std::size_t>(sector / 64 * 8))
               << sector % 64;
    }

    /// No bitmap tells of such a sector: the first file that would have to be asked for one raises.
    std::uint64_t LookUpPastChunk(std::uint64_t sector) {
        for (CFile& file : m_files) {
            file.present = 0;
        }
        for (CFile& file : m_files) {
            if (file.locator.Locate(sector, file.offset)) {
                file.present = FirstSector;
                break;
            }
        }
        return sector + 1;
    }

    void Answer(CGetDifferentialResult<TChar>& answer, std::uint64_t position) const {
        for (const CFile& file : m_files) {
            if ((file.present << position & FirstSector) != 0) {
                answer.found = true;
                answer.path = *file.path;
                answer.offset = file.offset + position * file.locator.SectorSize();
                return;
            }
        }
    }

    std::vector<CFile> m_files;
};

// Room for at most a chunk's sectors at once: the count is the caller's claim, and answering may
// end early.
template <class TChar>
void ReserveFor(std::vector<CGetDifferentialResult<TChar>>& results, std::uint64_t count) {
    const std::size_t wanted =
        results.size() + static_cast<std::size_t>(std::min(count, SectorsPerChunk));
    if (wanted > results.capacity()) {
        results.reserve(std::max(wanted, 2 * results.capacity()));
    }
}

// Sector numbers are 32 bits wide, deliberately, and simply go on past the end of the block.
template <class TChar>
void AnswerRange(std::vector<CGetDifferentialResult<TChar>>& results, std::uint64_t offset,
                 std::uint64_t length, const CFileDataCircuit<TChar>& circuit) {
    const std::uint64_t sectorSize = circuit.base.parameters.logsectsz;
    const std::optional<CBaseBlock> block = FindBaseBlock(circuit, offset);
    if (!block || sectorSize == 0) {
        return;
    }
    const std::uint64_t sectorsPerBlock = circuit.base.parameters.payloadblksz / sectorSize;
    const std::uint64_t byteInBlock = offset - BytesFromMebibytes(block->offset);
    const auto first =
        static_cast<std::uint32_t>(block->position * sectorsPerBlock + byteInBlock / sectorSize);
    const std::uint64_t count = length / sectorSize + (length % sectorSize != 0 ? 1 : 0);
    const auto end = static_cast<std::uint32_t>(first + count);

    CSectorAnswers<TChar> answers(circuit, block->chunkIndex);
    ReserveFor(results, end > first ? end - first : 0);
    answers.AppendTo(results, first, end, length, sectorSize);
}

}  // namespace

void GetDifferential(std::vector<CGetDifferentialResult<char>>& results,
                     const unsigned __int64& offset, unsigned __int64 length,
                     const CFileDataCircuit<char>& circuit) {
    AnswerRange(results, offset, length, circuit);
}

void GetDifferential(std::vector<CGetDifferentialResult<wchar_t>>& results,
                     const unsigned __int64& offset, unsigned __int64 length,
                     const CFileDataCircuit<wchar_t>& circuit) {
    AnswerRange(results, offset, length, circuit);
}

}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX
