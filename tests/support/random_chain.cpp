#include "tests/support/random_chain.h"

#include <algorithm>

namespace NTest {

CChainModel CRandomChain::Make() {
    CChainModel chain;
    const std::uint32_t sectorSize = Below(2) ? 512 : 4096;
    const std::uint64_t disks = 1 + Below(5);
    for (std::uint64_t disk = 0; disk < disks; ++disk) {
        chain.AddDisk(CDiskShape()
                          .SectorSize(sectorSize)
                          .BlockSize(MiB << Below(3))
                          .Size(sectorSize * (1 + Below(7 * MiB / sectorSize))));
        FillBlocks(chain);
    }
    return chain;
}

void CRandomChain::FillBlocks(CChainModel& chain) {
    for (std::uint64_t block = 0; block < chain.BlockCount(); ++block) {
        FillBlock(chain, block);
    }
}

void CRandomChain::FillBlock(CChainModel& chain, std::uint64_t block) {
    const bool hasParent = chain.Count() > 1;
    const std::uint64_t seed = m_random();
    switch (Below(hasParent ? 8 : 5)) {
        case 0:
        case 1:
            break;
        case 2:
        case 3:
            chain.Present(block, seed);
            break;
        case 4:
            chain.Empty(block, static_cast<CChainModel::EEmpty>(1 + Below(3)), Below(2) != 0);
            break;
        default:
            chain.Partial(block, seed, Sectors(chain.Shape().blockSize / chain.Shape().sectorSize));
    }
}

std::set<std::uint64_t> CRandomChain::Sectors(std::uint64_t count) {
    std::set<std::uint64_t> sectors;
    for (std::uint64_t run = Below(6); run != 0; --run) {
        const std::uint64_t first = Below(count);
        const std::uint64_t end = std::min(count, first + 1 + Below(Below(2) ? 3 : 300));
        for (std::uint64_t sector = first; sector < end; ++sector) {
            sectors.insert(sector);
        }
    }
    return sectors;
}

}  // namespace NTest
