// The steps of the kit. Each returns its part of the report, and throws StepError if it cannot be carried out.
#pragma once

#include "proof/kit.h"

namespace proof
{

// Why the kit must not begin on this machine, as a sentence for its user; empty if it may.
std::wstring WhyNotHere();

// The kit and this Windows, as the first line of the report describes them.
Json DescribeKitAndWindows();

// Runs the conformance tests on a machine of their own: services, programs and links, which are removed afterwards.
Json RunTests(const Words& arguments);

// Has KeloDescribe read the machine. The argument names the moment.
Json Capture(const Words& arguments);

// Has Windows Installer work on a package. The arguments are the switch, such as "/i", the package's file in the kit,
// and properties.
Json RunInstaller(const Words& arguments);

// Removes all that is left of the kit: its folder for temporary files, notes of stand-ins, and a product that is still
// installed.
Json CleanUp(const Words& arguments);

} // namespace proof
