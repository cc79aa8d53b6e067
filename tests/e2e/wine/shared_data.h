// Where Wine maps the data that Windows shares with all processes.
#pragma once

#include <stdint.h>

static const uintptr_t kSharedData = 0x7ffe0000;
