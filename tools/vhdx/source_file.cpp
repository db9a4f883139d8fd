#include "tools/vhdx/source_file.h"

#include <filesystem>
#include <system_error>

#include "tools/vhdx/command_line.h"
#include "tools/vhdx/failure.h"

namespace NTool {

void CheckIsFile(const std::string& file) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(PathOf(file), error);
    switch (status.type()) {
        case std::filesystem::file_type::regular:
        case std::filesystem::file_type::block:
            return;
        case std::filesystem::file_type::not_found:
            throw CFailure("there is no such file");
        case std::filesystem::file_type::directory:
            throw CFailure("this is a folder, not a disk file");
        case std::filesystem::file_type::none:
            throw CFailure(error.message());
        default:
            throw CFailure("this is not a file with a size, but a pipe, socket or device");
    }
}

}  // namespace NTool
