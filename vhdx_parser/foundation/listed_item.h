#ifndef VHDX_PARSER_FOUNDATION_LISTED_ITEM_H
#define VHDX_PARSER_FOUNDATION_LISTED_ITEM_H

/// What a folder of Windows says of an item. Built for Windows only.

#include <cstdint>

#include <windows.h>

#include <vhdx_parser/file_system.h>

namespace NFolder {

/// The item is not opened: a folder on a network pays for each. A link to a folder is a folder,
/// wherever it leads.
inline NSystem::CFileAttributes AttributesOf(const WIN32_FIND_DATAW& item) {
    NSystem::CFileAttributes attributes;
    attributes.isFolder = (item.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!attributes.isFolder) {
        attributes.size = std::uint64_t{item.nFileSizeHigh} << 32 | item.nFileSizeLow;
    }
    return attributes;
}

}  // namespace NFolder

#endif
