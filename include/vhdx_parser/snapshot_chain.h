#ifndef VHDX_PARSER_SNAPSHOT_CHAIN_H
#define VHDX_PARSER_SNAPSHOT_CHAIN_H

/// Chains of a base disk and its differencing disks, found in a folder.

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <vhdx_parser/accessor.h>
#include <vhdx_parser/byte_stream.h>

namespace NVHDX {

/// One opened disk file, always held through `std::shared_ptr`. The file stays open for the
/// object's lifetime. Other processes may read and write it meanwhile; on Windows they cannot
/// delete or rename it. The stream belongs to one thread at a time.
template <class TChar>
struct CFileObject {
    /// Folder, separator and name, as the file was opened; empty until it was.
    std::shared_ptr<std::basic_string<TChar>> path;
    std::basic_ifstream<unsigned char> stream;
    CAccessor accessor;
    std::uint64_t size = 0xFFFFFFFFFFFFFFFF;  ///< bytes; all ones until the file was opened

    /// Prepares the stream for the side that makes the object, host or library: each of them looks
    /// its own preparation up.
    CFileObject() { NByteStream::Imbue(stream); }

    /// Opens the file and its container, for a chain that the host puts together from files that it
    /// knows. `file_system.h` says in which encoding paths are.
    ///
    /// The last '\' or '/' of the path separates the folder from the name, on every platform. So on
    /// POSIX a file whose own name holds a backslash cannot be opened: its path is read as that of
    /// a file in a folder. Nothing but a regular file is opened there.
    ///
    /// False, with `path` and `size` as they were, when there is no path, when the file cannot be
    /// opened or is no container (the trace tells why), and when it was open already.
    [[nodiscard]] VHDX_PARSER_API bool Open(std::shared_ptr<std::basic_string<TChar>> pathToOpen);
};

namespace NSnapshotCircuit {

/// One chain. `TFile` is `std::shared_ptr<CFileObject<TChar>>`.
template <class TFile>
struct CSource {
    TFile base;                    ///< the disk without parent
    std::vector<TFile> snapshots;  ///< its differencing disks, newest first
};

namespace NBuilder {

/// Opens every file of `folder` whose extension is exactly "vhdx" or "avhdx", links each
/// differencing disk to the file that its parent locator's "relative_path" (".\" and a file name)
/// names, and appends one chain for each base disk to `sources`, in the order of the file names.
/// `file_system.h` says in which encoding names are; the wide form finds every parent, the narrow
/// one keeps the low byte of each character of a parent's name.
///
/// False, with `sources` unchanged, when the folder cannot be read or holds no disk, when any of
/// its disks cannot be opened, or when a parent is missing. A disk cannot be opened, either, when
/// its name holds a backslash, as POSIX allows, or has no narrow form on Windows. Does not return
/// when a differencing disk can never be attached: two disks with one parent, a cycle, or a parent
/// that is not its chain's tip.
[[nodiscard]] VHDX_PARSER_API bool DoIt(
    std::vector<CSource<std::shared_ptr<CFileObject<char>>>>& sources, const std::string& folder);
[[nodiscard]] VHDX_PARSER_API bool DoIt(
    std::vector<CSource<std::shared_ptr<CFileObject<wchar_t>>>>& sources,
    const std::wstring& folder);

}  // namespace NBuilder
}  // namespace NSnapshotCircuit
}  // namespace NVHDX

#endif
