#include "vhdx_disk/source/read_bytes.h"

#include <cerrno>

#include "vhdx_disk/source/fail.h"

namespace NVHDXDisk {

std::string UnreadableText(std::uint64_t position, std::uint64_t count) {
    return std::to_string(count) + " bytes at position " + std::to_string(position) +
           " cannot be read";
}
bool FailPastEnd(CFailure& failure, const std::filesystem::path& file, std::uint64_t position,
                 std::uint64_t count) {
    return Fail(failure, CFailure::cannotBeRead, file, UnreadableText(position, count));
}

bool ReadBytes(const IByteSource& source, std::uint64_t position, unsigned char* bytes,
               std::size_t count, CFailure& failure) {
    const std::uint64_t size = source.Size();
    if (position > size || count > size - position) {
        return FailPastEnd(failure, source.Path(), position, count);
    }
    CFailure cause;
    if (source.ReadAt(position, bytes, count, cause)) {
        return true;
    }
    if (!IsRefused(cause)) {
        return Fail(failure, CFailure::cannotBeRead, source.Path(),
                    cause.reason.empty() ? UnreadableText(position, count) : cause.reason, EIO);
    }
    failure = cause;
    return false;
}

}  // namespace NVHDXDisk
