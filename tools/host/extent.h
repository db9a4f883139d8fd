#ifndef VHDX_HOST_EXTENT_H
#define VHDX_HOST_EXTENT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

namespace NVHDXHost {

/// A run of the virtual disk that comes from one place.
struct CExtent {
    enum EKind {
        data,   ///< bytes of a file
        zeros,  ///< a file says that these are zeros
        hole    ///< no file of the chain says anything; reads as zeros
    };

    std::uint64_t offset = 0;  ///< on the virtual disk, in bytes
    std::uint64_t length = 0;
    EKind kind = hole;
    std::size_t layer = 0;       ///< data and zeros: the file, 0 for the newest
    std::uint64_t position = 0;  ///< data: of the first byte in the file
    /// data: the bytes are not those of the file on disk, but come from its log, and only a
    /// `CReplayStream` or a `CMergedReader` has them.
    bool overlaid = false;

    [[nodiscard]] std::uint64_t End() const { return offset + length; }
    friend bool operator==(const CExtent&, const CExtent&) = default;
};

/// Returns false to end the enumeration.
using CExtentCallback = std::function<bool(const CExtent&)>;

/// Joins extents that belong together before it hands them on.
class CExtentJoiner {
public:
    explicit CExtentJoiner(const CExtentCallback& callback) : m_callback(callback) {}

    /// Extents come in order and without gaps. False when the callback wants no more.
    bool Add(const CExtent& extent);
    /// Hands on what is left.
    bool Finish();

private:
    const CExtentCallback& m_callback;
    std::optional<CExtent> m_pending;
};

}  // namespace NVHDXHost

#endif
