// The line of one machine of many.
#pragma once

#include "rehearse/inputs.h"
#include "rehearse/options.h"
#include "report/heat_map.h"
#include "winsim/base/json.h"

#include <string>
#include <vector>

// What can come of a machine besides the ends of a rehearsal.
inline constexpr char kUnreadable[] = "unreadable"; // its description cannot be used
inline constexpr char kCrashed[] = "crashed";       // the rehearsal itself failed
inline constexpr char kTimeout[] = "timeout";       // it took longer than allowed

// What came of one machine's rehearsal.
struct MachineLine
{
    winsim::Json line;                    // as docs/rehearsal.md describes it
    std::string failedStep = {};          // the step of the first failure; empty for none
    std::vector<report::Heat> steps = {}; // how each step went
    bool hasDamagedItsProcess = false;    // the program did not end by itself: parts of it may be left in memory
};

// Reads a description and rehearses on the machine. A description that cannot be used is an outcome like others.
MachineLine RehearseLine(const Options& options, const Input& input);

// The line of a machine that could not be rehearsed to an end, with the reason.
MachineLine LineWithout(const Options& options, const Input& input, const std::string& status,
                        const std::string& reason);
