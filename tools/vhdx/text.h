#ifndef VHDX_PARSER_TOOLS_VHDX_TEXT_H
#define VHDX_PARSER_TOOLS_VHDX_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

#include <vhdx_disk/path_query.h>
#include <vhdx_parser/block_model.h>
#include <vhdx_parser/metadata.h>

namespace NTool {

using NVHDXDisk::Printable;
using NVHDXDisk::Utf8;

/// "32 MiB", "1.5 GiB", "0 bytes": in the largest unit that leaves at least 1, to one decimal.
std::string InUnits(std::uint64_t bytes);

/// "32 MiB (33554432 bytes)"; the number alone below 1 KiB.
std::string SizeText(std::uint64_t bytes);

std::string GuidText(const _GUID& guid);

/// "NotPresent", "Undefined", ...
std::string_view StateName(NVHDX::CPayloadBlock::EState state);

/// The key of a parent locator entry as the disk file spells it.
std::string_view LocatorKey(NVHDX::NMetadata::CParent::EFormat format);

}  // namespace NTool

#endif
