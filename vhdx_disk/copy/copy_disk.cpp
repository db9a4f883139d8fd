#include <algorithm>
#include <vector>

#include <vhdx_disk/copy.h>
#include <vhdx_disk/reader.h>

#include "vhdx_disk/chain/disk_parts.h"
#include "vhdx_disk/read/extent_reader.h"
#include "vhdx_disk/read/range_resolver.h"
#include "vhdx_disk/source/fail.h"

namespace NVHDXDisk {

namespace {

/// Shorter runs are read together: a call to the system for each would take longer.
constexpr std::uint64_t ShortestCopy = 131072;
/// Shorter runs of zeros are written: file systems make no holes of less.
constexpr std::uint64_t ShortestHole = 4096;
constexpr std::uint64_t PieceSize = 1048576;
/// What the system copies at once: small enough that progress is seen, and that who wants to stop
/// does not have to wait.
constexpr std::uint64_t LargestCopy = 16 * PieceSize;
/// Between pieces of this size the files are looked at again: often enough that nobody waits long
/// in vain, and seldom enough that a chain of many files does not feel it.
constexpr std::uint64_t LongPiece = 256 * PieceSize;
class CCopy {
public:
    CCopy(const CDisk& disk, ITarget& target, const CProgressCallback& progress, CFailure& failure)
        : m_disk(disk),
          m_target(target),
          m_progress(progress),
          m_failure(failure),
          m_resolver(disk),
          m_bytes(disk) {}

    bool Run(std::uint64_t offset, std::uint64_t length) {
        bool complete = true;
        const auto take = [&](const CExtent& extent) {
            complete = Take(extent);
            return complete;
        };
        return m_resolver.Extents(offset, length, take, m_failure) && complete &&
               WriteCollected() && CheckUnchanged() && (m_target.Flush(m_failure) || FailTarget());
    }

private:
    bool Take(const CExtent& extent) {
        const bool isData = extent.kind == CExtent::data;
        if (isData ? extent.fromLog || extent.length < ShortestCopy
                   : extent.length < ShortestHole) {
            return Collect(extent);
        }
        return WriteCollected() && (isData ? Copy(extent) : Zero(extent));
    }

    /// Keeps the extent for the next write, and writes what makes a whole piece.
    bool Collect(CExtent extent) {
        while (m_collected + extent.length >= PieceSize) {
            CExtent first = extent;
            first.length = PieceSize - m_collected;
            Keep(first);
            if (!WriteCollected()) {
                return false;
            }
            extent.offset += first.length;
            extent.position += extent.kind == CExtent::data ? first.length : 0;
            extent.length -= first.length;
        }
        Keep(extent);
        return true;
    }

    void Keep(const CExtent& extent) {
        if (extent.length != 0) {
            m_extents.push_back(extent);
            m_collected += extent.length;
        }
    }

    bool WriteCollected() {
        if (m_extents.empty()) {
            return true;
        }
        const bool written = Write(m_extents, m_collected);
        m_extents.clear();
        m_collected = 0;
        return written;
    }

    bool Write(std::span<const CExtent> extents, std::uint64_t length) {
        m_buffer.resize(PieceSize);
        const std::span<unsigned char> bytes(m_buffer.data(), static_cast<std::size_t>(length));
        return m_bytes.Read(extents, bytes, m_failure) &&
               (m_target.Write(extents.front().offset, bytes.data(), bytes.size(), m_failure) ||
                FailTarget()) &&
               Advance(length);
    }

    /// Offers the bytes to the system, piece by piece, and reads those that it does not take.
    bool Copy(CExtent extent) {
        bool taken = true;
        while (extent.length != 0) {
            CExtent piece = extent;
            piece.length = std::min(extent.length, LargestCopy);
            if (taken && !Offer(piece, taken)) {
                return false;
            }
            if (!taken) {
                piece.length = std::min(piece.length, PieceSize);
                if (!Write({&piece, 1}, piece.length)) {
                    return false;
                }
            }
            extent.offset += piece.length;
            extent.position += piece.length;
            extent.length -= piece.length;
        }
        return true;
    }

    bool Offer(const CExtent& extent, bool& taken) {
        return (m_target.CopyFrom(m_disk.Files()[extent.file], extent.position, extent.offset,
                                  extent.length, taken, m_failure) ||
                FailTarget()) &&
               (!taken || Advance(extent.length));
    }

    bool Zero(const CExtent& extent) {
        return (m_target.Zero(extent.offset, extent.length, m_failure) || FailTarget()) &&
               Advance(extent.length);
    }

    bool Advance(std::uint64_t length) {
        m_done += length;
        if (m_done - m_checked >= LongPiece && !CheckUnchanged()) {
            return false;
        }
        return !m_progress || m_progress(m_done) ||
               Fail(m_failure, CFailure::stopped, {}, "the copy was stopped");
    }

    /// Who reads a file that changes reads two states of it, and finds that out as soon as may be.
    bool CheckUnchanged() {
        m_checked = m_done;
        return CDiskParts::Of(m_disk).live || m_disk.CheckUnchanged(m_failure);
    }

    /// Gives the failure of a target that said nothing a kind and a text.
    bool FailTarget() {
        if (m_failure.kind == CFailure::none) {
            m_failure.kind = CFailure::targetFailed;
        }
        if (m_failure.text.empty()) {
            m_failure =
                MakeFailure(m_failure.kind, m_failure.file, "the target failed", m_failure.error);
        }
        return false;
    }

    const CDisk& m_disk;
    ITarget& m_target;
    const CProgressCallback& m_progress;
    CFailure& m_failure;
    CRangeResolver m_resolver;
    CExtentReader m_bytes;
    std::vector<CExtent> m_extents;  ///< follow one another, and are to be read and written
    std::uint64_t m_collected = 0;   ///< their bytes
    std::uint64_t m_done = 0;
    std::uint64_t m_checked = 0;  ///< how much was done when the files were looked at last
    std::vector<unsigned char> m_buffer;
};

}  // namespace

bool CopyDisk(const std::shared_ptr<const CDisk>& disk, std::uint64_t offset, std::uint64_t length,
              ITarget& target, const CProgressCallback& progress, CFailure& failure) {
    CFailure reason;
    if (CCopy(*disk, target, progress, reason).Run(offset, length)) {
        return true;
    }
    failure = reason;
    return false;
}

}  // namespace NVHDXDisk
