#ifndef VHDX_DISK_SOURCE_SOURCE_BUFFER_H
#define VHDX_DISK_SOURCE_SOURCE_BUFFER_H

#include <array>
#include <cstdint>
#include <istream>
#include <streambuf>

#include <vhdx_disk/source.h>

namespace NVHDXDisk {

/// Shows a source as a stream. What is read goes straight to its destination, but for short reads:
/// those come a few KiB at a time. Read-only; one thread at a time.
class CSourceBuffer : public std::basic_streambuf<unsigned char> {
public:
    explicit CSourceBuffer(CSourcePointer source) : m_source(std::move(source)) {}

    /// Why the source refused bytes, the first time that it did; of kind `none` when it did not. A
    /// stream itself can only say that a read came up short.
    [[nodiscard]] const CFailure& Refusal() const { return m_refusal; }

    /// That of a stream; of kind `none` also where the stream shows no source.
    [[nodiscard]] static CFailure RefusalOf(const std::basic_istream<unsigned char>& stream);

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;
    std::streamsize xsgetn(char_type* bytes, std::streamsize count) override;
    int_type underflow() override;
    int_type uflow() override;

private:
    std::uint64_t Read(unsigned char* bytes, std::uint64_t count);
    bool ReadHere(unsigned char* bytes, std::uint64_t count);
    bool ReadOrRemember(unsigned char* bytes, std::uint64_t count);
    bool HasPiece(std::uint64_t count) const;

    const CSourcePointer m_source;
    std::uint64_t m_position = 0;
    std::array<unsigned char, 4096> m_piece;
    std::uint64_t m_pieceBegin = 0;
    std::uint64_t m_pieceLength = 0;
    CFailure m_refusal;
};

}  // namespace NVHDXDisk

#endif
