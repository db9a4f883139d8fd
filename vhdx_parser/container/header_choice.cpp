#include "vhdx_parser/container/header_choice.h"

#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

using NDebugTrace::Trace;
using NFormat::VHDX_HEADER;
using CHeaderContainer = NStreamPortion::CDynamicContainer<VHDX_HEADER>;

namespace {

bool IsHeader(const CHeaderContainer& candidate) {
    const std::uint32_t signature = candidate.data->Signature.Value();
    // Written for good signatures too; the label misleads deliberately.
    Trace(NDebugTrace::levelInformation, "HDR ", "Bad Signature = ", signature);
    return signature == VHDX_HEADER::ExpectedSignature;
}

/// On equal numbers the header at the first position stays.
bool IsNewer(const CHeaderContainer& candidate, const CHeaderContainer& actual) {
    const std::uint64_t candidateNumber = candidate.data->SequenceNumber.Value();
    const std::uint64_t actualNumber = actual.data->SequenceNumber.Value();
    Trace(NDebugTrace::levelInformation, "HDR ",
          "SequenceNumber of iteration hdr = ", candidateNumber);
    Trace(NDebugTrace::levelInformation, "HDR ", "SequenceNumber of actual hdr = ", actualNumber);
    return candidateNumber > actualNumber;
}

}  // namespace

bool SelectCurrentHeader(std::basic_istream<unsigned char>& stream, CHeaderContainer& header) {
    const auto step = NStreamPortion::SelectActual<VHDX_HEADER>(header, IsHeader, IsNewer);
    if (!NStreamPortion::IteratePositions<VHDX_HEADER>(
            {VHDX_HEADER::FirstPosition, VHDX_HEADER::SecondPosition}, stream, step)) {
        Trace(NDebugTrace::levelFailure, "HDR ", "item not selected");
        return false;
    }
    if (header.data == nullptr) {
        Trace(NDebugTrace::levelFailure, "HDR ", "hdr not actual");
        return false;
    }
    return true;
}

}  // namespace NVHDX
