// The list of documented choices, for --choices.
#pragma once

// The text of docs/choices.md.
extern const char* const kChoicesText;
