#ifndef VHDX_PARSER_TESTS_CHAIN_CHAIN_FOLDER_H
#define VHDX_PARSER_TESTS_CHAIN_CHAIN_FOLDER_H

/// A folder of disks for one test, and what a test asks about it.

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include <vhdx_parser/accessor.h>
#include <vhdx_parser/byte_stream.h>

#include "tests/support/character_types.h"
#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/trace_capture.h"
#include "vhdx_parser/foundation/open_file.h"

namespace NTest {

/// The files that this process has open, where the platform tells.
inline std::size_t OpenFiles() {
#if defined(_WIN32)
    // A folder of Linux may be in sight, but tells of Wine's own files.
    return 0;
#else
    std::error_code error;
    const std::filesystem::directory_iterator files("/proc/self/fd", error);
    return error ? 0 : static_cast<std::size_t>(std::distance(begin(files), end(files)));
#endif
}

class CChainFolder : public CTemporaryFolder {
public:
    void Add(const std::filesystem::path& name, const CImageBuilder& builder) const {
        builder.Build().WriteTo(*this / name);
    }

    void AddBase(const std::filesystem::path& name) const { Add(name, CImageBuilder()); }

    /// A differencing disk whose locator holds this relative path.
    void AddRelative(const std::filesystem::path& name, const std::u16string& relativePath) const {
        Add(name, CImageBuilder().Differencing().ParentLocator({{u"relative_path", relativePath}}));
    }

    void AddChild(const std::filesystem::path& name, const std::u16string& parent) const {
        AddRelative(name, u".\\" + parent);
    }
};

/// What opening the disk and reading its parent locator traces, before anything is made of it.
inline std::vector<CTraceLine> LinesOfReading(const std::filesystem::path& path) {
    CTraceCapture trace;
    std::basic_ifstream<unsigned char> stream;
    NVHDX::CAccessor accessor;
    NByteStream::Imbue(stream);
    if (NFile::OpenForReading(stream, path.wstring()) && accessor.Entry(stream)) {
        NVHDX::NMetadata::CParent parent;
        (void)accessor.Retrieve(parent, stream);
    }
    return trace.Lines();
}

}  // namespace NTest

#endif
