// The gate that every call into the simulated machine passes: it counts the call, looks up whether the fault plan makes
// it fail, and records it.
#pragma once

#include "winsim/base/json.h"
#include "winsim/machine/faults.h"
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

// One recorded call: the parameters by Windows' names, the result, and the last error after the call or the status that
// it returned.
struct CallRecord
{
    std::string name;
    Json in = Json::object();
    Json result;
    Json out = Json::object();
    std::uint32_t error = 0;
    std::uint64_t clockMs = 0;
    bool isHousekeeping = false; // text conversion or memory
    bool isFault = false;        // the fault plan decided its result

    bool operator==(const CallRecord&) const = default;
};

// The form that reports use; "fault" is left out if it is false.
Json ToJson(const CallRecord& record);

// The state of the gate in one run.
struct Gate
{
    bool isRecording = true;
    std::optional<std::set<std::string, std::less<>>> parametersOf; // see RunOptions
    std::vector<Fault> faults;
    std::vector<Meanwhile> meanwhile;
    std::vector<TriedAct> triedActs;
    std::vector<unsigned> reached; // how many calls each of the faults has decided so far
    std::vector<CallRecord> records;
    std::optional<RepeatFinder> repeats; // if set, calls that repeat are recorded once
    unsigned count = 0;                  // of all calls

    // The entry that counts the calls of a name.
    std::pair<const std::string, unsigned>& CountOf(std::string_view name);

    // Moves the numbers of calls by name out of the gate.
    std::map<std::string, unsigned, std::less<>> TakeCounts();

private:
    std::map<std::string, unsigned, std::less<>> m_counts;
    // A cache of entries by the address of the name that was asked for: nearly all names are literals.
    std::array<std::pair<const std::string, unsigned>*, 64> m_lately{};
};

enum class CallKind
{
    Ordinary,
    Housekeeping, // text conversion or memory
    Allocation    // operator new: recorded, as housekeeping, only if a planned failure names it
};

// One call on its way through the gate. Each simulated Windows function makes one first, notes its parameters with In
// and Out, and returns the value of one of the members that end the call.
class Call
{
public:
    explicit Call(std::string_view name, CallKind kind = CallKind::Ordinary);
    // Leaves the process's code, and does not return, if this call ended the process.
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // In notes a parameter before the call, Out after it. Texts are const char* (ANSI) or const char16_t* (UTF-16);
    // other pointers are handles.
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
    // Whether this call's parameters are noted.
    bool IsRecording() const { return m_isNoting; }

    // The error with which this call has to fail, if the fault plan has it fail. In a process that is over, every call
    // fails.
    std::optional<std::uint32_t> Fault() const { return m_fault; }

    // Whether the fault plan has this call succeed with nothing.
    bool GivesNothing() const { return m_givesNothing; }

    std::string_view Name() const { return m_name; }

    // Work on the handles of the process (winsim/process/handles.h): misuse is noted as a violation by this call.
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

    // Notes that the call asks for something that the simulated machine does not simulate: `what` completes "CALL does
    // not simulate". Returns the error with which the call has to fail.
    std::uint32_t NotSimulated(std::string_view what) const;

    // Ends the process by an access violation if one of these pointers is null. For parameters that Windows uses
    // without a check.
    template <typename... Pointers>
    void Needs(Pointers... pointers)
    {
        if (((pointers == nullptr) || ...))
            DieOfNull();
    }

    // End the call. Done keeps the last error; Fail sets it; Status is for calls that return their error.
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

    // The next three do the call's work unless the fault plan has the call fail. ResultOf is for a call that reports
    // failures by its result and the last error: `work` ends the call and returns its result.
    template <typename Value, typename Work>
    Value ResultOf(Value failure, Work work)
    {
        return m_fault ? Fail(failure, *m_fault) : work();
    }
    // For a call that returns TRUE or FALSE: `work` returns the Win32 error or 0.
    template <typename Work>
    int SuccessOf(Work work)
    {
        return Success(m_fault ? *m_fault : static_cast<std::uint32_t>(work()));
    }
    // For a call that returns its status: `work` returns it.
    template <typename Work>
    std::int32_t StatusOf(Work work)
    {
        return Status(m_fault ? *m_fault : static_cast<std::uint32_t>(work()));
    }
    // The same for a call that closes or frees. It does its work even if it has to fail: no program tries again, so the
    // object would otherwise stay open for good.
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
    [[noreturn]] void DieOfNull();

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

    // Adds the record to the recording, if there is one.
    void NoteEnd();

    std::string_view m_name; // points into the gate's counts or to m_ownName
    std::string m_ownName;   // in a process that is over
    unsigned m_occurrence = 0;
    unsigned m_ordinal = 0; // 0: no other process acts after this call
    std::optional<std::uint32_t> m_fault;
    bool m_givesNothing = false;
    std::optional<std::uint32_t> m_status;
    std::optional<CallRecord> m_record; // none if the call is not recorded
    bool m_isNoting = false;            // whether parameters are noted
    bool m_isReached = false;           // the process was not over yet
};

} // namespace winsim
