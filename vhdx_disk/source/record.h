#ifndef VHDX_DISK_SOURCE_RECORD_H
#define VHDX_DISK_SOURCE_RECORD_H

/// Records of the format, which are made of bytes and have neither padding nor alignment.

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "vhdx_disk/source/read_bytes.h"

namespace NVHDXDisk {

/// The record whose bytes these are; there are enough of them.
template <class TRecord>
TRecord RecordAt(const unsigned char* bytes) {
    static_assert(std::is_trivially_copyable_v<TRecord> && alignof(TRecord) == 1);
    TRecord record;
    std::memcpy(&record, bytes, sizeof record);
    return record;
}

/// The bytes of a record.
template <class TRecord>
const unsigned char* BytesOf(const TRecord& record) {
    static_assert(std::is_trivially_copyable_v<TRecord> && alignof(TRecord) == 1);
    return reinterpret_cast<const unsigned char*>(&record);
}

/// False as `ReadBytes`.
template <class TRecord>
[[nodiscard]] bool ReadRecord(const IByteSource& source, std::uint64_t position, TRecord& record,
                              CFailure& failure) {
    static_assert(std::is_trivially_copyable_v<TRecord> && alignof(TRecord) == 1);
    return ReadBytes(source, position, reinterpret_cast<unsigned char*>(&record), sizeof record,
                     failure);
}

}  // namespace NVHDXDisk

#endif
