#ifndef VHDX_PARSER_CONTAINER_TRACED_LOG_ENTRY_H
#define VHDX_PARSER_CONTAINER_TRACED_LOG_ENTRY_H

#include <cstddef>

#include "vhdx_parser/foundation/little_endian.h"

namespace NVHDX {
namespace NFormat {

/// The first log entry's header as it is traced. From offset 24 on the layout is wider than the
/// published `VHDX_LOG_ENTRY_HEADER`, deliberately: the values are only shown and never acted upon.
struct VHDX_TRACED_LOG_ENTRY_HEADER {
    CLittleEndian32 Signature;
    CLittleEndian32 Checksum;
    CLittleEndian32 EntryLength;
    CLittleEndian32 Tail;
    CLittleEndian64 SequenceNumber;
    CLittleEndian64 DescriptorCount;
    CLittleEndian32 Reserved;
    CGuidOnDisk LogGuid;
    CLittleEndian64 FlushedFileOffset;
    CLittleEndian64 LastFileOffset;
};
static_assert(sizeof(VHDX_TRACED_LOG_ENTRY_HEADER) == 68);
static_assert(offsetof(VHDX_TRACED_LOG_ENTRY_HEADER, EntryLength) == 8);
static_assert(offsetof(VHDX_TRACED_LOG_ENTRY_HEADER, SequenceNumber) == 16);
static_assert(offsetof(VHDX_TRACED_LOG_ENTRY_HEADER, DescriptorCount) == 24);
static_assert(offsetof(VHDX_TRACED_LOG_ENTRY_HEADER, LogGuid) == 36);

}  // namespace NFormat
}  // namespace NVHDX

#endif
