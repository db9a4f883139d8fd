#ifndef VHDX_DISK_CHAIN_FINDING_KINDS_H
#define VHDX_DISK_CHAIN_FINDING_KINDS_H

#include <filesystem>
#include <string>

#include <vhdx_disk/finding.h>

namespace NVHDXDisk {

/// The kinds of findings; finding_kinds.cpp has their words, severities and meanings.
enum class EFinding {
    notADisk,
    folderUnreadable,
    bytesUnreadable,
    notOpened,
    identifierSignature,
    headerSignature,
    headerChecksum,
    headerReserved,
    noValidHeader,
    headersAmbiguous,
    headerVersion,
    logVersion,
    logPending,
    logUnreadable,
    regionTableSignature,
    regionTableChecksum,
    regionTableCount,
    regionTableReserved,
    regionTablesDiffer,
    regionMissing,
    regionUnknown,
    regionDuplicate,
    regionMisaligned,
    regionInHeader,
    regionPastEnd,
    regionOverlap,
    regionReserved,
    metadataSignature,
    metadataCount,
    metadataReserved,
    itemMissing,
    itemUnknown,
    itemDuplicate,
    itemLength,
    itemMisplaced,
    itemOverlap,
    itemFlags,
    itemReserved,
    fileParametersReserved,
    blockSize,
    logicalSectorSize,
    physicalSectorSize,
    virtualSize,
    locatorMissing,
    locatorUnexpected,
    locatorUnreadable,
    locatorReserved,
    locatorCount,
    locatorEntry,
    batTooSmall,
    batUnreadable,
    blockState,
    blockPartialWithoutParent,
    blockPastDisk,
    blockInHeader,
    blockPastEnd,
    blockReserved,
    bitmapState,
    bitmapWithoutParent,
    bitmapMissing,
    bitmapInHeader,
    bitmapPastEnd,
    bitmapReserved,
    blockOverlap,
    fileTooLarge,
    parentLinkageMissing,
    parentMissing,
    parentUnreadable,
    parentChanged,
    parentSectorSize,
    parentOutside,
    severalChildren,
    parentCycle,
    count
};

/// A finding of this kind.
[[nodiscard]] CFinding MakeFinding(const std::filesystem::path& file, const std::string& place,
                                   EFinding kind, const std::string& text);

}  // namespace NVHDXDisk

#endif
