// Owners of COM's objects.
#pragma once

#include "windows/unique_handle.h"

#include <windows.h>

#include <oleauto.h>

template <typename Interface>
void ReleaseInterface(Interface* pointer)
{
    pointer->Release();
}

template <typename Interface>
using UniqueInterface = UniqueHandle<Interface*, &ReleaseInterface<Interface>>;

using UniqueBstr = UniqueHandle<BSTR, &SysFreeString>;

// A VARIANT of type VT_BOOL.
class CBoolVariant
{
public:
    explicit CBoolVariant(VARIANT_BOOL value)
    {
        m_variant.vt = VT_BOOL;
        m_variant.boolVal = value;
    }
    ~CBoolVariant() { VariantClear(&m_variant); }

    CBoolVariant(const CBoolVariant&) = delete;
    CBoolVariant& operator=(const CBoolVariant&) = delete;

    VARIANT* Get() { return &m_variant; }

private:
    VARIANT m_variant{};
};
