#ifndef VHDX_PARSER_CHAIN_CHAIN_CANDIDATE_H
#define VHDX_PARSER_CHAIN_CHAIN_CANDIDATE_H

#include <memory>
#include <string>
#include <utility>

#include <vhdx_parser/snapshot_chain.h>

namespace NVHDX {

/// One opened disk of a folder that waits for its place in a chain.
template <class TChar>
struct CChainCandidate {
    bool present = true;  ///< false once it was taken into a chain
    std::shared_ptr<CFileObject<TChar>> file;
    std::basic_string<TChar> name;  ///< the file's own name, without its folder
    bool differencing = false;      ///< the disk has a parent locator
    /// The parent's file name, a character for each unit of UTF-16; empty for a base disk.
    std::basic_string<TChar> parentName;
};

/// Moves the candidate out of its list, where an absent record stays behind.
template <class TChar>
CChainCandidate<TChar> Take(CChainCandidate<TChar>& candidate) {
    CChainCandidate<TChar> taken = std::move(candidate);
    candidate.present = false;  // NOLINT(bugprone-use-after-move): marks what was moved from
    return taken;
}

}  // namespace NVHDX

#endif
