#include "vhdx_disk/read/extent_joiner.h"

namespace NVHDXDisk {

namespace {

bool BelongTogether(const CExtent& first, const CExtent& next) {
    if (first.kind != next.kind || first.file != next.file || first.fromLog != next.fromLog) {
        return false;
    }
    return first.kind != CExtent::data || first.position + first.length == next.position;
}

}  // namespace

bool CExtentJoiner::Add(const CExtent& extent) {
    if (m_pending && BelongTogether(*m_pending, extent)) {
        m_pending->length += extent.length;
        return true;
    }
    const bool goOn = Finish();
    m_pending = extent;
    return goOn;
}

bool CExtentJoiner::Finish() {
    if (!m_pending) {
        return true;
    }
    const CExtent extent = *m_pending;
    m_pending.reset();
    return m_callback(extent);
}

}  // namespace NVHDXDisk
