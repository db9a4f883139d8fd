#include "tests/support/temporary_folder.h"

#include <random>
#include <system_error>

namespace NTest {

CTemporaryFolder::CTemporaryFolder() {
    std::random_device random;
    do {
        m_path = std::filesystem::temp_directory_path() /
                 ("vhdx_parser_test_" + std::to_string(random()) + "_" + std::to_string(random()));
    } while (!std::filesystem::create_directory(m_path));
}

CTemporaryFolder::~CTemporaryFolder() {
    // A file that a test still holds open stays behind on Windows; a destructor must not throw.
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

}  // namespace NTest
