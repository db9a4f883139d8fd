#include <utility>

#include <vhdx_parser/snapshot_chain.h>

#include "vhdx_parser/foundation/open_file.h"
#include "vhdx_parser/foundation/positioned_transfer.h"

namespace NVHDX {

template <class TChar>
bool CFileObject<TChar>::Open(std::shared_ptr<std::basic_string<TChar>> pathToOpen) {
    if (pathToOpen == nullptr) {
        return false;
    }
    // A stream that is open already fails to open again but is still open; its fail bit then makes
    // the container's first read fail.
    NFile::OpenForReading(stream, *pathToOpen);
    if (!stream.is_open() || !accessor.Entry(stream)) {
        return false;
    }
    stream.clear(stream.rdstate() & ~std::ios_base::eofbit);
    stream.seekg(0, std::ios_base::end);
    if (!NStreamPortion::IsGood(stream)) {
        return false;
    }
    // A position that cannot be told is -1, which makes the size all ones.
    size = static_cast<std::uint64_t>(static_cast<std::streamoff>(stream.tellg()));
    path = std::move(pathToOpen);
    return true;
}

template bool CFileObject<char>::Open(std::shared_ptr<std::string>);
template bool CFileObject<wchar_t>::Open(std::shared_ptr<std::wstring>);

}  // namespace NVHDX
