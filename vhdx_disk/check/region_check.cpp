#include "vhdx_disk/check/region_check.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <set>
#include <string>

#include "vhdx_disk/log/checksum.h"
#include "vhdx_disk/log/header_copies.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/record.h"
#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/container/format.h"
#include "vhdx_parser/container/identifiers.h"
#include "vhdx_parser/foundation/guid_text.h"

namespace NVHDXDisk {

namespace {

using namespace NVHDX::NFormat;
using NVHDX::CAccessor;
using NVHDX::Mebibyte;

constexpr std::uint32_t MostEntries = VHDX_REGION_TABLE_HEADER::MostEntries;

using CTable = std::vector<unsigned char>;

struct CTableCopy {
    CTable bytes;  ///< empty when it is no region table
    std::uint64_t position = 0;
    bool valid = false;
    CFailure cause = {};  ///< why its bytes could not be read, if they could not
};

VHDX_REGION_TABLE_HEADER HeaderOf(const CTable& table) {
    return RecordAt<VHDX_REGION_TABLE_HEADER>(table.data());
}

std::uint32_t CountOf(const CTable& table) {
    return HeaderOf(table).EntryCount.Value();
}

CTableCopy ReadTable(const IByteSource& source, std::uint64_t position) {
    CTableCopy copy{CTable(VHDX_REGION_TABLE_HEADER::TableSize), position};
    if (!ReadBytes(source, position, copy.bytes.data(), copy.bytes.size(), copy.cause) ||
        HeaderOf(copy.bytes).Signature.Value() != VHDX_REGION_TABLE_HEADER::ExpectedSignature) {
        copy.bytes.clear();
    }
    return copy;
}

CTableCopy CheckTable(const IByteSource& source, std::uint64_t position,
                      const CFindingSink& findings) {
    CTableCopy copy = ReadTable(source, position);
    if (IsRefused(copy.cause)) {
        return copy;
    }
    if (copy.bytes.empty()) {
        findings.Add(EFinding::regionTableSignature, AtOffset(position),
                     "this copy of the region table does not begin with \"regi\" and is of no use");
    } else if (!HasRightChecksum(copy.bytes)) {
        findings.Add(EFinding::regionTableChecksum, AtOffset(position),
                     "the checksum of this copy of the region table is wrong: it was damaged");
    } else if (CountOf(copy.bytes) > MostEntries) {
        findings.Add(EFinding::regionTableCount, AtOffset(position),
                     Sentence("the region table claims ", CountOf(copy.bytes),
                              " entries, and has room for ", MostEntries));
    } else {
        copy.valid = true;
    }
    if (copy.valid && HeaderOf(copy.bytes).Reserved.Value() != 0) {
        findings.Add(EFinding::regionTableReserved,
                     AtOffset(position + offsetof(VHDX_REGION_TABLE_HEADER, Reserved)),
                     "the reserved field of this copy of the region table is not 0");
    }
    return copy;
}

/// Whether a damaged first copy, which readers take all the same, says other things than the
/// second.
bool IsMisleading(const CTableCopy& first, const CTableCopy& second) {
    if (first.valid || first.bytes.empty() || CountOf(first.bytes) > MostEntries) {
        return false;  // there is none, or it is refused
    }
    const std::size_t begin = offsetof(VHDX_REGION_TABLE_HEADER, EntryCount);
    const std::size_t end =
        sizeof(VHDX_REGION_TABLE_HEADER) + CountOf(second.bytes) * sizeof(VHDX_REGION_TABLE_ENTRY);
    return std::memcmp(first.bytes.data() + begin, second.bytes.data() + begin, end - begin) != 0;
}

/// The table to go by: a valid one, or else any that is one at all.
CTableCopy CheckTables(const IByteSource& source, const CFindingSink& findings) {
    CTableCopy first = CheckTable(source, VHDX_REGION_TABLE_HEADER::FirstPosition, findings);
    CTableCopy second = CheckTable(source, VHDX_REGION_TABLE_HEADER::SecondPosition, findings);
    if (first.valid && second.valid && first.bytes != second.bytes) {
        findings.Add(EFinding::regionTablesDiffer, AtOffset(second.position),
                     "the two copies of the region table are valid and say different things");
    } else if (second.valid && IsMisleading(first, second)) {
        findings.Add(EFinding::regionTablesDiffer, AtOffset(first.position),
                     "the first copy of the region table is damaged and says other things than "
                     "the second one: who goes by it reads the wrong bytes");
    }
    const bool isSecondNone = second.bytes.empty() && !IsRefused(second.cause);
    if (first.valid || (!second.valid && (!first.bytes.empty() || isSecondNone))) {
        return first;
    }
    return second;
}

std::string NameOf(const VHDX_REGION_TABLE_ENTRY& entry, const CKnownRegion* known) {
    return known != nullptr ? known->name : "the region " + NGuidText::TextOf(entry.Guid.Value());
}

void CheckPlace(const CFilePlace& place, std::uint64_t fileSize, const CFindingSink& findings) {
    const std::string where = AtOffset(place.begin);
    if (place.begin % Mebibyte != 0 || place.length % Mebibyte != 0 || place.length == 0) {
        findings.Add(EFinding::regionMisaligned, where,
                     Sentence(place.name, ": offset and length (", place.length,
                              ") must be multiples of 1 MiB, the length not 0"));
    }
    if (place.begin < HeaderAreaSize) {
        findings.Add(EFinding::regionInHeader, where,
                     Sentence(place.name,
                              " begins in the first MiB of the file, where the headers "
                              "and region tables lie"));
    }
    if (!place.IsInside(fileSize)) {
        findings.Add(EFinding::regionPastEnd, where,
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
            findings.Add(EFinding::regionOverlap, AtOffset(place.begin),
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

    void AddLog(const IByteSource& source) {
        const auto header = CurrentHeader(ReadHeaderCopies(source));
        // A file that has no log need not keep room for one.
        if (header && (header->logLength != 0 || !IsNull(header->logGuid))) {
            Add({"the log", header->logOffset, header->logLength});
        }
    }

    void AddEntries(const CTableCopy& table) {
        const std::uint32_t count = std::min<std::uint32_t>(CountOf(table.bytes), MostEntries);
        for (std::uint32_t index = 0; index < count; ++index) {
            const std::size_t at =
                sizeof(VHDX_REGION_TABLE_HEADER) + index * sizeof(VHDX_REGION_TABLE_ENTRY);
            AddEntry(RecordAt<VHDX_REGION_TABLE_ENTRY>(table.bytes.data() + at),
                     table.position + at);
        }
    }

    /// There is no table to go by, and there may be one where nobody can read it: what it holds is
    /// then not missed.
    void SetTableRefused() { m_isTableRefused = true; }

    CCheckedRegions Finish() {
        CheckOverlaps(m_places, m_findings);
        CCheckedRegions regions;
        regions.bat = Required(CAccessor::CRegion::typeBAT);
        regions.metadata = Required(CAccessor::CRegion::typeMetadata);
        regions.places = std::move(m_places);
        regions.places.push_back({"the header area", 0, HeaderAreaSize});
        return regions;
    }

private:
    void AddEntry(const VHDX_REGION_TABLE_ENTRY& entry, std::uint64_t position) {
        const CKnownRegion* const known = FindRegion(entry.Guid.Value());
        const CFilePlace place{NameOf(entry, known), entry.FileOffset.Value(),
                               entry.Length.Value()};
        const std::uint32_t flags = entry.Required.Value();
        CheckFlags(place.name, flags,
                   AtOffset(position + offsetof(VHDX_REGION_TABLE_ENTRY, Required)));
        if (!m_names.insert(place.name).second) {
            m_findings.Add(EFinding::regionDuplicate, AtOffset(place.begin),
                           place.name + " stands in the region table more than once");
            return;
        }
        if (known == nullptr && (flags & VHDX_REGION_TABLE_ENTRY::RequiredBit) != 0) {
            m_findings.Add(EFinding::regionUnknown, AtOffset(place.begin),
                           place.name +
                               " is unknown and marked as required: programs that do not "
                               "know it must refuse the file");
        }
        Add(place);
    }

    /// The two known regions count as required also where a writer did not mark them so.
    void CheckFlags(const std::string& name, std::uint32_t flags, const std::string& where) const {
        if ((flags & ~VHDX_REGION_TABLE_ENTRY::RequiredBit) != 0) {
            m_findings.Add(EFinding::regionReserved, where,
                           name + ": the reserved bits 1 to 31 of its entry are not 0");
        }
    }

    void Add(const CFilePlace& place) {
        CheckPlace(place, m_fileSize, m_findings);
        m_places.push_back(place);
    }

    std::optional<CFilePlace> Required(CAccessor::CRegion::EType type) {
        const auto known = std::find_if(std::begin(KnownRegions), std::end(KnownRegions),
                                        [&](const auto& one) { return one.type == type; });
        const auto place =
            std::find_if(m_places.begin(), m_places.end(),
                         [&](const CFilePlace& one) { return one.name == known->name; });
        if (place == m_places.end()) {
            if (m_isTableRefused) {
                return std::nullopt;
            }
            m_findings.Add(EFinding::regionMissing, "region table",
                           Sentence(known->name, " is missing: the disk cannot be read"));
            return std::nullopt;
        }
        return place->begin < m_fileSize ? std::optional(*place) : std::nullopt;
    }

    const std::uint64_t m_fileSize;
    const CFindingSink& m_findings;
    bool m_isTableRefused = false;
    std::set<std::string> m_names;
    std::vector<CFilePlace> m_places;
};

}  // namespace

CCheckedRegions CheckRegions(const IByteSource& source, const CFindingSink& findings) {
    CRegionReader reader(source.Size(), findings);
    reader.AddLog(source);
    const CTableCopy table = CheckTables(source, findings);
    if (!table.bytes.empty()) {
        reader.AddEntries(table);
    } else if (IsRefused(table.cause)) {
        reader.SetTableRefused();
    }
    return reader.Finish();
}

}  // namespace NVHDXDisk
