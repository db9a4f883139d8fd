#include <vhdx_disk/path_query.h>

namespace NVHDXDisk {

namespace fs = std::filesystem;

namespace {

/// The standard library also calls it an error that nothing is there.
fs::file_type Told(const fs::file_status& status, std::error_code& error) {
    if (status.type() == fs::file_type::not_found) {
        error.clear();
    }
    return status.type();
}

}  // namespace

fs::file_type KindOf(const fs::path& path, std::error_code& error) {
    const fs::file_status status = fs::status(path, error);
    return Told(status, error);
}

fs::file_type KindOfLink(const fs::path& path, std::error_code& error) {
    const fs::file_status status = fs::symlink_status(path, error);
    return Told(status, error);
}

std::optional<CFileState> StateOf(const fs::path& path, std::error_code& error) {
    if (KindOf(path, error) != fs::file_type::regular) {
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
