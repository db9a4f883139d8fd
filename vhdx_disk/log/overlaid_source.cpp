#include <algorithm>
#include <string>
#include <utility>

#include "vhdx_disk/log/log_replay.h"
#include "vhdx_disk/source/read_bytes.h"

namespace NVHDXDisk {

namespace {

class COverlaidSource final : public IByteSource {
public:
    COverlaidSource(CSourcePointer file, std::shared_ptr<const CLogOverlay> overlay)
        : m_file(std::move(file)),
          m_overlay(std::move(overlay)),
          m_size(std::max(m_file->Size(), m_overlay->FileSize())) {}

    const std::filesystem::path& Path() const override { return m_file->Path(); }
    std::uint64_t Size() const override { return m_size; }

    bool CheckUnchanged(CFailure& failure) const override {
        return m_file->CheckUnchanged(failure);
    }

    bool ReadAt(std::uint64_t position, unsigned char* bytes, std::size_t count,
                CFailure& failure) const override {
        if (position > m_size || count > m_size - position) {
            return FailPastEnd(failure, Path(), position, count);
        }
        while (count != 0) {
            std::size_t piece = count;
            if (!ReadPiece(position, bytes, piece, failure)) {
                return false;
            }
            position += piece;
            bytes += piece;
            count -= piece;
        }
        return true;
    }

private:
    /// Reads up to where the bytes come from elsewhere, at most `count`, which becomes how many.
    bool ReadPiece(std::uint64_t position, unsigned char* bytes, std::size_t& count,
                   CFailure& failure) const {
        const auto run = m_overlay->RunFrom(position);
        if (run && run->begin == position) {
            CutTo(count, run->end - position);
            run->bytes == nullptr ? std::fill_n(bytes, count, static_cast<unsigned char>(0))
                                  : std::copy_n(run->bytes, count, bytes);
            return true;
        }
        if (run) {
            CutTo(count, run->begin - position);
        }
        return ReadFile(position, bytes, count, failure);
    }

    /// Behind the end of the file come the zeros that the replay extends it with.
    bool ReadFile(std::uint64_t position, unsigned char* bytes, std::size_t& count,
                  CFailure& failure) const {
        if (position >= m_file->Size()) {
            std::fill_n(bytes, count, static_cast<unsigned char>(0));
            return true;
        }
        CutTo(count, m_file->Size() - position);
        return m_file->ReadAt(position, bytes, count, failure);
    }

    static void CutTo(std::size_t& count, std::uint64_t length) {
        count = static_cast<std::size_t>(std::min<std::uint64_t>(count, length));
    }

    const CSourcePointer m_file;
    const std::shared_ptr<const CLogOverlay> m_overlay;
    const std::uint64_t m_size;
};

}  // namespace

CSourcePointer WithOverlay(CSourcePointer file, std::shared_ptr<const CLogOverlay> overlay) {
    return std::make_shared<const COverlaidSource>(std::move(file), std::move(overlay));
}

}  // namespace NVHDXDisk
