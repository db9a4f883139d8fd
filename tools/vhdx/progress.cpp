#include "tools/vhdx/progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>

#include <fmt/format.h>

#include "tools/vhdx/command_syntax.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

constexpr std::chrono::milliseconds redrawTime(100);
/// A rate measured over less is noise.
constexpr double shortestMeasure = 0.5;

void Print(const std::string& text) {
    // Where standard error cannot take the line there is nobody to look at it.
    (void)std::fwrite(text.data(), 1, text.size(), stderr);
    (void)std::fflush(stderr);
}

std::string TimeText(std::uint64_t seconds) {
    return seconds < 3600
               ? fmt::format("{}:{:02}", seconds / 60, seconds % 60)
               : fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace

void AddProgressArgument(CCommandSyntax& command, EProgress& progress) {
    const std::map<std::string, EProgress> names = {
        {"auto", EProgress::automatic}, {"always", EProgress::always}, {"never", EProgress::never}};
    command.AddWord(
        "--progress", "WHEN", {"auto", "always", "never"},
        [&progress, names](const std::string& name) { progress = names.at(name); },
        "Show how far it is on standard error: auto (on a terminal), always, never");
}

std::string ProgressText(std::uint64_t done, std::uint64_t total, double seconds) {
    const double part = total == 0 ? 1.0 : static_cast<double>(done) / static_cast<double>(total);
    std::string text = fmt::format("{:>3}%  {} of {}", static_cast<int>(part * 100), InUnits(done),
                                   InUnits(total));
    if (seconds >= shortestMeasure && done != 0) {
        const double rate = static_cast<double>(done) / seconds;
        const double left = static_cast<double>(total - std::min(done, total)) / rate;
        text += fmt::format("  {}/s  {} left", InUnits(static_cast<std::uint64_t>(rate)),
                            TimeText(static_cast<std::uint64_t>(std::llround(left))));
    }
    return text;
}

CProgress::CProgress(EProgress wanted, std::string action)
    : m_action(std::move(action)),
      m_shown(wanted == EProgress::always ||
              (wanted == EProgress::automatic && IsTerminal(stderr))) {}

CProgress::~CProgress() {
    if (m_drawn) {
        Print("\r\x1B[K");
    }
}

void CProgress::Start(std::uint64_t total) {
    m_total = total;
    m_done = 0;
    m_start = CClock::now();
    m_next = m_start;
    Advance(0);
}

void CProgress::Advance(std::uint64_t bytes) {
    m_done += bytes;
    if (m_shown && CClock::now() >= m_next) {
        Draw();
    }
}

void CProgress::Draw() {
    const CClock::time_point now = CClock::now();
    m_next = now + redrawTime;
    m_drawn = true;
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    Print("\r" + m_action + ProgressText(m_done, m_total, seconds) + "\x1B[K");
}

}  // namespace NTool
