// The eight functions of POSIX threads that the C++ runtime calls to throw exceptions, implemented with Windows' own.
// The toolchain's library of such threads is 26 KB, and imports functions that Windows 5.2 lacks.
#include <windows.h>

#include <pthread.h>

namespace
{

constexpr LONG kNotDone = PTHREAD_ONCE_INIT;
constexpr LONG kDoing = 1;
constexpr LONG kDone = 2;

constexpr pthread_mutex_t kFree = 0;
constexpr pthread_mutex_t kLocked = 1;

// Other threads hold a lock only for a few instructions.
void LetOthersRun()
{
    Sleep(1);
}

// The only key: under it the runtime keeps the exceptions that a thread handles. A library image frees the key when a
// process unloads it.
struct Key
{
    DWORD slot = TLS_OUT_OF_INDEXES;
    void (*destroy)(void*) = nullptr;

    ~Key()
    {
        if (slot == TLS_OUT_OF_INDEXES)
            return;
        if (void* value = TlsGetValue(slot))
            destroy(value);
        TlsFree(slot);
    }
};

// Constructed first, so destroyed last.
[[gnu::init_priority(101)]] Key g_key;

} // namespace

int pthread_once(pthread_once_t* once, void (*function)())
{
    auto* state = reinterpret_cast<volatile LONG*>(once);
    for (;;)
    {
        const LONG before = InterlockedCompareExchange(state, kDoing, kNotDone);
        if (before == kDone)
            return 0;
        if (before == kNotDone)
            break;
        LetOthersRun();
    }
    function();
    InterlockedExchange(state, kDone);
    return 0;
}

int pthread_key_create(pthread_key_t* key, void (*destroy)(void*))
{
    if (g_key.slot != TLS_OUT_OF_INDEXES)
        return EAGAIN;
    g_key.slot = TlsAlloc();
    if (g_key.slot == TLS_OUT_OF_INDEXES)
        return EAGAIN;
    g_key.destroy = destroy;
    *key = g_key.slot;
    return 0;
}

// Windows' call succeeds for a slot that was never set, but then clears the last error.
void* pthread_getspecific(pthread_key_t key)
{
    const DWORD error = GetLastError();
    void* value = TlsGetValue(key);
    SetLastError(error);
    return value;
}

int pthread_setspecific(pthread_key_t key, const void* value)
{
    return TlsSetValue(key, const_cast<void*>(value)) ? 0 : ENOMEM;
}

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t*)
{
    *mutex = kFree;
    return 0;
}

int pthread_mutex_destroy(pthread_mutex_t*)
{
    return 0;
}

int pthread_mutex_lock(pthread_mutex_t* mutex)
{
    while (InterlockedExchange64(mutex, kLocked) == kLocked)
        LetOthersRun();
    return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex)
{
    InterlockedExchange64(mutex, kFree);
    return 0;
}
