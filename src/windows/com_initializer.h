// The COM apartment of a scope.
#pragma once

// Puts the thread into the multithreaded apartment (CoInitializeEx) and, at the end of the scope, takes it out again
// (CoUninitialize).
// Required: the result of CoInitializeEx is ignored, and CoUninitialize always follows.
class CComInitializer
{
public:
    CComInitializer();
    ~CComInitializer();

    CComInitializer(const CComInitializer&) = delete;
    CComInitializer& operator=(const CComInitializer&) = delete;
};
