#ifndef VHDX_PARSER_CONTAINER_HEADER_CHOICE_H
#define VHDX_PARSER_CONTAINER_HEADER_CHOICE_H

#include <istream>

#include "vhdx_parser/container/format.h"
#include "vhdx_parser/foundation/stream_portion.h"

namespace NVHDX {

/// Reads both headers and leaves the current one in `header`, an empty container.
bool SelectCurrentHeader(std::basic_istream<unsigned char>& stream,
                         NStreamPortion::CDynamicContainer<NFormat::VHDX_HEADER>& header);

}  // namespace NVHDX

#endif
