#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <vhdx_parser/byte_stream.h>
#include <vhdx_parser/differencing_merge.h>

#include "vhdx_parser/blocks/sector_bitmap_state.h"
#include "vhdx_parser/foundation/open_file.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {

namespace {

template <class TChar>
bool LoadFile(CFileData<TChar>& file, const std::shared_ptr<CFileObject<TChar>>& source) {
    CBlocks blocks;
    CFileParameters parameters;
    if (source == nullptr || !source->accessor.LoadBlocks(blocks, parameters, source->stream)) {
        NDebugTrace::Trace(NDebugTrace::levelFailure, "bad block loading");
        return false;
    }
    file = {source->path, std::move(blocks), parameters};
    return true;
}

template <class TChar>
bool LoadFiles(CFileDataCircuit<TChar>& circuit,
               const NSnapshotCircuit::CSource<std::shared_ptr<CFileObject<TChar>>>& source) {
    if (!LoadFile(circuit.base, source.base)) {
        return false;
    }
    for (const auto& snapshot : source.snapshots) {
        CFileData<TChar> file;
        if (!LoadFile(file, snapshot)) {
            return false;
        }
        circuit.differencing.push_back(std::move(file));
    }
    return true;
}

// The file is opened anew for each bitmap, so that the chain's own stream stays where it stands.
template <class TChar>
bool LoadBitmap(const CBlockChunk& chunk, const std::basic_string<TChar>& path,
                CSectorBitmap& bitmap) {
    std::basic_ifstream<unsigned char> stream;
    NByteStream::Imbue(stream);
    return NFile::OpenForReading(stream, path) && chunk.LoadSectorBitmap(stream, bitmap.bits);
}

// Chunks that claim one place in the file share one bitmap, so that memory is bounded by what the
// file holds and not by what its table claims.
template <class TChar>
bool LoadBitmaps(CFileData<TChar>& file) {
    std::map<std::uint64_t, std::shared_ptr<CSectorBitmap>> bitmaps;
    for (CBlockChunk& chunk : file.blocks.chunks) {
        if (!HasPresentSectorBitmap(chunk)) {
            continue;
        }
        std::shared_ptr<CSectorBitmap>& bitmap = bitmaps[chunk.getSectorBitmatBlock()->offset];
        if (bitmap == nullptr) {
            // Not zeroed: it is used only when the read has filled all of it.
            bitmap = std::make_shared_for_overwrite<CSectorBitmap>();
        }
        if (file.path == nullptr || !LoadBitmap(chunk, *file.path, *bitmap)) {
            return false;
        }
        chunk.SetSectorBitmap(bitmap);
    }
    return true;
}

template <class TChar>
bool LoadAllBitmaps(CFileDataCircuit<TChar>& circuit) {
    for (CFileData<TChar>& file : circuit.differencing) {
        if (!LoadBitmaps(file)) {
            return false;
        }
    }
    return true;
}

template <class TChar>
bool IndexBaseBlock(CFileDataCircuit<TChar>& circuit, std::uint64_t chunkIndex,
                    std::uint64_t position) {
    const CPayloadBlock* const block =
        circuit.base.blocks.chunks[static_cast<std::size_t>(chunkIndex)].GetPayloadBlock(position);
    if (block == nullptr || block->state != CPayloadBlock::FullyPresent) {
        return true;
    }
    auto& index = circuit.baseBlocksByOffset;
    const std::size_t sizeBefore = index.size();
    // Blocks mostly lie in the file in their order, and then the end is where the next one goes.
    index.emplace_hint(index.end(), block->offset, std::pair(chunkIndex, position));
    return index.size() > sizeBefore;
}

// False when two blocks claim one place.
template <class TChar>
bool IndexBaseBlocks(CFileDataCircuit<TChar>& circuit) {
    const auto& chunks = circuit.base.blocks.chunks;
    for (std::size_t chunkIndex = 0; chunkIndex < chunks.size(); ++chunkIndex) {
        for (std::uint64_t i = 0; i < chunks[chunkIndex].getCount(); ++i) {
            if (!IndexBaseBlock(circuit, chunkIndex, i)) {
                return false;
            }
        }
    }
    return true;
}

template <class TChar>
bool PrepareCircuit(CFileDataCircuit<TChar>& circuit,
                    const NSnapshotCircuit::CSource<std::shared_ptr<CFileObject<TChar>>>& source) {
    if (!LoadFiles(circuit, source)) {
        return false;
    }
    if (!LoadAllBitmaps(circuit) || !IndexBaseBlocks(circuit)) {
        NDebugTrace::Trace(NDebugTrace::levelFailure, "bad prepare");
        return false;
    }
    return true;
}

}  // namespace

bool Prepare(CFileDataCircuit<char>& circuit,
             NSnapshotCircuit::CSource<std::shared_ptr<CFileObject<char>>>& source) {
    return PrepareCircuit(circuit, source);
}

bool Prepare(CFileDataCircuit<wchar_t>& circuit,
             NSnapshotCircuit::CSource<std::shared_ptr<CFileObject<wchar_t>>>& source) {
    return PrepareCircuit(circuit, source);
}

}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX
