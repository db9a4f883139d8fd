#include "tools/vhdx/disk.h"

#include <fmt/format.h>

#include "host/container_entry.h"

#include "tools/vhdx/command_line.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/saved_model.h"

namespace NTool {

std::uint64_t CModel::BlockCount() const {
    return BlocksOf(params.virtdisksz, params.payloadblksz);
}

CDisk::CDisk(const CDiskOptions& options)
    : m_file(options.file), m_savedModel(options.model), m_trace(options.traceLevel) {
    m_stream = std::make_unique<NVHDXHost::CReplayStream>(PathOf(m_file), options.logMode);
    std::string error;
    if (!NVHDXHost::OpenContainer(m_accessor, *m_stream, error)) {
        throw CFailure(error);
    }
    m_fileSize = m_stream->FileSize();
    PrintReplay(m_file, m_stream->Result().entries);
}

CGeometry CDisk::Geometry() {
    CGeometry geometry;
    std::string error;
    if (!NVHDXHost::ReadGeometry(m_accessor, *m_stream, geometry, error)) {
        throw CFailure(error);
    }
    return geometry;
}

CModel CDisk::LoadModel() {
    const CGeometry geometry = Geometry();
    CModel model;
    if (!m_savedModel.empty()) {
        model = ReadModel(m_savedModel, geometry, Identity());
        model.params.bDifferencing = geometry.hasParent;  // a saved model does not bring it back
        return model;
    }
    const CTraceWriter::CPause pause(m_trace);
    if (!m_accessor.LoadBlocks(model.blocks, model.params, *m_stream)) {
        throw CFailure(NVHDXHost::NoBlockTable);
    }
    return model;
}

NVHDXHost::CDiskLayer CDisk::Layer(const CModel& model) const {
    NVHDXHost::CDiskLayer layer;
    layer.path = PathOf(m_file);
    layer.replay = m_stream->Result();
    layer.overlay = m_stream->Overlay();
    layer.fileSize = m_fileSize;
    layer.parameters = model.params;
    layer.blocks = NVHDXHost::CBlockMap(model.blocks, model.params, m_stream->Size());
    return layer;
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
        throw CFailure(NVHDXHost::NoBlockTable);
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
