#include <vhdx_disk/vhdx_disk.h>
#include <vhdx_parser/vhdx_parser.h>

#if defined(_MSVC_LANG)
constexpr long languageVersion = _MSVC_LANG;
#else
constexpr long languageVersion = __cplusplus;
#endif

static_assert(languageVersion / 100 == 2000 + EXPECTED_STANDARD,
              "the headers are compiled as the standard that the test is named for");

int main() {
    const bool hasName = NVHDXDisk::NameOf(NVHDXDisk::ESeverity::error) != nullptr;
    return IsNull(_GUID{}) && hasName ? 0 : 1;
}
