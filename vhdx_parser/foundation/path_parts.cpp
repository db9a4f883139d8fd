#include <utility>

#include <vhdx_parser/file_system.h>

#include "vhdx_parser/foundation/path.h"

namespace NSystem {
namespace {

/// Every dot counts, one at the front as well: ".vhdx" is a disk's name too. A dot with nothing
/// behind it makes no extension.
template <class TChar>
bool Extension(std::basic_string<TChar>& extension, const std::basic_string<TChar>& name) {
    const std::size_t dot = name.rfind(TChar('.'));
    if (dot == name.npos || dot + 1 == name.size()) {
        return false;
    }
    extension = name.substr(dot + 1);
    return true;
}

template <class TChar>
void StoreIfWanted(std::basic_string<TChar>* destination, std::basic_string<TChar>&& text) {
    if (destination != nullptr) {
        *destination = std::move(text);
    }
}

template <class TChar>
bool Split(std::basic_string<TChar>* folder, std::basic_string<TChar>* name,
           const std::basic_string<TChar>& path) {
    const std::size_t separator = NPath::FindLastSeparator(path);
    if (separator == path.npos || separator + 1 == path.size()) {
        return false;
    }
    // Both are cut before one is stored, because the caller may store one over the path itself.
    auto folderText = path.substr(0, separator);
    auto nameText = path.substr(separator + 1);
    StoreIfWanted(folder, std::move(folderText));
    StoreIfWanted(name, std::move(nameText));
    return true;
}

}  // namespace

bool ExtractFileExt(std::string& extension, const std::string& name) {
    return Extension(extension, name);
}

bool ExtractFileExt(std::wstring& extension, const std::wstring& name) {
    return Extension(extension, name);
}

bool ExtractFileFolderAndName(std::string* folder, std::string* name, const std::string& path) {
    return Split(folder, name, path);
}

bool ExtractFileFolderAndName(std::wstring* folder, std::wstring* name, const std::wstring& path) {
    return Split(folder, name, path);
}

}  // namespace NSystem
