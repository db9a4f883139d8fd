#include <algorithm>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vhdx_parser/vhdx_parser.h>

#include "tests/support/image_builder.h"
#include "tests/support/test_stream.h"
#include "tests/support/trace_capture.h"

// The stream fails or comes up short at every seek, read and write of every request.

namespace NTest {
namespace {

/// A differencing disk with a log, a bitmap and data, opened and loaded through a good stream.
struct CFaultyDisk {
    CFaultyDisk() {
        EXPECT_TRUE(accessor.Entry(stream));
        EXPECT_TRUE(accessor.LoadBlocks(blocks, params, stream));
    }

    static CImageBuilder Builder() {
        return CImageBuilder()
            .Differencing()
            .ParentLocator({{u"relative_path", u".\\base.vhdx"}})
            .Log(NGuid::unknown, CLogEntry().Bytes())
            .AllocateSectorBitmap(0, CBytes{1, 2, 3})
            .AllocateData(0, 1)
            .AllocatePartialData(2, 2);
    }

    CInputOutputStream stream{Builder().Build()};
    NVHDX::CAccessor accessor;
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters params;
    NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64> buffer;
    std::unique_ptr<NVHDX::CSectorBitmapArea> area = std::make_unique<NVHDX::CSectorBitmapArea>();
};

using CEnds = std::vector<std::string>;

/// What comes of the request when its n-th seek, read or write fails: the lines of level 3, one
/// behind the other. The number of ends is the number of seeks, reads or writes of the request.
struct CFaultyRequest {
    std::string name;
    std::function<bool(CFaultyDisk&)> run;
    CEnds onSeek;
    CEnds onRead;
    CEnds onWrite;

    friend std::ostream& operator<<(std::ostream& out, const CFaultyRequest& request) {
        return out << request.name;
    }
};

/// The request succeeded in spite of the failure.
const std::string NoMatter = "no matter";

bool Open(CFaultyDisk& disk) {
    NVHDX::CAccessor accessor;
    return accessor.Entry(disk.stream);
}

template <class TItem>
bool Retrieve(CFaultyDisk& disk) {
    TItem item;
    return disk.accessor.Retrieve(item, disk.stream);
}

bool Load(CFaultyDisk& disk) {
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters params;
    blocks.ratio = 77;
    const bool isLoaded = disk.accessor.LoadBlocks(blocks, params, disk.stream);
    EXPECT_TRUE(isLoaded || (blocks.ratio == 77 && params.logsectsz == 0xFFFF));
    return isLoaded;
}

template <bool read>
bool RawTable(CFaultyDisk& disk) {
    disk.buffer = {};
    disk.buffer.Reserve(4097 * 8);
    std::fill_n(disk.buffer.data, disk.buffer.size, static_cast<unsigned char>(0));
    return disk.accessor.RequestBATData(disk.stream, disk.buffer, disk.params, read);
}

template <bool read>
bool Data(CFaultyDisk& disk) {
    disk.buffer.Reserve(3 * MiB);
    return RequestPayloadData(disk.stream, disk.blocks, 512, 2 * MiB, disk.params, disk.buffer,
                              read);
}

template <bool read>
bool Bitmap(CFaultyDisk& disk) {
    return RequestSectorBitmapData(disk.stream, disk.blocks, 0, *disk.area, read);
}

std::vector<CFaultyRequest> Requests() {
    using namespace NVHDX::NMetadata;
    const std::string headers = "HDR item not selected";
    const std::string noLog = "LOG bad position";
    const std::string noLogEntry = "LOG ENTRY HEADER failed Stream Portion Reading";
    const std::string noRegions = "REG_TBL_HDR not iteration";
    const std::string noRegion = "MAP_REGION failed Stream Portion Reading";
    const std::string noItem = "METADATA_REGION bad position";
    const std::string noItems = "METADATA_REGION failed Stream Portion Reading";
    const auto position = [](const std::string& tag) {
        return CEnds{tag + " bad MetadataPosition"};
    };
    const auto reading = [](const std::string& tag) {
        return CEnds{tag + " failed Stream Portion Reading"};
    };
    const std::string parameters = "FILE_PARAMETERS_METADATA";
    const std::string size = "VIRTUAL_DISK_SIZE_METADATA";
    const std::string page83Data = "PAGE_83_DATA_METADATA";
    const std::string logical = "LOGICAL_SECTOR_SIZE_METADATA";
    const std::string physical = "PHYSICAL_SECTOR_SIZE_METADATA";
    const std::string parent = "PARENT_METADATA";
    // The data lies behind the bitmap, which is at 4 MiB: block 0 at 5 MiB, block 2 at 6 MiB.
    const auto data = [](const std::string& count, const std::string& at) {
        return "File is in failed state after request data with size \"" + count +
               "\"; Requested data. Failed to process with offset \"" + at + "\"";
    };
    const CEnds pieces = {data("1048064", "5243392"), data("512", "6291456")};
    const std::string bitmap =
        "File is in failed state after request data with size \"1048576\"; "
        "Requested sector bitmap. Failed to ";
    return {
        // The size is asked at the log: a stream that cannot tell it is read all the same, but one
        // that does not come back to its place is not.
        {"Entry",
         Open,
         {headers, headers, noLog, NoMatter, noLogEntry, noRegions, noItem},
         {"Reading failed Stream Portion Reading", headers, headers, noLogEntry, noRegions,
          noRegion, noRegion, noItems, noItem, noItem, noItem, noItem, noItem, noItem},
         {}},
        {"FileParameters",
         Retrieve<CFileParameters>,
         position(parameters),
         reading(parameters),
         {}},
        {"VirtualDiskSize", Retrieve<CVirtualDiskSize>, position(size), reading(size), {}},
        {"Page83Data", Retrieve<CPage83Data>, position(page83Data), reading(page83Data), {}},
        {"LogicalSectorSize",
         Retrieve<CLogicalSectorSize>,
         position(logical),
         reading(logical),
         {}},
        {"PhysicalSectorSize",
         Retrieve<CPhysicalSectorSize>,
         position(physical),
         reading(physical),
         {}},
        // A key that cannot be reached or read has no line.
        {"ParentLocator",
         Retrieve<CParent>,
         {parent + " bad MetadataPosition", "", parent + " failed istreamstr Reading"},
         {parent + " failed Stream Portion Reading", parent + " failed Stream Portion Reading", "",
          parent + " failed istreamstr Reading"},
         {}},
        {"LoadBlocks",
         Load,
         {logical + " bad MetadataPosition", parameters + " bad MetadataPosition",
          size + " bad MetadataPosition", ""},
         {logical + " failed Stream Portion Reading", parameters + " failed Stream Portion Reading",
          size + " failed Stream Portion Reading", ""},
         {}},
        {"ReadTheRawTable", RawTable<true>, {""}, {""}, {}},
        {"WriteTheRawTable", RawTable<false>, {""}, {}, {""}},
        {"ReadData", Data<true>, pieces, pieces, {}},
        {"WriteData", Data<false>, pieces, {}, pieces},
        {"ReadASectorBitmap", Bitmap<true>, {bitmap + "load data"}, {bitmap + "load data"}, {}},
        {"WriteASectorBitmap", Bitmap<false>, {bitmap + "save data"}, {}, {bitmap + "save data"}},
    };
}

class StreamFault : public testing::TestWithParam<CFaultyRequest> {
protected:
    /// The stream stands at its start, as an opening wants it, when the failure is armed.
    std::string EndWith(const std::function<void(CTestStreamBuffer&)>& arm) {
        disk.stream.Buffer().FailSeek(0);
        disk.stream.clear();
        disk.stream.seekg(0);
        disk.stream.Buffer().ClearRecords();
        disk.stream.Buffer().FailRead(0);
        disk.stream.Buffer().FailWrite(0);
        arm(disk.stream.Buffer());
        const CTraceCapture trace;
        if (GetParam().run(disk)) {
            return NoMatter;
        }
        std::string lines;
        for (const CTraceLine& line : trace.LinesAt(3)) {
            lines.append(lines.empty() ? "" : "; ").append(line.text);
        }
        return lines;
    }

    void ExpectSuccess() {
        EXPECT_EQ(EndWith([](CTestStreamBuffer&) {}), NoMatter);
    }

    template <class TArm>
    void ExpectEnds(const CEnds& expected, std::size_t count, TArm arm) {
        EXPECT_EQ(count, expected.size());
        for (std::uint64_t n = 1; n <= count; ++n) {
            const std::string end = EndWith([&](CTestStreamBuffer& stream) { arm(stream, n); });
            EXPECT_EQ(end, n <= expected.size() ? expected[n - 1] : "?") << "the " << n << "th";
            ExpectSuccess();
        }
    }

    CFaultyDisk disk;
};

TEST_P(StreamFault, EndsAsToldAndASecondRequestOnAGoodStreamWorks) {
    ExpectSuccess();
    CTestStreamBuffer& stream = disk.stream.Buffer();
    const std::size_t seeks = stream.Seeks().size();
    const std::size_t reads = stream.Reads().size();
    const std::size_t writes = stream.Writes().size();
    const auto failSeek = [](CTestStreamBuffer& buffer, std::uint64_t n) { buffer.FailSeek(n); };
    ExpectEnds(GetParam().onSeek, seeks, failSeek);
    for (const std::uint64_t moved : {0u, 1u, 3u}) {
        ExpectEnds(GetParam().onRead, reads,
                   [&](CTestStreamBuffer& buffer, std::uint64_t n) { buffer.FailRead(n, moved); });
        ExpectEnds(GetParam().onWrite, writes,
                   [&](CTestStreamBuffer& buffer, std::uint64_t n) { buffer.FailWrite(n, moved); });
    }
}

INSTANTIATE_TEST_SUITE_P(Requests, StreamFault, testing::ValuesIn(Requests()),
                         [](const auto& request) { return request.param.name; });

}  // namespace
}  // namespace NTest
