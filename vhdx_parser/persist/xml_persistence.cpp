#include <vhdx_parser/xml_persistence.h>

#include "vhdx_parser/persist/block_map_tree.h"
#include "vhdx_parser/persist/xml_file.h"

namespace NVHDX {

void VHDXMetadataSerializable::saveXml(const CBlocks& blocks, const CFileParameters& params) {
    WriteXmlFile(NarrowFileName(m_fileName), WriteBlockMap(blocks, params));
}

void VHDXMetadataSerializable::loadXml(CBlocks& blocks, CFileParameters& params) {
    ReadBlockMap(ReadXmlFile(NarrowFileName(m_fileName)), blocks, params);
}

void VHDXMetadataSerialize(const std::wstring& fileName, const CBlocks& blocks,
                           const CFileParameters& params) {
    VHDXMetadataSerializable(fileName).saveXml(blocks, params);
}

void VHDXMetadataDeserialize(const std::wstring& fileName, CBlocks& blocks,
                             CFileParameters& params) {
    VHDXMetadataSerializable(fileName).loadXml(blocks, params);
}

}  // namespace NVHDX
