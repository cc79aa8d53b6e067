// Accounts for handles and memory blocks.
#include "winsim/process/handles.h"

#include <algorithm>

namespace winsim
{

void HandleTable::Add(const void* handle, const std::string& kind, std::any object)
{
    m_entries[handle] = {kind, ++m_ordinals[kind], true, std::move(object), false};
}

void* HandleTable::Open(const std::string& kind, std::any object)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number that looks like a pointer
    auto* handle = reinterpret_cast<void*>(m_next);
    m_next += 4;
    Add(handle, kind, std::move(object));
    return handle;
}

HandleTable::Entry* HandleTable::Use(const void* handle, const char* kind, const char* call)
{
    const auto entry = m_entries.find(handle);
    if (entry != m_entries.end() && entry->second.isOpen && entry->second.kind == kind)
        return &entry->second;
    NoteViolation(std::string(call) + ": " + Describe(handle) + " is not an open " + kind);
    return nullptr;
}

bool HandleTable::IsOpen(const void* handle, const char* kind) const
{
    const auto entry = m_entries.find(handle);
    return entry != m_entries.end() && entry->second.isOpen && entry->second.kind == kind;
}

bool HandleTable::HasOpen(const char* kind) const
{
    return std::ranges::any_of(m_entries,
                               [&](const auto& entry) { return entry.second.isOpen && entry.second.kind == kind; });
}

bool HandleTable::Close(const void* handle, const char* kind, const char* call)
{
    Entry* entry = Use(handle, kind, call);
    if (entry == nullptr)
        return false;
    entry->isOpen = false;
    entry->object.reset();
    return true;
}

std::string HandleTable::KindOf(const void* handle) const
{
    const auto entry = m_entries.find(handle);
    return entry != m_entries.end() && entry->second.isOpen ? entry->second.kind : std::string();
}

Json HandleTable::NameOf(const void* handle) const
{
    if (handle == nullptr)
        return nullptr;
    if (const auto predefined = m_predefined.find(handle); predefined != m_predefined.end())
        return predefined->second;
    const auto entry = m_entries.find(handle);
    if (entry == m_entries.end())
        return "unknown";
    return entry->second.kind + "#" + std::to_string(entry->second.ordinal);
}

std::string HandleTable::Describe(const void* handle) const
{
    const Json name = NameOf(handle);
    if (name.is_null())
        return "a null handle";
    const auto entry = m_entries.find(handle);
    const bool isClosed = entry != m_entries.end() && !entry->second.isOpen;
    return name.get<std::string>() + (isClosed ? " (closed)" : "");
}

void* HandleTable::Allocate(const std::string& kind, std::size_t size)
{
    auto block = std::make_unique<std::uint64_t[]>(size / sizeof(std::uint64_t) + 1);
    void* address = block.get();
    m_blocks[address] = std::move(block);
    Add(address, kind, {});
    return address;
}

bool HandleTable::Free(const void* block, const char* kind, const char* call)
{
    if (!Close(block, kind, call))
        return false;
    m_blocks.erase(block);
    return true;
}

void HandleTable::Hold(const void* address, const std::string& kind, std::shared_ptr<void> object)
{
    Add(address, kind, {});
    if (object)
        m_held.push_back(std::move(object));
}

std::vector<std::string> HandleTable::Violations() const
{
    std::vector<std::string> all = m_violations;
    for (const auto& [handle, entry] : m_entries)
    {
        const bool mayStay = std::find(m_mayStayOpen.begin(), m_mayStayOpen.end(), entry.kind) != m_mayStayOpen.end();
        if (entry.isOpen && !mayStay && !entry.mayStayOpen)
            all.push_back(Describe(handle) + " was never given back");
    }
    return all;
}

} // namespace winsim
