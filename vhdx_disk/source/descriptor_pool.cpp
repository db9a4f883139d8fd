#include "vhdx_disk/source/descriptor_pool.h"

#include <utility>

namespace NVHDXDisk {

CDescriptorPool::COpenPointer CDescriptorPool::Get(CSlot& slot,
                                                   const std::function<COpenPointer()>& open) {
    const std::lock_guard lock(m_mutex);
    if (slot.m_file != nullptr) {
        m_open.splice(m_open.begin(), m_open, slot.m_place);
    } else if (COpenPointer file = open()) {
        Add(slot, std::move(file));
    }
    return slot.m_file;
}

void CDescriptorPool::Put(CSlot& slot, COpenPointer file) {
    const std::lock_guard lock(m_mutex);
    Add(slot, std::move(file));
}

/// Whoever reads the file that has to go keeps it open until that is done.
void CDescriptorPool::Add(CSlot& slot, COpenPointer file) {
    m_open.push_front(&slot);
    slot.m_place = m_open.begin();
    slot.m_file = std::move(file);
    if (m_open.size() > m_most) {
        m_open.back()->m_file.reset();
        m_open.pop_back();
    }
}

void CDescriptorPool::Remove(CSlot& slot) {
    const std::lock_guard lock(m_mutex);
    if (slot.m_file != nullptr) {
        m_open.erase(slot.m_place);
        slot.m_file.reset();
    }
}

std::size_t CDescriptorPool::Count() const {
    const std::lock_guard lock(m_mutex);
    return m_open.size();
}

}  // namespace NVHDXDisk
