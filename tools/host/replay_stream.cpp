#include "host/replay_stream.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <vhdx_parser/byte_stream.h>

#include "host/path_query.h"

namespace NVHDXHost {

namespace {

namespace fs = std::filesystem;

std::string NotOpened(const std::error_code& error) {
    return "the file cannot be opened" + (error ? ": " + error.message() : "");
}

}  // namespace

std::string WhyNoFile(const fs::path& path) {
    std::error_code error;
    switch (KindOf(path, error)) {
        case fs::file_type::regular:
        case fs::file_type::block:
            return {};
        case fs::file_type::not_found:
            return "there is no such file";
        case fs::file_type::directory:
            return "this is a folder, not a disk file";
        case fs::file_type::none:
            return NotOpened(error);
        default:
            return "this is not a file with a size, but a pipe, socket or device";
    }
}

CReplayStreamBuffer::CReplayStreamBuffer(std::basic_streambuf<unsigned char>& file,
                                         std::uint64_t fileSize,
                                         std::shared_ptr<const CLogOverlay> overlay)
    : m_file(file),
      m_fileSize(fileSize),
      m_overlay(std::move(overlay)),
      m_size(std::max(fileSize, m_overlay->FileSize())) {}

CReplayStreamBuffer::pos_type CReplayStreamBuffer::seekoff(off_type offset,
                                                           std::ios_base::seekdir direction,
                                                           std::ios_base::openmode which) {
    off_type start = 0;
    if (direction == std::ios_base::cur) {
        start = static_cast<off_type>(m_position);
    } else if (direction == std::ios_base::end) {
        start = static_cast<off_type>(m_size);
    }
    if (offset > 0 && offset > static_cast<off_type>(LargestPosition) - start) {
        return pos_type(off_type(-1));
    }
    return seekpos(pos_type(start + offset), which);
}

/// Positions past the end can be reached, as in a file; only reading there comes up short.
CReplayStreamBuffer::pos_type CReplayStreamBuffer::seekpos(pos_type position,
                                                           std::ios_base::openmode which) {
    if ((which & std::ios_base::in) == 0 || off_type(position) < 0) {
        return pos_type(off_type(-1));
    }
    m_position = static_cast<std::uint64_t>(off_type(position));
    return position;
}

std::streamsize CReplayStreamBuffer::xsgetn(char_type* bytes, std::streamsize count) {
    return count <= 0
               ? 0
               : static_cast<std::streamsize>(Read(bytes, static_cast<std::uint64_t>(count)));
}

CReplayStreamBuffer::int_type CReplayStreamBuffer::underflow() {
    const int_type byte = uflow();
    if (!traits_type::eq_int_type(byte, traits_type::eof())) {
        --m_position;
    }
    return byte;
}

CReplayStreamBuffer::int_type CReplayStreamBuffer::uflow() {
    unsigned char byte = 0;
    return Read(&byte, 1) == 1 ? traits_type::to_int_type(byte) : traits_type::eof();
}

std::uint64_t CReplayStreamBuffer::Read(unsigned char* bytes, std::uint64_t count) {
    const std::uint64_t available = m_position < m_size ? m_size - m_position : 0;
    const std::uint64_t wanted = std::min(count, available);
    std::uint64_t done = 0;
    while (done < wanted) {
        const std::uint64_t got = ReadRun(bytes + done, wanted - done);
        if (got == 0) {
            break;
        }
        done += got;
        m_position += got;
    }
    return done;
}

/// Reads up to where the source of the bytes changes.
std::uint64_t CReplayStreamBuffer::ReadRun(unsigned char* bytes, std::uint64_t count) {
    const auto run = m_overlay->RunFrom(m_position);
    if (!run || run->begin > m_position) {
        return ReadFile(bytes, run ? std::min(count, run->begin - m_position) : count);
    }
    const std::uint64_t length = std::min(count, run->end - m_position);
    if (run->bytes == nullptr) {
        std::fill_n(bytes, length, static_cast<unsigned char>(0));
    } else {
        std::copy_n(run->bytes, length, bytes);
    }
    return length;
}

/// Behind the end of the file come the zeros that the replay extends it with.
std::uint64_t CReplayStreamBuffer::ReadFile(unsigned char* bytes, std::uint64_t count) {
    if (m_position >= m_fileSize) {
        std::fill_n(bytes, count, static_cast<unsigned char>(0));
        return count;
    }
    // A seek throws the file buffer's content away, so there is none where it stands right already.
    if (m_filePosition != m_position) {
        const pos_type position(static_cast<off_type>(m_position));
        if (m_file.pubseekpos(position, std::ios_base::in) != position) {
            m_filePosition.reset();
            return 0;
        }
    }
    const auto wanted = static_cast<std::streamsize>(std::min(count, m_fileSize - m_position));
    const auto got = static_cast<std::uint64_t>(m_file.sgetn(bytes, wanted));
    m_filePosition = m_position + got;
    return got;
}

CReplayStream::CReplayStream(const std::filesystem::path& path, EMode mode) : CByteStream(nullptr) {
    if (!OpenFile(path) || mode == asItStands) {
        return;
    }
    m_overlay = ReplayLog(*this, m_result);
    clear();
    seekg(0);
    if (m_result.status == CReplayResult::unreadable) {
        setstate(std::ios_base::failbit);
    }
    ShowOverlay();
}

CReplayStream::CReplayStream(const std::filesystem::path& path,
                             std::shared_ptr<const CLogOverlay> overlay)
    : CByteStream(nullptr), m_overlay(std::move(overlay)) {
    if (OpenFile(path)) {
        ShowOverlay();
    }
}

std::uint64_t CReplayStream::Size() const {
    return m_buffer ? m_buffer->Size() : m_fileSize;
}

bool CReplayStream::OpenFile(const std::filesystem::path& path) {
    m_openError = WhyNoFile(path);
    if (m_openError.empty()) {
        NByteStream::Imbue(m_file);
        errno = 0;
        m_file.open(path, std::ios_base::in | std::ios_base::binary);
        if (!m_file.is_open()) {
            m_openError = NotOpened(std::error_code(errno, std::generic_category()));
        }
    }
    if (!m_file.is_open()) {
        setstate(std::ios_base::failbit);
        return false;
    }
    rdbuf(m_file.rdbuf());
    m_fileSize = SizeOf(*this);
    seekg(0);
    return true;
}

void CReplayStream::ShowOverlay() {
    if (m_overlay) {
        m_buffer = std::make_unique<CReplayStreamBuffer>(*m_file.rdbuf(), m_fileSize, m_overlay);
        rdbuf(m_buffer.get());
    }
}

}  // namespace NVHDXHost
