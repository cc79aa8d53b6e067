// The functions that each module of the program offers to tests.
#pragma once

#include "tests/support/test_calls.h"

#include <span>

std::span<const TestCall> EnrollCalls();
std::span<const TestCall> EntryCalls();
std::span<const TestCall> LogCalls();
std::span<const TestCall> MessageCalls();
std::span<const TestCall> PlatformCalls();
std::span<const TestCall> ServiceCalls();
std::span<const TestCall> ProviderCalls();
std::span<const TestCall> ProvisioningCalls();
std::span<const TestCall> SmartcardCalls();
std::span<const TestCall> SrkCalls();
std::span<const TestCall> TssCalls();
std::span<const TestCall> WindowsCalls();
