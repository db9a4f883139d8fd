#include "tests/hostile/hostile_disk.h"

// Disks that open, whose metadata items and parent locator are hostile.

namespace NTest {
namespace {

class HostileMetadata : public testing::TestWithParam<CHostileDisk> {};

template <class TEdit>
CImageBuilder Metadata(TEdit edit) {
    return CImageBuilder().EditMetadata(edit);
}

/// The item with this payload at this offset of the metadata region.
CImageBuilder ItemAt(const CGuid& guid, std::uint32_t offset) {
    return Metadata([=](CMetadataTable& table) {
        table.Find(guid).offset = offset;
        table.Find(guid).payload.clear();
    });
}

template <class TEdit>
CImageBuilder Locator(TEdit edit) {
    return CImageBuilder().Differencing().EditParentLocator(edit);
}

/// The locator at this offset of the metadata region, where nothing is.
CImageBuilder LocatorAt(std::uint32_t offset) {
    return ItemAt(NGuid::parentLocator, offset).Differencing();
}

/// The locator is the last thing in the file, which ends after this many bytes of it. The table of
/// blocks, of zeros only, lies before it.
CImageBuilder LocatorCutAt(std::uint64_t length) {
    const std::uint64_t position = 2 * MiB + 128 * KiB;
    return Metadata([=](CMetadataTable& table) {
               table.Find(NGuid::parentLocator).offset =
                   static_cast<std::uint32_t>(position - 2 * MiB);
           })
        .Differencing()
        .BatOffset(1 * MiB)
        .FileSize(position + length);
}

const std::string LocatorTag = "3 PARENT_METADATA ";

/// What follows when the geometry cannot be read: with no numbers there is no table.
std::string NoGeometry(const std::string& item, const std::string& line) {
    return line + item + "\n" + line + "LoadBlocks\nBatData\n";
}

CParentLocatorEntry LocatorEntry(std::u16string key, std::u16string value) {
    CParentLocatorEntry entry;
    entry.key = std::move(key);
    entry.value = std::move(value);
    return entry;
}

}  // namespace

std::vector<CHostileDisk> HostileMetadataRegions() {
    const std::string past = "failed Stream Portion Reading\n";
    const std::string noPosition = "bad MetadataPosition\n";
    return {
        {"NoItems", Metadata([](CMetadataTable& table) { table.entryCount = 0; }),
         "3 FILE_PARAMETERS_METADATA " + noPosition + "FileParameters\n" +
             "3 VIRTUAL_DISK_SIZE_METADATA " + noPosition + "VirtualDiskSize\n" +
             "3 PAGE_83_DATA_METADATA " + noPosition + "Page83Data\n" +
             "3 LOGICAL_SECTOR_SIZE_METADATA " + noPosition + "LogicalSectorSize\n" +
             "3 PHYSICAL_SECTOR_SIZE_METADATA " + noPosition + "PhysicalSectorSize\n" +
             "3 LOGICAL_SECTOR_SIZE_METADATA " + noPosition + "LoadBlocks\nBatData\n"},
        {"FileParametersPastTheEnd", ItemAt(NGuid::fileParameters, 0xFFFFFFFF),
         NoGeometry("FileParameters", "3 FILE_PARAMETERS_METADATA " + past)},
        {"FileParametersEndInTheMiddle", ItemAt(NGuid::fileParameters, 2 * MiB - 4),
         NoGeometry("FileParameters", "3 FILE_PARAMETERS_METADATA " + past)},
        {"VirtualDiskSizePastTheEnd", ItemAt(NGuid::virtualDiskSize, 0x7FFFFFFF),
         NoGeometry("VirtualDiskSize", "3 VIRTUAL_DISK_SIZE_METADATA " + past)},
        {"VirtualDiskSizeEndsInTheMiddle", ItemAt(NGuid::virtualDiskSize, 2 * MiB - 4),
         NoGeometry("VirtualDiskSize", "3 VIRTUAL_DISK_SIZE_METADATA " + past)},
        {"Page83DataEndsInTheMiddle", ItemAt(NGuid::page83Data, 2 * MiB - 8),
         "3 PAGE_83_DATA_METADATA " + past + "Page83Data\n"},
        {"LogicalSectorSizeEndsInTheMiddle", ItemAt(NGuid::logicalSectorSize, 2 * MiB - 2),
         NoGeometry("LogicalSectorSize", "3 LOGICAL_SECTOR_SIZE_METADATA " + past)},
        {"PhysicalSectorSizeEndsInTheMiddle", ItemAt(NGuid::physicalSectorSize, 2 * MiB - 2),
         "3 PHYSICAL_SECTOR_SIZE_METADATA " + past + "PhysicalSectorSize\n"},
        {"Page83DataPastTheEnd", ItemAt(NGuid::page83Data, 0xFFFFFFFF),
         "3 PAGE_83_DATA_METADATA " + past + "Page83Data\n"},
        {"LogicalSectorSizePastTheEnd", ItemAt(NGuid::logicalSectorSize, 0xFFFFFFFF),
         NoGeometry("LogicalSectorSize", "3 LOGICAL_SECTOR_SIZE_METADATA " + past)},
        {"PhysicalSectorSizePastTheEnd", ItemAt(NGuid::physicalSectorSize, 0xFFFFFFFF),
         "3 PHYSICAL_SECTOR_SIZE_METADATA " + past + "PhysicalSectorSize\n"},
        {"LengthsOfAllItemsAreAllOnes", Metadata([](CMetadataTable& table) {
             for (CMetadataItem& item : table.items) {
                 item.length = 0xFFFFFFFF;
             }
         }),
         ""},
        {"AllItemsAreOneItem", Metadata([](CMetadataTable& table) {
             for (CMetadataItem& item : table.items) {
                 item.guid = NGuid::fileParameters;
             }
         }),
         "3 VIRTUAL_DISK_SIZE_METADATA " + noPosition + "VirtualDiskSize\n" +
             "3 PAGE_83_DATA_METADATA " + noPosition + "Page83Data\n" +
             "3 LOGICAL_SECTOR_SIZE_METADATA " + noPosition + "LogicalSectorSize\n" +
             "3 PHYSICAL_SECTOR_SIZE_METADATA " + noPosition + "PhysicalSectorSize\n" +
             "3 LOGICAL_SECTOR_SIZE_METADATA " + noPosition + "LoadBlocks\nBatData\n"},
        {"LocatorOfAnotherType",
         Locator([](CParentLocator& locator) { locator.type = NGuid::unknown; }),
         LocatorTag + "bad locator type\nParentLocator\n"},
        {"LocatorOfNoEntries", Locator([](CParentLocator& locator) { locator.entries.clear(); }),
         ""},
        // The text behind the entries is taken for entries; its "keys" lie past the end.
        {"LocatorPastTheEnd", LocatorAt(0x7FFFFFFF), LocatorTag + past + "ParentLocator\n"},
        {"LocatorEndsInTheMiddleOfItsHeader", LocatorCutAt(10),
         LocatorTag + past + "ParentLocator\n"},
        {"LocatorEndsInTheMiddleOfItsSecondEntry", LocatorCutAt(20 + 12 + 6),
         LocatorTag + past + "ParentLocator\n"},
        {"LocatorEndsInTheMiddleOfItsFirstKey", LocatorCutAt(20 + 2 * 12 + 5), "ParentLocator\n"},
        {"LocatorCountOfAllOnes", Locator([](CParentLocator& locator) {
                                      locator.count = 0xFFFF;
                                  }).FileSize(2 * MiB + 128 * KiB),
         LocatorTag + past + "ParentLocator\nLoadBlocks\nBatData\n"},
        {"LocatorKeyOfOddLength",
         Locator([](CParentLocator& locator) { locator.entries[0].keyLength = 27; }),
         "ParentLocator\n"},
        {"LocatorValueOfOddLength",
         Locator([](CParentLocator& locator) { locator.entries[0].valueLength = 75; }),
         LocatorTag + "failed istreamstr Reading\nParentLocator\n"},
        {"LocatorKeyOfAllOnesLength",
         Locator([](CParentLocator& locator) { locator.entries[0].keyLength = 0xFFFF; }),
         "ParentLocator\n"},
        {"LocatorKeyOfNoLength",
         Locator([](CParentLocator& locator) { locator.entries[0].keyLength = 0; }),
         LocatorTag + "bad format\nParentLocator\n"},
        {"LocatorKeyPastTheEnd",
         Locator([](CParentLocator& locator) { locator.entries[0].keyOffset = 0xFFFFFFFF; }),
         "ParentLocator\n"},
        {"LocatorValuePastTheEnd",
         Locator([](CParentLocator& locator) { locator.entries[0].valueOffset = 0xFFFFFFFF; }),
         LocatorTag + "failed istreamstr Reading\nParentLocator\n"},
        {"LocatorKeyIsUnknown",
         Locator([](CParentLocator& locator) { locator.entries[0].key = u"parent_linkage3"; }),
         LocatorTag + "bad format\nParentLocator\n"},
        {"LocatorValuesOfHalfSurrogatesAndZeros", Locator([](CParentLocator& locator) {
             locator.entries[0].value = std::u16string{0xD800, 0, 0xDC00, 0xFFFF};
         }),
         ""},
        // 65,535 entries for one small key: as much work as entries, and no more memory.
        {"LocatorOf65535Entries",
         Locator([](CParentLocator& locator) {
             CParentLocatorEntry entry = LocatorEntry(u"", u"");
             entry.keyOffset = 20 + 65535 * 12;
             entry.keyLength = 28;
             entry.valueOffset = entry.keyOffset;
             entry.valueLength = 28;
             locator.entries.assign(65534, entry);
             locator.entries.push_back(LocatorEntry(u"parent_linkage", u"value"));
         }).BatOffset(4 * MiB),
         ""},
        // As many entries whose values are as long as they can be: 4 GiB of text in 2 MiB of file.
        {"LocatorOf65535LongestValues",
         Locator([](CParentLocator& locator) {
             CParentLocatorEntry entry = LocatorEntry(u"", u"");
             entry.keyOffset = 20 + 65535 * 12;
             entry.keyLength = 28;
             entry.valueOffset = 0;
             entry.valueLength = 0xFFFE;
             locator.entries.assign(65534, entry);
             locator.entries.push_back(LocatorEntry(u"parent_linkage", u"value"));
         }).BatOffset(4 * MiB),
         ""},
    };
}

namespace {

TEST_P(HostileMetadata, IsHandled) {
    ExpectHandled(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Table, HostileMetadata, testing::ValuesIn(HostileMetadataRegions()),
                         NameOfDisk);

}  // namespace
}  // namespace NTest
