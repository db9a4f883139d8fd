#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <vhdx_parser/differencing_merge.h>

#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/chain/differencing_sector_locator.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {

namespace {

constexpr std::uint64_t BytesPerMebibyte = BytesFromMebibytes(1);
constexpr std::uint64_t NoOffset = 0xFFFFFFFFFFFFFFFF;

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

/// Answers for the sectors of one chunk which differencing file holds them.
template <class TChar>
class CSectorAnswers {
public:
    CSectorAnswers(const CFileDataCircuit<TChar>& circuit, std::uint64_t chunkIndex) {
        m_files.reserve(circuit.differencing.size());
        for (const CFileData<TChar>& file : circuit.differencing) {
            m_files.push_back({{file.blocks, file.parameters, chunkIndex}, &file.path});
        }
    }

    /// The newest file that holds the sector; the base disk itself is not asked.
    CGetDifferentialResult<TChar> Answer(std::uint64_t sector, std::uint64_t length) {
        std::uint64_t offset = 0;
        for (CFile& file : m_files) {
            if (file.locator.Locate(sector, offset)) {
                return {true, *file.path, offset, length};
            }
        }
        return {false, nullptr, NoOffset, length};
    }

private:
    struct CFile {
        CSectorLocator locator;
        const std::shared_ptr<std::basic_string<TChar>>* path;
    };

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
    std::uint64_t rest = length;
    for (std::uint32_t sector = first; sector < end; ++sector) {
        results.push_back(answers.Answer(sector, std::min(rest, sectorSize)));
        rest -= sectorSize;
    }
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
