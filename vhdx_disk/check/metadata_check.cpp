#include "vhdx_disk/check/metadata_check.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "vhdx_disk/check/locator_check.h"
#include "vhdx_disk/check/metadata_entry.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/record.h"
#include "vhdx_parser/blocks/geometry.h"

namespace NVHDXDisk {

namespace {

using namespace NVHDX::NFormat;
using CMetadata = NVHDX::CAccessor::CMetadata;
using EItem = CMetadata::EType;

class CMetadataChecker {
public:
    CMetadataChecker(const IByteSource& source, const CFilePlace& region,
                     const CFindingSink& findings)
        : m_source(source), m_region(region), m_findings(findings) {}

    std::optional<CGeometry> Check() {
        if (!ReadTable()) {
            return std::nullopt;
        }
        CheckOverlaps();
        for (const CKnownItem& item : KnownItems) {
            if (item.inEveryDisk && !m_items.contains(item.type)) {
                m_findings.Add(
                    EFinding::itemMissing, AtOffset(m_region.begin),
                    Sentence(item.name, " is missing from the metadata: the disk cannot be read"));
            }
        }
        return CheckValues();
    }

private:
    bool ReadTable() {
        VHDX_METADATA_TABLE_HEADER header;
        CFailure cause;
        const bool isRead = ReadRecord(m_source, m_region.begin, header, cause);
        if (IsRefused(cause)) {
            return false;
        }
        if (!isRead || header.Signature.Value() != VHDX_METADATA_TABLE_HEADER::ExpectedSignature) {
            m_findings.Add(EFinding::metadataSignature, AtOffset(m_region.begin),
                           "the metadata table does not begin with \"metadata\": the disk cannot "
                           "be read");
            return false;
        }
        CheckMetadataHeader(header, m_region.begin, m_findings);
        return ReadEntries(header.EntryCount.Value());
    }

    bool ReadEntries(std::uint16_t count) {
        constexpr std::size_t size = sizeof(VHDX_METADATA_TABLE_ENTRY);
        std::vector<unsigned char> entries(count * size);
        const std::uint64_t begin = m_region.begin + sizeof(VHDX_METADATA_TABLE_HEADER);
        CFailure cause;
        if (count > VHDX_METADATA_TABLE_HEADER::MostEntries ||
            !ReadBytes(m_source, begin, entries.data(), entries.size(), cause)) {
            if (IsRefused(cause)) {
                return false;
            }
            m_findings.Add(EFinding::metadataCount, AtOffset(m_region.begin),
                           Sentence("the metadata table claims ", count,
                                    " entries, and has no room for them"));
            return false;
        }
        for (std::size_t at = 0; at < entries.size(); at += size) {
            AddEntry({RecordAt<VHDX_METADATA_TABLE_ENTRY>(entries.data() + at), begin + at});
        }
        return true;
    }

    void AddEntry(const CMetadataEntry& entry) {
        const CFilePlace place = entry.Place();
        CheckMetadataEntry(entry, m_findings);
        if (entry.known == nullptr && entry.IsRequired()) {
            m_findings.Add(EFinding::itemUnknown, Where(place),
                           entry.name +
                               " is unknown and marked as required: programs that do not know "
                               "it must refuse the file");
        }
        if (!CheckPlace(place)) {
            return;
        }
        m_places.push_back(place);
        if (entry.known != nullptr) {
            AddItem(*entry.known, place);
        }
    }

    void AddItem(const CKnownItem& known, const CFilePlace& place) {
        if (known.length != 0 && place.length != known.length) {
            m_findings.Add(
                EFinding::itemLength, Where(place),
                Sentence(known.name, " has ", place.length, " bytes and must have ", known.length));
        }
        if (!m_items.emplace(known.type, place).second) {
            m_findings.Add(EFinding::itemDuplicate, Where(place),
                           Sentence(known.name, " stands in the metadata table more than once"));
        }
    }

    std::string Where(const CFilePlace& place) const {
        return AtOffset(m_region.begin + place.begin);
    }

    /// Places of items count from the start of the region; an item of no bytes has none.
    bool CheckPlace(const CFilePlace& place) const {
        if (place.length == 0 && place.begin == 0) {
            return true;
        }
        if (place.begin < VHDX_METADATA_TABLE_HEADER::TableSize ||
            !place.IsInside(m_region.length)) {
            m_findings.Add(EFinding::itemMisplaced, Where(place),
                           Sentence(place.name, " (", place.length,
                                    " bytes) does not lie between the metadata table and the end "
                                    "of the region"));
            return false;
        }
        return true;
    }

    void CheckOverlaps() {
        std::sort(m_places.begin(), m_places.end(),
                  [](const CFilePlace& left, const CFilePlace& right) {
                      return left.begin < right.begin;
                  });
        for (std::size_t index = 1; index < m_places.size(); ++index) {
            if (m_places[index - 1].Holds(m_places[index].begin) && m_places[index].length != 0) {
                m_findings.Add(
                    EFinding::itemOverlap, Where(m_places[index]),
                    Sentence(m_places[index].name, " overlaps ", m_places[index - 1].name));
            }
        }
    }

    /// The item's record; none when the item is not there, or shorter.
    template <class TRecord>
    std::optional<TRecord> Record(EItem item) {
        const auto found = m_items.find(item);
        TRecord record;
        CFailure cause;
        if (found == m_items.end() || found->second.length < sizeof record ||
            !ReadRecord(m_source, m_region.begin + found->second.begin, record, cause)) {
            m_isRefused = m_isRefused || IsRefused(cause);
            return std::nullopt;
        }
        return record;
    }

    void AddValue(EFinding kind, EItem item, const std::string& text) {
        m_findings.Add(kind, Where(m_items.at(item)), text);
    }

    std::optional<CGeometry> CheckValues() {
        const auto blockSize = CheckBlockSize();
        const auto sectorSize =
            CheckSectorSize(CMetadata::typeLogicalSectorSize, EFinding::logicalSectorSize);
        (void)CheckSectorSize(CMetadata::typePhysicalSectorSize, EFinding::physicalSectorSize);
        const auto size = CheckSize(sectorSize);
        const bool hasParent = CheckParameterFlags();
        CheckLocator(hasParent);
        if (!blockSize || !sectorSize || !size) {
            return std::nullopt;
        }
        const auto sector = static_cast<std::uint16_t>(*sectorSize);
        return CGeometry{*blockSize, sector, *size, NVHDX::ChunkRatio(sector, *blockSize),
                         hasParent};
    }

    /// Whether the disk has a parent.
    bool CheckParameterFlags() {
        constexpr std::uint32_t known =
            VHDX_FILE_PARAMETERS::LeaveBlocksAllocatedBit | VHDX_FILE_PARAMETERS::HasParentBit;
        const auto parameters = Record<VHDX_FILE_PARAMETERS>(CMetadata::typeFileParameters);
        const std::uint32_t flags = parameters ? parameters->Flags.Value() : 0;
        if ((flags & ~known) != 0) {
            m_findings.Add(
                EFinding::fileParametersReserved,
                AtOffset(m_region.begin + m_items.at(CMetadata::typeFileParameters).begin +
                         offsetof(VHDX_FILE_PARAMETERS, Flags)),
                "the reserved bits 2 to 31 of the file parameters' flags are not 0");
        }
        return (flags & VHDX_FILE_PARAMETERS::HasParentBit) != 0;
    }

    std::optional<std::uint32_t> CheckBlockSize() {
        const auto size = Record<CLittleEndian32>(CMetadata::typeFileParameters);
        if (!size) {
            return std::nullopt;
        }
        if (!NVHDX::IsBlockSize(size->Value())) {
            AddValue(EFinding::blockSize, CMetadata::typeFileParameters,
                     Sentence("the block size is ", size->Value(),
                              " bytes, and must be a power of two from 1 MiB to 256 MiB"));
            return std::nullopt;
        }
        return size->Value();
    }

    std::optional<std::uint32_t> CheckSectorSize(EItem item, EFinding kind) {
        const auto record = Record<VHDX_SECTOR_SIZE>(item);
        if (!record) {
            return std::nullopt;
        }
        const std::uint32_t size = record->SectorSize.Value();
        if (!NVHDX::IsSectorSize(size)) {
            AddValue(kind, item,
                     Sentence(ItemOf(item).name, " is ", size, " bytes, and must be 512 or 4096"));
            return std::nullopt;
        }
        return size;
    }

    std::optional<std::uint64_t> CheckSize(std::optional<std::uint32_t> sectorSize) {
        const auto record = Record<VHDX_VIRTUAL_DISK_SIZE>(CMetadata::typeVirtualDiskSize);
        if (!record) {
            return std::nullopt;
        }
        const std::uint64_t size = record->VirtualDiskSize.Value();
        if (!NVHDX::IsDiskSize(size)) {
            AddValue(EFinding::virtualSize, CMetadata::typeVirtualDiskSize,
                     Sentence("the virtual disk has ", size,
                              " bytes, and must have more than 0 and at most 64 TiB"));
            return std::nullopt;
        }
        if (sectorSize && size % *sectorSize != 0) {
            AddValue(EFinding::virtualSize, CMetadata::typeVirtualDiskSize,
                     Sentence("the virtual disk has ", size,
                              " bytes, which is no multiple of its sector size of ", *sectorSize));
        }
        return size;
    }

    void CheckLocator(bool hasParent) {
        const bool isKnown = hasParent || !m_isRefused;
        if (hasParent && !m_items.contains(CMetadata::typeParentLocator)) {
            m_findings.Add(EFinding::locatorMissing, AtOffset(m_region.begin),
                           "the disk has a parent, and no parent locator that names it");
        } else if (isKnown && !hasParent && m_items.contains(CMetadata::typeParentLocator)) {
            AddValue(EFinding::locatorUnexpected, CMetadata::typeParentLocator,
                     "there is a parent locator, and the file parameters say that the disk has no "
                     "parent");
        }
        if (const auto found = m_items.find(CMetadata::typeParentLocator); found != m_items.end()) {
            const CFilePlace& item = found->second;
            CheckLocatorForm(m_source, {item.name, m_region.begin + item.begin, item.length},
                             m_findings);
        }
    }

    const IByteSource& m_source;
    const CFilePlace& m_region;
    const CFindingSink& m_findings;
    std::map<EItem, CFilePlace> m_items;
    bool m_isRefused = false;  ///< values may be other than what was read of them
    std::vector<CFilePlace> m_places;
};

}  // namespace

std::optional<CGeometry> CheckMetadata(const IByteSource& source, const CFilePlace& region,
                                       const CFindingSink& findings) {
    return CMetadataChecker(source, region, findings).Check();
}

}  // namespace NVHDXDisk
