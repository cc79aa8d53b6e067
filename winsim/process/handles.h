// The handles and memory blocks that a simulated process holds, and how it treats them.
#pragma once

#include "winsim/base/json.h"

#include <any>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace winsim
{

// Everything that a process opens, allocates or loads is an entry here until it gives it back. Closing twice, using
// what was closed or never was a handle, and keeping something to the end are violations.
class HandleTable
{
public:
    // A new handle of a kind ("service", "key", ...), holding what it stands for.
    void* Open(const std::string& kind, std::any object);

    // What a handle stands for; null, with a violation noted, when it is not an open handle of that kind.
    template <typename Object>
    Object* Find(const void* handle, const char* kind, const char* call)
    {
        Entry* entry = Use(handle, kind, call);
        return entry == nullptr ? nullptr : std::any_cast<Object>(&entry->object);
    }

    // Whether a handle is an open one of that kind. When it is not, a violation is noted.
    bool Check(const void* handle, const char* kind, const char* call) { return Use(handle, kind, call) != nullptr; }

    // Whether a handle is an open one of that kind. Notes nothing.
    bool IsOpen(const void* handle, const char* kind) const;

    // Whether any handle of a kind is open.
    bool HasOpen(const char* kind) const;

    // Gives a handle back. False, with a violation noted, when it is not an open handle of that kind.
    bool Close(const void* handle, const char* kind, const char* call);

    // Calls use(object) for each open handle of a kind.
    template <typename Object, typename Use>
    void ForEachOpen(const char* kind, Use use) const
    {
        for (const auto& [handle, entry] : m_entries)
        {
            if (entry.isOpen && entry.kind == kind)
                use(std::any_cast<const Object&>(entry.object));
        }
    }

    // The kind of an open handle, or an empty text.
    std::string KindOf(const void* handle) const;

    // "service#2", a predefined handle's name, or null.
    Json NameOf(const void* handle) const;

    // Gives a predefined handle its name.
    void Predefine(const void* handle, const std::string& name) { m_predefined[handle] = name; }

    // Memory that a call hands to the process is a block: the address is the handle.
    void* Allocate(const std::string& kind, std::size_t size);
    bool Free(const void* block, const char* kind, const char* call);

    // Takes something into account that the process holds by its address and has to give back: an object of the
    // machine's, or a variable of the process's own. The object, if there is one, stays in memory after it was given
    // back, so that a late call on it is noticed.
    void Hold(const void* address, const std::string& kind, std::shared_ptr<void> object = {});

    void NoteViolation(const std::string& text) { m_violations.push_back(text); }

    // What was done wrong, and what is still open, except for kinds that may stay open.
    std::vector<std::string> Violations() const;
    // What was done wrong, in a process that Windows tidies up after.
    const std::vector<std::string>& Misuses() const { return m_violations; }

    // A kind whose handles may stay open to the process's end.
    void MayStayOpen(const std::string& kind) { m_mayStayOpen.push_back(kind); }
    // The same for one handle.
    void MayKeep(const void* handle) { m_entries.at(handle).mayStayOpen = true; }

private:
    struct Entry
    {
        std::string kind;
        unsigned ordinal = 0;
        bool isOpen = true;
        std::any object;
        bool mayStayOpen = false;
    };

    Entry* Use(const void* handle, const char* kind, const char* call);
    std::string Describe(const void* handle) const;
    void Add(const void* handle, const std::string& kind, std::any object);

    std::map<const void*, Entry> m_entries;
    std::map<const void*, std::string> m_predefined;
    std::map<std::string, unsigned> m_ordinals;
    std::map<const void*, std::unique_ptr<std::uint64_t[]>> m_blocks;
    std::vector<std::shared_ptr<void>> m_held;
    std::vector<std::string> m_violations;
    std::vector<std::string> m_mayStayOpen;
    std::uintptr_t m_next = 0x10004;
};

} // namespace winsim
