#include "vhdx_disk/log/log_overlay.h"

#include <algorithm>
#include <iterator>

namespace NVHDXDisk {

void CLogOverlay::WritePage(std::uint64_t position, const CLogPage& page) {
    m_pages[position] = std::make_unique<CLogPage>(page);
    ExtendFile(position + page.size());
}

void CLogOverlay::WriteZeros(std::uint64_t position, std::uint64_t length) {
    if (length == 0) {
        return;
    }
    std::uint64_t begin = position;
    std::uint64_t end = position + length;
    ErasePages(begin, end);
    ExtendFile(end);
    auto next = m_zeros.upper_bound(begin);
    if (next != m_zeros.begin() && std::prev(next)->second >= begin) {
        --next;
    }
    while (next != m_zeros.end() && next->first <= end) {
        begin = std::min(begin, next->first);
        end = std::max(end, next->second);
        next = m_zeros.erase(next);
    }
    m_zeros.emplace(begin, end);
}

void CLogOverlay::ExtendFile(std::uint64_t size) {
    m_fileSize = std::max(m_fileSize, size);
}

void CLogOverlay::ErasePages(std::uint64_t begin, std::uint64_t end) {
    m_pages.erase(m_pages.lower_bound(begin), m_pages.lower_bound(end));
}

std::optional<CLogOverlay::CRun> CLogOverlay::RunFrom(std::uint64_t position) const {
    const auto page = m_pages.lower_bound(position - position % LogSectorSize);
    auto zeros = m_zeros.upper_bound(position);
    if (zeros != m_zeros.begin() && std::prev(zeros)->second > position) {
        --zeros;
    }
    const bool hasPage = page != m_pages.end();
    const bool hasZeros = zeros != m_zeros.end();
    if (!hasPage && !hasZeros) {
        return std::nullopt;
    }
    const std::uint64_t pageBegin = hasPage ? std::max(page->first, position) : 0;
    const std::uint64_t zerosBegin = hasZeros ? std::max(zeros->first, position) : 0;
    if (hasPage && (!hasZeros || pageBegin <= zerosBegin)) {
        return CRun{pageBegin, page->first + LogSectorSize,
                    page->second->data() + (pageBegin - page->first)};
    }
    return CRun{zerosBegin, hasPage ? std::min(zeros->second, pageBegin) : zeros->second, nullptr};
}

}  // namespace NVHDXDisk
