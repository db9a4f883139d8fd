#include "vhdx_parser/foundation/open_file.h"

#include <filesystem>
#include <optional>
#include <system_error>

#include "vhdx_parser/foundation/path.h"

namespace NFile {
namespace {

namespace fs = std::filesystem;

/// Opening a pipe could wait for ever. Windows has none in folders, and is not asked: its runtime
/// answers no question about the paths of snapshots and devices, which begin with "\\?\".
bool MayBeOpened(const fs::path& path) {
#if defined(_WIN32)
    return !path.empty();
#else
    std::error_code error;
    return fs::is_regular_file(path, error);
#endif
}

bool Open(std::basic_ifstream<unsigned char>& stream, const std::optional<fs::path>& path) {
    if (stream.is_open() || !path || !MayBeOpened(*path)) {
        stream.setstate(std::ios_base::failbit);
        return false;
    }
    stream.open(*path, std::ios_base::in | std::ios_base::binary);
    return stream.is_open();
}

}  // namespace

bool OpenForReading(std::basic_ifstream<unsigned char>& stream, const std::string& path) {
    return Open(stream, NPath::ToNative(path));
}

bool OpenForReading(std::basic_ifstream<unsigned char>& stream, const std::wstring& path) {
    return Open(stream, NPath::ToNative(path));
}

}  // namespace NFile
