#include <iterator>
#include <utility>

#include <vhdx_parser/snapshot_chain.h>

#include "vhdx_parser/chain/candidate_reader.h"
#include "vhdx_parser/chain/chain_linking.h"

namespace NVHDX {
namespace NSnapshotCircuit {
namespace NBuilder {
namespace {

template <class TChar>
using TSource = CSource<std::shared_ptr<CFileObject<TChar>>>;

template <class TChar>
TSource<TChar> MakeSource(TChain<TChar>& chain) {
    TSource<TChar> source;
    for (auto candidate = chain.rbegin(); candidate != chain.rend(); ++candidate) {
        if (candidate->differencing) {
            source.snapshots.push_back(std::move(candidate->file));
        } else {
            source.base = std::move(candidate->file);
        }
    }
    return source;
}

template <class TChar>
bool Build(std::vector<TSource<TChar>>& sources, const std::basic_string<TChar>& folder) {
    std::vector<CChainCandidate<TChar>> candidates;
    if (!ReadCandidates(candidates, folder) || candidates.empty() ||
        !EveryParentIsPresent(candidates)) {
        return false;
    }
    auto chains = LinkChains(candidates);
    for (TChain<TChar>& chain : chains) {
        sources.push_back(MakeSource(chain));
    }
    return true;
}

}  // namespace

bool DoIt(std::vector<CSource<std::shared_ptr<CFileObject<char>>>>& sources,
          const std::string& folder) {
    return Build(sources, folder);
}

bool DoIt(std::vector<CSource<std::shared_ptr<CFileObject<wchar_t>>>>& sources,
          const std::wstring& folder) {
    return Build(sources, folder);
}

}  // namespace NBuilder
}  // namespace NSnapshotCircuit
}  // namespace NVHDX
