#ifndef VHDX_PARSER_TESTS_SUPPORT_FILE_CONTENT_H
#define VHDX_PARSER_TESTS_SUPPORT_FILE_CONTENT_H

/// What a file holds, byte by byte; nothing where there is no file.

#include <filesystem>
#include <string>

#include "tests/support/bytes.h"

namespace NTest {

CBytes FileBytes(const std::filesystem::path& file);
std::string FileText(const std::filesystem::path& file);

}  // namespace NTest

#endif
