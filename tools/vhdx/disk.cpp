#include "tools/vhdx/disk.h"

#include <cerrno>
#include <limits>
#include <system_error>

#include <fmt/format.h>

#include "host/container_entry.h"

#include "tools/vhdx/command_line.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/saved_model.h"
#include "tools/vhdx/source_file.h"

namespace NTool {

namespace {

constexpr const char* asItStandsHint = " (--no-replay shows the file as it stands)";

/// The library keeps the number of blocks in 32 bits and loads what is left of a larger one, which
/// says nothing about most of the disk.
void CheckBlockCount(std::uint64_t blocks) {
    if (blocks > std::numeric_limits<std::uint32_t>::max()) {
        throw CFailure(
            fmt::format("the disk has {} blocks, more than a table can tell of", blocks));
    }
}

}  // namespace

std::uint64_t CModel::BlockCount() const {
    return BlocksOf(params.virtdisksz, params.payloadblksz);
}

CDisk::CDisk(const CDiskOptions& options)
    : m_file(options.file), m_savedModel(options.model), m_trace(options.traceLevel) {
    CheckIsFile(m_file);
    Open(options.logMode);
    if (NVHDXHost::ClaimsTooManyRegions(*m_stream)) {
        throw CFailure(NVHDXHost::TooManyRegions);
    }
    if (!m_accessor.Entry(*m_stream)) {
        throw Failure("this is not a VHDX container");
    }
    CheckReplay();
}

void CDisk::Open(NVHDXHost::CReplayStream::EMode logMode) {
    errno = 0;
    m_stream = std::make_unique<NVHDXHost::CReplayStream>(PathOf(m_file), logMode);
    if (!m_stream->IsOpen()) {
        throw CFailure(errno == 0 ? "the file cannot be opened"
                                  : std::generic_category().message(errno));
    }
    m_fileSize = m_stream->FileSize();
    if (m_stream->Result().status == NVHDXHost::CReplayResult::unreadable) {
        throw CFailure(m_stream->Result().error + asItStandsHint);
    }
}

/// Only now: what is no container at all should be called so.
void CDisk::CheckReplay() const {
    const NVHDXHost::CReplayResult& result = m_stream->Result();
    if (result.status == NVHDXHost::CReplayResult::noHeader) {
        throw CFailure(result.error + asItStandsHint);
    }
    PrintReplay(m_file, result.entries);
}

CGeometry CDisk::Geometry() {
    const auto parameters = Item<NVHDX::NMetadata::CFileParameters>();
    const auto virtualSize = Item<NVHDX::NMetadata::CVirtualDiskSize>();
    const auto sectorSize = Item<NVHDX::NMetadata::CLogicalSectorSize>();
    const std::uint64_t ratio = ChunkRatio(parameters, sectorSize);
    CheckBlockCount(BlocksOf(virtualSize.size, parameters.blockSize));
    return {parameters.blockSize, sectorSize.sectorSize, virtualSize.size, ratio,
            parameters.hasParent};
}

CModel CDisk::LoadModel() {
    // What loading needs is read here first, while the writer listens for the reason of a failure.
    const CGeometry geometry = Geometry();
    CModel model;
    if (!m_savedModel.empty()) {
        model = ReadModel(m_savedModel, geometry);
        model.params.bDifferencing = geometry.hasParent;  // a saved model does not bring it back
        return model;
    }
    const CTraceWriter::CPause pause(m_trace);
    if (!m_accessor.LoadBlocks(model.blocks, model.params, *m_stream)) {
        throw CFailure(tableFailure);
    }
    return model;
}

void CDisk::PassTable(const NVHDX::CFileParameters& params, const CPassingBuffer::CReport& report) {
    CPassingBuffer buffer(*m_stream->rdbuf(), report);
    std::basic_istream<unsigned char> stream(&buffer);
    stream.exceptions(std::ios_base::badbit);  // what the report throws comes through
    // The library makes room for the whole table, and nothing is stored there: pages that nobody
    // touches cost no memory.
    NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64> untouched;
    const CTraceWriter::CPause pause(m_trace);
    bool passed = false;
    try {
        passed = m_accessor.RequestBATData(stream, untouched, params, true);
    } catch (const std::ios_base::failure&) {
        passed = false;  // the file cannot be read
    }
    if (!passed) {
        throw CFailure(tableFailure);
    }
}

void CDisk::ReadPayload(const CModel& model, std::uint64_t offset, std::uint64_t count,
                        NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64>& buffer) {
    if (!NVHDX::RequestPayloadData(*m_stream, model.blocks, offset, count, model.params, buffer,
                                   true)) {
        throw Failure("the data cannot be read");
    }
}

void CDisk::ReadBitmap(const CModel& model, std::uint32_t chunk, NVHDX::CSectorBitmapArea& area) {
    if (!NVHDX::RequestSectorBitmapData(*m_stream, model.blocks, chunk, area, true)) {
        throw Failure("the sector bitmap cannot be read");
    }
}

std::vector<std::pair<std::int64_t, std::uint64_t>> CDisk::RealOffsets(const CModel& model,
                                                                       std::uint64_t offset,
                                                                       std::uint64_t count) const {
    const CTraceWriter::CPause pause(m_trace);
    return NVHDX::RequestPayloadRealOffsets(model.blocks, offset, count, model.params);
}

CFailure CDisk::Failure(std::string_view otherwise) const {
    return CFailure(m_trace.FailureOr(otherwise));
}

std::uint64_t ChunkRatio(const NVHDX::NMetadata::CFileParameters& parameters,
                         const NVHDX::NMetadata::CLogicalSectorSize& sectorSize) {
    constexpr std::uint64_t sectorsPerChunk = std::uint64_t{1} << 23;
    if (parameters.blockSize == 0) {
        throw CFailure("the block size is 0");
    }
    const auto ratio =
        static_cast<std::uint32_t>(sectorSize.sectorSize * sectorsPerChunk / parameters.blockSize);
    if (ratio == 0) {
        throw CFailure("the block size is larger than a chunk");
    }
    return ratio;
}

std::uint64_t BlocksOf(std::uint64_t virtualSize, std::uint64_t blockSize) {
    return virtualSize / blockSize + (virtualSize % blockSize == 0 ? 0 : 1);
}

void CheckRange(std::uint64_t offset, std::uint64_t length, std::uint64_t virtualSize) {
    if (offset > virtualSize || length > virtualSize - offset) {
        throw CFailure(fmt::format(
            "the range of {} bytes from {} ends past the end of the disk, which has {} bytes",
            length, offset, virtualSize));
    }
}

}  // namespace NTool
