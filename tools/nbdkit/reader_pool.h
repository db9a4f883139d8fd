#ifndef VHDX_TOOLS_NBDKIT_READER_POOL_H
#define VHDX_TOOLS_NBDKIT_READER_POOL_H

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include <vhdx_disk/reader.h>

namespace NPlugin {

/// The readers of a disk that all its connections share: a reader works on one request at a time
/// and may keep 17 MiB, so there are few of them however many clients come. A request takes one,
/// waiting while all are in use, and gives it back before its client is sent a byte; no client can
/// keep one. Any number of threads.
class CReaderPool {
public:
    explicit CReaderPool(std::shared_ptr<const NVHDXDisk::CDisk> disk);
    CReaderPool(const CReaderPool&) = delete;
    CReaderPool& operator=(const CReaderPool&) = delete;

    /// A reader for one request.
    class CLease {
    public:
        explicit CLease(CReaderPool& pool) : m_pool(pool), m_reader(pool.Take()) {}
        ~CLease() { m_pool.GiveBack(std::move(m_reader)); }
        CLease(const CLease&) = delete;
        CLease& operator=(const CLease&) = delete;

        NVHDXDisk::CReader* operator->() const { return m_reader.get(); }

    private:
        CReaderPool& m_pool;
        std::unique_ptr<NVHDXDisk::CReader> m_reader;
    };

    [[nodiscard]] const NVHDXDisk::CDisk& Disk() const { return *m_disk; }

private:
    static constexpr std::size_t s_most = 4;

    std::unique_ptr<NVHDXDisk::CReader> Take();
    void GiveBack(std::unique_ptr<NVHDXDisk::CReader> reader);

    std::shared_ptr<const NVHDXDisk::CDisk> m_disk;
    std::mutex m_mutex;
    std::condition_variable m_returned;
    std::size_t m_count = 0;
    std::vector<std::unique_ptr<NVHDXDisk::CReader>> m_idle;
};

}  // namespace NPlugin

#endif
