#include "tools/vhdx/open_files.h"

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

namespace NTool {

void OpenAsManyFilesAsAllowed() {
#if !defined(_WIN32)
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        (void)setrlimit(RLIMIT_NOFILE, &limit);  // refused, the limit stays as it was
    }
#endif
}

}  // namespace NTool
