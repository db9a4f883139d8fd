#ifndef VHDX_PARSER_CHAIN_CHAIN_LINKING_H
#define VHDX_PARSER_CHAIN_CHAIN_LINKING_H

/// Groups the disks of a folder into chains by the names of their parents.

#include <vector>

#include "vhdx_parser/chain/chain_candidate.h"

namespace NVHDX {

/// A base disk followed by its differencing disks, oldest first.
template <class TChar>
using TChain = std::vector<CChainCandidate<TChar>>;

/// Whether each differencing disk names a disk of the list other than itself.
template <class TChar>
bool EveryParentIsPresent(const std::vector<CChainCandidate<TChar>>& candidates);

/// Takes the candidates into one chain for each base disk, in list order.
///
/// A differencing disk is attached when the tip of a chain is its parent, the earliest chain and
/// the first such disk of the list first. Does not return when some disk can never be attached: its
/// parent has another child before it, is no part of a chain that starts with a base disk, or does
/// not exist.
template <class TChar>
std::vector<TChain<TChar>> LinkChains(std::vector<CChainCandidate<TChar>>& candidates);

}  // namespace NVHDX

#endif
