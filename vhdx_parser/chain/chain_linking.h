#ifndef VHDX_PARSER_CHAIN_CHAIN_LINKING_H
#define VHDX_PARSER_CHAIN_CHAIN_LINKING_H

/// Groups the opened disks of a folder into chains, by the linking rule.

#include <vector>

#include "vhdx_parser/chain/chain_candidate.h"

namespace NVHDX {

/// A base disk followed by its differencing disks, oldest first.
template <class TChar>
using TChain = std::vector<CChainCandidate<TChar>>;

/// Whether each differencing disk names a disk of the list other than itself.
template <class TChar>
bool EveryParentIsPresent(const std::vector<CChainCandidate<TChar>>& candidates);

/// Takes the candidates into the chains that the rule makes of them. Does not return when it leaves
/// a disk unattached.
template <class TChar>
std::vector<TChain<TChar>> LinkChains(std::vector<CChainCandidate<TChar>>& candidates);

}  // namespace NVHDX

#endif
