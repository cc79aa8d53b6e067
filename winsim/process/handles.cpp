// Keeps track of handles and memory blocks.
#include "winsim/process/handles.h"

namespace winsim
{

unsigned HandleTable::Numbers::Take()
{
    if (givenBack.empty())
        return ++last;
    return givenBack.extract(givenBack.begin()).value();
}

void HandleTable::Add(const void* handle, const char* kind, std::any object)
{
    m_entries[handle] = {kind, m_numbers[kind].Take(), std::move(object), false};
}

void HandleTable::Remove(const void* handle)
{
    Entry& entry = m_entries.at(handle);
    m_numbers[entry.kind].givenBack.insert(entry.number);
    entry.object.reset();
}

void* HandleTable::NextHandle()
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number of pointer type
    auto* handle = reinterpret_cast<void*>(m_next);
    m_next += 4;
    return handle;
}

void* HandleTable::NewMemory(std::size_t size)
{
    auto block = std::make_unique<std::uint64_t[]>(size / sizeof(std::uint64_t) + 1);
    void* address = block.get();
    m_blocks[address] = std::move(block);
    return address;
}

void HandleTable::NoteMisuse(const void* handle, const char* kind, std::string_view call)
{
    NoteViolation(std::string(call) + ": " + Describe(handle) + " is not an open " + kind);
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
    return std::string(entry->second.kind) + "#" + std::to_string(entry->second.number);
}

std::string HandleTable::Describe(const void* handle) const
{
    const Json name = NameOf(handle);
    if (name.is_null())
        return "a null handle";
    const auto entry = m_entries.find(handle);
    const bool isClosed = entry != m_entries.end() && !entry->second.IsOpen();
    return name.get<std::string>() + (isClosed ? " (closed)" : "");
}

std::vector<std::string> HandleTable::Violations() const
{
    std::vector<std::string> all = m_violations;
    for (const auto& [handle, entry] : m_entries)
    {
        if (entry.IsOpen() && !entry.mayStayOpen)
            all.push_back(Describe(handle) + " was never given back");
    }
    return all;
}

} // namespace winsim
