#include "vhdx_parser/container/log_trace.h"

#include <vhdx_parser/guid.h>

#include "vhdx_parser/container/traced_log_entry.h"
#include "vhdx_parser/foundation/positioned_transfer.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

using NDebugTrace::Trace;

namespace {

// The misspelt labels here are the trace's own and stay.
void TraceHeader(const NFormat::VHDX_HEADER& header) {
    Trace(NDebugTrace::levelInformation, "HDR ", "Log id = ", header.LogGuid.Value());
    Trace(NDebugTrace::levelInformation, "HDR ", "Log offset = ", header.LogOffset.Value());
    Trace(NDebugTrace::levelInformation, "HDR ", "Log lenght = ", header.LogLength.Value());
}

void TraceEntry(const NFormat::VHDX_TRACED_LOG_ENTRY_HEADER& entry) {
    Trace(NDebugTrace::levelInformation, "LOG ", "Log id = ", entry.LogGuid.Value());
    Trace(NDebugTrace::levelInformation, "LOG ",
          "Log suquence number = ", entry.SequenceNumber.Value());
    Trace(NDebugTrace::levelInformation, "LOG ", "Entries count = ", entry.EntryLength.Value());
    Trace(NDebugTrace::levelInformation, "LOG ",
          "Descriptor count = ", entry.DescriptorCount.Value());
}

}  // namespace

bool TraceLog(std::basic_istream<unsigned char>& stream, const NFormat::VHDX_HEADER& header) {
    if (IsNull(header.LogGuid.Value())) {
        return true;
    }
    TraceHeader(header);
    const std::uint64_t position = header.LogOffset.Value();
    if (!NStreamPortion::SeekInput(stream, position) ||
        NStreamPortion::IsPastEnd(stream, position)) {
        Trace(NDebugTrace::levelFailure, "LOG ", "bad position");
        return false;
    }
    NFormat::VHDX_TRACED_LOG_ENTRY_HEADER entry;
    if (!NStreamPortion::ReadBlock(stream, &entry, sizeof(entry))) {
        Trace(NDebugTrace::levelFailure, "LOG ENTRY HEADER ", "failed Stream Portion Reading");
        return false;
    }
    TraceEntry(entry);
    return true;
}

}  // namespace NVHDX
