// Which fields of a description KeloDescribe reads from a machine, and which it does not, with the reason.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace describe
{

// A field of a description: a key of one of the objects in the schema, such as "service" and "state".
struct FieldReading
{
    const char* object;
    const char* key;
    const char* source;     // where it is read, for people; null if it is not read
    const char* whyNotRead; // null if it is read
};

// Each field of the description that is an area of its own or a key of an object. A test compares them with the schema.
std::span<const FieldReading> FieldReadings();

// Whether a key of an object is read, and whether an area of the description is, such as "programs". Names that are no
// fields count as read: those of services, files and variables.
bool IsRead(std::string_view object, std::string_view key);
bool IsAreaRead(std::string_view area);

// What is not read on any machine, as one note.
std::string NeverReadNote();

} // namespace describe
