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

// Everything that a process opens, allocates or loads is an entry here until it gives it back. Closing twice, using
// what was closed or never was a handle, and keeping something to the end are violations.
//
// What a handle stands for is an object of a type of its own, and the type is the handle's kind: it has a member
// kKind with the kind's name, such as "service". For people a handle is "service#2": its kind, and the lowest number
// that no other open handle of the kind has. A number that was given back is taken again, so that a recorded sequence
// of calls stays the same whatever handles were opened and closed before it; only what is open meanwhile counts.
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

    // What a handle stands for; null, with a violation of the call noted, when it is not an open handle of that kind.
    template <typename Object>
    Object* Find(const void* handle, std::string_view call)
    {
        Object* object = Opened<Object>(handle);
        if (object == nullptr)
            NoteMisuse(handle, Object::kKind, call);
        return object;
    }

    // Whether a handle is an open one of a kind. Notes nothing.
    template <typename Object>
    bool IsOpen(const void* handle) const
    {
        return const_cast<HandleTable*>(this)->Opened<Object>(handle) != nullptr;
    }

    // Gives a handle back. False, with a violation of the call noted, when it is not an open handle of that kind.
    template <typename Object>
    bool Close(const void* handle, std::string_view call)
    {
        if (Find<Object>(handle, call) == nullptr)
            return false;
        Remove(handle);
        return true;
    }

    // The same for a handle that may be of several kinds, which `family` is the name of.
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

    // Memory that a call hands to the process is a block: the address is the handle, and the type an empty one.
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

    // Takes something into account that the process holds by its address and has to give back: an object of the
    // machine's, or a variable of the process's own. The object, if there is one, stays in memory after it was given
    // back, so that a late call on it is noticed.
    template <typename Held>
    void Hold(const void* address, std::shared_ptr<void> object = {})
    {
        Add(address, Held::kKind, Held{});
        if (object)
            m_held.push_back(std::move(object));
    }

    void NoteViolation(const std::string& text) { m_violations.push_back(text); }

    // What was done wrong, and what is still open and may not stay so.
    std::vector<std::string> Violations() const;
    // What was done wrong, in a process that Windows tidies up after.
    const std::vector<std::string>& Misuses() const { return m_violations; }

    // Lets a handle stay open to the process's end.
    void MayKeep(const void* handle) { m_entries.at(handle).mayStayOpen = true; }

private:
    struct Entry
    {
        const char* kind = "";
        unsigned number = 0;
        std::any object; // none when it was closed
        bool mayStayOpen = false;

        bool IsOpen() const { return object.has_value(); }
    };

    // The numbers of one kind.
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
