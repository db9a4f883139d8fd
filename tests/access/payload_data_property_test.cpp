#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <vhdx_parser/payload_data.h>

#include "tests/access/payload_model.h"
#include "tests/blocks/opened_container.h"
#include "tests/support/trace_capture.h"

namespace NVHDX {
namespace {

using namespace NTest;

constexpr std::uint64_t blockSize = 64 * KiB;
constexpr std::uint64_t diskSize = 139 * blockSize + 12288;

/// A disk of 140 blocks, 128 to the chunk, a few of which have data, and a plain model of its
/// bytes.
class CDisk {
public:
    explicit CDisk(const std::vector<std::uint64_t>& present)
        : m_present(present.begin(), present.end()), m_opened(Container(present)) {
        RC_ASSERT(m_opened.accessor.LoadBlocks(m_blocks, m_params, m_opened.stream));
        m_opened.Buffer().ClearRecords();
        RC_ASSERT(m_blocks.chunks.size() == 2u);
        m_bytes.resize(140 * blockSize);
        for (const std::uint64_t block : m_present) {
            const CBytes data = Pattern(block, block * blockSize, blockSize);
            std::copy(data.begin(), data.end(),
                      m_bytes.begin() + static_cast<std::ptrdiff_t>(block * blockSize));
        }
    }

    CBytes Bytes(std::uint64_t offset, std::uint64_t count) const {
        const auto first = m_bytes.begin() + static_cast<std::ptrdiff_t>(offset);
        return CBytes(first, first + static_cast<std::ptrdiff_t>(count));
    }

    /// Only blocks with data keep what is written to them.
    void Write(std::uint64_t offset, const CBytes& bytes) {
        for (const std::uint64_t block : m_present) {
            const std::uint64_t begin = std::max(offset, block * blockSize);
            const std::uint64_t end = std::min(offset + bytes.size(), (block + 1) * blockSize);
            for (std::uint64_t i = begin; i < end; ++i) {
                m_bytes[i] = bytes[i - offset];
            }
        }
    }

    bool Request(std::uint64_t offset, std::uint64_t count, CBuffer& buffer, bool read) {
        m_opened.Buffer().ClearRecords();
        return RequestPayloadData(m_opened.stream, m_blocks, offset, count, m_params, buffer, read);
    }

    std::vector<std::pair<std::int64_t, std::uint64_t>> RealOffsets(std::uint64_t offset,
                                                                    std::uint64_t count) const {
        return RequestPayloadRealOffsets(m_blocks, offset, count, m_params);
    }

    /// The pieces of a range that have data.
    std::vector<CPortion> PresentPieces(std::uint64_t offset, std::uint64_t count) const {
        std::vector<CPortion> pieces;
        for (const auto& [position, length] : RealOffsets(offset, count)) {
            if (position != -1) {
                pieces.push_back(Portion(static_cast<std::uint64_t>(position), length));
            }
        }
        return pieces;
    }

    std::uint64_t RealOffset(std::uint64_t offset) const {
        return RequestPayloadRealOffset(m_blocks, offset, 1, m_params);
    }
    bool IsPresent(std::uint64_t offset) const { return m_present.count(offset / blockSize) != 0; }
    CTestStreamBuffer& Stream() { return m_opened.Buffer(); }
    const CSparseImage& Image() const { return m_opened.image; }

private:
    static CImageBuilder Container(const std::vector<std::uint64_t>& present) {
        CImageBuilder builder;
        builder.BlockSize(blockSize).SectorSize(1).VirtualSize(diskSize);
        for (const std::uint64_t block : present) {
            builder.AllocateData(block, block);
        }
        return builder;
    }

    std::set<std::uint64_t> m_present;
    COpenedContainer m_opened;
    CBlocks m_blocks;
    CFileParameters m_params;
    CBytes m_bytes;
};

/// In any order, at the start, around the border of the chunks, and at the end.
std::vector<std::uint64_t> AnyPresentBlocks() {
    return *rc::gen::unique<std::vector<std::uint64_t>>(
        *rc::gen::inRange<std::size_t>(0, 8),
        rc::gen::element<std::uint64_t>(0, 1, 2, 3, 125, 126, 127, 128, 129, 130, 138, 139));
}

/// A range up to the end of the last block, often at or next to the border of a block.
std::pair<std::uint64_t, std::uint64_t> AnyRange() {
    const std::uint64_t block =
        *rc::gen::element<std::uint64_t>(0, 1, 2, 3, 124, 126, 127, 128, 129, 138, 139);
    const std::uint64_t within = *rc::gen::oneOf(
        rc::gen::element<std::uint64_t>(0, 1, 511, 512, blockSize - 512, blockSize - 1),
        rc::gen::inRange<std::uint64_t>(0, blockSize));
    const std::uint64_t offset = block * blockSize + within;
    const std::uint64_t rest = 140 * blockSize - offset;
    const std::uint64_t count = *rc::gen::oneOf(
        rc::gen::element<std::uint64_t>(0, 1, 512, blockSize - within, blockSize - within + 1,
                                        blockSize, 2 * blockSize - within),
        rc::gen::inRange<std::uint64_t>(0, 4 * blockSize),
        rc::gen::inRange<std::uint64_t>(0, 140 * blockSize));
    return {offset, std::min(count, rest)};
}

RC_GTEST_PROP(PayloadDataProperty, ReadsWhatThePlainModelHolds, ()) {
    CDisk disk(AnyPresentBlocks());
    const auto range = AnyRange();
    const CBytes stale(*rc::gen::inRange<std::size_t>(0, 2 * blockSize), 0xEE);
    WithoutAndWithAWriter([&] {
        const auto [offset, count] = range;
        CBuffer buffer = BufferOf(stale);
        RC_ASSERT(disk.Request(offset, count, buffer, true));
        RC_ASSERT(First(buffer, count) == disk.Bytes(offset, count));
        RC_ASSERT(disk.Stream().Reads() == disk.PresentPieces(offset, count));
        RC_ASSERT(disk.Stream().Writes().empty());
    });
}

RC_GTEST_PROP(PayloadDataProperty, RealOffsetsAreWhereTheBytesLie, ()) {
    CDisk disk(AnyPresentBlocks());
    const auto [offset, count] = AnyRange();
    const auto pieces = disk.RealOffsets(offset, count);
    {
        const CTraceCapture listened;
        RC_ASSERT(disk.RealOffsets(offset, count) == pieces);
    }
    std::uint64_t place = offset;
    for (const auto& [position, length] : pieces) {
        RC_ASSERT(place / blockSize ==
                  (place + std::max<std::uint64_t>(length, 1) - 1) / blockSize);
        RC_ASSERT((position != -1) == disk.IsPresent(place));
        if (position == -1) {
            RC_ASSERT(disk.RealOffset(place) == place);
        } else {
            RC_ASSERT(disk.RealOffset(place) == static_cast<std::uint64_t>(position));
            RC_ASSERT(disk.Image().Bytes(static_cast<std::uint64_t>(position), length) ==
                      disk.Bytes(place, length));
        }
        place += length;
        RC_ASSERT(place == offset + count || place % blockSize == 0u);
    }
    RC_ASSERT(place == offset + count);
}

RC_GTEST_PROP(PayloadDataProperty, WhatIsWrittenIsReadBackWhereTheDiskHasData, ()) {
    CDisk disk(AnyPresentBlocks());
    const CSparseImage before = disk.Image();
    const auto range = AnyRange();
    std::uint64_t seed = 1000;
    WithoutAndWithAWriter([&] {
        const auto [offset, count] = range;
        const CBytes written = Pattern(seed++, offset, count);
        CBuffer source = BufferOf(written);
        RC_ASSERT(disk.Request(offset, count, source, false));
        RC_ASSERT(First(source, count) == written);
        RC_ASSERT(disk.Stream().Writes() == disk.PresentPieces(offset, count));
        RC_ASSERT(disk.Image().Size() == before.Size());
        disk.Write(offset, written);

        // A range that reaches beyond both sides shows that nothing else was touched.
        const std::uint64_t first = offset < 1000 ? 0 : offset - 1000;
        const std::uint64_t length = std::min(offset + count + 1000, 140 * blockSize) - first;
        CBuffer buffer;
        RC_ASSERT(disk.Request(first, length, buffer, true));
        RC_ASSERT(First(buffer, length) == disk.Bytes(first, length));
    });
}

}  // namespace
}  // namespace NVHDX
