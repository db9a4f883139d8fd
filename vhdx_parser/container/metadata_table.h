#ifndef VHDX_PARSER_CONTAINER_METADATA_TABLE_H
#define VHDX_PARSER_CONTAINER_METADATA_TABLE_H

#include <cstdint>
#include <istream>
#include <map>

#include <vhdx_parser/accessor.h>

namespace NVHDX {

/// Reads the metadata table at the start of the metadata region (a file offset in bytes) and keeps
/// where the known items lie; an item that `items` holds already stays.
bool ReadMetadataTable(std::basic_istream<unsigned char>& stream, std::uint64_t regionOffset,
                       std::map<CAccessor::CMetadata::EType, CAccessor::CMetadata>& items);

}  // namespace NVHDX

#endif
