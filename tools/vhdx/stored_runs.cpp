#include "tools/vhdx/stored_runs.h"

#include <algorithm>
#include <limits>

#if defined(__linux__)
#include <unistd.h>

#include <cerrno>
#endif

namespace NTool {

namespace {

constexpr std::uint64_t noEnd = std::numeric_limits<std::uint64_t>::max();

}  // namespace

#if defined(__linux__)

CStoredRuns::CKnown CStoredRuns::Look(int file, std::uint64_t begin) {
    const off_t data = lseek(file, static_cast<off_t>(begin), SEEK_DATA);
    if (data < 0) {
        // With ENXIO there is none up to the end of the file.
        return {begin, {errno == ENXIO ? noEnd : begin, noEnd}};
    }
    const off_t hole = lseek(file, data, SEEK_HOLE);
    return {
        begin,
        {static_cast<std::uint64_t>(data), hole < 0 ? noEnd : static_cast<std::uint64_t>(hole)}};
}

#else

CStoredRuns::CKnown CStoredRuns::Look(int, std::uint64_t begin) {
    return {begin, {begin, noEnd}};
}

#endif

CStored CStoredRuns::Next(int file, std::uint64_t begin, std::uint64_t end) {
    if (begin < m_known.begin || begin >= m_known.run.end) {
        m_known = Look(file, begin);
    }
    return {std::clamp(m_known.run.begin, begin, end), std::min(m_known.run.end, end)};
}

}  // namespace NTool
