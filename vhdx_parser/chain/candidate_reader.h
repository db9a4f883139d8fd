#ifndef VHDX_PARSER_CHAIN_CANDIDATE_READER_H
#define VHDX_PARSER_CHAIN_CANDIDATE_READER_H

#include <string>
#include <vector>

#include "vhdx_parser/chain/chain_candidate.h"

namespace NVHDX {

/// Opens the disk at `path`, reads its parent locator and appends it to `candidates`. False, after
/// at most one line of its own at level 3, when the disk cannot be part of a chain; the file is
/// then closed.
template <class TChar>
bool ReadCandidate(std::vector<CChainCandidate<TChar>>& candidates, std::basic_string<TChar> path);

/// `ReadCandidate` for every file of `folder` whose extension is exactly "vhdx" or "avhdx", sorted
/// by name. One file that cannot be read fails the whole folder.
template <class TChar>
bool ReadCandidates(std::vector<CChainCandidate<TChar>>& candidates,
                    const std::basic_string<TChar>& folder);

}  // namespace NVHDX

#endif
