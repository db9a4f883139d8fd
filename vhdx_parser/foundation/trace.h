#ifndef VHDX_PARSER_FOUNDATION_TRACE_H
#define VHDX_PARSER_FOUNDATION_TRACE_H

/// The one trace statement of the library.

#include <charconv>
#include <cstdint>
#include <iterator>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <vhdx_parser/debug_trace.h>

namespace NDebugTrace {

constexpr std::uint32_t levelDetail = 1;       ///< fine detail of one request
constexpr std::uint32_t levelPosition = 2;     ///< a stream that writes at another position
constexpr std::uint32_t levelFailure = 3;      ///< a bad structure, a failed read, an error
constexpr std::uint32_t levelInformation = 4;  ///< what was found

inline void HandToWriter(const std::string& line, std::uint32_t level) {
    g_pwriter->WriteNarrow(line, level);
}
inline void HandToWriter(const std::wstring& line, std::uint32_t level) {
    g_pwriter->WriteWide(line, level);
}

/// One line while it is composed: a string stream that begins with the context text and the head.
/// Destroying it emits nothing.
template <class TStream>
struct TOutput : public TStream {
    using TChar = typename TStream::char_type;

    /// `context` is narrow in both forms; the wide stream widens it as it is inserted.
    TOutput(const char* context, std::uint32_t lineLevel, const TChar* head) : level(lineLevel) {
        // Numbers look the same under every global locale, and memory exhaustion reaches the caller
        // instead of cutting the line short.
        if (this->getloc() != std::locale::classic()) {
            this->imbue(std::locale::classic());
        }
        this->exceptions(std::ios_base::badbit);
        if (context != nullptr) {
            *this << context << ": ";
        }
        *this << head;
    }

    /// Hands the text to the writer, when there is one, and leaves the stream without it. `str`
    /// gives all characters up to the furthest one ever written, so that a seek cannot cut a line.
    void Finish() {
        if (g_pwriter != nullptr) {
            HandToWriter(std::move(static_cast<TStream&>(*this)).str(), level);
        }
    }

    std::uint32_t level;
};

template <class TStream, class... TParts>
void ComposeAndFinish(std::uint32_t level, const typename TStream::char_type* head,
                      const TParts&... parts) {
    TOutput<TStream> output(_pszDebugTraceContext, level, head);
    ((output << parts), ...);
    output.Finish();
}

/// Narrow texts and whole numbers: no format of a stream applies to them.
template <class TPart>
inline constexpr bool IsPlain =
    std::is_convertible_v<const TPart&, std::string_view> || std::is_integral_v<TPart>;

template <class TPart>
void AppendPlain(std::string& line, const TPart& part) {
    if constexpr (std::is_integral_v<TPart>) {
        static_assert(sizeof(TPart) > 1, "a character or a bool is no number");
        char digits[24];
        line.append(std::begin(digits),
                    std::to_chars(std::begin(digits), std::end(digits), part).ptr);
    } else {
        line += std::string_view(part);
    }
}

/// Skips the stream, whose making takes longer than all the rest. Inserting plain parts into one
/// comes to the same characters.
template <class... TParts>
void ComposePlainAndFinish(std::uint32_t level, const char* head, const TParts&... parts) {
    std::string line;
    line.reserve(128);  // most lines
    if (_pszDebugTraceContext != nullptr) {
        line.append(_pszDebugTraceContext).append(": ");
    }
    line.append(head);
    (AppendPlain(line, parts), ...);
    HandToWriter(line, level);
}

/// Traces one line: context, ": ", head, then the parts as a stream inserts them. Without a writer
/// nobody can see the line, so it is not composed.
template <class... TParts>
void Trace(std::uint32_t level, const char* head, const TParts&... parts) {
    if (g_pwriter == nullptr) {
        return;
    }
    if constexpr ((IsPlain<TParts> && ...)) {
        ComposePlainAndFinish(level, head, parts...);
    } else {
        ComposeAndFinish<std::ostringstream>(level, head, parts...);
    }
}
template <class... TParts>
void Trace(std::uint32_t level, const wchar_t* head, const TParts&... parts) {
    if (g_pwriter != nullptr) {
        ComposeAndFinish<std::wostringstream>(level, head, parts...);
    }
}

}  // namespace NDebugTrace

#endif
