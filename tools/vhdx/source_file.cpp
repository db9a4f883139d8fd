#include "tools/vhdx/source_file.h"

#include "host/replay_stream.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/failure.h"

namespace NTool {

void CheckIsFile(const std::string& file) {
    if (const std::string reason = NVHDXHost::WhyNoFile(PathOf(file)); !reason.empty()) {
        throw CFailure(reason);
    }
}

}  // namespace NTool
