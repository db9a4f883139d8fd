#include <windows.h>

#include <algorithm>
#include <cstdio>

#include <vhdx_disk/path_query.h>

#include "vhdx_disk/source/free_descriptors.h"
#include "vhdx_disk/source/system_file.h"

namespace NVHDXDisk {

namespace {

HANDLE HandleOf(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

std::uint64_t NumberOf(const FILETIME& time) {
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

}  // namespace

std::shared_ptr<const CSystemFile> CSystemFile::Open(const std::filesystem::path& path,
                                                     int& error) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        error = ErrorNumber(GetLastError());
        return nullptr;
    }
    return std::make_shared<const CSystemFile>(reinterpret_cast<std::intptr_t>(file));
}

CSystemFile::~CSystemFile() {
    CloseHandle(HandleOf(m_handle));
}

bool CSystemFile::State(CState& state, int& error) const {
    LARGE_INTEGER end = {};
    FILETIME modified = {};
    if (GetFileSizeEx(HandleOf(m_handle), &end) == 0 ||
        GetFileTime(HandleOf(m_handle), nullptr, nullptr, &modified) == 0) {
        error = ErrorNumber(GetLastError());
        return false;
    }
    state = {static_cast<std::uint64_t>(end.QuadPart), NumberOf(modified)};
    return true;
}
/// Its clock for files is finer than a write is short.
bool CSystemFile::StateThatShowsWrites(CState& state, int& error) const {
    return State(state, error);
}

bool CSystemFile::Key(CKey& key, int& error) const {
    BY_HANDLE_FILE_INFORMATION information = {};
    if (GetFileInformationByHandle(HandleOf(m_handle), &information) == 0) {
        error = ErrorNumber(GetLastError());
        return false;
    }
    key = {information.dwVolumeSerialNumber,
           std::uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow, 0, 0};
    return true;
}

/// With a position of its own each read is as good as alone.
std::int64_t CSystemFile::ReadSome(std::uint64_t position, unsigned char* bytes, std::size_t count,
                                   int& error) const {
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(position);
    place.OffsetHigh = static_cast<DWORD>(position >> 32);
    DWORD got = 0;
    if (ReadFile(HandleOf(m_handle), bytes, static_cast<DWORD>(count), &got, &place) == 0) {
        const DWORD reason = GetLastError();
        error = reason == ERROR_HANDLE_EOF ? 0 : ErrorNumber(reason);
        return reason == ERROR_HANDLE_EOF ? 0 : -1;
    }
    return got;
}

std::size_t FreeDescriptors(std::size_t most) {
    // Streams of the standard library are files of the C runtime, which has this limit on them and
    // tells nobody how many there are. It begins with the three standard ones.
    constexpr int standard = 3;
    const int limit = _getmaxstdio();
    return limit < standard ? 0 : std::min(most, static_cast<std::size_t>(limit - standard));
}

}  // namespace NVHDXDisk
