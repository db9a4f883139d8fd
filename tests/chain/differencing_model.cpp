#include "tests/chain/differencing_model.h"

#include <stdexcept>

namespace NTest {

template <class TChar>
std::optional<std::uint64_t> LocateNaively(
    const NVHDX::NDifferencingVirtualMerge::CFileData<TChar>& file, std::uint64_t chunkIndex,
    std::uint32_t sector) {
    if (chunkIndex >= file.blocks.chunks.size() || file.parameters.payloadblksz == 0) {
        return std::nullopt;
    }
    const std::uint32_t byte = std::uint32_t{file.parameters.logsectsz} * sector;
    const std::uint32_t number = byte / file.parameters.payloadblksz;
    const NVHDX::CBlockChunk& chunk = file.blocks.chunks[chunkIndex];
    const NVHDX::CPayloadBlock* const block = chunk.GetPayloadBlock(number);
    if (block == nullptr) {
        return std::nullopt;
    }
    if (block->state == NVHDX::CPayloadBlock::PartiallyPresent) {
        if (chunk.getSectorBitmap() == nullptr) {
            return std::nullopt;
        }
        if (sector / 8 >= 1048576) {
            throw std::out_of_range("invalid array<T, N> subscript");
        }
        const unsigned char bits = chunk.getSectorBitmap()->bits[sector / 8];
        if ((bits & (0x80 >> (sector % 8))) == 0) {
            return std::nullopt;
        }
    }
    return (block->offset << 20) + byte - number * file.parameters.payloadblksz;
}

template <class TChar>
std::vector<CRun<TChar>> EnumerateNaively(
    const NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<TChar>& circuit) {
    std::vector<CRun<TChar>> runs;
    for (std::uint64_t chunk = 0; chunk < circuit.base.blocks.chunks.size(); ++chunk) {
        for (const auto& file : circuit.differencing) {
            std::optional<CRun<TChar>> open;
            const auto report = [&] {
                runs.push_back(*open);
                open.reset();
            };
            for (std::uint32_t sector = 0; sector < sectorsPerChunk; ++sector) {
                const std::optional<std::uint64_t> offset = LocateNaively(file, chunk, sector);
                if (!offset) {
                    if (open) {
                        report();
                    }
                    continue;
                }
                bool contiguous = true;
                if (!open) {
                    const auto base = LocateNaively(circuit.base, chunk, sector);
                    open = {base.value_or(noOffset), *file.path, *offset, 0};
                } else {
                    contiguous = *offset == open->offset + open->length;
                }
                open->length += file.parameters.logsectsz;
                if (!contiguous || sector == sectorsPerChunk - 1) {
                    report();
                }
            }
        }
    }
    return runs;
}

template <class TChar>
void AnswerNaively(
    std::vector<NVHDX::NDifferencingVirtualMerge::CGetDifferentialResult<TChar>>& records,
    const NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<TChar>& circuit, std::uint64_t chunk,
    std::uint32_t first, std::uint32_t end, std::uint64_t length) {
    const std::uint64_t sectorSize = circuit.base.parameters.logsectsz;
    for (std::uint32_t sector = first; sector < end; ++sector) {
        NVHDX::NDifferencingVirtualMerge::CGetDifferentialResult<TChar> record;
        for (const auto& file : circuit.differencing) {
            const std::optional<std::uint64_t> offset = LocateNaively(file, chunk, sector);
            if (offset) {
                record.found = true;
                record.path = file.path;
                record.offset = *offset;
                break;
            }
        }
        record.length = length < sectorSize ? length : sectorSize;
        records.push_back(record);
        length -= sectorSize;
    }
}

template std::optional<std::uint64_t> LocateNaively(
    const NVHDX::NDifferencingVirtualMerge::CFileData<char>&, std::uint64_t, std::uint32_t);
template std::vector<CRun<char>> EnumerateNaively(
    const NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<char>&);
template void AnswerNaively(
    std::vector<NVHDX::NDifferencingVirtualMerge::CGetDifferentialResult<char>>&,
    const NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<char>&, std::uint64_t, std::uint32_t,
    std::uint32_t, std::uint64_t);
template std::optional<std::uint64_t> LocateNaively(
    const NVHDX::NDifferencingVirtualMerge::CFileData<wchar_t>&, std::uint64_t, std::uint32_t);
template std::vector<CRun<wchar_t>> EnumerateNaively(
    const NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<wchar_t>&);
template void AnswerNaively(
    std::vector<NVHDX::NDifferencingVirtualMerge::CGetDifferentialResult<wchar_t>>&,
    const NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<wchar_t>&, std::uint64_t,
    std::uint32_t, std::uint32_t, std::uint64_t);

}  // namespace NTest
