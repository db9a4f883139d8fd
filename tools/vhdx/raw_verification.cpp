#include "tools/vhdx/raw_verification.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/merged_reader.h"
#include "tools/vhdx/failure.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using NVHDXHost::CExtent;

constexpr std::uint64_t pieceSize = std::uint64_t{1} << 20;

class CVerification {
public:
    CVerification(const std::shared_ptr<const NVHDXHost::CMergedDisk>& disk, const CRawFile& raw,
                  CProgress& progress)
        : m_raw(raw), m_progress(progress), m_extents(disk), m_data(disk) {}

    void CheckSize() const {
        const std::uint64_t size = m_extents.Disk().Size();
        if (m_raw.Size() != size) {
            throw CFailure(m_raw.Name(),
                           fmt::format("the image has {} bytes, the disk {}", m_raw.Size(), size));
        }
    }

    void CheckRange(std::uint64_t offset, std::uint64_t length) {
        const auto check = [this](const CExtent& extent) {
            Check(extent);
            return true;
        };
        if (!m_extents.Extents(offset, length, check)) {
            throw CFailure(Printable(m_extents.Error()));
        }
    }

private:
    void Check(const CExtent& extent) {
        const bool isData = extent.kind == CExtent::data;
        for (std::uint64_t at = extent.offset; at != extent.End();) {
            const CRawFile::CStored stored =
                isData ? CRawFile::CStored{at, extent.End()} : m_raw.NextStored(at, extent.End());
            const std::uint64_t end = std::min(stored.end, stored.begin + pieceSize);
            Compare(stored.begin, end, isData);
            m_progress.Advance(end - at);
            at = end;
        }
    }

    void Compare(std::uint64_t begin, std::uint64_t end, bool isData) {
        const auto length = static_cast<std::size_t>(end - begin);
        m_written.resize(length);
        m_wanted.assign(length, 0);
        m_raw.Read(begin, m_written);
        if (isData && !m_data.Read(begin, m_wanted)) {
            throw CFailure(Printable(m_data.Error()));
        }
        const auto difference = std::mismatch(m_wanted.begin(), m_wanted.end(), m_written.begin());
        if (difference.first != m_wanted.end()) {
            throw CFailure(m_raw.Name(),
                           fmt::format("the image differs from the disk at byte {}",
                                       begin + static_cast<std::uint64_t>(difference.first -
                                                                          m_wanted.begin())));
        }
    }

    const CRawFile& m_raw;
    CProgress& m_progress;
    NVHDXHost::CMergedReader m_extents;
    NVHDXHost::CMergedReader m_data;
    std::vector<unsigned char> m_written;
    std::vector<unsigned char> m_wanted;
};

}  // namespace

void VerifyRaw(const std::shared_ptr<const NVHDXHost::CMergedDisk>& disk, const CRanges& ranges,
               CRawFile& raw, EProgress wanted) {
    CProgress progress(wanted, "verifying ");
    raw.Settle();
    progress.Start(LengthOf(ranges));
    CVerification verification(disk, raw, progress);
    verification.CheckSize();
    for (const auto& [offset, length] : ranges) {
        verification.CheckRange(offset, length);
    }
}

}  // namespace NTool
