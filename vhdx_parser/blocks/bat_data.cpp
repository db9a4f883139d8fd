#include <optional>

#include <vhdx_parser/accessor.h>

#include "vhdx_parser/blocks/bat_geometry.h"
#include "vhdx_parser/foundation/positioned_transfer.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

std::int64_t CAccessor::RequestBATOffset() const {
    return static_cast<std::int64_t>(GetRegion(CRegion::typeBAT).offset);
}

bool CAccessor::RequestBATData(std::basic_ios<unsigned char>& stream,
                               CDynamicAllocBuffer<unsigned char, unsigned __int64>& buffer,
                               const CFileParameters& params, bool read) const {
    const std::optional<std::uint32_t> size = TableSize(params);
    const CRegion& region = GetRegion(CRegion::typeBAT);
    if (!size || *size > region.length || (!read && *size != buffer.size)) {
        return false;
    }
    NDebugTrace::Trace(NDebugTrace::levelDetail, L"VHDX. Request BAT. ", L"Offset is \"",
                       region.offset, L"\"; Area size is \"", *size, L"\"");
    if (read) {
        if (!NStreamPortion::MayHold(stream, region.offset, *size)) {
            return false;
        }
        buffer.Reserve(*size);
    }
    return NStreamPortion::Transfer(stream, region.offset, buffer.data, *size, read);
}

}  // namespace NVHDX
