#include "host/path_query.h"

namespace NVHDXHost {

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

fs::path Canonical(const fs::path& path) {
    std::error_code error;
    fs::path canonical = fs::canonical(path, error);
    return error ? path : canonical;
}

bool AreSameFile(const fs::path& one, const fs::path& other) {
    std::error_code error;
    return fs::equivalent(one, other, error);
}

}  // namespace NVHDXHost
