#ifndef VHDX_TOOLS_VHDX_OPENED_FILE_H
#define VHDX_TOOLS_VHDX_OPENED_FILE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <vhdx_disk/block_table.h>
#include <vhdx_disk/replayed_stream.h>
#include <vhdx_parser/vhdx_parser.h>

#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/model_identity.h"
#include "tools/vhdx/trace_writer.h"

namespace NTool {

/// What every command on one disk file is told.
struct CFileOptions {
    std::string file;
    std::optional<std::uint32_t> traceLevel;
    std::string model;  ///< a saved model that takes the place of the BAT; empty: none
    NVHDXDisk::ELog log = NVHDXDisk::ELog::replay;
    bool live = false;  ///< also read what somebody writes meanwhile
};

using NVHDXDisk::CGeometry;

/// Where the blocks of a disk lie, and the geometry that goes with it.
struct CModel {
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters params;
};

/// A disk file opened for reading, with its log replayed in memory. Everything that cannot be had
/// ends in `CCommandFailure` with the reason that the library traced.
class COpenedFile {
public:
    explicit COpenedFile(const CFileOptions& options);

    const std::string& File() const { return m_file; }
    std::uint64_t FileSize() const { return m_stream->File()->Size(); }
    const NVHDXDisk::CSourcePointer& Source() const { return m_stream->File(); }

    /// One metadata item: `file.Item<NVHDX::NMetadata::CVirtualDiskSize>()`.
    template <class TItem>
    TItem Item() {
        TItem item;
        if (!m_accessor.Retrieve(item, *m_stream)) {
            throw Failure("a metadata item cannot be read");
        }
        return item;
    }

    CGeometry Geometry();

    /// Which disk this is, and in which state it is read. Asks for its length and time anew at each
    /// call.
    CDiskIdentity Identity();

    /// Reads the whole block allocation table, or the saved model that takes its place.
    CModel LoadModel();

    /// The same of the chunks that a range of the disk touches, where nobody wants more.
    CModel LoadModel(std::uint64_t offset, std::uint64_t length);

    /// The table for those who look at each block once: it passes by in pieces, unless there is a
    /// saved model in its place, or somebody wants the library's lines about every block, which
    /// come from loading.
    std::shared_ptr<const NVHDXDisk::CBlockTable> Table(NVHDXDisk::CBlockTable::ERuns runs);

    /// Reads the sector bitmap of a chunk that has one.
    void ReadBitmap(const CModel& model, std::uint32_t chunk, NVHDX::CSectorBitmapArea& area);

    /// Keeps the library from composing lines that nobody wants to see.
    CTraceWriter::CPause PauseTrace() const { return CTraceWriter::CPause(m_trace); }

    /// Where a range of the virtual disk lies in the file, one pair for each block.
    std::vector<std::pair<std::int64_t, std::uint64_t>> RealOffsets(const CModel& model,
                                                                    std::uint64_t offset,
                                                                    std::uint64_t count) const;

    /// At the end: refuses what was read when the file changed meanwhile, or says so for a live
    /// one.
    void CheckUnchanged() const;

private:
    CCommandFailure Failure(std::string_view otherwise) const;
    std::string LogState(const NVHDXDisk::CCurrentHeader& header) const;
    std::shared_ptr<const NVHDXDisk::CBlockTable> TableInFile(NVHDXDisk::CBlockTable::ERuns runs);
    bool IsLoadedWhole() const { return !m_savedModel.empty() || m_trace.IsPrinting(); }

    std::string m_file;
    std::string m_savedModel;
    bool m_live;
    CTraceWriter m_trace;
    std::unique_ptr<NVHDXDisk::CReplayedStream> m_stream;
    NVHDX::CAccessor m_accessor;
};

/// Refuses a range that the disk does not have.
void CheckRange(std::uint64_t offset, std::uint64_t length, std::uint64_t virtualSize);

}  // namespace NTool

#endif
