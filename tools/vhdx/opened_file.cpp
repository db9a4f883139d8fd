#include "tools/vhdx/opened_file.h"

#include <fmt/format.h>

#include "tools/vhdx/command_line.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/saved_model.h"

namespace NTool {

using NVHDXDisk::CBlockTable;

COpenedFile::COpenedFile(const CFileOptions& options)
    : m_file(options.file),
      m_savedModel(options.model),
      m_live(options.live),
      m_trace(options.traceLevel) {
    NVHDXDisk::CFailure failure;
    m_stream = std::make_unique<NVHDXDisk::CReplayedStream>(PathOf(m_file), options.log, failure);
    if (!*m_stream || !NVHDXDisk::OpenContainer(m_accessor, *m_stream, failure)) {
        throw FailureOf(failure);
    }
    PrintReplay(m_file, m_stream->Log().entries);
    if (const auto& lost = m_stream->LostHeader(); lost.kind != NVHDXDisk::CFailure::none) {
        PrintNote(fmt::format("warning: \"{}\": {}", m_file, lost.reason));
    }
}

CGeometry COpenedFile::Geometry() {
    CGeometry geometry;
    NVHDXDisk::CFailure failure;
    if (!NVHDXDisk::ReadGeometry(m_accessor, *m_stream, PathOf(m_file), geometry, failure)) {
        throw FailureOf(failure);
    }
    return geometry;
}

CModel COpenedFile::LoadModel() {
    const CGeometry geometry = Geometry();
    CModel model;
    if (!m_savedModel.empty()) {
        model = ReadModel(m_savedModel, geometry, Identity());
        model.params.bDifferencing = geometry.hasParent;  // a saved model does not bring it back
        return model;
    }
    const CTraceWriter::CPause pause(m_trace);
    if (!m_accessor.LoadBlocks(model.blocks, model.params, *m_stream)) {
        m_stream->clear();
        (void)TableInFile(CBlockTable::runsNotWanted);  // which tells why
        throw Failure("the block allocation table cannot be loaded");
    }
    return model;
}

CModel COpenedFile::LoadModel(std::uint64_t offset, std::uint64_t length) {
    if (IsLoadedWhole()) {
        return LoadModel();
    }
    const auto table = TableInFile(CBlockTable::runsNotWanted);
    CModel model{{}, table->Parameters()};
    CheckRange(offset, length, model.params.virtdisksz);
    NVHDXDisk::CFailure failure;
    if (!table->LoadBlocks(model.blocks, offset, length, failure)) {
        throw FailureOf(failure);
    }
    return model;
}

std::shared_ptr<const CBlockTable> COpenedFile::Table(CBlockTable::ERuns runs) {
    if (!IsLoadedWhole()) {
        return TableInFile(runs);
    }
    CModel model = LoadModel();
    return CBlockTable::Of(std::make_shared<const NVHDX::CBlocks>(std::move(model.blocks)),
                           model.params);
}

std::shared_ptr<const CBlockTable> COpenedFile::TableInFile(CBlockTable::ERuns runs) {
    NVHDXDisk::CFailure failure;
    auto table = CBlockTable::Open(m_stream->Replayed(), Geometry(), runs, failure);
    if (table == nullptr) {
        throw FailureOf(failure);
    }
    return table;
}

void COpenedFile::ReadBitmap(const CModel& model, std::uint32_t chunk,
                             NVHDX::CSectorBitmapArea& area) {
    if (!NVHDX::RequestSectorBitmapData(*m_stream, model.blocks, chunk, area, true)) {
        throw Failure("the sector bitmap cannot be read");
    }
}

std::vector<std::pair<std::int64_t, std::uint64_t>> COpenedFile::RealOffsets(
    const CModel& model, std::uint64_t offset, std::uint64_t count) const {
    const CTraceWriter::CPause pause(m_trace);
    return NVHDX::RequestPayloadRealOffsets(model.blocks, offset, count, model.params);
}

CCommandFailure COpenedFile::Failure(std::string_view otherwise) const {
    const NVHDXDisk::CFailure refusal = m_stream->Refusal();
    return refusal.kind == NVHDXDisk::CFailure::none ? CCommandFailure(m_trace.FailureOr(otherwise))
                                                     : FailureOf(refusal);
}

void COpenedFile::CheckUnchanged() const {
    NVHDXDisk::CFailure failure;
    if (!m_stream->CheckUnchanged(failure)) {
        TellChange(failure, m_live);
    }
}

void CheckRange(std::uint64_t offset, std::uint64_t length, std::uint64_t virtualSize) {
    if (offset > virtualSize || length > virtualSize - offset) {
        throw CCommandFailure(fmt::format(
            "the range of {} bytes from {} ends past the end of the disk, which has {} bytes",
            length, offset, virtualSize));
    }
}

}  // namespace NTool
