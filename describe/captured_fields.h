// Which fields of a description KeloDescribe reads from a machine, and which it does not, with the reason.
#pragma once

#include <span>
#include <string>
#include <vector>

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

// Whether an area of the description, such as "programs", is read. Throws std::out_of_range for other names.
bool IsAreaRead(const std::string& area);

// What is not read on any machine, as one note.
std::string NeverReadNote();

} // namespace describe
