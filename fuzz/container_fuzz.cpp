#include <vhdx_parser/vhdx_parser.h>

#include "fuzz/memory_file.h"
#include "fuzz/patches.h"
#include "fuzz/target.h"

// Opens a patched disk and asks for every metadata item, the block model and the raw table.

namespace {

NFuzz::CMemoryFile MakeFile(const NTest::CImageBuilder& builder) {
    return NFuzz::CMemoryFile(builder.Build().Bytes(0, NFuzz::NPlace::end));
}

/// The first byte chooses the disk and whether it is cut, at the place that follows.
NFuzz::CMemoryFile& PatchedDisk(NFuzz::CInput& input) {
    static NFuzz::CMemoryFile base = MakeFile(NFuzz::BaseDisk());
    static NFuzz::CMemoryFile differencing = MakeFile(NFuzz::DifferencingDisk());
    const std::uint64_t kind = input.Number(1);
    NFuzz::CMemoryFile& disk = (kind & 1) != 0 ? differencing : base;
    disk.Restore();
    if ((kind & 2) != 0) {
        disk.Cut(input.Number(3));
    }
    NFuzz::ApplyPatches(disk, input);
    return disk;
}

template <class TItem>
void Retrieve(const NVHDX::CAccessor& accessor, NFuzz::CMemoryStream& stream) {
    TItem item;
    stream.clear();
    (void)accessor.Retrieve(item, stream);
}

}  // namespace

void RunTarget(const std::uint8_t* data, std::size_t size) {
    using namespace NVHDX;
    NFuzz::CInput input(data, size);
    NFuzz::CMemoryStream stream(PatchedDisk(input));
    CAccessor accessor;
    if (!accessor.Entry(stream)) {
        return;
    }
    Retrieve<NMetadata::CFileParameters>(accessor, stream);
    Retrieve<NMetadata::CVirtualDiskSize>(accessor, stream);
    Retrieve<NMetadata::CPage83Data>(accessor, stream);
    Retrieve<NMetadata::CLogicalSectorSize>(accessor, stream);
    Retrieve<NMetadata::CPhysicalSectorSize>(accessor, stream);
    Retrieve<NMetadata::CParent>(accessor, stream);
    CBlocks blocks;
    CFileParameters params;
    stream.clear();
    if (accessor.LoadBlocks(blocks, params, stream)) {
        CDynamicAllocBuffer<unsigned char, unsigned __int64> buffer;
        stream.clear();
        NFuzz::Require(accessor.RequestBATData(stream, buffer, params, true));
        // Only a differencing disk of size 0 has a table without entries.
        NFuzz::Require(blocks.ratio != 0 && blocks.chunks.empty() == (params.virtdisksz == 0));
    }
}
