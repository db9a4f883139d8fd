#include "vhdx_parser/container/format.h"

#include <numeric>
#include <sstream>

#include <gtest/gtest.h>
#include <vhdx_parser/guid.h>

#include "vhdx_parser/container/traced_log_entry.h"

namespace NVHDX::NFormat {
namespace {

std::string Text(const _GUID& guid) {
    std::ostringstream out;
    out << guid;
    return out.str();
}

/// A record whose byte n has the value n, as far as that goes.
template <class TRecord>
TRecord Numbered() {
    unsigned char bytes[sizeof(TRecord)];
    std::iota(std::begin(bytes), std::end(bytes), static_cast<unsigned char>(0));
    TRecord record;
    std::memcpy(&record, bytes, sizeof(record));
    return record;
}

TEST(Format, SignaturesSpellTheirText) {
    const auto spells = [](std::uint64_t number, const std::string& text) {
        std::string bytes;
        for (; number != 0; number >>= 8) {
            bytes += static_cast<char>(number & 0xFF);
        }
        return bytes == text;
    };
    EXPECT_TRUE(spells(VHDX_FILE_IDENTIFIER::ExpectedSignature, "vhdxfile"));
    EXPECT_TRUE(spells(VHDX_HEADER::ExpectedSignature, "head"));
    EXPECT_TRUE(spells(VHDX_REGION_TABLE_HEADER::ExpectedSignature, "regi"));
    EXPECT_TRUE(spells(VHDX_LOG_ENTRY_HEADER::ExpectedSignature, "loge"));
    EXPECT_TRUE(spells(VHDX_LOG_ZERO_DESCRIPTOR::ExpectedSignature, "zero"));
    EXPECT_TRUE(spells(VHDX_LOG_DATA_DESCRIPTOR::ExpectedSignature, "desc"));
    EXPECT_TRUE(spells(VHDX_LOG_DATA_SECTOR::ExpectedSignature, "data"));
    EXPECT_TRUE(spells(VHDX_METADATA_TABLE_HEADER::ExpectedSignature, "metadata"));
}

TEST(Format, FileIdentifier) {
    EXPECT_EQ(sizeof(VHDX_FILE_IDENTIFIER), 520u);
    EXPECT_EQ(Numbered<VHDX_FILE_IDENTIFIER>().Signature.Value(), 0x0706050403020100u);
}

TEST(Format, Header) {
    EXPECT_EQ(sizeof(VHDX_HEADER), 4096u);
    EXPECT_EQ(VHDX_HEADER::FirstPosition, 65536u);
    EXPECT_EQ(VHDX_HEADER::SecondPosition, 131072u);
    const auto header = Numbered<VHDX_HEADER>();
    EXPECT_EQ(header.Signature.Value(), 0x03020100u);
    EXPECT_EQ(header.Checksum.Value(), 0x07060504u);
    EXPECT_EQ(header.SequenceNumber.Value(), 0x0F0E0D0C0B0A0908u);
    EXPECT_EQ(Text(header.FileWriteGuid.Value()), "{13121110-1514-1716-1819-1A1B1C1D1E1F}");
    EXPECT_EQ(Text(header.DataWriteGuid.Value()), "{23222120-2524-2726-2829-2A2B2C2D2E2F}");
    EXPECT_EQ(Text(header.LogGuid.Value()), "{33323130-3534-3736-3839-3A3B3C3D3E3F}");
    EXPECT_EQ(header.LogVersion.Value(), 0x4140u);
    EXPECT_EQ(header.Version.Value(), 0x4342u);
    EXPECT_EQ(header.LogLength.Value(), 0x47464544u);
    EXPECT_EQ(header.LogOffset.Value(), 0x4F4E4D4C4B4A4948u);
}

TEST(Format, RegionTable) {
    EXPECT_EQ(sizeof(VHDX_REGION_TABLE_HEADER), 16u);
    EXPECT_EQ(VHDX_REGION_TABLE_HEADER::FirstPosition, 196608u);
    EXPECT_EQ(VHDX_REGION_TABLE_HEADER::SecondPosition, 262144u);
    const auto table = Numbered<VHDX_REGION_TABLE_HEADER>();
    EXPECT_EQ(table.Signature.Value(), 0x03020100u);
    EXPECT_EQ(table.EntryCount.Value(), 0x0B0A0908u);

    EXPECT_EQ(sizeof(VHDX_REGION_TABLE_ENTRY), 32u);
    const auto entry = Numbered<VHDX_REGION_TABLE_ENTRY>();
    EXPECT_EQ(Text(entry.Guid.Value()), "{03020100-0504-0706-0809-0A0B0C0D0E0F}");
    EXPECT_EQ(entry.FileOffset.Value(), 0x1716151413121110u);
    EXPECT_EQ(entry.Length.Value(), 0x1B1A1918u);
    EXPECT_EQ(entry.Required.Value(), 0x1F1E1D1Cu);
}

TEST(Format, LogEntry) {
    EXPECT_EQ(sizeof(VHDX_LOG_ENTRY_HEADER), 64u);
    const auto entry = Numbered<VHDX_LOG_ENTRY_HEADER>();
    EXPECT_EQ(entry.Signature.Value(), 0x03020100u);
    EXPECT_EQ(entry.Checksum.Value(), 0x07060504u);
    EXPECT_EQ(entry.EntryLength.Value(), 0x0B0A0908u);
    EXPECT_EQ(entry.Tail.Value(), 0x0F0E0D0Cu);
    EXPECT_EQ(entry.SequenceNumber.Value(), 0x1716151413121110u);
    EXPECT_EQ(entry.DescriptorCount.Value(), 0x1B1A1918u);
    EXPECT_EQ(Text(entry.LogGuid.Value()), "{23222120-2524-2726-2829-2A2B2C2D2E2F}");
    EXPECT_EQ(entry.FlushedFileOffset.Value(), 0x3736353433323130u);
    EXPECT_EQ(entry.LastFileOffset.Value(), 0x3F3E3D3C3B3A3938u);
}

TEST(Format, LogDescriptors) {
    EXPECT_EQ(sizeof(VHDX_LOG_ZERO_DESCRIPTOR), 32u);
    const auto zero = Numbered<VHDX_LOG_ZERO_DESCRIPTOR>();
    EXPECT_EQ(zero.ZeroSignature.Value(), 0x03020100u);
    EXPECT_EQ(zero.ZeroLength.Value(), 0x0F0E0D0C0B0A0908u);
    EXPECT_EQ(zero.FileOffset.Value(), 0x1716151413121110u);
    EXPECT_EQ(zero.SequenceNumber.Value(), 0x1F1E1D1C1B1A1918u);

    EXPECT_EQ(sizeof(VHDX_LOG_DATA_DESCRIPTOR), 32u);
    const auto data = Numbered<VHDX_LOG_DATA_DESCRIPTOR>();
    EXPECT_EQ(data.DataSignature.Value(), 0x03020100u);
    EXPECT_EQ(data.TrailingBytes.Value(), 0x07060504u);
    EXPECT_EQ(data.LeadingBytes.Value(), 0x0F0E0D0C0B0A0908u);
    EXPECT_EQ(data.FileOffset.Value(), 0x1716151413121110u);
    EXPECT_EQ(data.SequenceNumber.Value(), 0x1F1E1D1C1B1A1918u);
}

TEST(Format, LogDataSector) {
    EXPECT_EQ(sizeof(VHDX_LOG_DATA_SECTOR), 4096u);
    const auto sector = Numbered<VHDX_LOG_DATA_SECTOR>();
    EXPECT_EQ(sector.DataSignature.Value(), 0x03020100u);
    EXPECT_EQ(sector.SequenceHigh.Value(), 0x07060504u);
    EXPECT_EQ(sector.Data[0], 8u);
    EXPECT_EQ(sector.SequenceLow.Value(), 0xFFFEFDFCu);
}

TEST(Format, TracedLogEntryIsWiderThanPublished) {
    EXPECT_EQ(sizeof(VHDX_TRACED_LOG_ENTRY_HEADER), 68u);
    const auto entry = Numbered<VHDX_TRACED_LOG_ENTRY_HEADER>();
    EXPECT_EQ(entry.EntryLength.Value(), 0x0B0A0908u);
    EXPECT_EQ(entry.SequenceNumber.Value(), 0x1716151413121110u);
    EXPECT_EQ(entry.DescriptorCount.Value(), 0x1F1E1D1C1B1A1918u);
    EXPECT_EQ(Text(entry.LogGuid.Value()), "{27262524-2928-2B2A-2C2D-2E2F30313233}");
    EXPECT_EQ(entry.FlushedFileOffset.Value(), 0x3B3A393837363534u);
    EXPECT_EQ(entry.LastFileOffset.Value(), 0x434241403F3E3D3Cu);
}

TEST(Format, MetadataTable) {
    EXPECT_EQ(sizeof(VHDX_METADATA_TABLE_HEADER), 32u);
    const auto table = Numbered<VHDX_METADATA_TABLE_HEADER>();
    EXPECT_EQ(table.Signature.Value(), 0x0706050403020100u);
    EXPECT_EQ(table.EntryCount.Value(), 0x0B0Au);

    EXPECT_EQ(sizeof(VHDX_METADATA_TABLE_ENTRY), 32u);
    const auto entry = Numbered<VHDX_METADATA_TABLE_ENTRY>();
    EXPECT_EQ(Text(entry.ItemId.Value()), "{03020100-0504-0706-0809-0A0B0C0D0E0F}");
    EXPECT_EQ(entry.Offset.Value(), 0x13121110u);
    EXPECT_EQ(entry.Length.Value(), 0x17161514u);
    EXPECT_EQ(entry.Flags.Value(), 0x1B1A1918u);
}

TEST(Format, ParentLocator) {
    EXPECT_EQ(sizeof(VHDX_PARENT_LOCATOR_HEADER), 20u);
    const auto header = Numbered<VHDX_PARENT_LOCATOR_HEADER>();
    EXPECT_EQ(Text(header.LocatorType.Value()), "{03020100-0504-0706-0809-0A0B0C0D0E0F}");
    EXPECT_EQ(header.KeyValueCount.Value(), 0x1312u);

    EXPECT_EQ(sizeof(VHDX_PARENT_LOCATOR_ENTRY), 12u);
    const auto entry = Numbered<VHDX_PARENT_LOCATOR_ENTRY>();
    EXPECT_EQ(entry.KeyOffset.Value(), 0x03020100u);
    EXPECT_EQ(entry.ValueOffset.Value(), 0x07060504u);
    EXPECT_EQ(entry.KeyLength.Value(), 0x0908u);
    EXPECT_EQ(entry.ValueLength.Value(), 0x0B0Au);
}

}  // namespace
}  // namespace NVHDX::NFormat
