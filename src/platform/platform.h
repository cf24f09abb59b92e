#ifndef TUZUTIL_PLATFORM
#define TUZUTIL_PLATFORM

// platform.h: all that the library needs of an operating system. win32/ and posix/ define it, one subject per file,
// under the same file names. A port to another system writes these functions.

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

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

// The local time now, as people read it. Never fails; takes a lock of the system's now and then.
struct TLocalTime {
    unsigned int month; // 1 to 12
    unsigned int day;
    unsigned int hour;
    unsigned int minute;
    unsigned int second;
    unsigned int millisecond;
};
TLocalTime LocalTime() noexcept;

// What the system knows this thread, and this process, by. Never fail, never block.
std::uint32_t ThreadId() noexcept;
std::uint32_t ProcessId() noexcept;

// The system's error code of the call that failed last in this thread.
std::uint32_t LastError() noexcept;
void SetLastError(std::uint32_t error) noexcept;

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
bool HoldsMutex(void *mutex) noexcept; // this thread; false as well where only the system knows

// From now on every thread that forks the process calls `before`, and one of the others when it has forked. What the
// platform itself holds meanwhile it takes after `before`, and gives back first. False, with LastError(), where that
// cannot be had. Nothing, and true, where processes do not fork. REQUIRES: it was not called before.
bool FollowForks(void (*before)() noexcept, void (*inParent)() noexcept, void (*inChild)() noexcept) noexcept;

// Keeps this thread from being cancelled, where the system has that, until ReleaseCancellation() gets the result of the
// call; in pairs that nest. A cancellation that comes meanwhile waits.
int HoldCancellation() noexcept;
void ReleaseCancellation(int held) noexcept;

// The record of this thread, made on first use; null with LastError() where there is no memory. The platform deletes it
// when the thread ends, after a call of its AbandonAll().
TThreadRecord *ThisThread() noexcept;

// Runs a function on a new thread of the run-time library, with the default size of stack. The library stays loaded
// until the function has returned. Where there are signals, the thread takes part in them as the caller does, or not at
// all. The system's handle, which it closes by itself; all ones, with LastError(), where there is no thread to be had.
// May take locks; does not wait for the thread.
std::uintptr_t StartThread(void (*body)(void *), void *argument, bool takesSignals) noexcept;

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
    bool keepsUnknown;    // an unknown conversion prints with all its parts, and not just with its character
    bool cutsNullText;    // "(null)" is cut by a precision, and not left out where it would be
    bool knowsUpperF;     // the conversion F exists
    bool zerosBeforeText; // flag "0" fills up texts and characters too
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
// FromNativeName() has no form for a name that holds the library's separator where that is none of the system's.
bool HasLibraryForm(char const *nativeName) noexcept;
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
// "*.*", for all entries. Whatever it returns is closed by CloseSearch(). Sets `lacksMemory` to whether null means that
// there is no memory for a search. May block. REQUIRES: the pattern ends so.
void *OpenSearch(char const *pattern, TDirectoryEntry &entry, bool &lacksMemory) noexcept;
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

// A file that nobody else can open, for as long as it is open; with the process it is gone. None of these
// functions keeps bytes back; all may block. Opening gives noTempFile, with an error number of the run-time library,
// where no file can be had.
using TTempFile = std::intptr_t;
constexpr TTempFile noTempFile = -1;
enum class TFileOrigin { start, current, end };
TTempFile OpenTempFile(int &error) noexcept;
std::ptrdiff_t ReadTempFile(TTempFile file, char *bytes, std::size_t count) noexcept;        // 0 at the end; -1
std::size_t WriteTempFile(TTempFile file, char const *bytes, std::size_t count) noexcept;    // fewer: it takes no more
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

// Looks up a variable of the environment; false where it is not set. In a program with raised rights, whose environment
// belongs to somebody with lesser ones, no variable is set.
bool FindVariable(char const *name, std::string &value);

// Hands a text to the debugger that watches the process, or writes it to the system's log where there is no such thing.
// May block.
void DebuggerOutput(char const *text);

// Files that trace records are appended to, open to their owner or by `mode` of the system's permissions, where it has
// them. Opening a file empties it where nobody shares it. One that is shared is joined, and emptied only when nobody,
// in this or in another process, has it open to share it: for that the caller has to hold the lock by which all
// processes take turns. Null on failure; may block.
enum class TTraceFileUse { alone, joined, joinedOrBegun };
void *OpenTraceFile(char const *name, TTraceFileUse use, unsigned int mode) noexcept;
// Writes all of a text at the end of the file, in one piece where the system lets it, with line ends as the system's
// text files have them. Where the file, by a failure or by the end of another writer, stops within a line, that line is
// ended first. False where something of it could not be written. Null for a file fails. May block. Between processes
// the callers see to it that only one writes at a time.
bool WriteTraceFile(void *file, char const *text, std::size_t count) noexcept;
void CloseTraceFile(void *file) noexcept; // null: nothing

// Whether an address lies in the program or in a loaded library, and not in memory that was allocated, or on a stack.
// Takes the system's loader lock.
bool IsInImage(void const *address) noexcept;

// How the system's own libraries end where that is not ".dll"; null otherwise.
extern char const *const nativeLibraryEnding;

} // namespace platform

#endif
