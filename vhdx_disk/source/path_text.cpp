#include <vhdx_disk/path_query.h>

#include "vhdx_parser/foundation/utf16.h"

namespace NVHDXDisk {

bool IsFolder(const std::filesystem::path& path, std::error_code& error) {
    return KindOf(path, error) == std::filesystem::file_type::directory;
}

std::string TextOf(const std::filesystem::path& path) {
#if defined(_WIN32)
    return Utf8(path.native());
#else
    return path.native();
#endif
}

std::string Utf8(std::wstring_view text) {
    return NUtf16::ToUtf8(text);
}

}  // namespace NVHDXDisk
