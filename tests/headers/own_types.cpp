// A host that has types of its own where the headers would bring some: the identifier record, said
// by `GUID_DEFINED`, and `__int64`, said by `VHDX_PARSER_NO_INT64`.

#include <cstdint>

#if !defined(_WIN32)
#define GUID_DEFINED
typedef struct _GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
} GUID;

#define VHDX_PARSER_NO_INT64
typedef std::int64_t __int64;
#endif

#include <vhdx_disk/vhdx_disk.h>
#include <vhdx_parser/vhdx_parser.h>

int main() {
    const __int64 zero = 0;
    const bool isNull = IsNull(GUID{}) && IsNull(NVHDXDisk::CTreeFile().identifier);
    return isNull && NVHDX::CAccessor().RequestBATOffset() == zero ? 0 : 1;
}
