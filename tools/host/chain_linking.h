#ifndef VHDX_HOST_CHAIN_LINKING_H
#define VHDX_HOST_CHAIN_LINKING_H

/// Foretells what the library's chain builder, `NSnapshotCircuit::NBuilder::DoIt`, would do.

#include <cstddef>
#include <string>
#include <vector>

#include "host/library_view.h"

namespace NVHDXHost {

/// One chain as the linking pass would make it.
struct CLinkedChain {
    std::vector<std::size_t> files;  ///< from the base to the tip, by their place in the folder
    bool linkable = false;           ///< the pass attaches every file that descends from the base
    std::string reason;              ///< why it is not linkable
};

struct CLinking {
    enum EOutcome {
        links,     ///< every file ends in a chain
        refuses,   ///< the builder returns false
        neverEnds  ///< the builder does not return: it must not be called
    };

    EOutcome outcome = links;
    std::vector<std::string> reasons;  ///< for any other outcome, one sentence each
    std::vector<CLinkedChain> chains;  ///< one for each disk without parent
};

/// `files` are those of one folder, in the order of their names.
[[nodiscard]] CLinking ForetellLinking(const std::vector<CLibraryView>& files);

}  // namespace NVHDXHost

#endif
