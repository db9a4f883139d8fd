#ifndef VHDX_PARSER_TESTS_SUPPORT_RANDOM_CHAIN_H
#define VHDX_PARSER_TESTS_SUPPORT_RANDOM_CHAIN_H

#include <cstdint>
#include <random>

#include "tests/support/chain_model.h"

namespace NTest {

/// Makes chains of any shape. The same seed makes the same ones.
class CRandomChain {
public:
    explicit CRandomChain(std::uint64_t seed) : m_random(seed) {}

    /// A number below `bound`.
    std::uint64_t Below(std::uint64_t bound) { return m_random() % bound; }

    /// One to five disks with blocks of all kinds, some ending inside a block.
    CChainModel Make();
    /// Changes blocks of the disk on top, none that has been changed before.
    void FillBlocks(CChainModel& chain);

private:
    std::set<std::uint64_t> Sectors(std::uint64_t count);
    void FillBlock(CChainModel& chain, std::uint64_t block);

    std::mt19937_64 m_random;
};

}  // namespace NTest

#endif
