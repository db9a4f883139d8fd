#include "host/region_check.h"

#include <algorithm>
#include <set>
#include <string>

#include "host/checksum.h"
#include "host/current_header.h"
#include "host/little_endian.h"
#include "host/parent_linkage.h"

namespace NVHDXHost {

namespace {

constexpr std::uint64_t Mebibyte = 1048576;
constexpr std::uint64_t TablePositions[] = {196608, 262144};
constexpr std::size_t TableSize = 65536;
constexpr std::uint32_t TableSignature = 0x69676572;  // "regi"
constexpr std::size_t ReservedField = 12;
constexpr std::size_t EntrySize = 32;
constexpr std::size_t FirstEntry = 16;
constexpr std::size_t FlagsField = 28;
constexpr std::uint32_t IsRequired = 1;
constexpr std::uint32_t MostEntries = 2047;

constexpr auto BatName = "the block allocation table";
constexpr auto MetadataName = "the metadata region";

using CTable = std::vector<unsigned char>;

struct CTableCopy {
    CTable bytes;  ///< empty when it is no region table
    std::uint64_t position = 0;
    bool valid = false;
};

std::uint32_t CountOf(const CTable& table) {
    return Load32(table.data() + 8);
}

CTableCopy CheckTable(CByteStream& stream, std::uint64_t position, const CFindingSink& findings) {
    CTableCopy copy{CTable(TableSize), position, false};
    if (!ReadAt(stream, position, copy.bytes) || Load32(copy.bytes.data()) != TableSignature) {
        findings.Add("region-table-signature", AtOffset(position),
                     "this copy of the region table does not begin with \"regi\" and is of no use");
        return {};
    }
    if (!HasRightChecksum(copy.bytes)) {
        findings.Add("region-table-checksum", AtOffset(position),
                     "the checksum of this copy of the region table is wrong: it was damaged");
        return copy;
    }
    if (CountOf(copy.bytes) > MostEntries) {
        findings.Add("region-table-count", AtOffset(position),
                     Sentence("the region table claims ", CountOf(copy.bytes),
                              " entries, and has room for 2047"));
        return copy;
    }
    if (Load32(copy.bytes.data() + ReservedField) != 0) {
        findings.Add("region-table-reserved", AtOffset(position + ReservedField),
                     "the reserved field of this copy of the region table is not 0");
    }
    copy.valid = true;
    return copy;
}

/// The table to go by: a valid one, or else any that is one at all.
CTableCopy CheckTables(CByteStream& stream, const CFindingSink& findings) {
    CTableCopy first = CheckTable(stream, TablePositions[0], findings);
    CTableCopy second = CheckTable(stream, TablePositions[1], findings);
    if (first.valid && second.valid && first.bytes != second.bytes) {
        findings.Add("region-tables-differ", AtOffset(TablePositions[1]),
                     "the two copies of the region table are valid and say different things");
    }
    if (first.valid || (!second.valid && !first.bytes.empty())) {
        return first;
    }
    return second;
}

std::string NameOf(const _GUID& guid) {
    if (TextOf(guid) == "{2DC27766-F623-4200-9D64-115E9BFD4A08}") {
        return BatName;
    }
    if (TextOf(guid) == "{8B7CA206-4790-4B9A-B8FE-575F050F886E}") {
        return MetadataName;
    }
    return "the region " + TextOf(guid);
}

void CheckPlace(const CFilePlace& place, std::uint64_t fileSize, const CFindingSink& findings) {
    const std::string where = AtOffset(place.begin);
    if (place.begin % Mebibyte != 0 || place.length % Mebibyte != 0 || place.length == 0) {
        findings.Add("region-misaligned", where,
                     Sentence(place.name, ": offset and length (", place.length,
                              ") must be multiples of 1 MiB, the length not 0"));
    }
    if (place.begin < Mebibyte) {
        findings.Add("region-in-header", where,
                     Sentence(place.name,
                              " begins in the first MiB of the file, where the headers "
                              "and region tables lie"));
    }
    if (!place.IsInside(fileSize)) {
        findings.Add("region-past-end", where,
                     Sentence(place.name, " (", place.length,
                              " bytes) reaches past the end of the file, which has ", fileSize,
                              " bytes: the file was cut off"));
    }
}

/// Compares each place with the one that reaches furthest among those that begin before it.
void CheckOverlaps(std::vector<CFilePlace> places, const CFindingSink& findings) {
    std::stable_sort(
        places.begin(), places.end(),
        [](const CFilePlace& left, const CFilePlace& right) { return left.begin < right.begin; });
    const CFilePlace* furthest = nullptr;
    for (const CFilePlace& place : places) {
        if (furthest != nullptr && furthest->Holds(place.begin) && place.length != 0) {
            findings.Add("region-overlap", AtOffset(place.begin),
                         Sentence(place.name, " overlaps ", furthest->name,
                                  ": one has overwritten the other"));
        }
        const auto endOf = [](const CFilePlace& one) {
            return one.begin + std::min(one.length, ~std::uint64_t{0} - one.begin);
        };
        if (furthest == nullptr || endOf(place) > endOf(*furthest)) {
            furthest = &place;
        }
    }
}

class CRegionReader {
public:
    CRegionReader(std::uint64_t fileSize, const CFindingSink& findings)
        : m_fileSize(fileSize), m_findings(findings) {}

    void AddLog(CByteStream& stream) {
        const auto header = ReadCurrentHeader(stream);
        // A file that has no log need not keep room for one.
        if (header && (header->logLength != 0 || !IsNull(header->logGuid))) {
            Add({"the log", header->logOffset, header->logLength});
        }
    }

    void AddEntries(const CTableCopy& table) {
        const std::uint32_t count = std::min(CountOf(table.bytes), MostEntries);
        for (std::uint32_t index = 0; index < count; ++index) {
            const std::size_t entry = FirstEntry + index * EntrySize;
            AddEntry(table.bytes.data() + entry, table.position + entry);
        }
    }

    CCheckedRegions Finish() {
        CheckOverlaps(m_places, m_findings);
        CCheckedRegions regions;
        regions.bat = Required(BatName);
        regions.metadata = Required(MetadataName);
        regions.places = std::move(m_places);
        regions.places.push_back({"the header area", 0, Mebibyte});
        return regions;
    }

private:
    void AddEntry(const unsigned char* entry, std::uint64_t position) {
        const _GUID guid = LoadGuid(entry);
        const CFilePlace place{NameOf(guid), Load64(entry + 16), Load32(entry + 24)};
        const std::uint32_t flags = Load32(entry + FlagsField);
        CheckFlags(place.name, flags, AtOffset(position + FlagsField));
        if (!m_names.insert(place.name).second) {
            m_findings.Add("region-duplicate", AtOffset(place.begin),
                           place.name + " stands in the region table more than once");
            return;
        }
        if (!IsKnown(place.name) && (flags & IsRequired) != 0) {
            m_findings.Add("region-unknown", AtOffset(place.begin),
                           place.name +
                               " is unknown and marked as required: programs that do not "
                               "know it must refuse the file");
        }
        Add(place);
    }

    static bool IsKnown(const std::string& name) { return name == BatName || name == MetadataName; }

    /// The two known regions count as required also where a writer did not mark them so.
    void CheckFlags(const std::string& name, std::uint32_t flags, const std::string& where) const {
        if ((flags & ~IsRequired) != 0) {
            m_findings.Add("region-reserved", where,
                           name + ": the reserved bits 1 to 31 of its entry are not 0");
        }
    }

    void Add(const CFilePlace& place) {
        CheckPlace(place, m_fileSize, m_findings);
        m_places.push_back(place);
    }

    std::optional<CFilePlace> Required(const std::string& name) {
        const auto place = std::find_if(m_places.begin(), m_places.end(),
                                        [&](const CFilePlace& one) { return one.name == name; });
        if (place == m_places.end()) {
            m_findings.Add("region-missing", "region table",
                           name + " is missing: the disk cannot be read");
            return std::nullopt;
        }
        return place->begin < m_fileSize ? std::optional(*place) : std::nullopt;
    }

    const std::uint64_t m_fileSize;
    const CFindingSink& m_findings;
    std::set<std::string> m_names;
    std::vector<CFilePlace> m_places;
};

}  // namespace

CCheckedRegions CheckRegions(CByteStream& stream, std::uint64_t fileSize,
                             const CFindingSink& findings) {
    CRegionReader reader(fileSize, findings);
    reader.AddLog(stream);
    const CTableCopy table = CheckTables(stream, findings);
    if (!table.bytes.empty()) {
        reader.AddEntries(table);
    }
    return reader.Finish();
}

}  // namespace NVHDXHost
