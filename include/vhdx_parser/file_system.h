#ifndef VHDX_PARSER_FILE_SYSTEM_H
#define VHDX_PARSER_FILE_SYSTEM_H

/// Folder and path helpers, for narrow and for wide names. Names are compared and cut as they
/// stand: no case folding, no normalisation.
///
/// On Windows the wide form is the one to use: it has every name. Narrow names are in the code page
/// in which `fopen` and `std::ifstream` of the process take theirs: UTF-8 where the C locale is in
/// it, else the ANSI code page, or the OEM one after `SetFileApisToOEM`. A name that the code page
/// cannot hold is reported with '?' in place of what is missing; no file has such a name, so that
/// nothing is found under it. Separators are sought by characters: the second byte of a character
/// is none.
///
/// Where the platform's names are bytes, narrow names are these bytes. Wide names are their UTF-8
/// as code points, and each byte that is no UTF-8 is the lone surrogate 0xDC00 + byte, which stands
/// for that byte again when it is part of a path. In a path a pair of surrogates, as UTF-16 has it,
/// is one character too.

#include <cstdint>
#include <functional>
#include <string>

#include <vhdx_parser/platform.h>

namespace NSystem {

/// What is known of an item of a folder without opening it.
struct CFileAttributes {
    bool isFolder = false;  ///< so is a link to a folder; one to nothing is a file
    /// Bytes; 0 for anything but a regular file. On Windows as the folder lists it: of a file that
    /// is being written the size that it had when it was closed last, of a link 0.
    std::uint64_t size = 0;
};

/// Stores the text after the last '.' of an item's name, without the dot. False when the name has
/// no extension: `extension` is then unchanged. ".vhdx" has the extension "vhdx", "disk." has none.
[[nodiscard]] VHDX_PARSER_API bool ExtractFileExt(std::string& extension, const std::string& name);
[[nodiscard]] VHDX_PARSER_API bool ExtractFileExt(std::wstring& extension,
                                                  const std::wstring& name);

/// Splits a path at its last separator, '\' or '/', and stores the two sides where the pointer is
/// not null. False, with nothing stored, when the path has no separator or no name behind it.
[[nodiscard]] VHDX_PARSER_API bool ExtractFileFolderAndName(std::string* folder, std::string* name,
                                                            const std::string& path);
[[nodiscard]] VHDX_PARSER_API bool ExtractFileFolderAndName(std::wstring* folder,
                                                            std::wstring* name,
                                                            const std::wstring& path);

/// Calls `callback` for each item directly inside `folder`, sorted by name, with: a flag that the
/// callback may set for its own use, whether the item is a folder, the item's name, its attributes.
///
/// `folder` may end in a separator. `mask` (null: every item) is a file name pattern with '*' for
/// any characters of the string and '?' for one. Returns false as soon as the callback returns
/// false, and, before the first call, when the folder cannot be read; true when every item was
/// accepted. An exception from the callback passes out.
[[nodiscard]] VHDX_PARSER_API bool for_each_item_in_folder(
    const std::string& folder, const std::string* mask,
    std::function<bool(bool&, bool, std::string&, const CFileAttributes&)> callback);
[[nodiscard]] VHDX_PARSER_API bool for_each_item_in_folder(
    const std::wstring& folder, const std::wstring* mask,
    std::function<bool(bool&, bool, std::wstring&, const CFileAttributes&)> callback);

}  // namespace NSystem

#endif
