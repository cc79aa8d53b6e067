// Proves that the calls that configure cryptography behave as Windows documents them. They are looked up as the program
// does, because Windows has them since 6.0. What the tests register, they unregister.
#include "tests/winsim/support.h"

#include <bcrypt.h>
#include <ncrypt.h>

namespace
{

constexpr wchar_t kProvider[] = L"Kelo Conformance Provider";
constexpr wchar_t kOther[] = L"Kelo Conformance Other";

// NTSTATUS values.
constexpr DWORD kStatusSuccess = 0;
constexpr DWORD kStatusInvalidParameter = 0xC000000D;
constexpr DWORD kStatusNameCollision = 0xC0000035;
constexpr DWORD kStatusNotFound = 0xC0000225;

// A library's functions, for as long as it lives.
class Configuration
{
public:
    Configuration() : m_library(LoadLibraryA("bcrypt.dll")) {}
    ~Configuration()
    {
        if (m_library != nullptr)
            FreeLibrary(m_library);
    }
    Configuration(const Configuration&) = delete;
    Configuration& operator=(const Configuration&) = delete;

    // Why it cannot be tested here; null if it can.
    const char* WhyNot() const
    {
        if (IsOnWine())
            return "Wine takes everything and does nothing";
        return m_library == nullptr ? "Windows has it since 6.0" : nullptr;
    }

    DWORD Register(const wchar_t* name, ULONG flags, PCRYPT_PROVIDER_REG registration) const
    {
        return Call<LPCWSTR, ULONG, PCRYPT_PROVIDER_REG>("BCryptRegisterProvider", name, flags, registration);
    }
    DWORD Unregister(const wchar_t* name) const { return Call<LPCWSTR>("BCryptUnregisterProvider", name); }
    DWORD Add(const wchar_t* function, const wchar_t* provider) const
    {
        return Call<ULONG, LPCWSTR, ULONG, LPCWSTR, LPCWSTR, ULONG>("BCryptAddContextFunctionProvider", CRYPT_LOCAL,
                                                                    nullptr, NCRYPT_KEY_STORAGE_INTERFACE, function,
                                                                    provider, CRYPT_PRIORITY_BOTTOM);
    }
    DWORD Remove(const wchar_t* function, const wchar_t* provider) const
    {
        return Call<ULONG, LPCWSTR, ULONG, LPCWSTR, LPCWSTR>("BCryptRemoveContextFunctionProvider", CRYPT_LOCAL,
                                                             nullptr, NCRYPT_KEY_STORAGE_INTERFACE, function, provider);
    }

private:
    template <typename... Parameters>
    DWORD Call(const char* name, Parameters... parameters) const
    {
        using Function = NTSTATUS(WINAPI*)(Parameters...);
        const auto function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(m_library, name)));
        EXPECT_TRUE(function != nullptr) << name;
        return static_cast<DWORD>(function(parameters...));
    }

    HMODULE m_library;
};

constexpr wchar_t kKeyStorage[] = L"KEY_STORAGE";

// The registration of a provider that stores keys.
struct Registration
{
    std::wstring function = kKeyStorage;
    std::wstring image = L"kelo_conformance.dll";
    PWSTR functions[1] = {function.data()};
    CRYPT_INTERFACE_REG keyStorage = {NCRYPT_KEY_STORAGE_INTERFACE, CRYPT_LOCAL, 1, functions};
    PCRYPT_INTERFACE_REG interfaces[1] = {&keyStorage};
    CRYPT_IMAGE_REG userMode = {image.data(), 1, interfaces};
    CRYPT_PROVIDER_REG provider = {0, nullptr, &userMode, nullptr};
};

TEST(BCryptRegisterProvider, ReplacesAProviderOnlyWhenAsked)
{
    const Configuration cng;
    if (const char* reason = cng.WhyNot())
        GTEST_SKIP() << reason;
    Registration registration;
    cng.Unregister(kProvider);
    EXPECT_EQ(cng.Register(kProvider, 0, &registration.provider), kStatusSuccess);
    EXPECT_EQ(cng.Register(kProvider, 0, &registration.provider), kStatusNameCollision);
    EXPECT_EQ(cng.Register(kProvider, CRYPT_OVERWRITE, &registration.provider), kStatusSuccess);
    EXPECT_EQ(cng.Unregister(kProvider), kStatusSuccess);
    EXPECT_EQ(cng.Unregister(kProvider), kStatusNotFound);
}

TEST(BCryptRegisterProvider, NeedsANameAndARegistration)
{
    const Configuration cng;
    if (const char* reason = cng.WhyNot())
        GTEST_SKIP() << reason;
    Registration registration;
    EXPECT_EQ(cng.Register(nullptr, 0, &registration.provider), kStatusInvalidParameter);
    EXPECT_EQ(cng.Register(kProvider, 0, nullptr), kStatusInvalidParameter);
    EXPECT_EQ(cng.Unregister(nullptr), kStatusInvalidParameter);
}

TEST(BCryptContextFunctionProvider, IsAddedOnceAndRemovedOnce)
{
    const Configuration cng;
    if (const char* reason = cng.WhyNot())
        GTEST_SKIP() << reason;
    Registration registration;
    for (const wchar_t* name : {kProvider, kOther})
    {
        EXPECT_EQ(cng.Register(name, CRYPT_OVERWRITE, &registration.provider), kStatusSuccess);
        EXPECT_EQ(cng.Add(kKeyStorage, name), kStatusSuccess);
        EXPECT_EQ(cng.Add(kKeyStorage, name), kStatusSuccess);
    }
    for (const wchar_t* name : {kProvider, kOther})
    {
        EXPECT_EQ(cng.Remove(kKeyStorage, name), kStatusSuccess);
        EXPECT_EQ(cng.Remove(kKeyStorage, name), kStatusNotFound);
        EXPECT_EQ(cng.Unregister(name), kStatusSuccess);
    }
}

TEST(BCryptContextFunctionProvider, NeedsAFunctionThatTheContextHas)
{
    const Configuration cng;
    if (const char* reason = cng.WhyNot())
        GTEST_SKIP() << reason;
    EXPECT_EQ(cng.Add(nullptr, kProvider), kStatusInvalidParameter);
    EXPECT_EQ(cng.Add(kKeyStorage, nullptr), kStatusInvalidParameter);
    EXPECT_EQ(cng.Add(L"KELO_UNKNOWN", kProvider), kStatusNotFound);
    EXPECT_EQ(cng.Remove(nullptr, kProvider), kStatusInvalidParameter);
    EXPECT_EQ(cng.Remove(L"KELO_UNKNOWN", kProvider), kStatusNotFound);
}

} // namespace
