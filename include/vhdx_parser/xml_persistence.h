#ifndef VHDX_PARSER_XML_PERSISTENCE_H
#define VHDX_PARSER_XML_PERSISTENCE_H

/// Saves a block model with its parameters as an XML file, and reads it back, so that a later run
/// need not read the BAT again.
///
/// Failures are the exceptions of Boost.PropertyTree: `xml_parser_error` for a file that cannot be
/// opened or parsed, `ptree_bad_path` for a missing required element, `ptree_bad_data` for a
/// required value that does not convert. Their common base there is `ptree_error`; a host without
/// Boost catches them all as `std::runtime_error`. The name is narrowed with `wcstombs` under the
/// current C locale: it is cut where the conversion needs more bytes than the name has characters,
/// and ends early at a character that the locale cannot convert.

#include <string>
#include <utility>

#include <vhdx_parser/block_model.h>

namespace NVHDX {

class VHDXMetadataSerializable {
public:
    VHDXMetadataSerializable() = default;
    /// From a file's name, also where one stands for the object.
    VHDXMetadataSerializable(std::wstring fileName)  // NOLINT(google-explicit-constructor)
        : m_fileName(std::move(fileName)) {}

    /// Writes the document, replacing the file.
    VHDX_PARSER_API void saveXml(const CBlocks& blocks, const CFileParameters& params);

    /// Reads the document and replaces both arguments; they are unchanged when it throws.
    ///
    /// Not all that was written comes back, deliberately: `bDifferencing` is looked up under the
    /// key "bbDifferencing" and so comes back false, and offsets are read as signed 32-bit numbers,
    /// so that a larger one comes back as 0.
    VHDX_PARSER_API void loadXml(CBlocks& blocks, CFileParameters& params);

private:
    std::wstring m_fileName;
};

/// `saveXml` on a file name.
VHDX_PARSER_API void VHDXMetadataSerialize(const std::wstring& fileName, const CBlocks& blocks,
                                           const CFileParameters& params);

/// `loadXml` on a file name.
VHDX_PARSER_API void VHDXMetadataDeserialize(const std::wstring& fileName, CBlocks& blocks,
                                             CFileParameters& params);

}  // namespace NVHDX

#endif
