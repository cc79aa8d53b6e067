// The catalogue of the install log: the meaning of every text that the program can log, and the steps that the texts
// belong to. The fault sweep, the explanation of a log, the report of a rehearsal and docs/log.md all use it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace catalogue
{

// What a line reports about its step.
enum class Kind
{
    Begin,    // a run, a step or one of its parts begins
    Progress, // something was done
    Decision, // the branch that the run takes from here
    Noise,    // sounds like a failure, but is to be expected
    Warning,  // something was left out or went wrong; the step goes on
    Failure,  // the step, or a part of it, did not do its work
};

// How to read a value in a line.
enum class Meaning
{
    Plain,
    Win32,        // a Windows error number
    NtStatus,     // the result of a CNG function
    SCard,        // the result of the smart-card resource manager
    ServiceState, // SERVICE_STOPPED and so on
    Controls,     // the controls that a service accepts
    StopResult,   // the result of the timed stop of a service
    ResultCode,   // a result code of the set-up
    StackAnswer,  // the result of a detection library's DetectTSS
    ExitCode,     // of another program
};

// The meaning of one placeholder in a text.
struct Value
{
    const char* name;
    Meaning meaning = Meaning::Plain;
};

struct Text
{
    const char* format; // as written in src/, with printf placeholders
    Kind kind;
    const char* meaning;            // in a sentence
    std::vector<Value> values = {}; // one for each placeholder
    const char* causes = "";        // the usual ones
    const char* toDo = "";
    std::vector<std::uint32_t> noiseOn = {}; // with one of these error numbers the line is noise
    std::optional<int> exitCode = {};        // the action's, unless a later line has a different one
    const char* waitsFor = "";               // what the program then waits for without a limit
    const char* holds = "";                  // what a line of this text always contains, if the text itself says little
    // Filled in by Texts():
    const char* step = "";   // the name of its step; empty: whichever step logs it
    const char* module = ""; // the folder of src/ that contains it
};

// All texts, module by module.
const std::vector<Text>& Texts();

enum class Action
{
    Setup,
    Commit,
    Removal, // "/Rollback" and "/Uninstall" are the same action
    Export,  // SRK_Auth_Change
};

// A step, and the first thing that it always does, whatever happened before: it logs a line or makes a call.
struct Step
{
    const char* name;
    const char* doing;                        // in a sentence
    std::vector<const char*> lines = {};      // beginnings of log lines; the step begins with one of them
    const char* call = nullptr;               // or this call; then the lines are later ones that only this step logs
    bool isOptional = false;                  // another step's outcome decides whether it runs
    std::vector<const char*> ends = {};       // beginnings of lines; each ends a part that did its work
    std::vector<const char*> dueAfter = {};   // beginnings of lines; after one of them the step must follow
    std::vector<const char*> operations = {}; // beginnings of its operations' names in lines that contain them
    const char* untold = "";                  // what the log does not say about it
    bool decides = false;                     // it decides the action's result, and no line contains that result
};

// The steps of an action in their order.
const std::vector<Step>& StepsOf(Action action);

// The action of a command-line switch; nothing for any other text.
std::optional<Action> ActionOf(std::string_view actionSwitch);

// The first and the last line of each action.
inline constexpr std::string_view kBeginLine = "============= Begin-> Kelo CSP (x64) Custom Action ===================";
inline constexpr std::string_view kEndLine = "============= Kelo CSP Custom Action <-End ===================";

// "failure" and so on.
std::string_view NameOf(Kind kind);

} // namespace catalogue
