#include "vhdx_parser/access/payload_range.h"

#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

void TraceNoPayloadBlock(std::uint64_t payloadBlockIndex) {
    NDebugTrace::Trace(NDebugTrace::levelInformation, "No payblock block with index \"",
                       payloadBlockIndex, "\"");
}

}  // namespace NVHDX
