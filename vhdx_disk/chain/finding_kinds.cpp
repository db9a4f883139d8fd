#include "vhdx_disk/chain/finding_kinds.h"

#include <cstddef>
#include <iterator>

#include <vhdx_disk/path_query.h>

namespace NVHDXDisk {

namespace {

/// A row names the kind that it is of, so that none can stand in another one's place.
struct CRow {
    EFinding finding;
    CFindingKind kind;
};

constexpr auto error = ESeverity::error;
constexpr auto warning = ESeverity::warning;
constexpr auto note = ESeverity::note;

constexpr CRow Rows[] = {
    {EFinding::notADisk,
     {"not-a-disk", error, "The file cannot be opened or is no VHDX container."}},
    {EFinding::folderUnreadable,
     {"folder-unreadable", error,
      "The folder cannot be read, and nobody knows which disks it holds."}},
    {EFinding::bytesUnreadable,
     {"bytes-unreadable", error, "The system refuses to read bytes of the file."}},
    {EFinding::notOpened,
     {"not-opened", error, "The disk cannot be opened, though no other error was found."}},
    {EFinding::identifierSignature,
     {"identifier-signature", error, "The file does not begin as every disk file does."}},
    {EFinding::headerSignature,
     {"header-signature", warning, "One copy of the header is none; the other one serves."}},
    {EFinding::headerChecksum,
     {"header-checksum", warning,
      "One copy of the header is damaged or half written; the other one serves."}},
    {EFinding::headerReserved,
     {"header-reserved", warning, "Reserved bytes of a header are not 0."}},
    {EFinding::noValidHeader, {"no-valid-header", error, "Neither copy of the header is valid."}},
    {EFinding::headersAmbiguous,
     {"headers-ambiguous", error,
      "Both copies of the header count as much and say different things."}},
    {EFinding::headerVersion,
     {"header-version", error, "The file has a version of the format that nobody knows."}},
    {EFinding::logVersion, {"log-version", error, "The log has a version that nobody knows."}},
    {EFinding::logPending,
     {"log-pending", note,
      "Entries of the log are not in place yet: the disk is in use or was not closed."}},
    {EFinding::logUnreadable,
     {"log-unreadable", error,
      "The log cannot be replayed: what changed last is lost or half written."}},
    {EFinding::regionTableSignature,
     {"region-table-signature", warning, "One copy of the region table is none."}},
    {EFinding::regionTableChecksum,
     {"region-table-checksum", warning, "One copy of the region table is damaged."}},
    {EFinding::regionTableCount,
     {"region-table-count", error, "The region table claims more entries than it has room for."}},
    {EFinding::regionTableReserved,
     {"region-table-reserved", warning, "A reserved field of the region table is not 0."}},
    {EFinding::regionTablesDiffer,
     {"region-tables-differ", error, "The two copies of the region table say different things."}},
    {EFinding::regionMissing,
     {"region-missing", error, "A region that every disk has is not there."}},
    {EFinding::regionUnknown,
     {"region-unknown", error, "A region is required, and nobody knows it."}},
    {EFinding::regionDuplicate,
     {"region-duplicate", error, "A region stands in the region table more than once."}},
    {EFinding::regionMisaligned,
     {"region-misaligned", warning, "A region or the log does not lie on whole MiB."}},
    {EFinding::regionInHeader,
     {"region-in-header", error, "A region or the log lies where the headers are."}},
    {EFinding::regionPastEnd,
     {"region-past-end", error, "A region or the log reaches past the end of the file."}},
    {EFinding::regionOverlap,
     {"region-overlap", error, "Two regions, or one and the log, share bytes."}},
    {EFinding::regionReserved,
     {"region-reserved", warning, "Reserved bits of a region's entry are not 0."}},
    {EFinding::metadataSignature, {"metadata-signature", error, "The metadata table is none."}},
    {EFinding::metadataCount,
     {"metadata-count", error, "The metadata table claims more entries than it has room for."}},
    {EFinding::metadataReserved,
     {"metadata-reserved", warning, "A reserved field of the metadata table is not 0."}},
    {EFinding::itemMissing, {"item-missing", error, "An item that every disk has is not there."}},
    {EFinding::itemUnknown, {"item-unknown", error, "An item is required, and nobody knows it."}},
    {EFinding::itemDuplicate,
     {"item-duplicate", error, "An item stands in the metadata table more than once."}},
    {EFinding::itemLength, {"item-length", error, "An item has not the length that it must have."}},
    {EFinding::itemMisplaced,
     {"item-misplaced", error, "An item does not lie in the metadata region, behind its table."}},
    {EFinding::itemOverlap, {"item-overlap", error, "Two items share bytes."}},
    {EFinding::itemFlags, {"item-flags", warning, "An item has not the flags that it must have."}},
    {EFinding::itemReserved,
     {"item-reserved", warning, "Reserved bits of an item's entry are not 0."}},
    {EFinding::fileParametersReserved,
     {"file-parameters-reserved", warning, "Reserved bits of the file parameters are not 0."}},
    {EFinding::blockSize, {"block-size", error, "No disk can have blocks of this size."}},
    {EFinding::logicalSectorSize,
     {"logical-sector-size", error, "No disk can have sectors of this size."}},
    {EFinding::physicalSectorSize,
     {"physical-sector-size", warning, "No disk can have physical sectors of this size."}},
    {EFinding::virtualSize, {"virtual-size", error, "No disk can have this size."}},
    {EFinding::locatorMissing,
     {"locator-missing", error, "The disk has a parent and nothing that names it."}},
    {EFinding::locatorUnexpected,
     {"locator-unexpected", warning, "The disk names a parent, and says that it has none."}},
    {EFinding::locatorUnreadable,
     {"locator-unreadable", error, "The parent locator cannot be read."}},
    {EFinding::locatorReserved,
     {"locator-reserved", warning, "A reserved field of the parent locator is not 0."}},
    {EFinding::locatorCount,
     {"locator-count", error, "The parent locator claims more entries than it has room for."}},
    {EFinding::locatorEntry,
     {"locator-entry", error, "A key or a value of the parent locator is not there."}},
    {EFinding::batTooSmall,
     {"bat-too-small", error, "The block allocation table has not room for the whole disk."}},
    {EFinding::batUnreadable,
     {"bat-unreadable", error, "The block allocation table cannot be read to its end."}},
    {EFinding::blockState, {"block-state", error, "A block has a state that there is not."}},
    {EFinding::blockPartialWithoutParent,
     {"block-partial-without-parent", error,
      "A block is partially present, and there is no parent for the rest."}},
    {EFinding::blockPastDisk,
     {"block-past-disk", warning, "An entry behind the end of the disk is in use."}},
    {EFinding::blockInHeader,
     {"block-in-header", error, "A block claims the place of the headers."}},
    {EFinding::blockPastEnd,
     {"block-past-end", error, "A block's data lie past the end of the file."}},
    {EFinding::blockReserved,
     {"block-reserved", warning, "Reserved bits of a block's entry are not 0."}},
    {EFinding::bitmapState,
     {"bitmap-state", error, "A sector bitmap has a state that there is not."}},
    {EFinding::bitmapWithoutParent,
     {"bitmap-without-parent", warning, "There is a sector bitmap, and the disk has no parent."}},
    {EFinding::bitmapMissing,
     {"bitmap-missing", error, "A chunk has partially present blocks and no sector bitmap."}},
    {EFinding::bitmapInHeader,
     {"bitmap-in-header", error, "A sector bitmap claims the place of the headers."}},
    {EFinding::bitmapPastEnd,
     {"bitmap-past-end", error, "A sector bitmap lies past the end of the file."}},
    {EFinding::bitmapReserved,
     {"bitmap-reserved", warning, "Reserved bits of a sector bitmap's entry are not 0."}},
    {EFinding::blockOverlap,
     {"block-overlap", error,
      "Two blocks, or a block and something else, claim one place of the file."}},
    {EFinding::fileTooLarge,
     {"file-too-large", warning, "Blocks lie further into the file than was compared."}},
    {EFinding::parentLinkageMissing,
     {"parent-linkage-missing", warning, "The disk keeps nothing to tell its parent by."}},
    {EFinding::parentMissing, {"parent-missing", error, "The parent is not there."}},
    {EFinding::parentUnreadable, {"parent-unreadable", error, "The parent cannot be read."}},
    {EFinding::parentChanged,
     {"parent-changed", error, "The parent was changed or replaced since the disk was made."}},
    {EFinding::parentSectorSize,
     {"parent-sector-size", warning, "The disk and its parent have sectors of different sizes."}},
    {EFinding::parentOutside,
     {"parent-outside", note, "The parent lies outside the folder and is not checked with it."}},
    {EFinding::severalChildren,
     {"several-children", note, "A disk has several children: a tree and no chain."}},
    {EFinding::parentCycle, {"parent-cycle", error, "The parents lead in a circle."}},
};

constexpr bool RowsAreInOrder() {
    for (std::size_t index = 0; index < std::size(Rows); ++index) {
        if (static_cast<std::size_t>(Rows[index].finding) != index) {
            return false;
        }
    }
    return std::size(Rows) == static_cast<std::size_t>(EFinding::count);
}
static_assert(RowsAreInOrder());

}  // namespace

const char* NameOf(ESeverity severity) {
    switch (severity) {
        case ESeverity::error:
            return "error";
        case ESeverity::warning:
            return "warning";
        case ESeverity::note:
            return "note";
    }
    return "unknown";
}

const std::vector<CFindingKind>& FindingKinds() {
    static const auto* const kinds = [] {
        auto* const made = new std::vector<CFindingKind>;
        for (const CRow& row : Rows) {
            made->push_back(row.kind);
        }
        return made;
    }();
    return *kinds;
}

CFinding MakeFinding(const std::filesystem::path& file, const std::string& place, EFinding kind,
                     const std::string& text) {
    const CFindingKind& row = Rows[static_cast<std::size_t>(kind)].kind;
    return {file, Printable(place), row.word, row.severity, Printable(text)};
}

}  // namespace NVHDXDisk
