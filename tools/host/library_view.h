#ifndef VHDX_HOST_LIBRARY_VIEW_H
#define VHDX_HOST_LIBRARY_VIEW_H

#include <filesystem>
#include <string>

namespace NVHDXHost {

/// What the library's chain builder takes from one file of a folder: it goes by names alone, reads
/// the file as it stands and fails as a whole for one bad file.
struct CLibraryView {
    std::string name;
    std::string refusal;  ///< why the builder fails for this file; empty when it does not
    bool differencing = false;
    std::string parentName;  ///< of low bytes only where the builder is given narrow names
};

[[nodiscard]] CLibraryView ViewAsLibrary(const std::filesystem::path& folder,
                                         const std::filesystem::path& name);

}  // namespace NVHDXHost

#endif
