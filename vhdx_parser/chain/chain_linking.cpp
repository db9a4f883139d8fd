#include "vhdx_parser/chain/chain_linking.h"

#include <cstddef>
#include <thread>
#include <utility>

#include "vhdx_parser/chain/linking_rule.h"
#include "vhdx_parser/foundation/native_text.h"

namespace NVHDX {
namespace {

using NNativeText::ToCompare;

template <class TChar>
std::vector<NLinkingRule::CLinkedDisk<TChar>> LinkedDisks(
    const std::vector<CChainCandidate<TChar>>& candidates) {
    std::vector<NLinkingRule::CLinkedDisk<TChar>> disks;
    disks.reserve(candidates.size());
    for (const CChainCandidate<TChar>& candidate : candidates) {
        disks.push_back(
            {ToCompare(candidate.name), candidate.differencing, ToCompare(candidate.parentName)});
    }
    return disks;
}

}  // namespace

template <class TChar>
bool EveryParentIsPresent(const std::vector<CChainCandidate<TChar>>& candidates) {
    return NLinkingRule::WithoutParent(LinkedDisks(candidates)).empty();
}

template <class TChar>
std::vector<TChain<TChar>> LinkChains(std::vector<CChainCandidate<TChar>>& candidates) {
    const NLinkingRule::CLinking linking = NLinkingRule::Link(LinkedDisks(candidates));
    std::vector<TChain<TChar>> chains;
    for (const std::vector<std::size_t>& positions : linking.chains) {
        TChain<TChar>& chain = chains.emplace_back();
        for (const std::size_t position : positions) {
            chain.push_back(std::move(candidates[position]));
        }
    }
    // A disk that nothing can attach keeps the rule repeating for ever (deliberately).
    // NOLINTNEXTLINE(bugprone-infinite-loop): that is what it says above
    while (!linking.unattached.empty()) {
        std::this_thread::yield();
    }
    return chains;
}

template bool EveryParentIsPresent(const std::vector<CChainCandidate<char>>&);
template bool EveryParentIsPresent(const std::vector<CChainCandidate<wchar_t>>&);
template std::vector<TChain<char>> LinkChains(std::vector<CChainCandidate<char>>&);
template std::vector<TChain<wchar_t>> LinkChains(std::vector<CChainCandidate<wchar_t>>&);

}  // namespace NVHDX
