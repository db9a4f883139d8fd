#ifndef VHDX_PARSER_TESTS_CHAIN_DIFFERENCING_MODEL_H
#define VHDX_PARSER_TESTS_CHAIN_DIFFERENCING_MODEL_H

/// Prepared chains built by hand, and a merge that answers sector by sector, straight from the
/// description.

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <vhdx_parser/differencing_merge.h>

namespace NTest {

inline constexpr std::uint64_t noOffset = 0xFFFFFFFFFFFFFFFF;
inline constexpr std::uint64_t sectorsPerChunk = 8388608;

template <class TChar>
std::basic_string<TChar> Text(const char* text) {
    return std::basic_string<TChar>(text, text + std::char_traits<char>::length(text));
}

/// A file of a chain with these chunks of payload blocks.
template <class TChar>
NVHDX::NDifferencingVirtualMerge::CFileData<TChar> MakeFile(
    const char* name, std::uint64_t blockSize, std::uint32_t sectorSize,
    const std::vector<std::vector<NVHDX::CPayloadBlock>>& chunks) {
    NVHDX::NDifferencingVirtualMerge::CFileData<TChar> file;
    file.path = std::make_shared<std::basic_string<TChar>>(Text<TChar>(name));
    file.parameters.payloadblksz = static_cast<std::uint32_t>(blockSize);
    file.parameters.logsectsz = static_cast<std::uint16_t>(sectorSize);
    file.blocks.ratio = blockSize == 0 ? 0 : sectorSize * sectorsPerChunk / blockSize;
    file.blocks.chunks.resize(chunks.size());
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        for (const NVHDX::CPayloadBlock& block : chunks[i]) {
            file.blocks.chunks[i].InitPayloadBlock(block.state, block.offset);
        }
    }
    return file;
}

/// A bitmap in which these sectors are set, the first one of a byte in its top bit.
inline std::shared_ptr<NVHDX::CSectorBitmap> MakeBitmap(
    std::initializer_list<std::uint64_t> sectors) {
    auto bitmap = std::make_shared<NVHDX::CSectorBitmap>();
    bitmap->bits.fill(0);
    for (const std::uint64_t sector : sectors) {
        bitmap->bits[sector / 8] =
            static_cast<unsigned char>(bitmap->bits[sector / 8] | (0x80 >> (sector % 8)));
    }
    return bitmap;
}

/// Rebuilds the index of the base disk's fully present blocks.
template <class TChar>
void IndexBase(NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<TChar>& circuit) {
    circuit.baseBlocksByOffset.clear();
    const auto& chunks = circuit.base.blocks.chunks;
    for (std::uint64_t chunk = 0; chunk < chunks.size(); ++chunk) {
        for (std::uint64_t i = 0; i < chunks[chunk].getCount(); ++i) {
            const NVHDX::CPayloadBlock* const block = chunks[chunk].GetPayloadBlock(i);
            if (block != nullptr && block->state == NVHDX::CPayloadBlock::FullyPresent) {
                circuit.baseBlocksByOffset[block->offset] = {chunk, i};
            }
        }
    }
}

/// One call of the callback.
template <class TChar>
struct CRun {
    std::uint64_t baseOffset;
    std::basic_string<TChar> path;
    std::uint64_t offset;
    std::uint64_t length;

    friend bool operator==(const CRun&, const CRun&) = default;
    friend std::ostream& operator<<(std::ostream& out, const CRun& run) {
        return out << "base " << run.baseOffset << " file "
                   << std::string(run.path.begin(), run.path.end()) << " at " << run.offset
                   << " length " << run.length;
    }
};

/// The callback of an enumeration that hands each run on as one record.
template <class TChar, class TReport>
auto RunReporter(TReport report) {
    return [report](std::uint64_t baseOffset, std::shared_ptr<std::basic_string<TChar>>& path,
                    std::uint64_t offset, std::uint64_t length) -> bool {
        return report(CRun<TChar>{baseOffset, *path, offset, length});
    };
}

/// Where a sector lies in one file; empty when the file does not hold it.
template <class TChar>
std::optional<std::uint64_t> LocateNaively(
    const NVHDX::NDifferencingVirtualMerge::CFileData<TChar>& file, std::uint64_t chunkIndex,
    std::uint32_t sector);

template <class TChar>
std::vector<CRun<TChar>> EnumerateNaively(
    const NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<TChar>& circuit);

/// Appends the records from sector `first` up to `end` - 1 of a chunk.
template <class TChar>
void AnswerNaively(
    std::vector<NVHDX::NDifferencingVirtualMerge::CGetDifferentialResult<TChar>>& records,
    const NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<TChar>& circuit, std::uint64_t chunk,
    std::uint32_t first, std::uint32_t end, std::uint64_t length);

}  // namespace NTest

#endif
