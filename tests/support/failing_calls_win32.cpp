// Replaces the functions that the library imports from the system and from the C runtime, those that it finds by
// GetProcAddress(), and those by which the C++ runtime reads directories. The program's own imports stay as they are,
// so the replacements call the system, and a test's own calls do not fail.

#include "support/FailingCalls.h"

#include "support/ImportTable.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <direct.h>
#include <io.h>
#include <process.h>
#include <wchar.h>

namespace {

// A slot of the system, because a variable of the kind thread_local may need memory when a thread first uses it.
DWORD Slot() noexcept {
    static DWORD const slot = TlsAlloc();
    return slot;
}

// A thread that waits for a lock without a name opens the thread that holds the lock. This slot has its handle.
DWORD HolderSlot() noexcept {
    static DWORD const slot = TlsAlloc();
    return slot;
}

constinit std::atomic<char const *> fsUnknown{nullptr};
constinit std::atomic<HANDLE> fsStarted{nullptr}; // the thread that was started last

// What the library holds now: handles, searches of directories and references to itself; and mappings.
constinit std::atomic<long> fsHandles{0};
constinit std::atomic<long> fsMappings{0};

// Counts a thing that a call has given to the library, unless the call has failed and returned `none`.
template <typename Thing>
Thing Given(Thing thing, Thing none, std::atomic<long> &count) noexcept {
    count += thing != none;
    return thing;
}

// Returns whether the call must fail. If so, sets GetLastError().
bool Fails(char const *name, DWORD error) noexcept {
    if (!calls::MustFail(name, calls::Kind::error))
        return false;
    calls::NoteError(static_cast<int>(error));
    ::SetLastError(error);
    return true;
}

// Does the same for a function of the C runtime, which sets errno and keeps the system's code.
bool FailsInRuntime(char const *name, int error, DWORD code) noexcept {
    if (!calls::MustFail(name, calls::Kind::error))
        return false;
    calls::NoteError(error);
    errno = error;
    ::SetLastError(code);
    return true;
}

// Does the same for a call that is made only if threads contend for a lock.
bool FailsInContention(char const *name, DWORD error) noexcept {
    return calls::CountsWaits() && Fails(name, error);
}

bool IsHolder(HANDLE object) noexcept {
    DWORD const error = GetLastError(); // which TlsGetValue() changes
    bool const isHolder = object && object == TlsGetValue(HolderSlot());
    ::SetLastError(error);
    return isHolder;
}

BOOL(WINAPI *fsWaitOnAddress)(void volatile *, void *, SIZE_T, DWORD) = nullptr;
int(__cdecl *fsRandom)(unsigned int *) = nullptr;

} // namespace

bool calls::IsExempt() noexcept {
    DWORD const error = GetLastError(); // which TlsGetValue() changes
    bool const isExempt = TlsGetValue(Slot()) != nullptr;
    ::SetLastError(error);
    return isExempt;
}

void calls::SetExempt(bool isExempt) noexcept {
    static char mark;
    TlsSetValue(Slot(), isExempt ? &mark : nullptr);
}

long calls::HeldHandles() noexcept {
    return fsHandles;
}

long calls::HeldMappings() noexcept {
    return fsMappings;
}

char const *calls::UnknownLookup() noexcept {
    return fsUnknown;
}

// The replacements. tests/symbols/calls.py finds them by the name of this namespace.
namespace replaced {

// Defines a function that can fail: it then returns `failure` and sets the error `error`.
#define TUZUTIL_FAILING(result, name, parameters, arguments, error, failure)                                           \
    static result WINAPI name parameters {                                                                             \
        return Fails(#name, error) ? failure : ::name arguments;                                                       \
    }
// Does the same for a function of the C runtime.
#define TUZUTIL_FAILING_RUNTIME(result, name, parameters, arguments, error, code, failure)                             \
    static result __cdecl name parameters {                                                                            \
        return FailsInRuntime(#name, error, code) ? failure : ::name arguments;                                        \
    }
// Does the same for a function that gives something to the library.
#define TUZUTIL_FAILING_GIFT(result, name, parameters, arguments, error, failure, count)                               \
    static result WINAPI name parameters {                                                                             \
        return Fails(#name, error) ? failure : Given<result>(::name arguments, failure, count);                        \
    }
// Defines a function that releases something. The caller can do nothing if it fails, so the replacement releases the
// thing anyway, because it would otherwise look like a leak.
#define TUZUTIL_FAILING_RELEASE(name, parameters, arguments, error, count)                                             \
    static BOOL WINAPI name parameters {                                                                               \
        BOOL const result = ::name arguments;                                                                          \
        count -= result != FALSE;                                                                                      \
        return Fails(#name, error) ? FALSE : result;                                                                   \
    }

using TSecurity = LPSECURITY_ATTRIBUTES;

TUZUTIL_FAILING_RELEASE(FreeLibrary, (HMODULE library), (library), ERROR_INVALID_HANDLE, fsHandles)
TUZUTIL_FAILING_RELEASE(UnmapViewOfFile, (void const *view), (view), ERROR_INVALID_ADDRESS, fsMappings)

TUZUTIL_FAILING_GIFT(HANDLE, CreateFileA,
                     (char const *name, DWORD access, DWORD sharing, TSecurity security, DWORD how, DWORD flags,
                      HANDLE like),
                     (name, access, sharing, security, how, flags, like), ERROR_TOO_MANY_OPEN_FILES,
                     INVALID_HANDLE_VALUE, fsHandles)
TUZUTIL_FAILING_GIFT(HANDLE, CreateFileW,
                     (wchar_t const *name, DWORD access, DWORD sharing, TSecurity security, DWORD how, DWORD flags,
                      HANDLE like),
                     (name, access, sharing, security, how, flags, like), ERROR_TOO_MANY_OPEN_FILES,
                     INVALID_HANDLE_VALUE, fsHandles)
TUZUTIL_FAILING_GIFT(HANDLE, CreateFileMappingA,
                     (HANDLE file, TSecurity security, DWORD protection, DWORD high, DWORD low, char const *name),
                     (file, security, protection, high, low, name), ERROR_COMMITMENT_LIMIT, nullptr, fsHandles)
TUZUTIL_FAILING_GIFT(HANDLE, CreateMutexA, (TSecurity security, BOOL isHeld, char const *name),
                     (security, isHeld, name), ERROR_NO_SYSTEM_RESOURCES, nullptr, fsHandles)
TUZUTIL_FAILING(BOOL, FlsSetValue, (DWORD slot, void *value), (slot, value), ERROR_NOT_ENOUGH_MEMORY, FALSE)
TUZUTIL_FAILING(DWORD, FormatMessageA,
                (DWORD flags, void const *source, DWORD message, DWORD language, char *text, DWORD size,
                 va_list *arguments),
                (flags, source, message, language, text, size, arguments), ERROR_RESOURCE_LANG_NOT_FOUND, 0)
TUZUTIL_FAILING(DWORD, GetFileAttributesA, (char const *name), (name), ERROR_ACCESS_DENIED, INVALID_FILE_ATTRIBUTES)
TUZUTIL_FAILING(DWORD, GetModuleFileNameA, (HMODULE library, char *name, DWORD size), (library, name, size),
                ERROR_NOT_ENOUGH_MEMORY, 0)
TUZUTIL_FAILING(DWORD, GetTempPathW, (DWORD size, wchar_t *path), (size, path), ERROR_NOT_ENOUGH_MEMORY, 0)
TUZUTIL_FAILING(HMODULE, LoadLibraryA, (char const *name), (name), ERROR_NOT_ENOUGH_MEMORY, nullptr)
TUZUTIL_FAILING_GIFT(void *, MapViewOfFile, (HANDLE mapping, DWORD access, DWORD high, DWORD low, SIZE_T size),
                     (mapping, access, high, low, size), ERROR_NOT_ENOUGH_MEMORY, nullptr, fsMappings)
TUZUTIL_FAILING_GIFT(HANDLE, OpenFileMappingA, (DWORD access, BOOL isInherited, char const *name),
                     (access, isInherited, name), ERROR_ACCESS_DENIED, nullptr, fsHandles)
TUZUTIL_FAILING_GIFT(HANDLE, OpenMutexA, (DWORD access, BOOL isInherited, char const *name),
                     (access, isInherited, name), ERROR_ACCESS_DENIED, nullptr, fsHandles)
TUZUTIL_FAILING(BOOL, GetFileSizeEx, (HANDLE file, PLARGE_INTEGER size), (file, size), ERROR_NOT_ENOUGH_MEMORY, FALSE)
TUZUTIL_FAILING(BOOL, SetFilePointerEx, (HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD from),
                (file, distance, position, from), ERROR_SEEK, FALSE)
TUZUTIL_FAILING(BOOL, SetThreadErrorMode, (DWORD mode, DWORD *previous), (mode, previous), ERROR_INVALID_PARAMETER,
                FALSE)
TUZUTIL_FAILING(int, LoadStringA, (HINSTANCE library, UINT number, char *text, int size), (library, number, text, size),
                ERROR_RESOURCE_DATA_NOT_FOUND, 0)
TUZUTIL_FAILING(int, LoadStringW, (HINSTANCE library, UINT number, wchar_t *text, int size),
                (library, number, text, size), ERROR_RESOURCE_DATA_NOT_FOUND, 0)

static BOOL WINAPI GetModuleHandleExA(DWORD flags, char const *name, HMODULE *library) {
    BOOL const isThere =
        !Fails("GetModuleHandleExA", ERROR_MOD_NOT_FOUND) && ::GetModuleHandleExA(flags, name, library);
    if (isThere && !(flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT))
        ++fsHandles;
    return isThere;
}

// This call never fails.
[[noreturn]] static void WINAPI FreeLibraryAndExitThread(HMODULE library, DWORD code) {
    --fsHandles;
    ::FreeLibraryAndExitThread(library, code);
}

static BOOL WINAPI ReadFile(HANDLE file, void *bytes, DWORD count, DWORD *done, OVERLAPPED *overlapped) {
    if (Fails("ReadFile", ERROR_CRC)) {
        *done = 0;
        return FALSE;
    }
    bool const isHalf = count > 1 && calls::MustFail("ReadFile", calls::Kind::partial);
    return ::ReadFile(file, bytes, isHalf ? count / 2 : count, done, overlapped);
}

static BOOL WINAPI WriteFile(HANDLE file, void const *bytes, DWORD count, DWORD *done, OVERLAPPED *overlapped) {
    if (Fails("WriteFile", ERROR_DISK_FULL)) {
        *done = 0;
        return FALSE;
    }
    bool const isHalf = count > 1 && calls::MustFail("WriteFile", calls::Kind::partial);
    return ::WriteFile(file, bytes, isHalf ? count / 2 : count, done, overlapped);
}

// A new thread runs while its maker closes the handle. So that the order of the calls is always the same, this one is
// not counted.
static BOOL WINAPI CloseHandle(HANDLE handle) {
    HANDLE started = handle;
    bool const isThread = fsStarted.compare_exchange_strong(started, nullptr);
    bool const isHolder = IsHolder(handle);
    if (isHolder)
        TlsSetValue(HolderSlot(), nullptr);
    BOOL const result = ::CloseHandle(handle);
    fsHandles -= result != FALSE;
    bool const fails = !isThread && (!isHolder || calls::CountsWaits()) && Fails("CloseHandle", ERROR_INVALID_HANDLE);
    return fails ? FALSE : result;
}

static DWORD WINAPI WaitForSingleObject(HANDLE object, DWORD milliseconds) {
    bool const isHolder = IsHolder(object);
    if (isHolder ? FailsInContention("WaitForSingleObject", ERROR_INVALID_HANDLE)
                 : Fails("WaitForSingleObject", ERROR_INVALID_HANDLE))
        return WAIT_FAILED;
    if (!isHolder && milliseconds != 0)
        calls::NoteWait();
    return ::WaitForSingleObject(object, milliseconds);
}

// The library calls the following functions only if threads contend for a lock without a name.

static HANDLE WINAPI CreateEventA(TSecurity security, BOOL isManual, BOOL isPosted, char const *name) {
    if (FailsInContention("CreateEventA", ERROR_NO_SYSTEM_RESOURCES))
        return nullptr;
    return Given<HANDLE>(::CreateEventA(security, isManual, isPosted, name), nullptr, fsHandles);
}

static HANDLE WINAPI OpenThread(DWORD access, BOOL isInherited, DWORD id) {
    if (FailsInContention("OpenThread", ERROR_ACCESS_DENIED))
        return nullptr;
    HANDLE const thread = Given<HANDLE>(::OpenThread(access, isInherited, id), nullptr, fsHandles);
    DWORD const error = GetLastError();
    TlsSetValue(HolderSlot(), thread);
    ::SetLastError(error);
    return thread;
}

static BOOL WINAPI SetEvent(HANDLE event) {
    return !FailsInContention("SetEvent", ERROR_INVALID_HANDLE) && ::SetEvent(event);
}

// The event of a lock may still be posted from an earlier wait, and a thread would then wait twice. So that the number
// of calls is always the same, the first of the counted waits clears it.
static DWORD WINAPI WaitForMultipleObjects(DWORD count, HANDLE const *objects, BOOL forAll, DWORD milliseconds) {
    if (calls::CountsWaits() && calls::IsFirstWait())
        ::ResetEvent(objects[0]);
    bool const fails = FailsInContention("WaitForMultipleObjects", ERROR_NOT_ENOUGH_MEMORY);
    calls::NoteWait();
    return fails ? WAIT_FAILED : ::WaitForMultipleObjects(count, objects, forAll, milliseconds);
}

// Does the same as TUZUTIL_FAILING_GIFT for a function of the C runtime.
#define TUZUTIL_FAILING_RUNTIME_GIFT(result, name, parameters, arguments, error, code, failure)                        \
    static result __cdecl name parameters {                                                                            \
        return FailsInRuntime(#name, error, code) ? result(failure)                                                    \
                                                  : Given<result>(::name arguments, failure, fsHandles);               \
    }

// The caller learns of the failure by GetLastError().
static std::uintptr_t __cdecl _beginthreadex(void *security, unsigned int stack, unsigned int(__stdcall *body)(void *),
                                             void *argument, unsigned int flags, unsigned int *id) {
    if (Fails("_beginthreadex", ERROR_NOT_ENOUGH_MEMORY)) {
        errno = EAGAIN;
        return 0;
    }
    std::uintptr_t const none = 0;
    std::uintptr_t const thread = Given(::_beginthreadex(security, stack, body, argument, flags, id), none, fsHandles);
    fsStarted = reinterpret_cast<HANDLE>(thread);
    return thread;
}

TUZUTIL_FAILING_RUNTIME_GIFT(std::intptr_t, _findfirst64, (char const *pattern, __finddata64_t *found),
                             (pattern, found), EINVAL, ERROR_CRC, -1)
TUZUTIL_FAILING_RUNTIME(int, _findnext64, (std::intptr_t search, __finddata64_t *found), (search, found), EINVAL,
                        ERROR_CRC, -1)
TUZUTIL_FAILING_RUNTIME(int, _mkdir, (char const *name), (name), EACCES, ERROR_ACCESS_DENIED, -1)

static int __cdecl _findclose(std::intptr_t search) {
    int const result = ::_findclose(search);
    fsHandles -= result == 0;
    return FailsInRuntime("_findclose", EINVAL, ERROR_INVALID_HANDLE) ? -1 : result;
}

// The C++ runtime calls these two functions. Their names differ between 32 and 64 bits.
#if defined(_WIN64)
TUZUTIL_FAILING_RUNTIME_GIFT(std::intptr_t, _wfindfirst64, (wchar_t const *pattern, _wfinddata64_t *found),
                             (pattern, found), EINVAL, ERROR_CRC, -1)
TUZUTIL_FAILING_RUNTIME(int, _wfindnext64, (std::intptr_t search, _wfinddata64_t *found), (search, found), EINVAL,
                        ERROR_CRC, -1)
#else
TUZUTIL_FAILING_RUNTIME_GIFT(std::intptr_t, _wfindfirst, (wchar_t const *pattern, _wfinddata_t *found),
                             (pattern, found), EINVAL, ERROR_CRC, -1)
TUZUTIL_FAILING_RUNTIME(int, _wfindnext, (std::intptr_t search, _wfinddata_t *found), (search, found), EINVAL,
                        ERROR_CRC, -1)
#endif

// The library finds these two functions by GetProcAddress().

static BOOL WINAPI WaitOnAddress(void volatile *word, void *compared, SIZE_T size, DWORD milliseconds) {
    bool const fails = calls::CountsWaits() && Fails("WaitOnAddress", ERROR_INVALID_PARAMETER);
    calls::NoteWait();
    return fails ? FALSE : fsWaitOnAddress(word, compared, size, milliseconds);
}

static int __cdecl rand_s(unsigned int *bits) {
    return FailsInRuntime("rand_s", EINVAL, ERROR_NOT_ENOUGH_MEMORY) ? EINVAL : fsRandom(bits);
}

// The library looks a function up once, and uses it until the process ends. So this function only hands out the
// replacements, and does not fail.
static FARPROC WINAPI GetProcAddress(HMODULE library, char const *name) {
    FARPROC const found = ::GetProcAddress(library, name);
    if (std::strcmp(name, "WaitOnAddress") == 0) {
        fsWaitOnAddress = reinterpret_cast<decltype(fsWaitOnAddress)>(reinterpret_cast<void *>(found));
        return reinterpret_cast<FARPROC>(reinterpret_cast<void *>(&WaitOnAddress));
    }
    if (std::strcmp(name, "rand_s") == 0) {
        fsRandom = reinterpret_cast<decltype(fsRandom)>(reinterpret_cast<void *>(found));
        return reinterpret_cast<FARPROC>(reinterpret_cast<void *>(&rand_s));
    }
    if (std::strcmp(name, "WakeByAddressAll") != 0) // returns nothing
        fsUnknown = name;
    return found;
}

} // namespace replaced

namespace {

struct TRow {
    char const *name;
    void *replacement;
};

#define TUZUTIL_ROW(name)                                                                                              \
    { #name, reinterpret_cast < void *>(&replaced::name) }

TRow const fsOfLibrary[] = {
    TUZUTIL_ROW(CloseHandle),
    TUZUTIL_ROW(FreeLibrary),
    TUZUTIL_ROW(FreeLibraryAndExitThread),
    TUZUTIL_ROW(UnmapViewOfFile),
    TUZUTIL_ROW(CreateEventA),
    TUZUTIL_ROW(CreateFileA),
    TUZUTIL_ROW(CreateFileW),
    TUZUTIL_ROW(CreateFileMappingA),
    TUZUTIL_ROW(CreateMutexA),
    TUZUTIL_ROW(FlsSetValue),
    TUZUTIL_ROW(FormatMessageA),
    TUZUTIL_ROW(GetFileAttributesA),
    TUZUTIL_ROW(GetFileSizeEx),
    TUZUTIL_ROW(GetModuleFileNameA),
    TUZUTIL_ROW(GetModuleHandleExA),
    TUZUTIL_ROW(GetTempPathW),
    TUZUTIL_ROW(LoadLibraryA),
    TUZUTIL_ROW(MapViewOfFile),
    TUZUTIL_ROW(OpenFileMappingA),
    TUZUTIL_ROW(OpenMutexA),
    TUZUTIL_ROW(OpenThread),
    TUZUTIL_ROW(SetEvent),
    TUZUTIL_ROW(SetFilePointerEx),
    TUZUTIL_ROW(SetThreadErrorMode),
    TUZUTIL_ROW(LoadStringA),
    TUZUTIL_ROW(LoadStringW),
    TUZUTIL_ROW(ReadFile),
    TUZUTIL_ROW(WriteFile),
    TUZUTIL_ROW(WaitForSingleObject),
    TUZUTIL_ROW(WaitForMultipleObjects),
    TUZUTIL_ROW(_beginthreadex),
    TUZUTIL_ROW(_findfirst64),
    TUZUTIL_ROW(_findnext64),
    TUZUTIL_ROW(_findclose),
    TUZUTIL_ROW(_mkdir),
    TUZUTIL_ROW(GetProcAddress),
};

TRow const fsOfRuntime[] = {
#if defined(_WIN64)
    TUZUTIL_ROW(_wfindfirst64),
    TUZUTIL_ROW(_wfindnext64),
#else
    TUZUTIL_ROW(_wfindfirst),
    TUZUTIL_ROW(_wfindnext),
#endif
    TUZUTIL_ROW(_findclose),
};

template <std::size_t Count>
void Replace(char const *module, TRow const (&rows)[Count]) noexcept {
    for (TRow const &row : rows) {
        if (ReplaceImport(module, row.name, row.replacement))
            continue;
        std::fprintf(stderr, "%s does not import %s\n", module, row.name);
        std::abort();
    }
}

[[maybe_unused]] bool const fsInstalled = [] {
    Slot();
    HolderSlot();
    Replace("tuzutil.dll", fsOfLibrary);
    Replace("libstdc++-6.dll", fsOfRuntime);
    return true;
}();

} // namespace
