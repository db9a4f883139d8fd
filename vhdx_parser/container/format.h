#ifndef VHDX_PARSER_CONTAINER_FORMAT_H
#define VHDX_PARSER_CONTAINER_FORMAT_H

/// The records of a VHDX file, byte for byte, with the published field names.
///
/// Every field is made of bytes: the records have no padding and no alignment, and numbers are put
/// together as they are read, whatever the host's byte order.

#include <cstddef>
#include <cstdint>

#include "vhdx_parser/foundation/little_endian.h"

namespace NVHDX {
namespace NFormat {

/// The bytes at the start of the file that hold the identifier, the headers and the region tables.
/// No region and no block lies there.
inline constexpr std::uint64_t HeaderAreaSize = 1048576;

/// Start of the file. The file type identifier goes on with zeros, which nobody reads.
struct VHDX_FILE_IDENTIFIER {
    static constexpr std::uint64_t ExpectedSignature = 0x656C696678646876;  // "vhdxfile"

    CLittleEndian64 Signature;
    unsigned char Creator[512];
};
static_assert(sizeof(VHDX_FILE_IDENTIFIER) == 520);
static_assert(offsetof(VHDX_FILE_IDENTIFIER, Signature) == 0);
static_assert(offsetof(VHDX_FILE_IDENTIFIER, Creator) == 8);

/// Two copies, at 64 KiB and 128 KiB; the valid one with the larger SequenceNumber is current.
struct VHDX_HEADER {
    static constexpr std::uint32_t ExpectedSignature = 0x64616568;  // "head"
    static constexpr std::uint64_t FirstPosition = 65536;
    static constexpr std::uint64_t SecondPosition = 131072;
    static constexpr std::uint16_t KnownVersion = 1;
    static constexpr std::uint16_t KnownLogVersion = 0;

    CLittleEndian32 Signature;
    CLittleEndian32 Checksum;
    CLittleEndian64 SequenceNumber;
    CGuidOnDisk FileWriteGuid;
    CGuidOnDisk DataWriteGuid;
    CGuidOnDisk LogGuid;
    CLittleEndian16 LogVersion;
    CLittleEndian16 Version;
    CLittleEndian32 LogLength;
    CLittleEndian64 LogOffset;
    unsigned char Reserved[4016];
};
static_assert(sizeof(VHDX_HEADER) == 4096);
static_assert(offsetof(VHDX_HEADER, Signature) == 0);
static_assert(offsetof(VHDX_HEADER, Checksum) == 4);
static_assert(offsetof(VHDX_HEADER, SequenceNumber) == 8);
static_assert(offsetof(VHDX_HEADER, FileWriteGuid) == 16);
static_assert(offsetof(VHDX_HEADER, DataWriteGuid) == 32);
static_assert(offsetof(VHDX_HEADER, LogGuid) == 48);
static_assert(offsetof(VHDX_HEADER, LogVersion) == 64);
static_assert(offsetof(VHDX_HEADER, Version) == 66);
static_assert(offsetof(VHDX_HEADER, LogLength) == 68);
static_assert(offsetof(VHDX_HEADER, LogOffset) == 72);
static_assert(offsetof(VHDX_HEADER, Reserved) == 80);

/// Two copies, at 192 KiB and 256 KiB. The entries follow directly.
struct VHDX_REGION_TABLE_HEADER {
    static constexpr std::uint32_t ExpectedSignature = 0x69676572;  // "regi"
    static constexpr std::uint64_t FirstPosition = 196608;
    static constexpr std::uint64_t SecondPosition = 262144;
    static constexpr std::uint32_t TableSize = 65536;   ///< bytes of a copy, its checksum's extent
    static constexpr std::uint32_t MostEntries = 2047;  ///< that a copy has room for

    CLittleEndian32 Signature;
    CLittleEndian32 Checksum;
    CLittleEndian32 EntryCount;
    CLittleEndian32 Reserved;
};
static_assert(sizeof(VHDX_REGION_TABLE_HEADER) == 16);
static_assert(offsetof(VHDX_REGION_TABLE_HEADER, Signature) == 0);
static_assert(offsetof(VHDX_REGION_TABLE_HEADER, Checksum) == 4);
static_assert(offsetof(VHDX_REGION_TABLE_HEADER, EntryCount) == 8);
static_assert(offsetof(VHDX_REGION_TABLE_HEADER, Reserved) == 12);

struct VHDX_REGION_TABLE_ENTRY {
    static constexpr std::uint32_t RequiredBit = 1;

    CGuidOnDisk Guid;
    CLittleEndian64 FileOffset;
    CLittleEndian32 Length;
    CLittleEndian32 Required;
};
static_assert(sizeof(VHDX_REGION_TABLE_ENTRY) == 32);
static_assert(offsetof(VHDX_REGION_TABLE_ENTRY, Guid) == 0);
static_assert(offsetof(VHDX_REGION_TABLE_ENTRY, FileOffset) == 16);
static_assert(offsetof(VHDX_REGION_TABLE_ENTRY, Length) == 24);
static_assert(offsetof(VHDX_REGION_TABLE_ENTRY, Required) == 28);
static_assert(sizeof(VHDX_REGION_TABLE_HEADER) +
                  VHDX_REGION_TABLE_HEADER::MostEntries * sizeof(VHDX_REGION_TABLE_ENTRY) <=
              VHDX_REGION_TABLE_HEADER::TableSize);

/// Start of a log entry. As many descriptors as it counts follow directly, then, from the next
/// multiple of the sector size on, a data sector for each data descriptor among them.
struct VHDX_LOG_ENTRY_HEADER {
    static constexpr std::uint32_t ExpectedSignature = 0x65676F6C;  // "loge"
    /// The unit of the log: entries begin and end at multiples of it.
    static constexpr std::uint32_t SectorSize = 4096;

    CLittleEndian32 Signature;
    CLittleEndian32 Checksum;
    CLittleEndian32 EntryLength;
    CLittleEndian32 Tail;
    CLittleEndian64 SequenceNumber;
    CLittleEndian32 DescriptorCount;
    CLittleEndian32 Reserved;
    CGuidOnDisk LogGuid;
    CLittleEndian64 FlushedFileOffset;
    CLittleEndian64 LastFileOffset;
};
static_assert(sizeof(VHDX_LOG_ENTRY_HEADER) == 64);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, Signature) == 0);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, Checksum) == 4);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, EntryLength) == 8);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, Tail) == 12);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, SequenceNumber) == 16);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, DescriptorCount) == 24);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, Reserved) == 28);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, LogGuid) == 32);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, FlushedFileOffset) == 48);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, LastFileOffset) == 56);

/// A range of the file that becomes zeros.
struct VHDX_LOG_ZERO_DESCRIPTOR {
    static constexpr std::uint32_t ExpectedSignature = 0x6F72657A;  // "zero"

    CLittleEndian32 ZeroSignature;
    CLittleEndian32 Reserved;
    CLittleEndian64 ZeroLength;
    CLittleEndian64 FileOffset;
    CLittleEndian64 SequenceNumber;
};
static_assert(sizeof(VHDX_LOG_ZERO_DESCRIPTOR) == 32);
static_assert(offsetof(VHDX_LOG_ZERO_DESCRIPTOR, ZeroSignature) == 0);
static_assert(offsetof(VHDX_LOG_ZERO_DESCRIPTOR, Reserved) == 4);
static_assert(offsetof(VHDX_LOG_ZERO_DESCRIPTOR, ZeroLength) == 8);
static_assert(offsetof(VHDX_LOG_ZERO_DESCRIPTOR, FileOffset) == 16);
static_assert(offsetof(VHDX_LOG_ZERO_DESCRIPTOR, SequenceNumber) == 24);

/// A sector of the file that is written anew, with the first and the last of its bytes: those for
/// which the data sector has no room.
struct VHDX_LOG_DATA_DESCRIPTOR {
    static constexpr std::uint32_t ExpectedSignature = 0x63736564;  // "desc"

    CLittleEndian32 DataSignature;
    CLittleEndian32 TrailingBytes;
    CLittleEndian64 LeadingBytes;
    CLittleEndian64 FileOffset;
    CLittleEndian64 SequenceNumber;
};
static_assert(sizeof(VHDX_LOG_DATA_DESCRIPTOR) == 32);
static_assert(offsetof(VHDX_LOG_DATA_DESCRIPTOR, DataSignature) == 0);
static_assert(offsetof(VHDX_LOG_DATA_DESCRIPTOR, TrailingBytes) == 4);
static_assert(offsetof(VHDX_LOG_DATA_DESCRIPTOR, LeadingBytes) == 8);
static_assert(offsetof(VHDX_LOG_DATA_DESCRIPTOR, FileOffset) == 16);
static_assert(offsetof(VHDX_LOG_DATA_DESCRIPTOR, SequenceNumber) == 24);

/// The bytes of one sector, between the halves of the sequence number that show a torn write.
struct VHDX_LOG_DATA_SECTOR {
    static constexpr std::uint32_t ExpectedSignature = 0x61746164;  // "data"

    CLittleEndian32 DataSignature;
    CLittleEndian32 SequenceHigh;
    unsigned char Data[4084];
    CLittleEndian32 SequenceLow;
};
static_assert(sizeof(VHDX_LOG_DATA_SECTOR) == VHDX_LOG_ENTRY_HEADER::SectorSize);
static_assert(offsetof(VHDX_LOG_DATA_SECTOR, DataSignature) == 0);
static_assert(offsetof(VHDX_LOG_DATA_SECTOR, SequenceHigh) == 4);
static_assert(offsetof(VHDX_LOG_DATA_SECTOR, Data) == 8);
static_assert(offsetof(VHDX_LOG_DATA_SECTOR, SequenceLow) == 4092);
static_assert(sizeof(VHDX_LOG_DATA_DESCRIPTOR::LeadingBytes) + sizeof(VHDX_LOG_DATA_SECTOR::Data) +
                  sizeof(VHDX_LOG_DATA_DESCRIPTOR::TrailingBytes) ==
              VHDX_LOG_ENTRY_HEADER::SectorSize);

/// Start of the metadata region. The entries follow directly.
struct VHDX_METADATA_TABLE_HEADER {
    static constexpr std::uint64_t ExpectedSignature = 0x617461646174656D;  // "metadata"
    static constexpr std::uint32_t TableSize = 65536;   ///< bytes; the items lie behind them
    static constexpr std::uint32_t MostEntries = 2047;  ///< that the table has room for

    CLittleEndian64 Signature;
    CLittleEndian16 Reserved;
    CLittleEndian16 EntryCount;
    unsigned char Reserved2[20];
};
static_assert(sizeof(VHDX_METADATA_TABLE_HEADER) == 32);
static_assert(offsetof(VHDX_METADATA_TABLE_HEADER, Signature) == 0);
static_assert(offsetof(VHDX_METADATA_TABLE_HEADER, Reserved) == 8);
static_assert(offsetof(VHDX_METADATA_TABLE_HEADER, EntryCount) == 10);
static_assert(offsetof(VHDX_METADATA_TABLE_HEADER, Reserved2) == 12);

struct VHDX_METADATA_TABLE_ENTRY {
    static constexpr std::uint32_t IsUserBit = 1;
    static constexpr std::uint32_t IsVirtualDiskBit = 2;
    static constexpr std::uint32_t IsRequiredBit = 4;

    CGuidOnDisk ItemId;
    CLittleEndian32 Offset;
    CLittleEndian32 Length;
    CLittleEndian32 Flags;
    CLittleEndian32 Reserved;
};
static_assert(sizeof(VHDX_METADATA_TABLE_ENTRY) == 32);
static_assert(offsetof(VHDX_METADATA_TABLE_ENTRY, ItemId) == 0);
static_assert(offsetof(VHDX_METADATA_TABLE_ENTRY, Offset) == 16);
static_assert(offsetof(VHDX_METADATA_TABLE_ENTRY, Length) == 20);
static_assert(offsetof(VHDX_METADATA_TABLE_ENTRY, Flags) == 24);
static_assert(offsetof(VHDX_METADATA_TABLE_ENTRY, Reserved) == 28);
static_assert(sizeof(VHDX_METADATA_TABLE_HEADER) +
                  VHDX_METADATA_TABLE_HEADER::MostEntries * sizeof(VHDX_METADATA_TABLE_ENTRY) <=
              VHDX_METADATA_TABLE_HEADER::TableSize);

struct VHDX_FILE_PARAMETERS {
    static constexpr std::uint32_t LeaveBlocksAllocatedBit = 1;
    static constexpr std::uint32_t HasParentBit = 2;

    CLittleEndian32 BlockSize;
    CLittleEndian32 Flags;
};
static_assert(sizeof(VHDX_FILE_PARAMETERS) == 8);
static_assert(offsetof(VHDX_FILE_PARAMETERS, BlockSize) == 0);
static_assert(offsetof(VHDX_FILE_PARAMETERS, Flags) == 4);

struct VHDX_VIRTUAL_DISK_SIZE {
    CLittleEndian64 VirtualDiskSize;
};
static_assert(sizeof(VHDX_VIRTUAL_DISK_SIZE) == 8);

struct VHDX_PAGE83_DATA {
    CGuidOnDisk Page83Data;
};
static_assert(sizeof(VHDX_PAGE83_DATA) == 16);

/// The logical and the physical sector size item.
struct VHDX_SECTOR_SIZE {
    CLittleEndian32 SectorSize;
};
static_assert(sizeof(VHDX_SECTOR_SIZE) == 4);

/// Start of the parent locator item. The entries follow directly.
struct VHDX_PARENT_LOCATOR_HEADER {
    CGuidOnDisk LocatorType;
    CLittleEndian16 Reserved;
    CLittleEndian16 KeyValueCount;
};
static_assert(sizeof(VHDX_PARENT_LOCATOR_HEADER) == 20);
static_assert(offsetof(VHDX_PARENT_LOCATOR_HEADER, LocatorType) == 0);
static_assert(offsetof(VHDX_PARENT_LOCATOR_HEADER, Reserved) == 16);
static_assert(offsetof(VHDX_PARENT_LOCATOR_HEADER, KeyValueCount) == 18);

/// Offsets are relative to the start of the item, lengths in bytes of UTF-16LE text.
struct VHDX_PARENT_LOCATOR_ENTRY {
    CLittleEndian32 KeyOffset;
    CLittleEndian32 ValueOffset;
    CLittleEndian16 KeyLength;
    CLittleEndian16 ValueLength;
};
static_assert(sizeof(VHDX_PARENT_LOCATOR_ENTRY) == 12);
static_assert(offsetof(VHDX_PARENT_LOCATOR_ENTRY, KeyOffset) == 0);
static_assert(offsetof(VHDX_PARENT_LOCATOR_ENTRY, ValueOffset) == 4);
static_assert(offsetof(VHDX_PARENT_LOCATOR_ENTRY, KeyLength) == 8);
static_assert(offsetof(VHDX_PARENT_LOCATOR_ENTRY, ValueLength) == 10);

}  // namespace NFormat
}  // namespace NVHDX

#endif
