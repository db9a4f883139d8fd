#include "vhdx_disk/read/range_resolver.h"

#include <algorithm>
#include <limits>
#include <string>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/read_bytes.h"
#include "vhdx_disk/table/sector_bits.h"

namespace NVHDXDisk {

namespace {

constexpr std::uint64_t SectorsPerPiece = CBitmapCache::PieceSize * 8;

}  // namespace

CRangeResolver::CRangeResolver(const CDisk& disk)
    : m_disk(disk), m_chain(CDiskParts::Of(disk).chain), m_places(m_chain.size()) {}

bool CRangeResolver::Extents(std::uint64_t offset, std::uint64_t length,
                             const CExtentCallback& callback, CFailure& failure) {
    if (!BeginRange(offset, length, failure)) {
        return false;
    }
    CExtentJoiner extents(callback);
    const std::uint64_t end = offset + length;
    for (std::uint64_t at = offset; at < end;) {
        CExtent extent;
        if (!NextExtent(at, end, extent, failure)) {
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

bool CRangeResolver::BeginRange(std::uint64_t offset, std::uint64_t length, CFailure& failure) {
    std::fill(m_places.begin(), m_places.end(), CPlace{});
    const std::uint64_t size = m_disk.Size();
    return (offset <= size && length <= size - offset) ||
           Fail(failure, CFailure::outOfRange, {},
                "the range reaches past the end of the virtual disk");
}

/// Asks the files from the newest on, until one has an answer. Each keeps its answer for as far as
/// it reaches, so that a long run of an old file does not cost a search in all newer ones.
bool CRangeResolver::NextExtent(std::uint64_t offset, std::uint64_t end, CExtent& extent,
                                CFailure& failure) {
    extent = {offset, end - offset, CExtent::hole, 0, 0, false};
    for (std::size_t file = 0; file < m_places.size(); ++file) {
        CPlace& place = m_places[file];
        if (place.end <= offset && !Locate(file, offset, place, failure)) {
            return false;
        }
        extent.length = std::min(extent.length, place.end - offset);
        if (place.kind == CPlace::pastEnd) {
            return true;
        }
        if (place.kind != CPlace::parent) {
            const bool isData = place.kind == CPlace::data;
            extent.kind = isData ? CExtent::data : CExtent::zeros;
            extent.file = file;
            extent.position = isData ? place.position + (offset - place.begin) : 0;
            return true;
        }
    }
    return true;
}

/// Cuts data where the log's bytes begin and end: those are not in the file.
bool CRangeResolver::AddSplit(CExtentJoiner& extents, CExtent extent) const {
    const CReplayedFile& file = m_chain[extent.file].file;
    if (extent.kind != CExtent::data || file.overlay == nullptr) {
        return extents.Add(extent);
    }
    const std::uint64_t fileSize = file.file->Size();
    while (extent.length != 0) {
        const auto run = file.overlay->RunFrom(extent.position);
        CExtent part = extent;
        part.fromLog = extent.position >= fileSize;
        if (!part.fromLog) {
            part.length = std::min(part.length, fileSize - extent.position);
        }
        if (run && run->begin == extent.position) {
            part.fromLog = true;
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

bool CRangeResolver::Locate(std::size_t file, std::uint64_t offset, CPlace& place,
                            CFailure& failure) {
    const CGeometry& geometry = m_chain[file].geometry;
    if (offset >= geometry.virtualSize) {
        // A child that has grown finds nothing in the files below one that ends here.
        place = {CPlace::pastEnd, offset, std::numeric_limits<std::uint64_t>::max(), 0};
        return true;
    }
    const CIndexRun* const run = m_chain[file].blocks.RunFrom(offset / geometry.blockSize);
    const std::uint64_t begin =
        run == nullptr ? geometry.virtualSize : run->firstBlock * geometry.blockSize;
    if (begin > offset) {
        place = {CPlace::parent, offset, std::min(begin, geometry.virtualSize), 0};
        return true;
    }
    return LocateInRun(file, *run, offset, place, failure);
}

bool CRangeResolver::LocateInRun(std::size_t file, const CIndexRun& run, std::uint64_t offset,
                                 CPlace& place, CFailure& failure) {
    const CGeometry& geometry = m_chain[file].geometry;
    if (!run.isInFile) {
        place = {};
        return Fail(failure, CFailure::damaged, m_disk.Files()[file].path,
                    "block " + std::to_string(offset / geometry.blockSize) +
                        " claims a place that is not in the file");
    }
    const std::uint64_t begin = run.firstBlock * geometry.blockSize;
    const std::uint64_t end = begin + run.count * geometry.blockSize;
    place = {CPlace::zeros, offset, std::min(end, geometry.virtualSize), 0};
    switch (run.state) {
        case NVHDX::CPayloadBlock::FullyPresent:
            place.kind = CPlace::data;
            place.position = run.position + (offset - begin);
            return true;
        case NVHDX::CPayloadBlock::PartiallyPresent:
            place.position = run.position + (offset - begin);
            return LocateSectors(file, offset, place, failure);
        default:  // these read as zeros, also where they own space in the file
            return true;
    }
}

/// Cuts a place among partially present blocks to the run of sectors that the file holds, or does
/// not hold, and that one piece of the sector bitmap tells of.
bool CRangeResolver::LocateSectors(std::size_t file, std::uint64_t offset, CPlace& place,
                                   CFailure& failure) {
    const CChainFile& chainFile = m_chain[file];
    const std::uint64_t sectorSize = chainFile.geometry.logicalSectorSize;
    const std::uint64_t chunk = offset / chainFile.ChunkSize();
    const std::uint64_t sector = offset % chainFile.ChunkSize() / sectorSize;
    const std::uint64_t piece = sector / SectorsPerPiece;
    const auto bitmap = chainFile.blocks.SectorBitmap(chunk);
    CFailure cause;
    const CBitmapCache::CPiece* const bits =
        bitmap ? BitmapPiece(file, *bitmap + piece * CBitmapCache::PieceSize, cause) : nullptr;
    if (bits == nullptr) {
        place = {};
        const std::string reason = "block " +
                                   std::to_string(offset / chainFile.geometry.blockSize) +
                                   " is partially present, and the sector bitmap of chunk " +
                                   std::to_string(chunk) + " cannot be read";
        if (IsRefused(cause)) {
            failure = Because(cause, reason);
            return false;
        }
        return Fail(failure, CFailure::damaged, m_disk.Files()[file].path, reason);
    }
    const std::uint64_t first = sector % SectorsPerPiece;
    const std::uint64_t pieceEnd = EndOfRun(*bits, first, SectorsPerPiece);
    const std::uint64_t start =
        chunk * chainFile.ChunkSize() + piece * SectorsPerPiece * sectorSize;
    place.kind = IsSectorPresent(*bits, first) ? CPlace::data : CPlace::parent;
    place.end = std::min(place.end, start + pieceEnd * sectorSize);
    return true;
}

const CBitmapCache::CPiece* CRangeResolver::BitmapPiece(std::size_t file, std::uint64_t position,
                                                        CFailure& failure) {
    if (const CBitmapCache::CPiece* const known = m_bitmaps.Find(file, position)) {
        return known;
    }
    CBitmapCache::CPiece& piece = m_bitmaps.Add(file, position);
    if (!ReadBytes(*m_chain[file].file.bytes, position, piece.data(), piece.size(), failure)) {
        m_bitmaps.Remove(file, position);
        return nullptr;
    }
    return &piece;
}

}  // namespace NVHDXDisk
