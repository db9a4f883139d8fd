#ifndef VHDX_PARSER_FOUNDATION_OPEN_FILE_H
#define VHDX_PARSER_FOUNDATION_OPEN_FILE_H

/// The one place that opens files.

#include <fstream>
#include <string>

namespace NFile {

/// Opens a file for binary reading, shared with readers and writers. The last '\' or '/' of `path`
/// separates the folder from the name on every platform; the folder's own text is taken as it
/// stands. `stream` was prepared by `NByteStream::Imbue` where it was made: the preparation of one
/// module means nothing to the streams of another.
///
/// False, with the stream's fail bit set, when `stream` is open already (it stays so), when `path`
/// is no path of the platform, or when it names no file that can be opened. On POSIX that is a
/// regular file: anything else, a pipe for instance, could block the caller, and is never opened.
bool OpenForReading(std::basic_ifstream<unsigned char>& stream, const std::string& path);
bool OpenForReading(std::basic_ifstream<unsigned char>& stream, const std::wstring& path);

}  // namespace NFile

#endif
