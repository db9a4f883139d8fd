#include <vhdx_disk/path_query.h>

namespace NVHDXDisk {

namespace fs = std::filesystem;

fs::file_type KindOf(const fs::path& path, std::error_code& error) {
    return fs::status(path, error).type();
}

fs::file_type KindOfLink(const fs::path& path, std::error_code& error) {
    return fs::symlink_status(path, error).type();
}

bool IsFolder(const fs::path& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

std::optional<CFileState> StateOf(const fs::path& path) {
    std::error_code error;
    if (!fs::is_regular_file(path, error)) {
        return std::nullopt;
    }
    const std::uintmax_t size = fs::file_size(path, error);
    if (error) {
        return std::nullopt;
    }
    const auto changed = fs::last_write_time(path, error);
    return error ? std::nullopt
                 : std::optional(CFileState{size, changed.time_since_epoch().count()});
}

fs::path Canonical(const fs::path& path) {
    std::error_code error;
    fs::path canonical = fs::canonical(path, error);
    return error ? path : canonical;
}

bool AreSameFile(const fs::path& one, const fs::path& other) {
    std::error_code error;
    return fs::equivalent(one, other, error);
}

}  // namespace NVHDXDisk
