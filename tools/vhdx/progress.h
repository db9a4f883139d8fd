#ifndef VHDX_TOOLS_VHDX_PROGRESS_H
#define VHDX_TOOLS_VHDX_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace NTool {

class CCommandSyntax;

enum class EProgress { automatic, always, never };

/// --progress auto|always|never.
void AddProgressArgument(CCommandSyntax& command, EProgress& progress);

/// " 45%  1.2 GiB of 2.6 GiB  512 MiB/s  0:03 left"; without rate and time in the first moment.
std::string ProgressText(std::uint64_t done, std::uint64_t total, double seconds);

/// One line on standard error that says how far a long operation is. Automatic: on a terminal.
class CProgress {
public:
    CProgress(EProgress wanted, std::string action);
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;
    /// Clears the line.
    ~CProgress();

    bool IsShown() const { return m_shown; }
    /// Begins to count to this many bytes.
    void Start(std::uint64_t total);
    void Advance(std::uint64_t bytes);

private:
    using CClock = std::chrono::steady_clock;

    void Draw();

    std::string m_action;
    bool m_shown;
    bool m_drawn = false;
    std::uint64_t m_total = 0;
    std::uint64_t m_done = 0;
    CClock::time_point m_start;
    CClock::time_point m_next;
};

}  // namespace NTool

#endif
