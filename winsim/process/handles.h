// The handles and memory blocks that a simulated process holds, and how it treats them.
#pragma once

#include "winsim/base/json.h"

#include <any>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace winsim
{

// Everything that a process opens, allocates or loads has an entry here until the process closes or frees it.
// Violations are closing twice, using a value that is not an open handle, and leaving a handle open at the end.
//
// A handle stands for an object, whose type is the handle's kind: its member kKind is the kind's name, such as
// "service". Recordings show a handle as "service#2": its kind, and the lowest number that no other open handle of the
// kind has. Numbers are reused, so that handles that were opened and closed earlier do not change a recorded sequence
// of calls.
class HandleTable
{
public:
    // A new handle that stands for an object.
    template <typename Object>
    void* Open(Object object)
    {
        void* handle = NextHandle();
        Add(handle, Object::kKind, std::move(object));
        return handle;
    }

    // The object of a handle. If it is not an open handle of that kind: null, and a violation by the call is noted.
    template <typename Object>
    Object* Find(const void* handle, std::string_view call)
    {
        Object* object = Opened<Object>(handle);
        if (object == nullptr)
            NoteMisuse(handle, Object::kKind, call);
        return object;
    }

    // Whether a value is an open handle of a kind. Notes no violation.
    template <typename Object>
    bool IsOpen(const void* handle) const
    {
        return const_cast<HandleTable*>(this)->Opened<Object>(handle) != nullptr;
    }

    // Closes a handle. If it is not an open handle of that kind: false, and a violation by the call is noted.
    template <typename Object>
    bool Close(const void* handle, std::string_view call)
    {
        if (Find<Object>(handle, call) == nullptr)
            return false;
        Remove(handle);
        return true;
    }

    // The same for a handle that may be of several kinds; `family` is their common name for the violation.
    template <typename... Objects>
    bool CloseAnyOf(const void* handle, const char* family, std::string_view call)
    {
        const bool isOpen = (IsOpen<Objects>(handle) || ...);
        if (isOpen)
            Remove(handle);
        else
            NoteMisuse(handle, family, call);
        return isOpen;
    }

    // Whether any handle of a kind is open.
    template <typename Object>
    bool HasOpen() const
    {
        bool isAny = false;
        ForEachOpen<Object>([&](const Object&) { isAny = true; });
        return isAny;
    }

    // Calls use(object) for each open handle of a kind.
    template <typename Object, typename Use>
    void ForEachOpen(Use use) const
    {
        for (const auto& [handle, entry] : m_entries)
        {
            if (const auto* object = std::any_cast<Object>(&entry.object))
                use(*object);
        }
    }

    // "service#2", a predefined handle's name, or null.
    Json NameOf(const void* handle) const;

    // Gives a predefined handle its name.
    void Predefine(const void* handle, const std::string& name) { m_predefined[handle] = name; }

    // A block of memory that a call allocates for the process: the handle is its address, and Block is an empty type.
    template <typename Block>
    void* Allocate(std::size_t size)
    {
        void* address = NewMemory(size);
        Add(address, Block::kKind, Block{});
        return address;
    }
    template <typename Block>
    bool Free(const void* block, std::string_view call)
    {
        if (!Close<Block>(block, call))
            return false;
        m_blocks.erase(block);
        return true;
    }

    // Adds something that the process holds by its address and has to release: an object of the machine or a variable
    // of the process. The object, if given, stays in memory after its release, so that a call on it is noticed.
    template <typename Held>
    void Hold(const void* address, std::shared_ptr<void> object = {})
    {
        Add(address, Held::kKind, Held{});
        if (object)
            m_held.push_back(std::move(object));
    }

    void NoteViolation(const std::string& text) { m_violations.push_back(text); }

    // Every misuse, and every handle that is still open and may not stay open.
    std::vector<std::string> Violations() const;
    // The misuses alone, for a process that did not reach its own end: Windows closes its handles.
    const std::vector<std::string>& Misuses() const { return m_violations; }

    // Allows a handle to stay open until the process ends.
    void MayKeep(const void* handle) { m_entries.at(handle).mayStayOpen = true; }

private:
    struct Entry
    {
        const char* kind = "";
        unsigned number = 0;
        std::any object; // empty after closing
        bool mayStayOpen = false;

        bool IsOpen() const { return object.has_value(); }
    };

    // The numbers of the handles of one kind.
    struct Numbers
    {
        std::set<unsigned> givenBack;
        unsigned last = 0;

        unsigned Take();
    };

    template <typename Object>
    Object* Opened(const void* handle)
    {
        const auto entry = m_entries.find(handle);
        return entry == m_entries.end() ? nullptr : std::any_cast<Object>(&entry->second.object);
    }

    void* NextHandle();
    void* NewMemory(std::size_t size);
    void Add(const void* handle, const char* kind, std::any object);
    void Remove(const void* handle);
    void NoteMisuse(const void* handle, const char* kind, std::string_view call);
    std::string Describe(const void* handle) const;

    std::map<const void*, Entry> m_entries;
    std::map<const void*, std::string> m_predefined;
    std::map<std::string_view, Numbers> m_numbers; // by kind
    std::map<const void*, std::unique_ptr<std::uint64_t[]>> m_blocks;
    std::vector<std::shared_ptr<void>> m_held;
    std::vector<std::string> m_violations;
    std::uintptr_t m_next = 0x10004;
};

} // namespace winsim
