// A line on the terminal that says how far the rehearsals on many machines are.
#pragma once

#include "rehearse/outcomes.h"

#include <chrono>

// On a terminal it is shown anew a few times a second; anywhere else it is never shown.
class ProgressLine
{
public:
    ProgressLine();

    void Show(const Outcomes& outcomes);

    // Removes the line.
    void Clear();

    // Removes the line if other output is about to appear on the same terminal.
    void MakeWay();

private:
    using Clock = std::chrono::steady_clock;

    bool m_isShownAtAll;
    bool m_isOutputBesideIt;
    bool m_isShown = false;
    Clock::time_point m_begin = Clock::now();
    Clock::time_point m_next = Clock::now();
};
