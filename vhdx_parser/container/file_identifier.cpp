#include "vhdx_parser/container/file_identifier.h"

#include "vhdx_parser/container/format.h"
#include "vhdx_parser/foundation/positioned_transfer.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

using NDebugTrace::Trace;
using NFormat::VHDX_FILE_IDENTIFIER;

bool CheckFileIdentifier(std::basic_istream<unsigned char>& stream) {
    VHDX_FILE_IDENTIFIER identifier;
    Trace(NDebugTrace::levelInformation, "Reading size: ", std::uint64_t{sizeof(identifier)});
    if (!NStreamPortion::ReadBlock(stream, &identifier, sizeof(identifier))) {
        Trace(NDebugTrace::levelFailure, "Reading ", "failed Stream Portion Reading");
        return false;
    }
    if (identifier.Signature.Value() != VHDX_FILE_IDENTIFIER::ExpectedSignature) {
        // The only texts that are meant for the backup's user.
        Trace(NDebugTrace::levelFailure, "Signature. ",
              "The Hyper-V RCT module supports only *.vhdx disks. ",
              "Please be certain that the *.vhdx disk format was selected and that the disk is not "
              "corrupted.");
        return false;
    }
    return true;
}

}  // namespace NVHDX
