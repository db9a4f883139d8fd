// Backs up the ranges of a disk that change tracking reports, while the disk may be in use: what
// its log still holds counts. Each range goes to its own offset of OUTPUT, the sector bitmaps of a
// checkpoint to OUTPUT.bitmap0, OUTPUT.bitmap1...:
// back_up_ranges DISK OUTPUT OFFSET LENGTH [OFFSET LENGTH]...

#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <string>

#include <vhdx_disk/vhdx_disk.h>
#include <vhdx_parser/vhdx_parser.h>

using NVHDXDisk::CFailure;
using NVHDXDisk::CReplayedStream;

struct CModel {
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters parameters;
};

bool Load(CModel& model, CReplayedStream& disk, CFailure& failure) {
    NVHDX::CAccessor accessor;
    NVHDXDisk::CGeometry geometry;  // sound, or there is no knowing how large a table it asks for
    if (!disk || !NVHDXDisk::OpenContainer(accessor, disk, failure) ||
        !NVHDXDisk::ReadGeometry(accessor, disk, disk.File()->Path(), geometry, failure)) {
        return false;
    }
    if (!accessor.LoadBlocks(model.blocks, model.parameters, disk)) {
        failure = NVHDXDisk::MakeFailure(CFailure::damaged, disk.File()->Path(),
                                         "the block allocation table cannot be used");
        return false;
    }
    return true;
}

// A range may end behind the disk: a tracker is not asked to know its end.
bool CopyRange(CReplayedStream& disk, const CModel& model, std::uint64_t offset,
               std::uint64_t length, std::ostream& output) {
    NVHDX::CDynamicAllocBuffer<unsigned char, std::uint64_t> bytes;
    const std::uint64_t size = model.parameters.virtdisksz;
    length = std::min(length, size - std::min(size, offset));
    while (length != 0) {
        const std::uint64_t count = std::min<std::uint64_t>(length, 1024 * 1024);
        if (!NVHDX::RequestPayloadData(disk, model.blocks, offset, count, model.parameters, bytes,
                                       true)) {
            return false;
        }
        output.seekp(static_cast<std::streamoff>(offset));
        output.write(reinterpret_cast<const char*>(bytes.data),
                     static_cast<std::streamsize>(count));
        offset += count;
        length -= count;
    }
    return static_cast<bool>(output);
}

bool CopyBitmap(CReplayedStream& disk, const CModel& model, std::uint64_t chunk,
                const std::string& path) {
    const auto bitmap = std::make_unique<NVHDX::CSectorBitmapArea>();
    std::ofstream output(path, std::ios::binary);
    return NVHDX::RequestSectorBitmapData(disk, model.blocks, static_cast<std::uint32_t>(chunk),
                                          *bitmap, true) &&
           output.write(reinterpret_cast<const char*>(bitmap->data()),
                        static_cast<std::streamsize>(bitmap->size()));
}

int main(int argc, char** argv) {
    if (argc < 5 || argc % 2 == 0) {
        std::cerr << "usage: back_up_ranges DISK OUTPUT OFFSET LENGTH [OFFSET LENGTH]...\n";
        return 2;
    }
    std::map<std::uint64_t, std::uint64_t> ranges;
    for (int i = 3; i < argc; i += 2) {
        ranges[std::stoull(argv[i])] = std::stoull(argv[i + 1]);
    }
    CFailure failure;
    CModel model;
    CReplayedStream disk(argv[1], NVHDXDisk::ELog::replay, failure);
    if (!Load(model, disk, failure)) {
        std::cerr << failure.text << '\n';
        return 1;
    }
    const std::string path = argv[2];
    std::ofstream output(path, std::ios::binary);
    bool copied = static_cast<bool>(output);
    NVHDX::IterateOverBlocks(
        model.blocks, ranges, model.parameters,
        [&](NVHDX::EIterationBlockDataType type, std::uint64_t number, auto place) {
            if (type == NVHDX::typePayloadRange) {
                copied = copied && CopyRange(disk, model, place.first, place.second, output);
            } else {
                copied = copied &&
                         CopyBitmap(disk, model, number, path + ".bitmap" + std::to_string(number));
            }
        });
    if (!copied || !output.flush()) {
        std::cerr << argv[1] << " was not copied to its end\n";
        return 1;
    }
    std::cerr << "log entries replayed in memory: " << disk.Log().entries << '\n';
    return 0;
}
