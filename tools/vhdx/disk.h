#ifndef VHDX_PARSER_TOOLS_VHDX_DISK_H
#define VHDX_PARSER_TOOLS_VHDX_DISK_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <vhdx_parser/vhdx_parser.h>

#include "host/current_header.h"
#include "host/disk_geometry.h"
#include "host/disk_layer.h"
#include "host/replay_stream.h"
#include "tools/vhdx/failure.h"
#include "tools/vhdx/model_identity.h"
#include "tools/vhdx/passing_buffer.h"
#include "tools/vhdx/trace_writer.h"

namespace NTool {

/// What every command on one disk file is told.
struct CDiskOptions {
    std::string file;
    std::optional<std::uint32_t> traceLevel;
    std::string model;  ///< a saved model that takes the place of the BAT; empty: none
    NVHDXHost::CReplayStream::EMode logMode = NVHDXHost::CReplayStream::replayLog;
};

using NVHDXHost::CGeometry;

/// Where the blocks of a disk lie, and the geometry that goes with it.
struct CModel {
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters params;

    std::uint64_t BlockCount() const;
};

/// A disk file opened for reading, with its log replayed in memory. Everything that cannot be had
/// ends in `CFailure` with the reason that the library traced.
class CDisk {
public:
    explicit CDisk(const CDiskOptions& options);

    const std::string& File() const { return m_file; }
    std::uint64_t FileSize() const { return m_fileSize; }

    /// One metadata item: `disk.Item<NVHDX::NMetadata::CVirtualDiskSize>()`.
    template <class TItem>
    TItem Item() {
        TItem item;
        if (!m_accessor.Retrieve(item, *m_stream)) {
            throw Failure("a metadata item cannot be read");
        }
        return item;
    }

    CGeometry Geometry();

    /// Which disk this is, and in which state it is read. Asks the file anew at each call.
    CDiskIdentity Identity();

    /// Reads the whole block allocation table, or the saved model that takes its place.
    CModel LoadModel();

    /// The file with these blocks, as a merged disk takes it.
    NVHDXHost::CDiskLayer Layer(const CModel& model) const;

    bool HasSavedModel() const { return !m_savedModel.empty(); }
    /// Whether somebody asked for the library's lines.
    bool IsTraced() const { return m_trace.IsPrinting(); }

    /// Lets the bytes of the block allocation table pass by, all but the last in pieces of
    /// `CPassingBuffer::pieceSize`. Which they are, and whether the table fits its place, is the
    /// library's answer for these parameters.
    void PassTable(const NVHDX::CFileParameters& params, const CPassingBuffer::CReport& report);

    /// The first `count` bytes of `buffer` become the bytes of the virtual disk from `offset` on.
    void ReadPayload(const CModel& model, std::uint64_t offset, std::uint64_t count,
                     NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64>& buffer);

    /// Reads the sector bitmap of a chunk that has one.
    void ReadBitmap(const CModel& model, std::uint32_t chunk, NVHDX::CSectorBitmapArea& area);

    /// Keeps the library from composing lines that nobody wants to see.
    CTraceWriter::CPause PauseTrace() const { return CTraceWriter::CPause(m_trace); }

    /// Where a range of the virtual disk lies in the file, one pair for each block.
    std::vector<std::pair<std::int64_t, std::uint64_t>> RealOffsets(const CModel& model,
                                                                    std::uint64_t offset,
                                                                    std::uint64_t count) const;

private:
    CFailure Failure(std::string_view otherwise) const;
    std::string LogState(const NVHDXHost::CCurrentHeader& header) const;

    std::string m_file;
    std::string m_savedModel;
    CTraceWriter m_trace;
    std::unique_ptr<NVHDXHost::CReplayStream> m_stream;
    NVHDX::CAccessor m_accessor;
    std::uint64_t m_fileSize = 0;
};

/// The number of blocks of `blockSize` bytes that a disk has, the last one perhaps cut short.
std::uint64_t BlocksOf(std::uint64_t virtualSize, std::uint64_t blockSize);

/// Refuses a range that the disk does not have.
void CheckRange(std::uint64_t offset, std::uint64_t length, std::uint64_t virtualSize);

}  // namespace NTool

#endif
