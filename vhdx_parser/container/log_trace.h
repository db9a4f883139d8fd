#ifndef VHDX_PARSER_CONTAINER_LOG_TRACE_H
#define VHDX_PARSER_CONTAINER_LOG_TRACE_H

#include <istream>

#include "vhdx_parser/container/format.h"

namespace NVHDX {

/// Traces where the log lies and what its first entry says, when the header names a log. Nothing
/// else is done with a log: it is neither replayed nor refused. False only when the entry cannot be
/// read.
bool TraceLog(std::basic_istream<unsigned char>& stream, const NFormat::VHDX_HEADER& header);

}  // namespace NVHDX

#endif
