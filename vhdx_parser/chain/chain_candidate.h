#ifndef VHDX_PARSER_CHAIN_CHAIN_CANDIDATE_H
#define VHDX_PARSER_CHAIN_CHAIN_CANDIDATE_H

#include <memory>
#include <string>

#include <vhdx_parser/snapshot_chain.h>

namespace NVHDX {

/// One opened disk of a folder that waits for its place in a chain.
template <class TChar>
struct CChainCandidate {
    std::shared_ptr<CFileObject<TChar>> file;
    std::basic_string<TChar> name;  ///< the file's own name, without its folder
    bool differencing = false;      ///< the disk has a parent locator
    /// The parent's file name, a character for each unit of UTF-16; empty for a base disk.
    std::basic_string<TChar> parentName;
};

}  // namespace NVHDX

#endif
