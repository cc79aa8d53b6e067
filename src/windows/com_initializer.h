// The COM apartment of a scope.
#pragma once

// Puts the thread into the multithreaded apartment for as long as it lives (CoInitializeEx, whose result is
// not looked at) and leaves it again (CoUninitialize, always).
class CComInitializer
{
public:
    CComInitializer();
    ~CComInitializer();

    CComInitializer(const CComInitializer&) = delete;
    CComInitializer& operator=(const CComInitializer&) = delete;
};
