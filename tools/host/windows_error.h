#ifndef VHDX_HOST_WINDOWS_ERROR_H
#define VHDX_HOST_WINDOWS_ERROR_H

#include <cerrno>
#include <system_error>

namespace NVHDXHost {

/// The value of `errno` that stands for an error of Windows, as `GetLastError` gives it.
[[nodiscard]] inline int ErrorNumber(unsigned long windowsError) {
    const std::error_code error(static_cast<int>(windowsError), std::system_category());
    const std::error_condition condition = error.default_error_condition();
    return condition.category() == std::generic_category() ? condition.value() : EIO;
}

}  // namespace NVHDXHost

#endif
