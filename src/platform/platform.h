#ifndef TUZUTIL_PLATFORM
#define TUZUTIL_PLATFORM

// platform.h: declares everything that the library needs from an operating system. A port to a system defines these
// functions. No source outside this folder depends on a system. posix/ and win32/ define the functions in files with
// the same names:
//
//     cancel            keeping a thread from being cancelled    memory           wiping memory
//     clock             the time and calendar records            mutex            locks
//     component_stream  calls through the interface IStream      printf           how the runtime prints
//     error             error codes and their texts              process          ids, the environment, the debugger
//     event             events                                   shared_memory    memory that processes share
//     files             names of files, directories              temporary_file   temporary files
//     forks             functions to call at forks               thread           starting threads
//     library           libraries and their texts                thread_record    a record for each thread
//                                                                trace_file       files of trace records
//
// Both folders also have kept_error.h, deadline.h and thread_record.h. Only posix/ has descriptor.h, native_name.h
// (names of files), forks.h, futex.h, object_folder (the folder of named objects) and text_table.h (the texts of a
// library). Only win32/ has attach.cpp (a function that the system calls when it loads or unloads the library) and
// version.rc.in. A port may use fast_mutex, event_word.h, no_cancel.h and single_thread.h, which are the same on every
// system.
//
// Rules. Everything except IStream is in the namespace `platform`. The names of types begin with T, except the names of
// handles. Only this folder uses the content of a handle. Any thread may call any function at any time, unless a
// comment says otherwise. No function writes traces. No function still holds an internal lock when it returns, except
// OpenOrCreateSharedMemory() for a new block. Functions call no code outside this folder and the system, with two
// exceptions: objects and functions that the caller passes, and the initialisers of libraries that are loaded. A
// function without `noexcept` may throw std::bad_alloc. If such a function calls an IStream that the caller passes, it
// may also throw what the IStream throws. Texts end with a zero, and must not be null unless a comment allows it. "With
// LastError()" means that the failing function has set the error code that LastError() returns.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

struct IStream;

namespace platform {

// Memory

// Zeroes memory in a way that the compiler cannot remove. Never fails, never blocks.
void SecureZero(void *memory, std::size_t count) noexcept;

// Letters

// Returns whether tolower() or, if `toLower` is false, toupper() converts the ASCII letters in the current locale as in
// ASCII. Never blocks.
bool AreLettersPlain(bool toLower) noexcept;

// Returns whether tolower() converts I to i in the current locale. In Turkish locales it does not. Never blocks.
bool IsLetterIPlain() noexcept;

// Time

// Returns the seconds since 1970-01-01 00:00:00 UTC. Never fails, never blocks.
std::int64_t CurrentTime() noexcept;

// Returns the nanoseconds since a fixed time. This clock never goes back, and nobody can set it. Never fails, never
// blocks.
std::int64_t SteadyTime() noexcept;

// Returns the offset of the process's time zone from UTC, in seconds to the west and without daylight saving. The first
// call reads the environment.
long TimeZone() noexcept;

// Fills in the UTC calendar record of a time. If the system cannot convert the time, returns false, and the record is
// undefined.
bool UtcRecord(std::int64_t time, std::tm &record) noexcept;

// Writes a calendar record by a format of C99's strftime, in the current locale, with a terminating zero. Returns the
// number of bytes without that zero, at most size - 1. If the text does not fit, is empty, or cannot be made, returns
// 0, and the content of the buffer is undefined. An unknown conversion is written unchanged. REQUIRES: size is at least
// 1.
std::size_t FormatTime(char *buffer, std::size_t size, char const *format, std::tm const &record) noexcept;

struct TLocalTime {
    unsigned int month; // 1 to 12
    unsigned int day;
    unsigned int hour;
    unsigned int minute;
    unsigned int second;
    unsigned int millisecond;
    unsigned int year = 0;
};

// Returns the present local time. Never fails. The C library may take a lock for the time zone.
TLocalTime LocalTime() noexcept;

// Returns how many minutes the local time is ahead of UTC now, with daylight saving. Never fails. The C library may
// take a lock for the time zone.
int LocalZone() noexcept;

// The process

// ThreadId() and ProcessId() return the system's ids of this thread and this process. They never fail and never block.
// In a child of fork(), ProcessId() returns the child's id. ThreadId() returns that of the child's thread if
// FollowForks() was called before the fork. The system reports only calls of fork(). So, after FollowForks(), a child
// that is made in another way, such as by clone(), may get the ids of its parent.
std::uint32_t ThreadId() noexcept;
std::uint32_t ProcessId() noexcept;

// LastError() returns the system's error code, and SetLastError() sets it. Each thread has a code of its own.
std::uint32_t LastError() noexcept;
void SetLastError(std::uint32_t error) noexcept;
extern std::uint32_t const badArgument; // the code of a wrong argument
extern std::uint32_t const noMemory;    // the code of a lack of memory

// Writes the English text of an error code of the system, with a terminating zero and without a line end. A text of
// more than size - 1 bytes is cut. Returns the number of bytes written, without the zero. The text of an unknown code
// is "Unknown error" and the number. REQUIRES: size is at least 1.
std::size_t ErrorText(std::uint32_t error, char *text, std::size_t size) noexcept;

// Returns the English text of an error number of the C library. The text is never null and never deallocated.
char const *RuntimeErrorText(int error) noexcept;

// Looks up a variable of the environment. If the variable is not set, returns false and leaves `value` undefined. In a
// program with raised privileges (set-user-ID on Linux), returns false for every variable, because the environment
// comes from a caller with fewer privileges.
bool FindVariable(char const *name, std::string &value);

// Passes a text to the debugger of the process. If the system has no channel to a debugger, writes the text to the
// system's log. May block.
void DebuggerOutput(char const *text);

// Locks and events

enum class TWaitResult : std::uint32_t { done = 0, abandoned = 128, timedOut = 258, failed = 0xFFFFFFFF };

constexpr std::uint32_t waitForEver = 0xFFFFFFFF; // as a number of milliseconds

// A recursive lock. If it has a name, all processes of the user's session that ask for that name share it. If a thread
// ends while it holds a lock, the next LockMutex() that takes this lock returns `abandoned`. Every function that takes
// a Mutex accepts null: HoldsMutex() and WasAbandoned() then return false, and the others fail. Failures set
// LastError(). DeleteMutex() first unlocks a lock without a name if this thread holds it.
struct Mutex;
Mutex *NewMutex(char const *name) noexcept;   // null or "" for no name; returns null on failure; may block
bool DeleteMutex(Mutex *mutex) noexcept;      // REQUIRES: no other thread waits for the lock
bool UnlockMutex(Mutex *mutex) noexcept;      // false if this thread does not hold the lock
bool HoldsMutex(Mutex const *mutex) noexcept; // whether this thread holds the lock; false if unknown
// Returns a word that is 0 exactly while no thread holds the lock. The word exists as long as the lock. Returns null
// for a lock with a name, and for null.
std::atomic<std::uint32_t> const *HeldWord(Mutex const *mutex) noexcept;
TWaitResult LockMutex(Mutex *mutex, std::uint32_t milliseconds) noexcept; // only tries if `milliseconds` is 0
// Returns whether this thread holds the lock and LockMutex() returned `abandoned` when the thread took it. Later nested
// calls of LockMutex() by this thread return `done`, and do not change what WasAbandoned() returns. Returns false if it
// is unknown who holds the lock.
bool WasAbandoned(Mutex const *mutex) noexcept;

// Returns the system's own handle of a lock. On Linux, and for a lock without a name on Windows, the system has no
// handle. The result is then the address of the Mutex. Returns 0 for null.
std::uintptr_t SystemHandle(Mutex *mutex) noexcept;

// An event, which stays posted until it is cleared. The event counts its owners, and the DeleteEvent() of the last
// owner deletes it. Every function accepts null. With null, WaitEvent(), ClearEvent() and PostEvent() fail. Failures
// set LastError().
struct Event;
Event *NewEvent(bool posted) noexcept;                                    // one owner; null on failure
Event *ShareEvent(Event *event) noexcept;                                 // adds an owner; returns its argument
void DeleteEvent(Event *event) noexcept;                                  // removes an owner
TWaitResult WaitEvent(Event *event, std::uint32_t milliseconds) noexcept; // only looks if `milliseconds` is 0
bool ClearEvent(Event *event) noexcept;
// Posts the event. This releases every waiting thread, even if the event is cleared at once afterwards. On Windows
// before Windows 8, a waiting thread may miss a post that is cleared at once.
bool PostEvent(Event *event) noexcept;

// Threads and forks

// Runs a function on a new detached thread of the C library, with the default stack size. This library stays loaded
// until the function has returned. If `takesSignals` is set, the new thread blocks the same signals as the caller.
// Otherwise the new thread blocks all signals. Does not wait for the thread. Returns a number that identifies the
// thread. The caller need not close anything. If the thread cannot be started, returns all ones, with LastError().
std::uintptr_t StartThread(void (*body)(void *), void *argument, bool takesSignals) noexcept;

// threadsEndFirst tells whether the system, at the end of the process, ends all other threads before this library's
// static objects are destroyed.
extern bool const threadsEndFirst;

// HoldCancellation() keeps this thread from being cancelled until ReleaseCancellation() is called with its result. Both
// do nothing if the system does not cancel threads. A cancellation that arrives in between stays pending. Pairs of
// calls may be nested.
int HoldCancellation() noexcept;
void ReleaseCancellation(int held) noexcept;

// Registers functions for forks. `before` is called before each fork. After the fork, `inParent` is called in the
// parent, and `inChild` in the child. The platform takes its own locks after `before`, and releases them before it
// calls `inParent` or `inChild`. If the registration fails, returns false, with LastError(). If processes do not fork,
// returns true and does nothing. REQUIRES: this function is called at most once.
bool FollowForks(void (*before)() noexcept, void (*inParent)() noexcept, void (*inChild)() noexcept) noexcept;

// Printing

// How the printf functions of a system behave. Systems differ in these points.
struct TPrintfHabits {
    bool keepsUnknown;    // an unknown conversion is printed unchanged; if false, only its last character is printed
    bool cutsNullText;    // a null text with a precision below 6 prints a part of "(null)"; if false, it prints nothing
    bool knowsUpperF;     // the conversion F exists
    bool zerosBeforeText; // the flag 0 also fills up texts and characters
    bool textIsUtf8;      // narrow text is usually UTF-8, even if the locale has only ASCII characters
};
extern TPrintfHabits const printfHabits;

// Writes a real as the system's printf does, in the current locale. The format consists of one conversion, which takes
// a width, a precision and the value. Returns the number of bytes, without a terminating zero. Returns 0 if printf
// fails. REQUIRES: size is at least width + precision + 330; a negative precision counts as 0.
std::size_t FormatReal(char *buffer, std::size_t size, char const *format, int width, int precision,
                       double value) noexcept;

// Files. In every name that the library passes to these functions or receives from them, backslashes separate the
// parts. Only ToNativeName(), FromNativeName(), HasLibraryForm() and OpenNativeTraceFile() handle the system's own
// form.

// ToNativeName() converts a name in place from the library's form to the system's form. FromNativeName() converts it
// back. They take no locks.
void ToNativeName(char *name, std::size_t length) noexcept;
void FromNativeName(char *name, std::size_t length) noexcept;

// Returns whether FromNativeName() can convert a name. On Linux, it cannot if the name contains a backslash.
bool HasLibraryForm(char const *nativeName) noexcept;

extern bool const hasWideNames; // whether the system takes names of 16-bit characters

// Returns whether something of that name exists and is not a directory. May block.
bool IsFile(char const *name) noexcept;

// Makes a directory. Returns 0, or an error number of the C library: EEXIST if something of that name exists. May
// block.
int MakeDirectory(char const *name) noexcept;

// A search through the entries of a directory, in the system's order. One thread at a time may use a search.
struct Search;
struct TDirectoryEntry {
    char name[260]; // without the path of the directory
    bool isDirectory;
};

// Begins a search and stores its first entry. The caller must close the search with CloseSearch(). If the directory
// cannot be opened or has no entry, returns null, and `lacksMemory` says whether memory was lacking. May block.
// REQUIRES: `pattern` is a directory's name, a separator and "*.*".
Search *OpenSearch(char const *pattern, TDirectoryEntry &entry, bool &lacksMemory) noexcept;
// Stores the next entry. Returns false after the last entry. May block. REQUIRES: `search` is not null (also for
// CloseSearch()).
bool NextEntry(Search *search, TDirectoryEntry &entry) noexcept;
bool CloseSearch(Search *search) noexcept;

// A file that no other process can open and that is deleted when it is closed or the process ends. Nothing is buffered.
// The functions below may block. One thread at a time may use a file.
enum class TempFile : std::intptr_t {};
constexpr TempFile noTempFile{-1};
enum class TFileOrigin { start, current, end };
TempFile OpenTempFile(int &error) noexcept; // noTempFile on failure: `error` is then the C library's error number
std::ptrdiff_t ReadTempFile(TempFile file, char *bytes, std::size_t count) noexcept;     // 0 at the end; -1 on failure
std::size_t WriteTempFile(TempFile file, char const *bytes, std::size_t count) noexcept; // fewer bytes on failure
// Returns the new position; -1 on failure.
std::int64_t SeekTempFile(TempFile file, std::int64_t offset, TFileOrigin origin) noexcept;
void CloseTempFile(TempFile file) noexcept;

// A file to which trace records are appended. A file for one writer (`alone`) is emptied when it is opened. If `use` is
// `joined`, the file keeps its content. If `use` is `joinedOrBegun`, the first process that shares the file empties it.
// On Linux, that process empties the file only if the file belongs to the user of the process and nobody has locked it.
// If the system has permissions of this kind, a new file gets the permissions in `mode` that the umask of the process
// allows. On failure, returns null, with LastError(). May block. REQUIRES: for `joinedOrBegun`, the caller holds the
// named lock that all processes use.
struct TraceFile;
enum class TTraceFileUse { alone, joined, joinedOrBegun };
TraceFile *OpenTraceFile(char const *name, TTraceFileUse use, unsigned int mode) noexcept;
// These functions do the same for a name in the system's own form. Each system defines only the function with the
// character type of the system's paths.
TraceFile *OpenNativeTraceFile(char const *name, TTraceFileUse use, unsigned int mode) noexcept;
TraceFile *OpenNativeTraceFile(wchar_t const *name, TTraceFileUse use, unsigned int mode) noexcept;

// Appends a text to the file, in one piece if the system allows it, with the line ends of the system's text files. If
// the file ends within a line, because a write failed or another writer was killed, that line is ended first. Returns
// false if `file` is null or if a part of the text could not be written. May block. REQUIRES: only one thread at a time
// writes through a TraceFile. Processes that share a file hold a named lock during a call, because their records could
// mix otherwise.
bool WriteTraceFile(TraceFile *file, char const *text, std::size_t count) noexcept;
void CloseTraceFile(TraceFile *file) noexcept; // does nothing for null

// Shared memory

// A block of memory that all processes of the user's session share under a name. The block exists until every process
// that uses it has closed it or has ended. The functions that return a Block set `view` to the address of the block. On
// failure they return null, with LastError(). CreateSharedMemory() fails if a block of that name exists.
// OpenSharedMemory() fails if there is no such block. These functions may block. REQUIRES: the name is not empty.
struct Block;
// Creates a block of zeros. Fails if `size` is less than 1.
Block *CreateSharedMemory(char const *name, std::int32_t size, void *&view) noexcept;
Block *OpenSharedMemory(char const *name, void *&view) noexcept;
void CloseSharedMemory(Block *block, void *view) noexcept; // REQUIRES: both are from the same call

// Opens a block, and fails if it has fewer than `size` bytes. If there is no block, creates one of zeros and sets
// `isNew`. The caller then fills the block and passes it to PublishSharedMemory(). Until then, CreateSharedMemory()
// fails for this name, and other calls of this function and of OpenSharedMemory() wait. If the caller closes the block
// instead, or its process ends, these calls go on as if the block had never existed. REQUIRES: one thread makes all
// calls for a new block.
Block *OpenOrCreateSharedMemory(char const *name, std::int32_t size, void *&view, bool &isNew) noexcept;
bool PublishSharedMemory(Block *block) noexcept; // on failure, false with LastError(): close the block then

// Returns the size of a block in bytes. If CreateSharedMemory() made the block, Windows rounds it up to whole pages.
std::size_t SharedMemorySize(Block const *block) noexcept;

// Libraries

// A loaded library. As an argument of LibraryName(), null stands for the program. As a result of OpenLibrary(), null
// means failure.
struct Library;

// Loads a library by its name. A name without a directory is looked for in the program's directory, and then in the
// places of the system. If the last part of the name has no ".", the function adds ".dll". On Linux, the function then
// also tries the name without this ending. The program itself can be opened too. The library stays loaded for ever.
// Takes the system's loader lock and runs the library's initialisers. On failure, returns null, with LastError(). If
// the system's loader has a text about the failure and `words` is not null, `words` then receives this text.
struct TLoaderWords {
    char text[512] = "";
    bool isAboutLibrary = false; // the library exists, so the text says more than that it was not found
};
Library *OpenLibrary(char const *name, TLoaderWords *words = nullptr) noexcept; // fails if `name` is null

// Writes the full name of a loaded library, or of the program if `library` is null. A name of more than size - 1 bytes
// is cut. Returns the number of bytes written, without the zero, or 0 if the system does not know the name. REQUIRES:
// size is at least 1.
std::size_t LibraryName(Library *library, char *name, std::size_t size) noexcept;

// Both functions copy the text with this number from a library, with a terminating zero. The first one writes 16-bit
// characters. The second one writes bytes, in the system's code page on Windows and in UTF-8 elsewhere. A text that
// does not fit in `size` is cut. They return the number of characters or bytes written, without the zero. If the text
// does not exist or is empty, they return 0, with LastError(). REQUIRES: size is at least 1.
std::uint32_t LoadText(Library *library, std::uint64_t number, unsigned short *text, std::uint32_t size) noexcept;
std::uint32_t LoadText(Library *library, std::uint64_t number, char *text, std::uint32_t size) noexcept;

// Returns whether an address is in the program or in a loaded library, and not on a stack or in allocated memory. Takes
// the system's loader lock.
bool IsInImage(void const *address) noexcept;

enum class TAnswer { no, yes, unknown };

// Returns whether an address is on the stack of this thread. If the system does not tell where the stack is, the answer
// is `unknown`, and LastError() has the reason. For the first thread of a process, Linux has to open a file to tell it.
TAnswer IsOnStack(void const *address) noexcept;

// The ending of the names of the system's own libraries, or null if it is ".dll".
extern char const *const nativeLibraryEnding;

// Component objects

// These functions call an object through the interface IStream. The interface is the system's, or that of OLESTRM.h if
// the system has none. ReadStream() and WriteStream() return the object's result (0: success), and store the number of
// bytes in `read` or `written`. This number is at most `count`, whatever the object reports. All four functions may
// block, and may throw what the object throws.
void AddStreamReference(IStream &stream);
void ReleaseStream(IStream &stream);
std::int32_t ReadStream(IStream &stream, char *bytes, std::uint32_t count, std::uint32_t &read);
std::int32_t WriteStream(IStream &stream, char const *bytes, std::uint32_t count, std::uint32_t &written);

} // namespace platform

#endif
