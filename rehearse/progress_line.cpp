// Shows how far the rehearsals are.
#include "rehearse/progress_line.h"

#include "report/terminal.h"

#include <fmt/format.h>

#include <unistd.h>

#include <iostream>

namespace
{

constexpr std::chrono::milliseconds kPause{200};
constexpr std::size_t kWidth = 79; // a longer line would not be removed as a whole
constexpr const char* kRemoved = "\r\033[K";

} // namespace

ProgressLine::ProgressLine()
    : m_isShownAtAll(isatty(STDERR_FILENO) != 0), m_isOutputBesideIt(isatty(STDOUT_FILENO) != 0)
{}

void ProgressLine::Show(const Outcomes& outcomes)
{
    const Clock::time_point now = Clock::now();
    if (!m_isShownAtAll || now < m_next || outcomes.Count() == 0)
        return;
    const double seconds = std::chrono::duration<double>(now - m_begin).count();
    const std::string text =
        fmt::format("{}, {:.0f} a second: {}", report::Counted(outcomes.Count(), "machine", "machines"),
                    static_cast<double>(outcomes.Count()) / seconds, outcomes.Summary());
    std::cerr << kRemoved << (report::LengthOf(text) <= kWidth ? text : report::Fit(text, kWidth)) << std::flush;
    m_isShown = true;
    m_next = now + kPause;
}

void ProgressLine::Clear()
{
    if (m_isShown)
        std::cerr << kRemoved << std::flush;
    m_isShown = false;
}

void ProgressLine::MakeWay()
{
    if (!m_isOutputBesideIt)
        return;
    Clear();
    m_next = Clock::now() + kPause;
}
