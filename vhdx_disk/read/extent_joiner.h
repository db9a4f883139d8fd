#ifndef VHDX_DISK_READ_EXTENT_JOINER_H
#define VHDX_DISK_READ_EXTENT_JOINER_H

#include <optional>

#include <vhdx_disk/reader.h>

namespace NVHDXDisk {

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

}  // namespace NVHDXDisk

#endif
