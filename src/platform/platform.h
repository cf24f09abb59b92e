#ifndef TUZUTIL_PLATFORM_H
#define TUZUTIL_PLATFORM_H

// platform.h: all that the library needs of an operating system. win32/ and posix/ define it, one subject per file,
// under the same file names. A port to another system writes these functions.

#include <cstddef>
#include <cstdint>
#include <ctime>

struct IStream;
struct TThreadRecord;

namespace platform {

// Zeroes memory in a way that the compiler cannot remove. Never fails, never blocks.
void SecureZero(void *memory, std::size_t count) noexcept;

// Seconds since 1970-01-01 00:00:00 UTC. Never fails, never blocks.
std::int64_t CurrentTime() noexcept;

// The process's time zone, without daylight saving, in seconds west of UTC. Reads the environment on first use.
long TimeZone() noexcept;

// Fills in the UTC calendar record of a time. False where the system cannot convert it; the record is then undefined.
bool UtcRecord(std::int64_t time, std::tm &record) noexcept;

// Writes a record by a format of C99's strftime, in the current locale, with a terminating zero. Returns the bytes
// without it, at most size - 1; 0 where the text does not fit, is empty, or cannot be made: the content is then
// undefined. A conversion that does not exist stands for itself. REQUIRES: size is at least 1.
std::size_t FormatTime(char *buffer, std::size_t size, char const *format, std::tm const &record) noexcept;

// The system's error code of the call that failed last in this thread.
std::uint32_t LastError() noexcept;

// Writes the English text of an error code, cut to size - 1 bytes, with a terminating zero and without an end of line.
// Returns its length. An unknown code gives "Unknown error" and the number. REQUIRES: size is at least 1.
std::size_t ErrorText(std::uint32_t error, char *text, std::size_t size) noexcept;

enum class WaitResult : std::uint32_t { done = 0, abandoned = 128, timedOut = 258, failed = 0xFFFFFFFF };

constexpr std::uint32_t waitForEver = 0xFFFFFFFF; // as a number of milliseconds

// Recursive locks. A name (neither null nor empty) gives the lock of that name, which all processes of the user's
// session share. A lock whose owner ended with it goes to the next waiter as `abandoned`. All functions take null for a
// lock, and fail. Failures leave LastError().
void *NewMutex(char const *name) noexcept;                              // null on failure; may take locks
bool DeleteMutex(void *mutex) noexcept;                                 // releases what this thread holds of it
WaitResult LockMutex(void *mutex, std::uint32_t milliseconds) noexcept; // blocks
bool UnlockMutex(void *mutex) noexcept;                                 // false if this thread does not hold it
void *SystemMutex(void *mutex) noexcept;                                // what the system knows it by

// The record of this thread, made on first use; null with LastError() where there is no memory. The platform deletes it
// when the thread ends, after a call of its AbandonAll().
TThreadRecord *ThisThread() noexcept;

// Runs a function on a new thread of the run-time library, with the default size of stack. The library stays loaded
// until the function has returned. Where there are signals, the thread takes part in them as the caller does, or not at
// all. The system's handle, which it closes by itself; all ones, with LastError(), where there is no thread to be had.
// May take locks; does not wait for the thread.
std::uintptr_t StartThread(void (*body)(void *), void *argument, bool takesSignals) noexcept;

// Has functions called around every fork of the process: before, and after in the parent and in the child. Where
// processes do not fork: nothing.
void OnFork(void (*before)(), void (*inParent)(), void (*inChild)()) noexcept;

// Whether the system ends all other threads, wherever they are, before static objects are destroyed.
extern bool const threadsEndFirst;

// Events that stay posted until they are cleared. All functions take null for an event, and fail, but for DeleteEvent.
void *NewEvent(bool posted) noexcept;                                   // null on failure
void *ShareEvent(void *event) noexcept;                                 // one more owner; null for null
void DeleteEvent(void *event) noexcept;                                 // one owner less
WaitResult WaitEvent(void *event, std::uint32_t milliseconds) noexcept; // blocks
bool ClearEvent(void *event) noexcept;
bool PostEvent(void *event) noexcept; // wakes all that wait

// Where the runtimes' printf families differ.
struct TPrintfHabits {
    bool keepsUnknown; // an unknown conversion prints with all its parts, and not just with its character
    bool cutsNullText; // "(null)" is cut by a precision, and not left out where it would be
    bool knowsUpperF;  // the conversion F exists
};
extern TPrintfHabits const printfHabits;

// Writes a real as the runtime's printf does, in the current locale, by a format of one conversion that takes a width,
// a precision and the value. Returns the bytes, without a terminating zero; 0 where the runtime refuses.
// REQUIRES: size exceeds what the width, the precision and 330 digits need.
std::size_t FormatReal(char *buffer, std::size_t size, char const *format, int width, int precision,
                       double value) noexcept;

// Names of files have backslashes between their parts, as everywhere in the library. ToNativeName() makes such a name
// the system's own, in place; FromNativeName() goes back. All other functions take the library's form. None takes
// locks.
void ToNativeName(char *name, std::size_t length) noexcept;
void FromNativeName(char *name, std::size_t length) noexcept;
extern bool const hasWideNames; // 16-bit names mean something to the system

// Makes a directory; may block. 0, or an error number of the run-time library: 17 where something of that name exists.
int MakeDirectory(char const *name) noexcept;

// The English text of an error number of the run-time library. Never null; static.
char const *RuntimeErrorText(int error) noexcept;

// A search through the entries of a directory, in the system's order.
struct TDirectoryEntry {
    char name[260]; // without its path
    bool isDirectory;
};

// Begins a search and gives the first entry; null where there is none. `pattern` is a directory's name, a separator and
// "*.*", for all entries. Whatever it returns is closed by CloseSearch(). May block.
void *OpenSearch(char const *pattern, TDirectoryEntry &entry) noexcept;
bool NextEntry(void *search, TDirectoryEntry &entry) noexcept; // false at the end
bool CloseSearch(void *search) noexcept;

// Loads a library by its name, where the system looks for one; without a "." in its last part, the name is one of
// ".dll". The program itself is a library as well. Null on failure, see LastError(). It stays loaded. Takes the
// system's loader lock and runs the library's initialisers.
void *OpenLibrary(char const *name) noexcept;

// The full name of a loaded library, of the program for null, cut to size - 1 bytes; its length. 0 where the system
// does not know it. REQUIRES: size is at least 1.
std::size_t LibraryName(void *library, char *name, std::size_t size) noexcept;

// Copies the text of that number that a library holds, cut to size - 1 characters of 16 bits, or bytes in the process's
// encoding, with a terminating zero. Its length; 0 where there is none, or an empty one, see LastError().
// REQUIRES: size is at least 1.
std::uint32_t LoadText(void *library, std::uint64_t number, unsigned short *text, std::uint32_t size) noexcept;
std::uint32_t LoadText(void *library, std::uint64_t number, char *text, std::uint32_t size) noexcept;

// A file without a name that others could open, for as long as it is open; with the process it is gone. None of these
// functions keeps bytes back; all may block. Opening gives noTempFile, with an error number of the run-time library,
// where no file can be had.
using TTempFile = std::intptr_t;
constexpr TTempFile noTempFile = -1;
enum class TFileOrigin { start, current, end };
TTempFile OpenTempFile(int &error) noexcept;
std::size_t ReadTempFile(TTempFile file, char *bytes, std::size_t count) noexcept;        // 0 at the end and on failure
std::size_t WriteTempFile(TTempFile file, char const *bytes, std::size_t count) noexcept; // fewer: it takes no more
std::int64_t SeekTempFile(TTempFile file, std::int64_t offset, TFileOrigin origin) noexcept; // where it is; -1
void CloseTempFile(TTempFile file) noexcept;

// Blocks of memory with names that all processes of the user's session share. A block ends with the last process that
// has it. The first two give a handle and an address; null, with LastError(), where there is a block of that name
// already, or none. REQUIRES: the name is neither null nor empty. May block.
void *CreateSharedMemory(char const *name, std::int32_t size, void *&view) noexcept; // of zeros; at least one byte
void *OpenSharedMemory(char const *name, void *&view) noexcept;
void CloseSharedMemory(void *block, void *view) noexcept;

// The component-object interface for streams, the system's or our own. Results are its own; 0 is success. Counts are
// never more than were asked for, whatever the object says. May block.
void AddStreamReference(IStream &stream);
void ReleaseStream(IStream &stream);
std::int32_t ReadStream(IStream &stream, char *bytes, std::uint32_t count, std::uint32_t &read);
std::int32_t WriteStream(IStream &stream, char const *bytes, std::uint32_t count, std::uint32_t &written);

// Whether something exists that is not a directory. May block.
bool IsFile(char const *name) noexcept;

// How the system's own libraries end where that is not ".dll"; null otherwise.
extern char const *const nativeLibraryEnding;

} // namespace platform

#endif
