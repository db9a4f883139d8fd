#include "vhdx_parser/chain/chain_linking.h"

#include <algorithm>
#include <map>
#include <queue>
#include <string>
#include <thread>
#include <utility>

#include "vhdx_parser/foundation/native_text.h"

namespace NVHDX {
namespace {

using NNativeText::ToCompare;

/// Positions in the list of the candidates that wait for a parent, in list order, by the parent's
/// name. Ordered, because names come from files and could be chosen to collide in a hash table.
template <class TChar>
using TWaiting = std::map<std::basic_string<TChar>, std::queue<std::size_t>>;

template <class TChar>
std::vector<TChain<TChar>> StartChains(std::vector<CChainCandidate<TChar>>& candidates) {
    std::vector<TChain<TChar>> chains;
    for (CChainCandidate<TChar>& candidate : candidates) {
        if (!candidate.differencing) {
            chains.emplace_back().push_back(Take(candidate));
        }
    }
    return chains;
}

template <class TChar>
TWaiting<TChar> QueueByParent(const std::vector<CChainCandidate<TChar>>& candidates) {
    TWaiting<TChar> waiting;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (candidates[i].present) {
            waiting[ToCompare(candidates[i].parentName)].push(i);
        }
    }
    return waiting;
}

/// Attaches waiting children to the chain's tip until its tip has none; returns how many.
template <class TChar>
std::size_t Extend(TChain<TChar>& chain, TWaiting<TChar>& waiting,
                   std::vector<CChainCandidate<TChar>>& candidates) {
    const std::size_t before = chain.size();
    const auto childrenOfTip = [&] { return waiting.find(ToCompare(chain.back().name)); };
    for (auto children = childrenOfTip(); children != waiting.end() && !children->second.empty();
         children = childrenOfTip()) {
        chain.push_back(Take(candidates[children->second.front()]));
        children->second.pop();
    }
    return chain.size() - before;
}

}  // namespace

template <class TChar>
bool EveryParentIsPresent(const std::vector<CChainCandidate<TChar>>& candidates) {
    std::map<std::basic_string<TChar>, std::size_t> namesakes;
    for (const CChainCandidate<TChar>& candidate : candidates) {
        ++namesakes[ToCompare(candidate.name)];
    }
    return std::all_of(candidates.begin(), candidates.end(),
                       [&](const CChainCandidate<TChar>& candidate) {
                           const auto parent = ToCompare(candidate.parentName);
                           const auto parents = namesakes.find(parent);
                           const std::size_t self = parent == ToCompare(candidate.name) ? 1 : 0;
                           return !candidate.differencing ||
                                  (parents != namesakes.end() && parents->second > self);
                       });
}

template <class TChar>
std::vector<TChain<TChar>> LinkChains(std::vector<CChainCandidate<TChar>>& candidates) {
    std::vector<TChain<TChar>> chains = StartChains(candidates);
    TWaiting<TChar> waiting = QueueByParent(candidates);
    std::size_t remaining = candidates.size() - chains.size();
    // The pass starts again from the first chain after each attached disk. One walk gives the same:
    // a chain changes its tip only by attaching, so a chain that found nothing never finds more.
    for (TChain<TChar>& chain : chains) {
        remaining -= Extend(chain, waiting, candidates);
    }
    // A disk that nothing can attach keeps the pass repeating for ever (deliberately).
    // NOLINTNEXTLINE(bugprone-infinite-loop): that is what it says above
    while (remaining != 0) {
        std::this_thread::yield();
    }
    return chains;
}

template bool EveryParentIsPresent(const std::vector<CChainCandidate<char>>&);
template bool EveryParentIsPresent(const std::vector<CChainCandidate<wchar_t>>&);
template std::vector<TChain<char>> LinkChains(std::vector<CChainCandidate<char>>&);
template std::vector<TChain<wchar_t>> LinkChains(std::vector<CChainCandidate<wchar_t>>&);

}  // namespace NVHDX
