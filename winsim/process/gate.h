// The gate that every call into the simulated machine passes: it records the call, counts it, and asks the fault plan
// whether the call is to fail.
#pragma once

#include "winsim/base/json.h"
#include "winsim/process/handles.h"
#include "winsim/process/meanwhile.h"
#include "winsim/process/repeats.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace winsim
{

// One call as it happened: Windows' parameter names, the result, and the last error as the call left it (or the status
// that it returned).
struct CallRecord
{
    std::string name;
    Json in = Json::object();
    Json result;
    Json out = Json::object();
    std::uint32_t error = 0;
    std::uint64_t clockMs = 0;
    bool isHousekeeping = false; // text conversion or memory
    bool isFault = false;        // it came out as the fault plan wanted it to

    bool operator==(const CallRecord&) const = default;
};

// As reports show it; "fault" is there only when it is true.
Json ToJson(const CallRecord& record);

// One failure to come: the occurrence-th call (from 1) of a name fails with an error; occurrence 0 means each of them.
struct Fault
{
    std::string call;
    unsigned occurrence = 0;
    std::uint32_t error = 0;
    bool givesNothing = false; // it succeeds instead, with nothing to show for it: an empty list, a value of no bytes
    bool faults = false;       // kAccessViolation comes out of it instead
};

// The call by which a program gets a piece of memory.
inline constexpr char kAllocation[] = "operator new";

// Reads CALL[#N]=ERROR. The error is decimal, hexadecimal with 0x, one of the names that errors of this call have
// (winsim/process/error_names.h), "nothing" for a call that is to succeed with nothing, or "fault" for one that an
// access violation is to come out of. Throws std::invalid_argument, with a reason.
Fault ParseFault(const std::string& text);

// The same text of a fault again.
std::string TextOf(const Fault& fault);

// What the gate keeps over one run.
struct Gate
{
    bool isRecording = true;
    std::optional<std::set<std::string, std::less<>>> parametersOf; // as RunOptions has it
    std::vector<Fault> faults;
    std::vector<Meanwhile> meanwhile;
    std::vector<TriedAct> triedActs;
    std::vector<unsigned> reached; // how many calls each of these faults has had so far
    std::vector<CallRecord> records;
    std::optional<RepeatFinder> repeats; // with one, calls that repeat are recorded once
    unsigned count = 0;                  // of all calls

    // How many calls of a name there have been, to be counted on.
    std::pair<const std::string, unsigned>& CountOf(std::string_view name);

    // The numbers of calls by their names.
    std::map<std::string, unsigned, std::less<>> TakeCounts();

private:
    std::map<std::string, unsigned, std::less<>> m_counts;
    // Some of them, by where the names lie that they were asked for by: nearly all are literals, and asked for again.
    std::array<std::pair<const std::string, unsigned>*, 64> m_lately{};
};

enum class CallKind
{
    Ordinary,
    Housekeeping, // text conversion or memory
    Allocation    // operator new: recorded, as housekeeping, only when a planned failure names it
};

// One call on its way through the gate. Made first thing by each simulated Windows function; its parameters are noted
// with In and Out, and one of the ending members gives the value to return.
class Call
{
public:
    explicit Call(std::string_view name, CallKind kind = CallKind::Ordinary);
    // Does not come back when the process is over since this call.
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // Notes a parameter that went in or came out. Texts are const char* (ANSI) or const char16_t* (UTF-16), other
    // pointers are handles.
    template <typename Value>
    Call& In(const char* name, const Value& value)
    {
        if (m_isNoting)
            m_record->in[name] = Noted(value);
        return *this;
    }
    template <typename Value>
    Call& Out(const char* name, const Value& value)
    {
        if (m_isNoting)
            m_record->out[name] = Noted(value);
        return *this;
    }
    // Whether parameters are noted at all.
    bool IsRecording() const { return m_isNoting; }

    // The error that the fault plan wants this call to fail with, if it does. In a process that is over every call
    // fails.
    std::optional<std::uint32_t> Fault() const { return m_fault; }

    // Whether the fault plan wants this call to succeed with nothing.
    bool GivesNothing() const { return m_givesNothing; }

    std::string_view Name() const { return m_name; }

    // The handles of the process (winsim/process/handles.h): what is wrong with one is a violation of this call.
    template <typename Object>
    Object* Find(const void* handle) const
    {
        return Handles().Find<Object>(handle, m_name);
    }
    template <typename Object>
    bool Close(const void* handle) const
    {
        return Handles().Close<Object>(handle, m_name);
    }
    template <typename Block>
    bool Free(const void* block) const
    {
        return Handles().Free<Block>(block, m_name);
    }

    // The endings. Done leaves the last error alone; Fail sets it; Status is for calls that return their error.
    template <typename Value>
    Value Done(Value result)
    {
        NoteResult(result);
        return result;
    }
    template <typename Value>
    Value Fail(Value result, std::uint32_t error)
    {
        SetError(error);
        NoteResult(result);
        return result;
    }
    std::int32_t Status(std::uint32_t status);

    // How a call does its work: not at all when the fault plan wants it to fail, which ends it then. For a call that
    // tells of a failure by its result and the last error: `work` ends it, and gives the result.
    template <typename Value, typename Work>
    Value ResultOf(Value failure, Work work)
    {
        return m_fault ? Fail(failure, *m_fault) : work();
    }
    // For a call that gives TRUE or FALSE: `work` gives the Win32 error, 0 for none.
    template <typename Work>
    int SuccessOf(Work work)
    {
        return Success(m_fault ? *m_fault : static_cast<std::uint32_t>(work()));
    }
    // For a call that returns its status: `work` gives it.
    template <typename Work>
    std::int32_t StatusOf(Work work)
    {
        return Status(m_fault ? *m_fault : static_cast<std::uint32_t>(work()));
    }
    // The same for a call that takes back what the process gives back. That is done although the call is to fail, or
    // what failed once would be kept for good: no program tries again.
    template <typename Work>
    int SuccessOfClosing(Work work)
    {
        const auto error = static_cast<std::uint32_t>(work());
        return Success(error != 0 ? error : m_fault.value_or(0));
    }
    template <typename Work>
    std::int32_t StatusOfClosing(Work work)
    {
        const auto status = static_cast<std::uint32_t>(work());
        return Status(status != 0 ? status : m_fault.value_or(0));
    }

private:
    int Success(std::uint32_t error) { return error != 0 ? Fail(0, error) : Done(1); }

    static Json Noted(bool value) { return value; }
    static Json Noted(std::int64_t value) { return value; }
    static Json Noted(std::uint64_t value) { return value; }
    static Json Noted(int value) { return value; }
    static Json Noted(unsigned value) { return value; }
    static Json Noted(unsigned short value) { return value; }
    static Json Noted(const char* ansi);
    static Json Noted(char* ansi) { return Noted(static_cast<const char*>(ansi)); }
    static Json Noted(const char16_t* wide);
    static Json Noted(char16_t* wide) { return Noted(static_cast<const char16_t*>(wide)); }
    static Json Noted(const std::string& utf8) { return utf8; }
    static Json Noted(const Json& value) { return value; }
    static Json Noted(std::nullptr_t) { return nullptr; }
    template <typename Pointee>
    static Json Noted(Pointee* handle)
    {
        return NotedHandle(handle);
    }
    static Json NotedHandle(const void* handle);

    template <typename Value>
    void NoteResult(const Value& result)
    {
        if (m_record)
            m_record->result = Noted(result);
    }
    void SetError(std::uint32_t error);
    static HandleTable& Handles();

    // Hands the record in, if there is one.
    void NoteEnd();

    std::string_view m_name; // kept by the gate's counts, or by m_ownName
    std::string m_ownName;   // in a process that is over
    unsigned m_occurrence = 0;
    unsigned m_ordinal = 0; // 0: one that nothing happens after
    std::optional<std::uint32_t> m_fault;
    bool m_givesNothing = false;
    std::optional<std::uint32_t> m_status;
    std::optional<CallRecord> m_record; // only when calls are recorded
    bool m_isNoting = false;            // its parameters
    bool m_isReached = false;           // the process was not over yet
};

} // namespace winsim
