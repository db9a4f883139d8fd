#ifndef VHDX_DISK_SOURCE_DESCRIPTOR_POOL_H
#define VHDX_DISK_SOURCE_DESCRIPTOR_POOL_H

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>

#include "vhdx_disk/source/system_file.h"

namespace NVHDXDisk {

/// Keeps the files open that were used last, and no more of them than a host can spare. Any number
/// of threads; nothing is held while a file is read.
class CDescriptorPool {
public:
    using COpenPointer = std::shared_ptr<const CSystemFile>;

    /// Where a file's owner keeps it. Belongs to one pool; taken out of it before it goes.
    class CSlot {
        friend class CDescriptorPool;
        COpenPointer m_file;
        std::list<CSlot*>::iterator m_place;
    };

    explicit CDescriptorPool(std::size_t most) : m_most(most) {}

    /// The slot's file, opened by `open` where it is not. Null when `open` gives none.
    [[nodiscard]] COpenPointer Get(CSlot& slot, const std::function<COpenPointer()>& open);

    /// Puts a file into an empty slot.
    void Put(CSlot& slot, COpenPointer file);

    void Remove(CSlot& slot);

    /// How many files the slots keep open.
    [[nodiscard]] std::size_t Count() const;

private:
    void Add(CSlot& slot, COpenPointer file);

    const std::size_t m_most;
    mutable std::mutex m_mutex;
    std::list<CSlot*> m_open;  ///< the one used last comes first
};

}  // namespace NVHDXDisk

#endif
