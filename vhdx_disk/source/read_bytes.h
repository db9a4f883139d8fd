#ifndef VHDX_DISK_SOURCE_READ_BYTES_H
#define VHDX_DISK_SOURCE_READ_BYTES_H

/// Reading what the structures of a disk file are made of.

#include <vhdx_disk/source.h>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace NVHDXDisk {

/// What is said of bytes that do not come.
[[nodiscard]] std::string UnreadableText(std::uint64_t position, std::uint64_t count);

/// Fails as a source does that has no such bytes: without a number of the system.
[[nodiscard]] bool FailPastEnd(CFailure& failure, const std::filesystem::path& file,
                               std::uint64_t position, std::uint64_t count);

/// `IByteSource::ReadAt`, whose failure tells by `IsRefused` whether the source has the bytes and
/// does not give them, or has none there. A source of a host may leave its failure empty.
[[nodiscard]] bool ReadBytes(const IByteSource& source, std::uint64_t position,
                             unsigned char* bytes, std::size_t count, CFailure& failure);

}  // namespace NVHDXDisk

#endif
