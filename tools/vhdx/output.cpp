#include "tools/vhdx/output.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <utility>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

#include "tools/vhdx/command_failure.h"

namespace NTool {

namespace {

void MakeBinary(std::FILE* file) {
#if defined(_WIN32)
    _setmode(_fileno(file), _O_BINARY);
#else
    (void)file;
#endif
}

bool WantsColour(std::FILE* file) {
    const char* const terminal = std::getenv("TERM");
    const bool dumb = terminal != nullptr && std::string_view(terminal) == "dumb";
    return IsTerminal(file) && !dumb && std::getenv("NO_COLOR") == nullptr;
}

int MoveForward(std::FILE* file, std::uint64_t count) {
#if defined(_WIN32)
    return _fseeki64(file, static_cast<__int64>(count), SEEK_CUR);
#else
    return fseeko(file, static_cast<off_t>(count), SEEK_CUR);
#endif
}

bool IsClosedPipe(int error) {
#if defined(_WIN32)
    // Windows has an error of its own for a pipe that nobody reads (232), and errno has none for
    // it.
    return error == EPIPE || (error == EINVAL && _doserrno == 232);
#else
    return error == EPIPE;
#endif
}

void WriteAll(const COutput& output, std::FILE* file, const void* bytes, std::size_t count) {
    errno = 0;
    if (std::fwrite(bytes, 1, count, file) != count) {
        output.Fail(errno);
    }
}

}  // namespace

bool IsTerminal(std::FILE* file) {
#if defined(_WIN32)
    // A console takes escape sequences only when asked to; one that cannot is as good as a file.
    const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) != 0 &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
#else
    return isatty(fileno(file)) != 0;
#endif
}

COutput::COutput(std::FILE* file, std::string name, bool sparse)
    : m_file(file), m_name(std::move(name)), m_sparse(sparse) {
    MakeBinary(file);
    // Pieces are large already: a buffer in between would only copy them.
    static_cast<void>(std::setvbuf(file, nullptr, _IONBF, 0));
    m_coloured = file == stdout && WantsColour(file);
}

COutput COutput::Standard() {
    return COutput(stdout, "standard output");
}

void COutput::Write(const unsigned char* bytes, std::uint64_t count) {
    if (count != 0) {
        Flush();
        WriteAll(*this, m_file, bytes, static_cast<std::size_t>(count));
    }
}

void COutput::WriteZeros(std::uint64_t count) {
    static const std::array<unsigned char, std::size_t{1024}* 1024> zeros = {};
    if (m_sparse) {
        m_hole += count;
        return;
    }
    while (count != 0) {
        const std::uint64_t piece = std::min<std::uint64_t>(count, zeros.size());
        Write(zeros.data(), piece);
        count -= piece;
    }
}

void COutput::Append(std::string_view text) {
    m_text.append(text.data(), text.data() + text.size());
    FlushWhenLarge();
}

void COutput::Flush() {
    FillHole();
    if (m_text.size() != 0) {
        WriteAll(*this, m_file, m_text.data(), m_text.size());
        m_text.clear();
    }
}

void COutput::FillHole() {
    if (m_hole == 0) {
        return;
    }
    errno = 0;
    // The last byte is written, since a file does not grow by moving in it.
    if (MoveForward(m_file, std::exchange(m_hole, 0) - 1) != 0) {
        Fail(errno);
    }
    WriteAll(*this, m_file, "", 1);
}

void COutput::Fail(int error) const {
    if (IsClosedPipe(error)) {
        throw CClosedPipe();
    }
    throw CCommandFailure(
        m_name, error == 0 ? "cannot be written"
                           : "cannot be written: " + std::generic_category().message(error));
}

void LetWritesFail() {
#if defined(SIGPIPE)
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
#endif
#if defined(SIGXFSZ)
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
#endif
}

}  // namespace NTool
