#include "tests/support/file_content.h"

#include <fstream>
#include <system_error>

namespace NTest {

namespace {

template <class TContent>
TContent Content(const std::filesystem::path& file) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    TContent content(error ? 0 : static_cast<std::size_t>(size), 0);
    std::ifstream stream(file, std::ios::binary);
    stream.read(reinterpret_cast<char*>(content.data()),
                static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(stream.gcount()));
    return content;
}

}  // namespace

CBytes FileBytes(const std::filesystem::path& file) {
    return Content<CBytes>(file);
}

std::string FileText(const std::filesystem::path& file) {
    return Content<std::string>(file);
}

}  // namespace NTest
