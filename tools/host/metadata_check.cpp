#include "host/metadata_check.h"

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <string>
#include <vector>

#include "host/little_endian.h"
#include "host/locator_check.h"
#include "host/metadata_entry.h"

namespace NVHDXHost {

namespace {

constexpr std::uint64_t TableSignature = 0x617461646174656D;  // "metadata"
constexpr std::uint64_t ItemsBegin = 65536;
constexpr std::uint16_t MostEntries = 2047;
constexpr std::uint32_t SmallestBlock = 1048576;
constexpr std::uint32_t LargestBlock = 256 * SmallestBlock;
constexpr std::uint64_t LargestDisk = std::uint64_t{64} * SmallestBlock * SmallestBlock;

class CMetadataChecker {
public:
    CMetadataChecker(CByteStream& stream, const CFilePlace& region, const CFindingSink& findings)
        : m_stream(stream), m_region(region), m_findings(findings) {}

    std::optional<CCheckedGeometry> Check() {
        if (!ReadTable()) {
            return std::nullopt;
        }
        CheckOverlaps();
        for (std::size_t item = fileParameters; item < locator; ++item) {
            if (!m_items.contains(item)) {
                m_findings.Add("item-missing", AtOffset(m_region.begin),
                               Sentence(KnownItems[item].name,
                                        " is missing from the metadata: the disk cannot be read"));
            }
        }
        return CheckValues();
    }

private:
    bool ReadTable() {
        std::array<unsigned char, MetadataEntrySize> header;
        if (!ReadAt(m_stream, m_region.begin, header) || Load64(header.data()) != TableSignature) {
            m_findings.Add("metadata-signature", AtOffset(m_region.begin),
                           "the metadata table does not begin with \"metadata\": the disk cannot "
                           "be read");
            return false;
        }
        CheckMetadataHeader(header, m_region.begin, m_findings);
        const std::uint16_t count = Load16(header.data() + 10);
        std::vector<unsigned char> entries(count * MetadataEntrySize);
        const std::uint64_t begin = m_region.begin + MetadataEntrySize;
        if (count > MostEntries || !ReadAt(m_stream, begin, entries)) {
            m_findings.Add("metadata-count", AtOffset(m_region.begin),
                           Sentence("the metadata table claims ", count,
                                    " entries, and has no room for them"));
            return false;
        }
        for (std::size_t at = 0; at < entries.size(); at += MetadataEntrySize) {
            AddEntry({entries.data() + at, begin + at});
        }
        return true;
    }

    void AddEntry(const CMetadataEntry& entry) {
        const CFilePlace place = entry.Place();
        CheckMetadataEntry(entry, m_findings);
        if (entry.known == nullptr && entry.IsRequired()) {
            m_findings.Add("item-unknown", Where(place),
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
                "item-length", Where(place),
                Sentence(known.name, " has ", place.length, " bytes and must have ", known.length));
        }
        if (!m_items.emplace(static_cast<std::size_t>(&known - KnownItems.data()), place).second) {
            m_findings.Add("item-duplicate", Where(place),
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
        if (place.begin < ItemsBegin || !place.IsInside(m_region.length)) {
            m_findings.Add("item-misplaced", Where(place),
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
                    "item-overlap", Where(m_places[index]),
                    Sentence(m_places[index].name, " overlaps ", m_places[index - 1].name));
            }
        }
    }

    /// The number of `width` bytes at a place of the item; none when the item is not there.
    std::optional<std::uint64_t> Number(EItem item, std::size_t position, std::size_t width) {
        const auto found = m_items.find(item);
        std::array<unsigned char, 8> bytes = {};
        if (found == m_items.end() || found->second.length < position + width ||
            !ReadAt(m_stream, m_region.begin + found->second.begin + position,
                    std::span(bytes).first(width))) {
            return std::nullopt;
        }
        return Load64(bytes.data());
    }

    void AddValue(const char* kind, EItem item, const std::string& text) {
        m_findings.Add(kind, Where(m_items.at(item)), text);
    }

    std::optional<CCheckedGeometry> CheckValues() {
        const auto blockSize = CheckBlockSize();
        const auto sectorSize = CheckSectorSize(logicalSector, "logical-sector-size");
        (void)CheckSectorSize(physicalSector, "physical-sector-size");
        const auto size = CheckSize(sectorSize);
        const bool hasParent = CheckParameterFlags();
        CheckLocator(hasParent);
        if (!blockSize || !sectorSize || !size) {
            return std::nullopt;
        }
        return CCheckedGeometry{*blockSize, *sectorSize, *size, hasParent};
    }

    /// Whether the disk has a parent.
    bool CheckParameterFlags() {
        constexpr std::size_t field = 4;
        constexpr std::uint64_t leaveBlocksAllocated = 1;
        constexpr std::uint64_t withParent = 2;
        const std::uint64_t flags = Number(fileParameters, field, 4).value_or(0);
        if ((flags & ~(leaveBlocksAllocated | withParent)) != 0) {
            m_findings.Add("file-parameters-reserved",
                           AtOffset(m_region.begin + m_items.at(fileParameters).begin + field),
                           "the reserved bits 2 to 31 of the file parameters' flags are not 0");
        }
        return (flags & withParent) != 0;
    }

    std::optional<std::uint64_t> CheckBlockSize() {
        const auto size = Number(fileParameters, 0, 4);
        if (size &&
            (!std::has_single_bit(*size) || *size < SmallestBlock || *size > LargestBlock)) {
            AddValue("block-size", fileParameters,
                     Sentence("the block size is ", *size,
                              " bytes, and must be a power of two from 1 MiB to 256 MiB"));
            return std::nullopt;
        }
        return size;
    }

    std::optional<std::uint64_t> CheckSectorSize(EItem item, const char* kind) {
        const auto size = Number(item, 0, 4);
        if (size && *size != 512 && *size != 4096) {
            AddValue(
                kind, item,
                Sentence(KnownItems[item].name, " is ", *size, " bytes, and must be 512 or 4096"));
            return std::nullopt;
        }
        return size;
    }

    std::optional<std::uint64_t> CheckSize(std::optional<std::uint64_t> sectorSize) {
        const auto size = Number(diskSize, 0, 8);
        if (size && (*size == 0 || *size > LargestDisk)) {
            AddValue("virtual-size", diskSize,
                     Sentence("the virtual disk has ", *size,
                              " bytes, and must have more than 0 and at most 64 TiB"));
            return std::nullopt;
        }
        if (size && sectorSize && *size % *sectorSize != 0) {
            AddValue("virtual-size", diskSize,
                     Sentence("the virtual disk has ", *size,
                              " bytes, which is no multiple of its sector size of ", *sectorSize));
        }
        return size;
    }

    void CheckLocator(bool hasParent) {
        if (hasParent && !m_items.contains(locator)) {
            m_findings.Add("locator-missing", AtOffset(m_region.begin),
                           "the disk has a parent, and no parent locator that names it");
        } else if (!hasParent && m_items.contains(locator)) {
            AddValue("locator-unexpected", locator,
                     "there is a parent locator, and the file parameters say that the disk has no "
                     "parent");
        }
        if (const auto found = m_items.find(locator); found != m_items.end()) {
            const CFilePlace& item = found->second;
            CheckLocatorForm(m_stream, {item.name, m_region.begin + item.begin, item.length},
                             m_findings);
        }
    }

    CByteStream& m_stream;
    const CFilePlace& m_region;
    const CFindingSink& m_findings;
    std::map<std::size_t, CFilePlace> m_items;
    std::vector<CFilePlace> m_places;
};

}  // namespace

std::optional<CCheckedGeometry> CheckMetadata(CByteStream& stream, const CFilePlace& region,
                                              const CFindingSink& findings) {
    return CMetadataChecker(stream, region, findings).Check();
}

}  // namespace NVHDXHost
