#include "vhdx_disk/check/locator_check.h"

#include <vector>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/record.h"
#include "vhdx_parser/container/format.h"

namespace NVHDXDisk {

namespace {

using namespace NVHDX::NFormat;

/// Whether a key or a value has bytes, all of them in the item.
bool IsThere(std::uint32_t offset, std::uint16_t length, const CFilePlace& item) {
    return offset != 0 && length != 0 && CFilePlace{{}, offset, length}.IsInside(item.length);
}

bool IsSound(const VHDX_PARENT_LOCATOR_ENTRY& entry, const CFilePlace& item) {
    return IsThere(entry.KeyOffset.Value(), entry.KeyLength.Value(), item) &&
           IsThere(entry.ValueOffset.Value(), entry.ValueLength.Value(), item);
}

void CheckEntries(const IByteSource& source, const CFilePlace& item, std::uint16_t count,
                  const CFindingSink& findings) {
    constexpr std::size_t headerSize = sizeof(VHDX_PARENT_LOCATOR_HEADER);
    constexpr std::size_t entrySize = sizeof(VHDX_PARENT_LOCATOR_ENTRY);
    std::vector<unsigned char> entries(count * entrySize);
    CFailure cause;
    if (item.length < headerSize + entries.size() ||
        !ReadBytes(source, item.begin + headerSize, entries.data(), entries.size(), cause)) {
        if (IsRefused(cause)) {
            return;
        }
        findings.Add(
            EFinding::locatorCount,
            AtOffset(item.begin + offsetof(VHDX_PARENT_LOCATOR_HEADER, KeyValueCount)),
            Sentence("the parent locator claims ", count, " entries, and has no room for them"));
        return;
    }
    for (std::size_t at = 0; at < entries.size(); at += entrySize) {
        if (!IsSound(RecordAt<VHDX_PARENT_LOCATOR_ENTRY>(entries.data() + at), item)) {
            findings.Add(EFinding::locatorEntry, AtOffset(item.begin + headerSize + at),
                         "the key or the value of this entry is empty, or does not lie in the "
                         "parent locator");
        }
    }
}

}  // namespace

void CheckLocatorForm(const IByteSource& source, const CFilePlace& item,
                      const CFindingSink& findings) {
    VHDX_PARENT_LOCATOR_HEADER header;
    CFailure unreadable;
    if (item.length < sizeof header || !ReadRecord(source, item.begin, header, unreadable)) {
        return;  // who reads the locator finds that
    }
    if (header.Reserved.Value() != 0) {
        findings.Add(EFinding::locatorReserved,
                     AtOffset(item.begin + offsetof(VHDX_PARENT_LOCATOR_HEADER, Reserved)),
                     "the reserved field of the parent locator is not 0");
    }
    CheckEntries(source, item, header.KeyValueCount.Value(), findings);
}

}  // namespace NVHDXDisk
