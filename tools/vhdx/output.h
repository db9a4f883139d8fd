#ifndef VHDX_PARSER_TOOLS_VHDX_OUTPUT_H
#define VHDX_PARSER_TOOLS_VHDX_OUTPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>

#include <fmt/compile.h>
#include <fmt/format.h>

namespace NTool {

/// Where a command's result goes: text is collected and written in large pieces, bytes go straight
/// through. What cannot be written ends in `CCommandFailure` that names the output, or in
/// `CClosedPipe`. Whoever made the output calls `Flush` at the end; without it collected text is
/// dropped.
class COutput {
public:
    /// The file stays the caller's. `name` is for messages. Where `sparse`, zeros may become holes.
    COutput(std::FILE* file, std::string name, bool sparse = false);
    COutput(const COutput&) = delete;
    COutput& operator=(const COutput&) = delete;

    /// Standard output, ready to take bytes as they are.
    static COutput Standard();

    /// True for standard output on a terminal that shows colours.
    bool IsColoured() const { return m_coloured; }

    void Write(const unsigned char* bytes, std::uint64_t count);
    void WriteZeros(std::uint64_t count);

    void Append(std::string_view text);

    /// A line or a part of one; `format` is a `FMT_COMPILE` text.
    template <class TFormat, class... TArguments>
    void Print(const TFormat& format, const TArguments&... arguments) {
        fmt::format_to(std::back_inserter(m_text), format, arguments...);
        FlushWhenLarge();
    }

    void Flush();

    /// How a failure to write is reported; `error` is an errno value.
    [[noreturn]] void Fail(int error) const;

private:
    static constexpr std::size_t s_largeText = std::size_t{256} * 1024;

    void FlushWhenLarge() {
        if (m_text.size() >= s_largeText) {
            Flush();
        }
    }
    void FillHole();

    std::FILE* m_file;
    std::string m_name;
    bool m_sparse;
    bool m_coloured = false;
    std::uint64_t m_hole = 0;
    fmt::memory_buffer m_text;
};

bool IsTerminal(std::FILE* file);

/// From here on a write into a closed pipe, or beyond the size that a file may have, fails instead
/// of ending the program.
void LetWritesFail();

}  // namespace NTool

#endif
