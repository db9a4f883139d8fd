#ifndef VHDX_HOST_REPLAY_STREAM_H
#define VHDX_HOST_REPLAY_STREAM_H

/// Disk files as they are once their log has been replayed, without a byte written to them.

#include <filesystem>
#include <fstream>
#include <istream>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>

#include "host/log_replay.h"

namespace NVHDXHost {

/// Why this is no file with a size, which a disk file is; empty when it is one. What is none, a
/// pipe for instance, could block who opens it.
[[nodiscard]] std::string WhyNoFile(const std::filesystem::path& path);

/// Shows the bytes of a file with an overlay on top. Reads where nothing is overlaid go straight
/// from the file's buffer to the destination. Read-only; one thread at a time.
class CReplayStreamBuffer : public std::basic_streambuf<unsigned char> {
public:
    /// `file` is the buffer of the open file; it must outlive this one and is moved by it alone.
    CReplayStreamBuffer(std::basic_streambuf<unsigned char>& file, std::uint64_t fileSize,
                        std::shared_ptr<const CLogOverlay> overlay);

    /// The size that the replay gives the file, in bytes.
    [[nodiscard]] std::uint64_t Size() const { return m_size; }

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;
    std::streamsize xsgetn(char_type* bytes, std::streamsize count) override;
    int_type underflow() override;
    int_type uflow() override;

private:
    std::uint64_t Read(unsigned char* bytes, std::uint64_t count);
    std::uint64_t ReadRun(unsigned char* bytes, std::uint64_t count);
    std::uint64_t ReadFile(unsigned char* bytes, std::uint64_t count);

    std::basic_streambuf<unsigned char>& m_file;
    const std::uint64_t m_fileSize;
    const std::shared_ptr<const CLogOverlay> m_overlay;
    const std::uint64_t m_size;
    std::uint64_t m_position = 0;
    std::optional<std::uint64_t> m_filePosition;  ///< where `m_file` stands, when that is known
};

/// An input stream on a disk file, with its log replayed in memory. Hand it to the library like any
/// other. A file without pending entries is read through the plain file buffer. One thread at a
/// time; several streams may share one overlay.
class CReplayStream : public CByteStream {
public:
    enum EMode { replayLog, asItStands };

    /// Opens a regular file or a disk device. The stream's fail bit is set when the file cannot be
    /// opened or when its log cannot be replayed; `Result` says which. Without a valid header it
    /// stays usable.
    explicit CReplayStream(const std::filesystem::path& path, EMode mode = replayLog);

    /// Opens one more stream on a file whose log was replayed before; null: none was.
    CReplayStream(const std::filesystem::path& path, std::shared_ptr<const CLogOverlay> overlay);

    /// Whether the file itself could be opened.
    [[nodiscard]] bool IsOpen() const { return m_file.is_open(); }
    /// Why it could not; empty when it could.
    [[nodiscard]] const std::string& OpenError() const { return m_openError; }
    [[nodiscard]] const CReplayResult& Result() const { return m_result; }
    /// What was replayed; null when nothing was.
    [[nodiscard]] const std::shared_ptr<const CLogOverlay>& Overlay() const { return m_overlay; }
    /// The size of the file on disk, and the size that it has with the log replayed, in bytes.
    [[nodiscard]] std::uint64_t FileSize() const { return m_fileSize; }
    [[nodiscard]] std::uint64_t Size() const;

private:
    bool OpenFile(const std::filesystem::path& path);
    void ShowOverlay();

    std::basic_ifstream<unsigned char> m_file;
    std::string m_openError;
    std::uint64_t m_fileSize = 0;
    CReplayResult m_result;
    std::shared_ptr<const CLogOverlay> m_overlay;
    std::unique_ptr<CReplayStreamBuffer> m_buffer;
};

}  // namespace NVHDXHost

#endif
