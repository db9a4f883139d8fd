#include "tools/nbdkit/reader_pool.h"

#include <utility>

namespace NPlugin {

CReaderPool::CReaderPool(std::shared_ptr<const NVHDXDisk::CDisk> disk) : m_disk(std::move(disk)) {
    m_idle.reserve(s_most);  // so that giving back cannot fail
}

/// The reader that was used last comes first: it has the most in its caches, and where few requests
/// come at a time there are few readers.
std::unique_ptr<NVHDXDisk::CReader> CReaderPool::Take() {
    std::unique_lock lock(m_mutex);
    m_returned.wait(lock, [this] { return !m_idle.empty() || m_count < s_most; });
    if (m_idle.empty()) {
        auto made = std::make_unique<NVHDXDisk::CReader>(m_disk);
        ++m_count;
        return made;
    }
    auto reader = std::move(m_idle.back());
    m_idle.pop_back();
    return reader;
}

void CReaderPool::GiveBack(std::unique_ptr<NVHDXDisk::CReader> reader) {
    {
        const std::lock_guard lock(m_mutex);
        m_idle.push_back(std::move(reader));
    }
    m_returned.notify_one();
}

}  // namespace NPlugin
