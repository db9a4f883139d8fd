#ifndef VHDX_PARSER_CONTAINER_REGION_TABLE_H
#define VHDX_PARSER_CONTAINER_REGION_TABLE_H

#include <istream>
#include <map>

#include <vhdx_parser/accessor.h>

namespace NVHDX {

/// Reads the region table and keeps the BAT and the metadata region; a region that `regions` holds
/// already stays. False unless both are there in the end.
bool ReadRegionTable(std::basic_istream<unsigned char>& stream,
                     std::map<CAccessor::CRegion::EType, CAccessor::CRegion>& regions);

}  // namespace NVHDX

#endif
