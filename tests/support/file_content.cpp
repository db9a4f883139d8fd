#include "tests/support/file_content.h"

#include <fstream>
#include <iterator>

namespace NTest {

namespace {

template <class TContent>
TContent Content(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return TContent(std::istreambuf_iterator<char>(stream), {});
}

}  // namespace

CBytes FileBytes(const std::filesystem::path& file) {
    return Content<CBytes>(file);
}

std::string FileText(const std::filesystem::path& file) {
    return Content<std::string>(file);
}

}  // namespace NTest
