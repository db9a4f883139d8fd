// Everything that reads or makes a text, on an input and on one of twice the size: whoever makes
// the input must not get more work out of the reader than he puts in.

#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <vhdx_disk/check.h>
#include <vhdx_disk/folder.h>
#include <vhdx_parser/xml_persistence.h>

#include "tests/growth/work.h"
#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/json_value.h"
#include "tools/vhdx/ranges.h"
#include "tools/vhdx/size_text.h"
#include "tools/vhdx/text.h"
#include "vhdx_parser/foundation/guid_text.h"
#include "vhdx_parser/foundation/utf16.h"

namespace NTest {
namespace {

using CCall = std::function<void()>;

std::string Repeated(std::uint64_t count, const std::string& piece) {
    std::string text;
    for (std::uint64_t i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

std::string JsonRanges(std::uint64_t count) {
    std::string text = "[";
    for (std::uint64_t i = 0; i < count; ++i) {
        text += (i == 0 ? "" : ",");
        text += "{\"offset\":" + std::to_string(i * 8192) + ",\"length\":512}";
    }
    return text + "]";
}

std::string LineRanges(std::uint64_t count) {
    std::string text;
    for (std::uint64_t i = 0; i < count; ++i) {
        text += std::to_string(i * 8192) + ",512\n";
    }
    return text;
}

/// Reads the text that `make` makes of a size.
template <class TMake, class TRead>
CPrepare Reading(TMake make, TRead read) {
    return [make, read](std::uint64_t size) -> CCall {
        return [text = make(size), read] { read(text); };
    };
}

TEST(Growth, OfRangesInJson) {
    ExpectProportional(20000, Reading(JsonRanges, [](const std::string& text) {
                           (void)NTool::ParseRanges(text);
                       }));
}

TEST(Growth, OfRangesInLines) {
    ExpectProportional(20000, Reading(LineRanges, [](const std::string& text) {
                           (void)NTool::ParseRanges(text);
                       }));
}

TEST(Growth, OfMembersThatNobodyAskedFor) {
    const auto make = [](std::uint64_t size) {
        return "[{\"offset\":0,\"length\":1" + Repeated(size, R"(,"x":[1,{"a":null}],"offset":7)") +
               "}]";
    };
    ExpectProportional(
        15000, Reading(make, [](const std::string& text) { (void)NTool::ParseRanges(text); }));
}

void ReadAndPrintJson(const std::string& text) {
    (void)NTool::JsonText(NTool::ParseJson(text));
}

TEST(Growth, OfNestedJson) {
    const auto make = [](std::uint64_t size) {
        return "[" + Repeated(size, R"([[[{"a":[1,"b",{}]}]]],)") + "0]";
    };
    ExpectProportional(10000, Reading(make, ReadAndPrintJson));
}

TEST(Growth, OfAJsonObjectWithManyMembers) {
    const auto make = [](std::uint64_t size) {
        std::string text = "{\"\":0";
        for (std::uint64_t i = 0; i < size; ++i) {
            text += ",\"" + std::to_string(i) + "\":0";
        }
        return text + "}";
    };
    ExpectProportional(20000, Reading(make, ReadAndPrintJson));
}

TEST(Growth, OfALongTextInJson) {
    const auto make = [](std::uint64_t size) {
        return '"' + Repeated(size, "abc\\u00e9\\n\xC3\xA9") + '"';
    };
    ExpectProportional(20000, Reading(make, ReadAndPrintJson));
}

TEST(Growth, OfALongNumberInJson) {
    const auto make = [](std::uint64_t size) { return std::string(size, '7'); };
    const auto refuse = [](const std::string& text) {
        EXPECT_THROW((void)NTool::ParseJson(text), NTool::CCommandFailure);
    };
    ExpectProportional(200000, Reading(make, refuse));
}

TEST(Growth, OfASize) {
    const auto make = [](std::uint64_t size) { return std::string(size, '0') + "1M"; };
    ExpectProportional(
        1000000, Reading(make, [](const std::string& text) { (void)NTool::ParseSize(text); }));
}

TEST(Growth, OfATextThatIsNoSize) {
    const auto make = [](std::uint64_t size) { return Repeated(size, "1\x1B"); };
    const auto refuse = [](const std::string& text) {
        EXPECT_THROW((void)NTool::ParseSize(text), NTool::CSizeError);
    };
    ExpectProportional(20000, Reading(make, refuse));
}

TEST(Growth, OfAPrintableText) {
    const auto make = [](std::uint64_t size) {
        return Repeated(size, "ab\x1B\n\xC3\xA9\xFF\xE2\x80\xAE");
    };
    ExpectProportional(
        20000, Reading(make, [](const std::string& text) { (void)NTool::Printable(text); }));
}

TEST(Growth, OfAWideText) {
    const CPrepare prepare = [](std::uint64_t size) -> CCall {
        std::wstring text;
        for (std::uint64_t i = 0; i < size; ++i) {
            text += L"ab\u00E9\u20AC";
            text += static_cast<wchar_t>(0xD83D);
            text += static_cast<wchar_t>(i % 2 == 0 ? 0xDE00 : 0x20);
        }
        return [text] {
            (void)NVHDXDisk::Utf8(text);
            (void)NUtf16::CodeUnits(text);
        };
    };
    ExpectProportional(20000, prepare);
}

TEST(Growth, OfGuids) {
    const std::string guid = "{2DC27766-F623-4200-9D64-115E9BFD4A08}";
    const auto make = [&guid](std::uint64_t size) { return Repeated(size, guid); };
    const auto read = [](const std::string& text) {
        std::string_view rest = text;
        EXPECT_FALSE(NGuidText::Parse(rest.substr(1)));
        for (; !rest.empty(); rest.remove_prefix(NGuidText::Length)) {
            (void)NGuidText::TextOf(*NGuidText::Parse(rest.substr(0, NGuidText::Length)));
        }
    };
    ExpectProportional(5000, Reading(make, read));
}

/// A differencing disk whose locator has this many entries.
std::filesystem::path DiskWithEntries(const CTemporaryFolder& folder, std::uint64_t count) {
    CParentLocatorPairs pairs;
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        pairs.emplace_back(std::u16string(number.begin(), number.end()), u"value");
    }
    const std::filesystem::path path = folder / (std::to_string(count) + ".avhdx");
    CImageBuilder().Differencing().ParentLocator(pairs).Build().WriteTo(path);
    return path;
}

TEST(Growth, OfAParentLocator) {
    const CTemporaryFolder folder;
    const CPrepare prepare = [&folder](std::uint64_t size) -> CCall {
        return [disk = DiskWithEntries(folder, size)] {
            NVHDXDisk::CFailure failure;
            EXPECT_TRUE(NVHDXDisk::CheckDisk(
                disk, NVHDXDisk::ELog::replay, NVHDXDisk::EParentCheck::complete,
                [](const NVHDXDisk::CFinding&) {}, failure));
        };
    };
    ExpectProportional(8000, prepare);
}

/// Chunks of 16 blocks each, and whatever else the document holds of them.
NVHDX::CBlocks Model(std::uint64_t chunks) {
    NVHDX::CBlocks blocks;
    blocks.ratio = 16;
    blocks.chunks.resize(chunks);
    for (NVHDX::CBlockChunk& chunk : blocks.chunks) {
        chunk.Init(16);
        for (std::uint64_t block = 0; block < 16; ++block) {
            chunk.InitPayloadBlock(NVHDX::CPayloadBlock::FullyPresent, block);
        }
        chunk.SetNoSectorBitmap();
    }
    return blocks;
}

TEST(Growth, OfASavedModel) {
    const CTemporaryFolder folder;
    const CPrepare prepare = [&folder](std::uint64_t size) -> CCall {
        return [name = (folder / (std::to_string(size) + ".xml")).wstring(),
                model = std::make_shared<NVHDX::CBlocks>(Model(size))] {
            NVHDX::CFileParameters params;
            NVHDX::VHDXMetadataSerialize(name, *model, params);
            NVHDX::CBlocks read;
            NVHDX::VHDXMetadataDeserialize(name, read, params);
            EXPECT_EQ(read.chunks.size(), model->chunks.size());
        };
    };
    ExpectProportional(100, prepare);
}

/// The most memory that was in use while the ranges of a file were read, for each byte of the file.
double PeakOfReading(const std::string& text) {
    const CTemporaryFolder folder;
    const std::string file = (folder / "ranges").string();
    std::ofstream(file, std::ios::binary) << text;
    const CWork work = WorkOf([&file] {
        try {
            (void)NTool::ReadRanges(file);
        } catch (const NTool::CCommandFailure&) {  // some are refused for their length
        }
    });
    return static_cast<double>(work.peak) / static_cast<double>(text.size());
}

TEST(Growth, OfRangesInJsonTakesLittleMoreThanTheirMap) {
    EXPECT_LT(PeakOfReading(JsonRanges(50000)), 2);
}

TEST(Growth, OfAnyDocumentOfRangesIsAtMostThreeTimesItsSize) {
    const std::string range = R"("offset":0,"length":1)";
    const std::string documents[] = {
        "[" + std::string(21200000, ' ') + "]",
        "[{" + range + R"(,"x":[)" + Repeated(1200000, "[],") + "[]]}]",
        "[{" + range + R"(,"x":[)" + Repeated(1200000, "1,") + "1]}]",
        "[{" + range + R"(,"x":")" + std::string(21200000, 'x') + "\"}]",
        "[{\"" + std::string(21200000, 'x') + "\":0," + range + "}]",
        "[{" + Repeated(60000, R"("offset":0,)") + range + "}]",
        "[{" + Repeated(60000, R"("offset":[{}],)") + range + "}]",
        "0,1\n" + Repeated(1200000, " \n"),
        std::string(21200000, ' ') + "0,1",
    };
    for (const std::string& document : documents) {
        EXPECT_LT(PeakOfReading(document), 3) << document.substr(0, 60);
    }
}

/// A node of the map for each range is what the first library asks for.
TEST(Growth, OfRangesInLinesTakesNoMoreThanTheirMap) {
    constexpr std::uint64_t count = 50000;
    constexpr double pieces = 2 * 65536;
    constexpr double node = 4 * sizeof(void*) + sizeof(NTool::CRanges::value_type);
    const std::string text = LineRanges(count);
    EXPECT_LT(PeakOfReading(text) * static_cast<double>(text.size()), count * node + 2 * pieces);
}

}  // namespace
}  // namespace NTest
