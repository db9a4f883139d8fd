#include "host/merged_reader.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "host/bitmap_run.h"
#include "host/locator_path.h"

namespace NVHDXHost {

namespace {

constexpr std::uint64_t SectorsPerPiece = CBitmapCache::PieceSize * 8;

}  // namespace

CMergedReader::CMergedReader(std::shared_ptr<const CMergedDisk> disk)
    : m_disk(std::move(disk)),
      m_streams(m_disk->Layers().size()),
      m_places(m_disk->Layers().size()) {}

bool CMergedReader::Read(std::uint64_t offset, std::span<unsigned char> bytes) {
    m_gather.Clear();
    const auto take = [&](const CExtent& extent) {
        const auto target = bytes.subspan(static_cast<std::size_t>(extent.offset - offset),
                                          static_cast<std::size_t>(extent.length));
        if (extent.kind == CExtent::data) {
            m_gather.Add(extent.layer, extent.position, target);
        } else {
            std::fill(target.begin(), target.end(), static_cast<unsigned char>(0));
        }
        return true;
    };
    return Extents(offset, bytes.size(), take) &&
           m_gather.Read(
               [this](std::size_t layer, std::uint64_t position, std::span<unsigned char> part) {
                   return ReadLayer(layer, position, part);
               });
}

bool CMergedReader::Extents(std::uint64_t offset, std::uint64_t length,
                            const CExtentCallback& callback) {
    if (!BeginRange(offset, length)) {
        return false;
    }
    CExtentJoiner extents(callback);
    const std::uint64_t end = offset + length;
    for (std::uint64_t at = offset; at < end;) {
        CExtent extent;
        if (!NextExtent(at, end, extent)) {
            return false;
        }
        at = extent.End();
        if (!AddSplit(extents, extent)) {
            return true;
        }
    }
    extents.Finish();
    return true;
}

bool CMergedReader::BeginRange(std::uint64_t offset, std::uint64_t length) {
    m_error.clear();
    std::fill(m_places.begin(), m_places.end(), CPlace{});
    const std::uint64_t size = m_disk->Size();
    return (offset <= size && length <= size - offset) ||
           Fail("the range reaches past the end of the virtual disk");
}

/// Asks the files from the newest on, until one has an answer. Each keeps its answer for as far as
/// it reaches, so that a long run of an old file does not cost a search in all newer ones.
bool CMergedReader::NextExtent(std::uint64_t offset, std::uint64_t end, CExtent& extent) {
    extent = {offset, end - offset, CExtent::hole, 0, 0, false};
    for (std::size_t layer = 0; layer < m_places.size(); ++layer) {
        CPlace& place = m_places[layer];
        if (place.end <= offset && !Locate(layer, offset, place)) {
            return false;
        }
        extent.length = std::min(extent.length, place.end - offset);
        if (place.kind == CPlace::pastEnd) {
            return true;
        }
        if (place.kind != CPlace::parent) {
            const bool isData = place.kind == CPlace::data;
            extent.kind = isData ? CExtent::data : CExtent::zeros;
            extent.layer = layer;
            extent.position = isData ? place.position + (offset - place.begin) : 0;
            return true;
        }
    }
    return true;
}

/// Cuts data where the log's bytes begin and end: those are not in the file.
bool CMergedReader::AddSplit(CExtentJoiner& extents, CExtent extent) const {
    const CDiskLayer& layer = m_disk->Layers()[extent.layer];
    if (extent.kind != CExtent::data || layer.overlay == nullptr) {
        return extents.Add(extent);
    }
    while (extent.length != 0) {
        const auto run = layer.overlay->RunFrom(extent.position);
        CExtent part = extent;
        part.overlaid = extent.position >= layer.fileSize;
        if (!part.overlaid) {
            part.length = std::min(part.length, layer.fileSize - extent.position);
        }
        if (run && run->begin == extent.position) {
            part.overlaid = true;
            part.length = std::min(extent.length, run->end - run->begin);
        } else if (run) {
            part.length = std::min(part.length, run->begin - extent.position);
        }
        if (!extents.Add(part)) {
            return false;
        }
        extent.offset += part.length;
        extent.position += part.length;
        extent.length -= part.length;
    }
    return true;
}

bool CMergedReader::Locate(std::size_t layer, std::uint64_t offset, CPlace& place) {
    const CDiskLayer& file = m_disk->Layers()[layer];
    const std::uint64_t size = file.parameters.virtdisksz;
    const std::uint64_t blockSize = file.parameters.payloadblksz;
    if (offset >= size) {
        // A child that has grown finds nothing in the files below one that ends here.
        place = {CPlace::pastEnd, offset, std::numeric_limits<std::uint64_t>::max(), 0};
        return true;
    }
    const CBlockRun* const run = file.blocks.RunFrom(offset / blockSize);
    if (run == nullptr || run->firstBlock * blockSize > offset) {
        const std::uint64_t end = run == nullptr ? size : run->firstBlock * blockSize;
        place = {CPlace::parent, offset, std::min(end, size), 0};
        return true;
    }
    return LocateInRun(layer, *run, offset, place);
}

bool CMergedReader::LocateInRun(std::size_t layer, const CBlockRun& run, std::uint64_t offset,
                                CPlace& place) {
    const NVHDX::CFileParameters& parameters = m_disk->Layers()[layer].parameters;
    const std::uint64_t blockSize = parameters.payloadblksz;
    const std::uint64_t begin = run.firstBlock * blockSize;
    const std::uint64_t end = std::min(begin + run.count * blockSize, parameters.virtdisksz);
    place = {CPlace::zeros, offset, end, 0};
    switch (run.content) {
        case EBlockContent::undefined:
        case EBlockContent::zero:
        case EBlockContent::unmapped:
            return true;
        case EBlockContent::present:
            place.kind = CPlace::data;
            place.position = run.position + (offset - begin);
            return true;
        case EBlockContent::partial:
            place.position = run.position + (offset - begin);
            return LocateSectors(layer, offset, place);
        case EBlockContent::unreadable:
            break;
    }
    place = {};
    return Fail(layer, "block " + std::to_string(offset / blockSize) +
                           " claims a place that is not in the file");
}

/// Cuts a place among partially present blocks to the run of sectors that the file holds, or does
/// not hold, and that one piece of the sector bitmap tells of.
bool CMergedReader::LocateSectors(std::size_t layer, std::uint64_t offset, CPlace& place) {
    const CDiskLayer& file = m_disk->Layers()[layer];
    const std::uint64_t sectorSize = file.parameters.logsectsz;
    const std::uint64_t chunk = offset / file.ChunkSize();
    const std::uint64_t sector = offset % file.ChunkSize() / sectorSize;
    const std::uint64_t piece = sector / SectorsPerPiece;
    const auto bitmap = file.blocks.SectorBitmap(chunk);
    const CBitmapCache::CPiece* const bits =
        bitmap ? BitmapPiece(layer, *bitmap + piece * CBitmapCache::PieceSize) : nullptr;
    if (bits == nullptr) {
        const std::string block = std::to_string(offset / file.parameters.payloadblksz);
        place = {};
        return Fail(layer, "block " + block + " is partially present, and the sector bitmap of " +
                               "chunk " + std::to_string(chunk) + " cannot be read");
    }
    const std::uint64_t first = sector % SectorsPerPiece;
    const std::uint64_t pieceEnd = EndOfRun(*bits, first, SectorsPerPiece);
    const std::uint64_t start = chunk * file.ChunkSize() + piece * SectorsPerPiece * sectorSize;
    place.kind = IsSectorPresent(*bits, first) ? CPlace::data : CPlace::parent;
    place.end = std::min(place.end, start + pieceEnd * sectorSize);
    return true;
}

const CBitmapCache::CPiece* CMergedReader::BitmapPiece(std::size_t layer, std::uint64_t position) {
    if (const CBitmapCache::CPiece* const known = m_bitmaps.Find(layer, position)) {
        return known;
    }
    CBitmapCache::CPiece& piece = m_bitmaps.Add(layer, position);
    if (!ReadLayer(layer, position, piece)) {
        m_bitmaps.Remove(layer, position);
        return nullptr;
    }
    return &piece;
}

bool CMergedReader::ReadLayer(std::size_t layer, std::uint64_t position,
                              std::span<unsigned char> bytes) {
    const CDiskLayer& file = m_disk->Layers()[layer];
    std::unique_ptr<CReplayStream>& stream = m_streams[layer];
    if (stream == nullptr) {
        stream = std::make_unique<CReplayStream>(file.path, file.overlay);
    }
    if (!stream->IsOpen()) {
        stream.reset();
        return Fail(layer, "the file cannot be opened");
    }
    return ReadAt(*stream, position, bytes) ||
           Fail(layer, std::to_string(bytes.size()) + " bytes at position " +
                           std::to_string(position) + " cannot be read");
}

bool CMergedReader::Fail(const std::string& error) {
    if (m_error.empty()) {
        m_error = error;
    }
    return false;
}

bool CMergedReader::Fail(std::size_t layer, const std::string& error) {
    return Fail(Quoted(m_disk->Layers()[layer].path) + ": " + error);
}

}  // namespace NVHDXHost
