#ifndef VHDX_PARSER_DIFFERENCING_MERGE_H
#define VHDX_PARSER_DIFFERENCING_MERGE_H

/// Which differencing file of a chain holds a sector. Nothing is merged on disk: the operations
/// report files and positions, and the caller reads the bytes.
///
/// Positions and lengths are bytes; a chunk covers 2^23 logical sectors.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <vhdx_parser/block_model.h>
#include <vhdx_parser/snapshot_chain.h>

namespace NVHDX {
namespace NDifferencingVirtualMerge {

/// One file of a prepared chain.
template <class TChar>
struct CFileData {
    std::shared_ptr<std::basic_string<TChar>> path;  ///< shared with the chain's file
    CBlocks blocks;                                  ///< chunks hold their loaded sector bitmaps
    CFileParameters parameters;
};

/// A prepared chain. Filled once by `Prepare`, only read afterwards; several threads may read it.
template <class TChar>
struct CFileDataCircuit {
    CFileData<TChar> base;
    std::vector<CFileData<TChar>> differencing;  ///< newest first
    /// The base disk's fully present blocks: file position in MiB → (chunk index, block number in
    /// the chunk).
    std::map<std::uint64_t, std::pair<std::uint64_t, std::uint64_t>> baseBlocksByOffset;
};

/// Where one sector lies.
template <class TChar>
struct CGetDifferentialResult {
    bool found = false;  ///< a differencing file holds the sector; else the base does
    std::shared_ptr<std::basic_string<TChar>> path;  ///< that file; empty when not found
    std::uint64_t offset = 0xFFFFFFFFFFFFFFFF;  ///< position in that file; all ones if not found
    std::uint64_t length = 0;  ///< the logical sector size, or less at the end of the request
};

/// Loads the block model of every file of the chain, and the sector bitmaps of the differencing
/// files, into an empty `circuit`. `source` must stay alive until it returns.
///
/// False after a trace line at level 3 when a file's BAT or a sector bitmap cannot be read or two
/// blocks of the base disk claim one place; the circuit is then of no use.
[[nodiscard]] VHDX_PARSER_API bool Prepare(
    CFileDataCircuit<char>& circuit,
    NSnapshotCircuit::CSource<std::shared_ptr<CFileObject<char>>>& source);
[[nodiscard]] VHDX_PARSER_API bool Prepare(
    CFileDataCircuit<wchar_t>& circuit,
    NSnapshotCircuit::CSource<std::shared_ptr<CFileObject<wchar_t>>>& source);

/// Appends one record for each logical sector of [`offset`, `offset` + `length`), a range of the
/// base disk's file (not of the virtual disk). Appends nothing when `offset` lies in no fully
/// present block of the base disk. The range is not clipped at the end of the block.
VHDX_PARSER_API void GetDifferential(std::vector<CGetDifferentialResult<char>>& results,
                                     const std::uint64_t& offset, std::uint64_t length,
                                     const CFileDataCircuit<char>& circuit);
VHDX_PARSER_API void GetDifferential(std::vector<CGetDifferentialResult<wchar_t>>& results,
                                     const std::uint64_t& offset, std::uint64_t length,
                                     const CFileDataCircuit<wchar_t>& circuit);

/// Calls `callback` for each run of sectors that a differencing file holds, chunk by chunk, newest
/// file first: place in the base file (all ones where the base has no data), file, position in that
/// file, length. A sector that does not continue the open run is counted into it and ends it
/// (deliberately). The callback returns false to stop; then the result is false, else true. An
/// empty callback ends in `std::bad_function_call` at the first run.
[[nodiscard]] VHDX_PARSER_API bool EnumerateDifferences(
    const CFileDataCircuit<char>& circuit,
    std::function<bool(std::uint64_t baseOffset, std::shared_ptr<std::string>& path,
                       std::uint64_t offset, std::uint64_t length)>
        callback);
[[nodiscard]] VHDX_PARSER_API bool EnumerateDifferences(
    const CFileDataCircuit<wchar_t>& circuit,
    std::function<bool(std::uint64_t baseOffset, std::shared_ptr<std::wstring>& path,
                       std::uint64_t offset, std::uint64_t length)>
        callback);

}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX

#endif
