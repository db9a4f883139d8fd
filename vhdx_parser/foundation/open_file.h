#ifndef VHDX_PARSER_FOUNDATION_OPEN_FILE_H
#define VHDX_PARSER_FOUNDATION_OPEN_FILE_H

/// The one place that opens files.

#include <fstream>
#include <string>

namespace NFile {

/// Opens a regular file for binary reading, shared with readers and writers, after preparing
/// `stream` for bytes. The last '\' or '/' of `path` separates the folder from the name on every
/// platform; the folder's own text is taken as it stands.
///
/// False, with the stream's fail bit set, when `stream` is open already (it stays so), when `path`
/// is no path of the platform, or when it names no regular file that can be opened. Anything else,
/// a pipe for instance, could block the caller, and is never opened.
bool OpenForReading(std::basic_ifstream<unsigned char>& stream, const std::string& path);
bool OpenForReading(std::basic_ifstream<unsigned char>& stream, const std::wstring& path);

}  // namespace NFile

#endif
