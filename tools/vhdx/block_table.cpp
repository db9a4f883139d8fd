#include "tools/vhdx/block_table.h"

#include <algorithm>
#include <vector>

#include "host/little_endian.h"

namespace NTool {

namespace {

constexpr std::size_t entrySize = 8;

/// Takes the table's bytes and tells payload entries from the sector bitmap entry behind each
/// chunk's.
class CEntrySorter {
public:
    CEntrySorter(std::uint64_t ratio, const CBlockTable::CReport& payload,
                 const CBlockTable::CReport& sectorBitmaps)
        : m_ratio(ratio), m_leftInChunk(ratio), m_payload(payload), m_bitmaps(sectorBitmaps) {}

    void Add(std::span<const unsigned char> bytes) {
        m_words.resize(bytes.size() / entrySize);
        for (std::size_t i = 0; i < m_words.size(); ++i) {
            m_words[i] = NVHDXHost::Load64(bytes.data() + i * entrySize);
        }
        for (std::span<const std::uint64_t> words = m_words; !words.empty();) {
            words = words.subspan(m_leftInChunk == 0 ? AddBitmap(words) : AddPayload(words));
        }
    }

private:
    std::size_t AddBitmap(std::span<const std::uint64_t> words) {
        m_bitmaps(words.first(1));
        m_leftInChunk = m_ratio;
        return 1;
    }
    std::size_t AddPayload(std::span<const std::uint64_t> words) {
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(m_leftInChunk, words.size()));
        m_payload(words.first(count));
        m_leftInChunk -= count;
        return count;
    }

    std::uint64_t m_ratio;
    std::uint64_t m_leftInChunk;
    const CBlockTable::CReport& m_payload;
    const CBlockTable::CReport& m_bitmaps;
    std::vector<std::uint64_t> m_words;
};

/// Hands over as many of the words as are left, and counts them.
std::span<const std::uint64_t> TakeLeft(std::span<const std::uint64_t> words, std::uint64_t& left) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, words.size()));
    left -= count;
    return words.first(count);
}

}  // namespace

CBlockTable::CBlockTable(CDisk& disk, const CReport& report) : m_disk(disk) {
    // Somebody who follows the library's trace wants its lines about every block, and they come
    // from loading.
    disk.HasSavedModel() || disk.IsTraced() ? LoadModel(report) : Load(report);
}

void CBlockTable::Load(const CReport& report) {
    const CGeometry geometry = m_disk.Geometry();
    m_params.payloadblksz = geometry.blockSize;
    m_params.logsectsz = geometry.sectorSize;
    m_params.virtdisksz = geometry.virtualSize;
    m_params.bDifferencing = geometry.hasParent;
    m_ratio = geometry.ratio;
    m_blockCount = BlocksOf(m_params.virtdisksz, m_params.payloadblksz);

    std::uint64_t blocksLeft = m_blockCount;
    bool badBitmap = false;
    Pass(
        [&](std::span<const std::uint64_t> words) {
            const std::span<const std::uint64_t> onDisk = TakeLeft(words, blocksLeft);
            m_summary.Add(onDisk);
            m_summary.AddPastEnd(words.subspan(onDisk.size()));
            report(onDisk);
        },
        [&](std::span<const std::uint64_t> words) {
            const std::uint64_t state = words.front() & CBlockWord::stateMask;
            badBitmap = badBitmap || (state != 0 && state != 6);
        });
    CheckStates(badBitmap);
    m_params.maxFileOffset = (m_summary.LargestOffset() << 20) + m_params.payloadblksz;
    m_params.lastPayloadBlockIndex = m_summary.LargestOffsetIndex();
}

/// Only a parent can have the other sectors of a block that is partially present, and only with a
/// parent sector bitmap entries say anything.
void CBlockTable::CheckStates(bool badBitmap) const {
    const unsigned needParent = 0b1000'0000;
    const unsigned refused =
        CBlockWord::meaninglessStates | (m_params.bDifferencing ? 0 : needParent);
    if (m_summary.HasAny(refused) || (m_params.bDifferencing && badBitmap)) {
        throw CFailure(NVHDXHost::NoBlockTable);
    }
}

void CBlockTable::LoadModel(const CReport& report) {
    m_model = m_disk.LoadModel();
    m_params = m_model->params;
    m_ratio = m_model->blocks.ratio;
    m_blockCount = m_model->BlockCount();
    ForEach([&](std::span<const std::uint64_t> words) {
        m_summary.Add(words);
        report(words);
    });
}

void CBlockTable::ForEach(const CReport& report) {
    std::uint64_t blocksLeft = m_blockCount;
    const CReport onDisk = [&](std::span<const std::uint64_t> words) {
        report(TakeLeft(words, blocksLeft));
    };
    if (!m_model) {
        Pass(onDisk, Ignore);
        return;
    }
    std::vector<std::uint64_t> words;
    for (const NVHDX::CBlockChunk& chunk : m_model->blocks.chunks) {
        words.clear();
        for (const NVHDX::CPayloadBlock& block : chunk.getPayloadBlocks()) {
            words.push_back(CBlockWord::Of(block));
        }
        onDisk(words);
    }
}

void CBlockTable::Pass(const CReport& payload, const CReport& sectorBitmaps) {
    CEntrySorter sorter(m_ratio, payload, sectorBitmaps);
    m_disk.PassTable(m_params,
                     [&sorter](std::span<const unsigned char> bytes) { sorter.Add(bytes); });
}

}  // namespace NTool
