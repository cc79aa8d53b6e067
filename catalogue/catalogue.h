// The catalogue of the install log: what every text that the program can log means, and the steps that the texts belong
// to. The fault sweep, the explanation of a log, the report of a rehearsal and docs/log.md take both from here.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace catalogue
{

// What a line tells of its step.
enum class Kind
{
    Begin,    // a run, a step or one of its parts begins
    Progress, // something was done
    Decision, // the way that the run takes from here
    Noise,    // sounds like a failure, and is to be expected
    Warning,  // something was left out or went wrong; the step goes on
    Failure,  // the step, or its part, did not do its work
};

// How to read a value of a line.
enum class Meaning
{
    Plain,
    Win32,        // a Windows error number
    NtStatus,     // what a CNG function returned
    SCard,        // what the smart-card resource manager returned
    ServiceState, // SERVICE_STOPPED and so on
    Controls,     // the controls that a service accepts
    StopResult,   // what the timed stop of a service returned
    ResultCode,   // a result code of the set-up
    StackAnswer,  // what a detection library's DetectTSS returned
    ExitCode,     // of another program
};

// What one placeholder of a text stands for.
struct Value
{
    const char* name;
    Meaning meaning = Meaning::Plain;
};

struct Text
{
    const char* format; // as it stands in src/, with the placeholders of printf
    Kind kind;
    const char* meaning;            // in a sentence
    std::vector<Value> values = {}; // one for each placeholder
    const char* causes = "";        // the usual ones
    const char* toDo = "";
    std::vector<std::uint32_t> noiseOn = {}; // with one of these error numbers the line is noise
    std::optional<int> exitCode = {};        // the action's, unless a later line has another
    const char* waitsFor = "";               // what the program waits for after the line, without a limit
    const char* holds = "";                  // what a line of this text holds at least, where the text says little
    // Filled in by Texts():
    const char* step = "";   // the name of its step; empty: whichever logs it
    const char* module = ""; // the folder of src/ that it stands in
};

// All texts, module by module.
const std::vector<Text>& Texts();

enum class Action
{
    Setup,
    Commit,
    Removal, // "/Rollback" and "/Uninstall" are one and the same
    Export,  // SRK_Auth_Change
};

// A step, and the first thing that it surely does whatever happened before: it logs a line or makes a call.
struct Step
{
    const char* name;
    const char* doing;                      // in a sentence
    std::vector<const char*> lines = {};    // beginnings of log lines: one of them
    const char* call = nullptr;             // or this call; the lines are then those that only this step logs, later on
    bool isOptional = false;                // another step's outcome decides whether it runs
    std::vector<const char*> ends = {};     // beginnings of lines: each of them ends a part that did its work
    std::vector<const char*> dueAfter = {}; // beginnings of lines: after one of them the step has to follow
    std::vector<const char*> operations = {}; // beginnings of its operations' names, as some lines have them
    const char* untold = "";                  // what the log does not tell of it
    bool decides = false;                     // the action's result is its, and stands in no line
};

// The steps of an action in their order.
const std::vector<Step>& StepsOf(Action action);

// The action of a switch; nothing for any other text.
std::optional<Action> ActionOf(std::string_view actionSwitch);

// The first and the last line of each action.
inline constexpr std::string_view kBeginLine = "============= Begin-> Kelo CSP (x64) Custom Action ===================";
inline constexpr std::string_view kEndLine = "============= Kelo CSP Custom Action <-End ===================";

// "failure" and so on.
std::string_view NameOf(Kind kind);

} // namespace catalogue
