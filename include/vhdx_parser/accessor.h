#ifndef VHDX_PARSER_ACCESSOR_H
#define VHDX_PARSER_ACCESSOR_H

#include <cstdint>
#include <ios>
#include <istream>
#include <map>

#include <vhdx_parser/block_model.h>
#include <vhdx_parser/dynamic_alloc_buffer.h>
#include <vhdx_parser/metadata.h>

namespace NVHDX {

/// One opened VHDX container: where its block allocation table (BAT), its metadata region and its
/// metadata items lie.
///
/// Construct it, call `Entry` once on the disk file's stream, and only when that returned true ask
/// the rest. Failures are reported by false after at most one trace line at level 3; nothing is
/// thrown for a bad file. The accessor keeps no stream: each request is given the stream on which
/// `Entry` succeeded, moves its position, and leaves its state as the last operation set it.
/// An accessor and its stream belong to one thread at a time.
class CAccessor {
public:
    /// A region of the region table that the library knows.
    struct CRegion {
        enum EType : std::int32_t {
            typeUnknown = 1,  ///< any other region; never kept
            typeBAT = 2,      ///< {2DC27766-F623-4200-9D64-115E9BFD4A08}
            typeMetadata = 3  ///< {8B7CA206-4790-4B9A-B8FE-575F050F886E}
        };

        EType type = typeUnknown;
        std::uint64_t offset = 0;  ///< FileOffset: bytes from the start of the file
        std::uint32_t length = 0;  ///< Length: bytes
    };

    /// An item of the metadata table that the library knows.
    struct CMetadata {
        enum EType : std::int32_t {
            typeFileParameters = 2,
            typeVirtualDiskSize = 3,
            typePage83Data = 4,
            typeLogicalSectorSize = 5,
            typePhysicalSectorSize = 6,
            typeParentLocator = 7
        };

        EType type = typeFileParameters;
        std::uint32_t offset = 0;  ///< Offset: bytes from the start of the metadata region
        std::uint32_t length = 0;  ///< Length: bytes
        bool isVirtualDisk = false;
    };

    VHDX_PARSER_API CAccessor();
    CAccessor(const CAccessor&) = default;
    CAccessor(CAccessor&&) = default;
    CAccessor& operator=(const CAccessor&) = default;
    CAccessor& operator=(CAccessor&&) = default;
    VHDX_PARSER_API ~CAccessor();

    /// Forgets every region and metadata item, so that the accessor can open another file.
    VHDX_PARSER_API void Clear();

    /// Opens the container: checks the file type identifier, chooses the current header, traces the
    /// first log entry header when there is a log, and reads the region and the metadata table.
    ///
    /// `stream` stands at the start of the file. Signatures decide; checksums and versions are not
    /// looked at, and the log is neither replayed nor refused. Returns false, after one line at
    /// level 3 that names structure and cause, when the file is not a VHDX container or cannot be
    /// read; records that were stored until then stay, and the accessor must be cleared before it
    /// is used again. Of two entries of one type the first is kept, also across calls without
    /// `Clear`.
    [[nodiscard]] VHDX_PARSER_API bool Entry(std::basic_istream<unsigned char>& stream);

    /// Each `Retrieve` reads one metadata item. False when the item is not in the metadata table or
    /// cannot be read; the record is written only on success.
    [[nodiscard]] VHDX_PARSER_API bool Retrieve(NMetadata::CFileParameters& parameters,
                                                std::basic_istream<unsigned char>& stream) const;
    [[nodiscard]] VHDX_PARSER_API bool Retrieve(NMetadata::CVirtualDiskSize& diskSize,
                                                std::basic_istream<unsigned char>& stream) const;
    [[nodiscard]] VHDX_PARSER_API bool Retrieve(NMetadata::CPage83Data& page83Data,
                                                std::basic_istream<unsigned char>& stream) const;
    [[nodiscard]] VHDX_PARSER_API bool Retrieve(NMetadata::CLogicalSectorSize& sectorSize,
                                                std::basic_istream<unsigned char>& stream) const;
    [[nodiscard]] VHDX_PARSER_API bool Retrieve(NMetadata::CPhysicalSectorSize& sectorSize,
                                                std::basic_istream<unsigned char>& stream) const;

    /// Reads the optional parent locator. True with `parent` untouched when the disk has none.
    /// Of two entries with one key the first is kept, also when `parent` held it before: pass a
    /// fresh record for each disk. After false `parent` may be partly filled.
    [[nodiscard]] VHDX_PARSER_API bool Retrieve(NMetadata::CParent& parent,
                                                std::basic_istream<unsigned char>& stream) const;

    /// Reads the BAT into a block model and the disk's geometry into `params`.
    ///
    /// False, with both arguments unchanged, when a required metadata item cannot be read, the
    /// geometry is impossible, the BAT region is too short or unreadable, or an entry has a state
    /// that its place does not allow. Memory: 16 bytes per entry beyond the table itself, and a
    /// little per chunk.
    [[nodiscard]] VHDX_PARSER_API bool LoadBlocks(CBlocks& blocks, CFileParameters& params,
                                                  std::basic_istream<unsigned char>& stream) const;

    /// The BAT's position in the file, in bytes. The accessor must have been opened by `Entry`; one
    /// that was not answers 0, where no table can lie.
    [[nodiscard]] VHDX_PARSER_API std::int64_t RequestBATOffset() const;

    /// Moves the whole BAT, as it stands on disk, between the file and `buffer`.
    ///
    /// `read` true: fills the first (entry count × 8) bytes of `buffer`, which grows when needed.
    /// `read` false: writes `buffer`, whose size must be exactly that, over the table. The stream
    /// must be an input or output stream to match. False when the table does not fit its region or
    /// the transfer fails; a write that fails may have written a part.
    [[nodiscard]] VHDX_PARSER_API bool RequestBATData(
        std::basic_ios<unsigned char>& stream,
        CDynamicAllocBuffer<unsigned char, std::uint64_t>& buffer, const CFileParameters& params,
        bool read) const;

private:
    const CRegion& GetRegion(CRegion::EType type) const;
    bool MetadataPosition(bool* found, std::basic_istream<unsigned char>& stream,
                          std::streampos& position, CMetadata::EType type) const;
    bool ReadRequiredItem(CMetadata::EType type, const char* tag,
                          std::basic_istream<unsigned char>& stream, void* payload,
                          std::uint64_t size) const;

    std::map<CRegion::EType, CRegion> m_regions;
    std::map<CMetadata::EType, CMetadata> m_metadata;
};

}  // namespace NVHDX

#endif
