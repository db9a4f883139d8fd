#ifndef VHDX_PARSER_DEBUG_TRACE_H
#define VHDX_PARSER_DEBUG_TRACE_H

/// The diagnostic trace: the library composes lines, the host decides what becomes of them.

#include <cstdint>
#include <string>

#include <vhdx_parser/platform.h>

namespace NDebugTrace {

/// Receives every trace line. Implemented and owned by the host.
///
/// Levels: 1 fine detail of one request, 2 a stream that writes at another position than asked,
/// 3 a failure (the line names the structure and the cause), 4 information.
/// The library never filters by level. The calls come on whatever threads call the library, without
/// a lock, and the text is only valid during the call. An exception that leaves the writer passes
/// through the library's operation to its caller.
class IWriter {
public:
    virtual void WriteNarrow(const std::string& line, std::uint32_t level) = 0;
    virtual void WriteWide(const std::wstring& line, std::uint32_t level) = 0;

protected:
    ~IWriter() = default;
};

/// The current writer, or null (as at the start) when nobody listens. The library reads it anew for
/// every line and never changes it; the host changes it while no call into the library runs.
extern VHDX_PARSER_API IWriter* g_pwriter;

}  // namespace NDebugTrace

/// A text that every line begins with, followed by ": ", or null (as at the start) for none.
/// Zero-terminated, owned by the host, which may replace it while no call into the library runs.
/// Keep it in ASCII: wide lines widen it character by character, and others do not survive that.
extern VHDX_PARSER_API const char* _pszDebugTraceContext;

#endif
