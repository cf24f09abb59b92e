#include "platform/platform.h"

#include "platform/fast_mutex.h"

#include <new>
#include <windows.h>

using platform::WaitResult;

namespace {

// A lock with a name is a kernel object, which costs two calls of the system each time; one without is not.
struct Mutex {
    HANDLE kernel = nullptr;
    TFastMutex fast;
};

Mutex *MutexAt(void *mutex) noexcept {
    if (!mutex)
        SetLastError(ERROR_INVALID_HANDLE);
    return static_cast<Mutex *>(mutex);
}

} // namespace

void *platform::NewMutex(char const *name) noexcept {
    auto *const mutex = new (std::nothrow) Mutex;
    if (!mutex) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (name && *name) {
        mutex->kernel = CreateMutexA(nullptr, FALSE, name);
        if (!mutex->kernel) {
            DWORD const error = GetLastError();
            delete mutex;
            SetLastError(error);
            return nullptr;
        }
    }
    return mutex;
}

bool platform::DeleteMutex(void *handle) noexcept {
    Mutex *const mutex = MutexAt(handle);
    if (!mutex)
        return false;
    if (mutex->kernel) {
        bool const closed = CloseHandle(mutex->kernel) != FALSE;
        delete mutex;
        return closed;
    }
    if (TThreadRecord *const self = ThisThread()) {
        while (mutex->fast.Unlock(*self)) {
        }
    }
    if (!mutex->fast.IsHeld()) // another thread that holds it has it in its chain: then it must stay
        delete mutex;
    return true;
}

WaitResult platform::LockMutex(void *handle, std::uint32_t milliseconds) noexcept {
    Mutex *const mutex = MutexAt(handle);
    if (!mutex)
        return WaitResult::failed;
    if (mutex->kernel)
        return static_cast<WaitResult>(WaitForSingleObject(mutex->kernel, milliseconds));
    TThreadRecord *const self = ThisThread();
    return self ? mutex->fast.Lock(*self, milliseconds) : WaitResult::failed;
}

bool platform::UnlockMutex(void *handle) noexcept {
    Mutex *const mutex = MutexAt(handle);
    if (!mutex)
        return false;
    if (mutex->kernel)
        return ReleaseMutex(mutex->kernel) != FALSE;
    TThreadRecord *const self = ThisThread();
    bool const released = self && mutex->fast.Unlock(*self);
    if (!released)
        SetLastError(ERROR_NOT_OWNER);
    return released;
}

bool platform::HoldsMutex(void *handle) noexcept {
    auto const *const mutex = static_cast<Mutex const *>(handle);
    TThreadRecord const *const self = ThisThread();
    return mutex && self && !mutex->kernel && mutex->fast.IsHeldBy(*self);
}

void *platform::SystemMutex(void *handle) noexcept {
    auto *const mutex = static_cast<Mutex *>(handle);
    return mutex && mutex->kernel ? mutex->kernel : handle;
}

bool platform::FollowForks(void (*)() noexcept, void (*)() noexcept, void (*)() noexcept) noexcept {
    return true;
}
