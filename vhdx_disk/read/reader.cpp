#include <vhdx_disk/reader.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "vhdx_disk/read/extent_reader.h"
#include "vhdx_disk/read/range_resolver.h"
#include "vhdx_disk/source/fail.h"

namespace NVHDXDisk {

namespace {

/// The bytes of the older disk behind the end of a newer file.
struct CCutOff {
    std::uint64_t begin;
    std::uint64_t end;
};

CCutOff CutOffOf(const CDisk& disk, std::size_t since) {
    CCutOff cut{disk.Files()[since].virtualSize, 0};
    cut.end = cut.begin;
    for (std::size_t file = 0; file < since; ++file) {
        cut.begin = std::min(cut.begin, disk.Files()[file].virtualSize);
    }
    return cut;
}

/// The part of an extent that is a change; none when it has no such part.
std::optional<CExtent> ChangeIn(CExtent extent, std::size_t since, const CCutOff& cut) {
    if (extent.kind != CExtent::hole) {
        return extent.file < since ? std::optional(extent) : std::nullopt;
    }
    const std::uint64_t end = std::min(extent.End(), cut.end);
    extent.offset = std::max(extent.offset, cut.begin);
    if (extent.offset >= end) {
        return std::nullopt;
    }
    extent.length = end - extent.offset;
    return extent;
}

}  // namespace

class CReaderParts {
public:
    explicit CReaderParts(std::shared_ptr<const CDisk> read)
        : disk(std::move(read)), resolver(*disk), bytes(*disk) {}

    const std::shared_ptr<const CDisk> disk;
    CRangeResolver resolver;
    CExtentReader bytes;
    std::vector<CExtent> extents;
};

CReader::CReader(std::shared_ptr<const CDisk> disk)
    : m_parts(std::make_unique<CReaderParts>(std::move(disk))) {}

CReader::~CReader() = default;

const CDisk& CReader::Disk() const {
    return *m_parts->disk;
}

bool CReader::Read(std::uint64_t offset, unsigned char* bytes, std::size_t count,
                   CFailure& failure) {
    m_parts->extents.clear();
    const auto take = [this](const CExtent& extent) {
        m_parts->extents.push_back(extent);
        return true;
    };
    return Extents(offset, count, take, failure) &&
           m_parts->bytes.Read(m_parts->extents, {bytes, count}, failure);
}

bool CReader::Extents(std::uint64_t offset, std::uint64_t length, const CExtentCallback& callback,
                      CFailure& failure) {
    return m_parts->resolver.Extents(offset, length, callback, failure);
}

bool CReader::Changes(std::size_t sinceFile, std::uint64_t offset, std::uint64_t length,
                      const CExtentCallback& callback, CFailure& failure) {
    if (sinceFile >= Disk().Files().size()) {
        return Fail(failure, CFailure::outOfRange, {}, "the disk has no such file");
    }
    const CCutOff cut = CutOffOf(Disk(), sinceFile);
    const auto report = [&](const CExtent& extent) {
        const auto change = ChangeIn(extent, sinceFile, cut);
        return !change || callback(*change);
    };
    return Extents(offset, length, report, failure);
}

}  // namespace NVHDXDisk
