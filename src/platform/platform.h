#ifndef TUZUTIL_PLATFORM
#define TUZUTIL_PLATFORM

// platform.h: everything that the library needs of an operating system. To port the library, define what this header
// declares; nothing above this folder asks a system for anything else. posix/ and win32/ do it under the same file
// names:
//
//     cancel            keeping a thread from being cancelled    memory           wiping memory
//     clock             the time and calendar records            mutex            locks
//     component_stream  calls through the interface IStream      printf           how the runtime prints
//     error             error codes and their texts              process          ids, the environment, the debugger
//     event             events                                   shared_memory    memory that processes share
//     files             names of files, directories              temporary_file   files without a name
//     forks             being told of forks                      thread           starting threads
//     library           libraries and their texts                thread_record    what is known of each thread
//                                                                trace_file       files of trace records
//
// Both also have kept_error.h and deadline.h. Only posix/ has descriptor.h, native_name.h (names of files), futex.h,
// object_folder (where named objects live) and text_table.h (the texts of a library); only win32/ has attach.cpp (the
// load notification). A port may build on fast_mutex, event_word.h and no_cancel.h, which hold for every system.
//
// Manner: everything is in the namespace `platform`. Types begin with T; only handles, which nobody above can look
// into, have bare names. Any thread may call any function at any time, unless a comment requires more. No function
// calls the library above, traces, or holds a lock when it returns; none throws unless it is without `noexcept`, and
// then only std::bad_alloc or what a caller's object throws. Texts end with a zero and must not be null, unless a
// comment allows it. "LastError()" after a failure means that the failed function has set it.

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

struct IStream;

namespace platform {

// Memory

// Zeroes memory in a way that the compiler cannot remove. Never fails, never blocks.
void SecureZero(void *memory, std::size_t count) noexcept;

// Time

// Returns the seconds since 1970-01-01 00:00:00 UTC. Never fails, never blocks.
std::int64_t CurrentTime() noexcept;

// Returns how many seconds the process's time zone, without daylight saving, lies west of UTC. The first call reads the
// environment.
long TimeZone() noexcept;

// Fills in the UTC calendar record of a time. Returns false if the system cannot convert it; the record is then
// undefined.
bool UtcRecord(std::int64_t time, std::tm &record) noexcept;

// Writes a record by a format of C99's strftime, in the current locale, with a terminating zero. Returns the number of
// bytes without that zero, at most size - 1. Returns 0 if the text does not fit, is empty, or cannot be made; the
// content is then undefined. An unknown conversion is written as it stands. REQUIRES: size is at least 1.
std::size_t FormatTime(char *buffer, std::size_t size, char const *format, std::tm const &record) noexcept;

// Returns the local time of now. Never fails; at times it takes a lock of the C library.
struct TLocalTime {
    unsigned int month; // 1 to 12
    unsigned int day;
    unsigned int hour;
    unsigned int minute;
    unsigned int second;
    unsigned int millisecond;
    unsigned int year = 0;
};
TLocalTime LocalTime() noexcept;

// Returns how many minutes the local time is ahead of UTC now, with daylight saving. Never fails; as LocalTime().
int LocalZone() noexcept;

// The process

// Return the numbers by which the system knows this thread and this process. Never fail, never block. In a forked child
// both are the child's.
std::uint32_t ThreadId() noexcept;
std::uint32_t ProcessId() noexcept;

// Get and set the system's error code, which each thread has for itself.
std::uint32_t LastError() noexcept;
void SetLastError(std::uint32_t error) noexcept;

// Writes the English text of a system's error code, cut to size - 1 bytes, with a terminating zero and without an end
// of line. Returns its length. The text of an unknown code is "Unknown error" and the number.
// REQUIRES: size is at least 1.
std::size_t ErrorText(std::uint32_t error, char *text, std::size_t size) noexcept;

// Returns the English text of an error number of the C library. The text is never null and lives for ever.
char const *RuntimeErrorText(int error) noexcept;

// Looks up a variable of the environment. Returns false, and leaves `value` undefined, if it is not set. In a program
// with raised rights no variable counts as set, because the environment belongs to a caller with lesser rights.
bool FindVariable(char const *name, std::string &value);

// Hands a text to the debugger that watches the process. If the system has no such channel, the text goes to its log.
// May block.
void DebuggerOutput(char const *text);

// Locks and events

enum class TWaitResult : std::uint32_t { done = 0, abandoned = 128, timedOut = 258, failed = 0xFFFFFFFF };

constexpr std::uint32_t waitForEver = 0xFFFFFFFF; // as a number of milliseconds

// A recursive lock. With a name, the lock is shared by all processes of the user's session that ask for that name. If
// the owner of a lock ends without unlocking it, the next Lock succeeds with `abandoned`. Every function accepts null,
// and then fails. Failures set LastError().
struct Mutex;
Mutex *NewMutex(char const *name) noexcept;   // null or "" for no name; null on failure; may block
bool DeleteMutex(Mutex *mutex) noexcept;      // unlocks it as often as this thread holds it; others must not wait
bool UnlockMutex(Mutex *mutex) noexcept;      // false if this thread does not hold it
bool HoldsMutex(Mutex const *mutex) noexcept; // whether this thread holds it; false if only the system knows
TWaitResult LockMutex(Mutex *mutex, std::uint32_t milliseconds) noexcept; // blocks; 0 only tries

// Returns the system's own handle of a lock, or an address if the system has none for it; 0 for null.
std::uintptr_t SystemHandle(Mutex *mutex) noexcept;

// An event, which stays posted until it is cleared. It counts its owners, and the last DeleteEvent() deletes it. Every
// function accepts null; WaitEvent(), ClearEvent() and PostEvent() then fail. Failures set LastError().
struct Event;
Event *NewEvent(bool posted) noexcept;                                    // one owner; null on failure
Event *ShareEvent(Event *event) noexcept;                                 // adds an owner; returns its argument
void DeleteEvent(Event *event) noexcept;                                  // removes an owner
TWaitResult WaitEvent(Event *event, std::uint32_t milliseconds) noexcept; // blocks; 0 only looks
bool ClearEvent(Event *event) noexcept;
bool PostEvent(Event *event) noexcept; // releases every waiting thread, even if the event is cleared at once

// Threads and forks

// Runs a function on a new detached thread of the C library, with the default stack size. This library stays loaded
// until the function has returned. If `takesSignals` is set, the new thread blocks the same signals as the caller;
// otherwise it blocks all. Returns a number for the thread, which the caller need not close; all ones, with
// LastError(), if the thread cannot be started. Does not wait for the thread.
std::uintptr_t StartThread(void (*body)(void *), void *argument, bool takesSignals) noexcept;

// Whether the system ends all other threads, wherever they are, before static objects are destroyed.
extern bool const threadsEndFirst;

// Keep this thread from being cancelled, if the system cancels threads, from HoldCancellation() until
// ReleaseCancellation() receives its result. A cancellation that arrives in between stays pending. Pairs may nest.
int HoldCancellation() noexcept;
void ReleaseCancellation(int held) noexcept;

// Has `before` called whenever a thread forks the process, and one of the others after the fork. The platform takes its
// own locks after `before`, and releases them before the others. Returns false, with LastError(), if the system cannot
// do it; returns true and does nothing if processes do not fork. REQUIRES: it is called once at most.
bool FollowForks(void (*before)() noexcept, void (*inParent)() noexcept, void (*inChild)() noexcept) noexcept;

// Printing

// How the runtimes' printf families differ.
struct TPrintfHabits {
    bool keepsUnknown;    // an unknown conversion prints as it stands; otherwise only its last character does
    bool cutsNullText;    // a precision below 6 cuts "(null)"; otherwise nothing is printed
    bool knowsUpperF;     // the conversion F exists
    bool zerosBeforeText; // the flag 0 also fills up texts and characters
};
extern TPrintfHabits const printfHabits;

// Writes a real as the runtime's printf does, in the current locale. The format consists of one conversion, which takes
// a width, a precision and the value. Returns the number of bytes, without a terminating zero; 0 if the runtime fails.
// REQUIRES: size exceeds what the width, the precision and 330 digits need.
std::size_t FormatReal(char *buffer, std::size_t size, char const *format, int width, int precision,
                       double value) noexcept;

// Files. Every name that the library passes or receives has backslashes between its parts; only the two conversions and
// HasLibraryForm() see the system's own form.

// Convert a name in place. They take no locks.
void ToNativeName(char *name, std::size_t length) noexcept;
void FromNativeName(char *name, std::size_t length) noexcept;

// Whether FromNativeName() can convert a name. It cannot if the system allows a backslash within a part.
bool HasLibraryForm(char const *nativeName) noexcept;

extern bool const hasWideNames; // whether the system takes names of 16-bit characters

// Returns whether something of that name exists and is not a directory. May block.
bool IsFile(char const *name) noexcept;

// Makes a directory. Returns 0, or an error number of the C library: EEXIST if something of that name exists. May
// block.
int MakeDirectory(char const *name) noexcept;

// A search through the entries of a directory, in the system's order. One thread at a time may use it.
struct Search;
struct TDirectoryEntry {
    char name[260]; // without its path
    bool isDirectory;
};

// Begins a search and gives the first entry. Returns null if there is none, and sets `lacksMemory` to whether a lack of
// memory is the reason. The caller must close what is returned. May block. REQUIRES: `pattern` is a directory's name,
// a separator and "*.*".
Search *OpenSearch(char const *pattern, TDirectoryEntry &entry, bool &lacksMemory) noexcept;
// Gives the next entry; false after the last. May block. REQUIRES: `search` is not null, here and below.
bool NextEntry(Search *search, TDirectoryEntry &entry) noexcept;
bool CloseSearch(Search *search) noexcept;

// A file that no other process can open and that is deleted when it is closed or the process ends. Nothing is buffered.
// All functions may block. One thread at a time may use a file.
enum class TempFile : std::intptr_t {};
constexpr TempFile noTempFile{-1};
enum class TFileOrigin { start, current, end };
TempFile OpenTempFile(int &error) noexcept; // noTempFile on failure: `error` is then the C library's error number
std::ptrdiff_t ReadTempFile(TempFile file, char *bytes, std::size_t count) noexcept;     // 0 at the end; -1 on failure
std::size_t WriteTempFile(TempFile file, char const *bytes, std::size_t count) noexcept; // fewer bytes on failure
// Returns the new position; -1 on failure.
std::int64_t SeekTempFile(TempFile file, std::int64_t offset, TFileOrigin origin) noexcept;
void CloseTempFile(TempFile file) noexcept;

// A file to which trace records are appended. A file for one writer (`alone`) is emptied when it is opened. A shared
// file is joined; `joinedOrBegun` empties it if no process has it open for sharing. A new file gets the permissions of
// `mode`, if the system has such. Returns null, with LastError(), on failure; may block. REQUIRES: for a shared file,
// the caller holds the lock by which all processes take turns.
struct TraceFile;
enum class TTraceFileUse { alone, joined, joinedOrBegun };
TraceFile *OpenTraceFile(char const *name, TTraceFileUse use, unsigned int mode) noexcept;

// Writes all of a text at the end of the file, in one piece if the system allows it, with the line ends of the system's
// text files. If the file stops within a line, because a write failed or another writer ended, that line is ended
// first. Returns false for null, or if a part of the text could not be written. May block. REQUIRES: only one thread of
// one process writes at a time.
bool WriteTraceFile(TraceFile *file, char const *text, std::size_t count) noexcept;
void CloseTraceFile(TraceFile *file) noexcept; // nothing happens for null

// Shared memory

// A block of memory that all processes of the user's session share under a name. It lives until the last process closes
// it or ends. The first two functions set `view` to the address of the block. They return null, with LastError(), on
// failure: CreateSharedMemory() if a block of that name exists, OpenSharedMemory() if none does. May block.
// REQUIRES: the name is not empty.
struct Block;
Block *CreateSharedMemory(char const *name, std::int32_t size, void *&view) noexcept; // of zeros; at least one byte
Block *OpenSharedMemory(char const *name, void *&view) noexcept;
void CloseSharedMemory(Block *block, void *view) noexcept; // REQUIRES: both come from one call above

// Libraries

// A loaded library. Null stands for the program, but OpenLibrary() also returns null on failure.
struct Library;

// Loads a library by its name from the places in which the system looks. If the last part of the name has no ".", the
// function adds ".dll". The program itself can be opened too. Returns null on failure, with LastError(). The library
// stays loaded for ever. Takes the system's loader lock and runs the library's initialisers.
Library *OpenLibrary(char const *name) noexcept; // null for the name fails

// Writes the full name of a loaded library, or of the program for null, cut to size - 1 bytes. Returns its length; 0 if
// the system does not know it. REQUIRES: size is at least 1.
std::size_t LibraryName(Library *library, char *name, std::size_t size) noexcept;

// Copy the text with a number out of a library, cut to size - 1 characters of 16 bits, or to size - 1 bytes in the
// process's encoding, with a terminating zero. Return its length; 0 if there is no such text or it is empty, and then
// LastError() is what the system says about it. REQUIRES: size is at least 1.
std::uint32_t LoadText(Library *library, std::uint64_t number, unsigned short *text, std::uint32_t size) noexcept;
std::uint32_t LoadText(Library *library, std::uint64_t number, char *text, std::uint32_t size) noexcept;

// Whether an address lies in the program or in a loaded library, and not on a stack or in allocated memory. Takes the
// system's loader lock.
bool IsInImage(void const *address) noexcept;

// The ending of the system's own libraries; null if that is ".dll".
extern char const *const nativeLibraryEnding;

// Component objects

// Call an object through the interface IStream, which is the system's, or the library's own if the system has none.
// They return the object's result, 0 for success, and set a count that never exceeds what was asked for, whatever the
// object says. They may block and may throw what the object throws.
void AddStreamReference(IStream &stream);
void ReleaseStream(IStream &stream);
std::int32_t ReadStream(IStream &stream, char *bytes, std::uint32_t count, std::uint32_t &read);
std::int32_t WriteStream(IStream &stream, char const *bytes, std::uint32_t count, std::uint32_t &written);

} // namespace platform

#endif
