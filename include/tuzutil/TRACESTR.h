#ifndef TUZUTIL_TRACESTR_H
#define TUZUTIL_TRACESTR_H

// TTraceStream, TTraceWindowsDebug: trace destinations that write one line per entry to a stream, a file or the
// debugger.
//
// Example:
//     std::ostringstream out;
//     {
//         TTraceStream trace(out, "erwa,Utility"); // errors and warnings of the component "Utility"
//         trace.SetDisplayPrefix(0);               // no date, time and thread
//         TTracePoint::Write(TTrace::error, TUtilityTraceCategory::Utility, {"src/utility/MUTEXSEM", 100},
//                            "Error %d from CreateMutex(unnamed)", 5);
//     }
//     // out.str() == "E [MUTEXSEM:100] Error 5 from CreateMutex(unnamed)\n"
//
// Ownership:  A stream that is passed by reference is borrowed, and must outlive the destination. A stream that is
//             passed by pointer is owned, see SetStream(). Copies of a handle share the destination.
// Threads:    The lines of a process never interleave, because each is written under the lock fsFileMutex. Other writes
//             to the stream may come between lines. A fork waits for this lock.
// Failures:   The functions of TTrace, and the constructors with a `selection`, throw as TRACE.h says. Otherwise, only
//             a lack of memory is thrown. A record that a stream refuses is lost.
// Surprises:
// - A file is emptied when it is opened, even if another process writes to it. To share a file, use TTraceSharedFile.
// - On Linux, only the owner of a new file has access to it, see SetFileMode().
// - A text ends before its first zero. 16-bit text is written in the encoding of the locale, or as UTF-8 after
//   TUnicode::SetUtf8Mode(1). A message with line ends takes several lines, and line ends are those of the system's
//   text files.
class TTraceStream;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TRACE.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <type_traits>

class TMutexSemaphore;
class TTraceFileStream;

// A destination that writes to a stream or a file. If the file or its directory cannot be made, nothing is written. If
// the stream fails, the record is lost. Before the next record, the state of the stream is cleared. In a file, the next
// record starts on a new line.
class TUZUTIL_API TTraceStreamBase : public TTrace::Base {
public:
    ~TTraceStreamBase() override;

    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override;

    // Returns whether there is a stream and, if it is the stream of a file, whether the file could be opened.
    bool IsOpen() const noexcept;
    // Returns the system's error code if the file could not be opened, for example because its directory could not be
    // made. Returns 0 otherwise.
    unsigned long QueryOpenError() const noexcept;
    // Returns the path of the file that the constructor opened, or tried to open. Returns an empty path if the
    // destination was made for a stream, or if SetStream() has replaced the file.
    template <class Path = std::filesystem::path>
    Path QueryPath() const {
        Path path;
        CopyPath([](void *copy, auto name) { *static_cast<Path *>(copy) = name; }, &path);
        return path;
    }

    static TMutexSemaphore &fsFileMutex;      // never destroyed
    static void InitializeMutex() noexcept {} // does nothing; it exists for programs that call it

    // Sets who may read and write the files that destinations make from now on, including shared files. The mode
    // consists of the nine permission bits of POSIX. Bits outside 0666, and bits that the umask of the process
    // contains, are ignored. The default is 0600, for the owner only. Existing files keep their mode. Returns the
    // former mode. On Windows, the permissions of the folder apply instead.
    static unsigned int SetFileMode(unsigned int mode) noexcept;
    // Returns the mode for new files.
    static unsigned int QueryFileMode() noexcept;

protected:
    friend class TTraceStream;

    TTraceStreamBase();                     // without a stream, so nothing is written
    TTraceStreamBase(std::ostream &stream); // borrows the stream
    TTraceStreamBase(std::ostream *stream); // owns the stream, see SetStream(); may be null
    TTraceStreamBase(char const *fileName); // makes the directories before the last backslash
    // Takes a path of the standard library, of any characters, and makes its missing directories.
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    explicit TTraceStreamBase(Path const &path) : TTraceStreamBase(joinsLater, native, path.c_str()) {
        Join();
    }
    // These constructors are for a subclass that joins later, see TTrace::Make(). Otherwise they do the same as the
    // constructors without `Joining`.
    explicit TTraceStreamBase(Joining);
    TTraceStreamBase(Joining, std::ostream &stream);
    TTraceStreamBase(Joining, std::ostream *stream);
    TTraceStreamBase(Joining, char const *fileName);
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    TTraceStreamBase(Joining joining, Path const &path) : TTraceStreamBase(joining, native, path.c_str()) {}

    // These functions replace the stream. A stream that is passed by pointer is deleted with the destination, or when
    // another stream replaces it. Therefore never pass &std::cout.
    void SetStream(std::ostream &stream);
    void SetStream(std::ostream *stream);

private:
    enum TNative { native };
    TTraceStreamBase(Joining, TNative, std::filesystem::path::value_type const *name);
    TTraceStreamBase(std::unique_ptr<std::ostream> owned, std::ostream *borrowed); // at most one is not null
    TTraceStreamBase(Joining, std::unique_ptr<std::ostream> owned, std::ostream *borrowed);

    using TTakePath = void (*)(void *path, std::filesystem::path::value_type const *name);
    void CopyPath(TTakePath take, void *path) const; // calls `take` under fsFileMutex, or not at all

    void Replace(std::ostream *stream, int owned);
    static void WriteLine(Base &destination, unsigned long level, TTraceLine &line) noexcept;

    std::unique_ptr<std::ostream> fOwned;         // the stream if it is owned, otherwise null
    std::atomic<std::ostream *> fStream{nullptr}; // changed under fsFileMutex
    TTraceFileStream *fFile; // the stream if it is that of a file which this class has opened; used under fsFileMutex
};

class TUZUTIL_API TTraceStream : public TTrace {
public:
    TTraceStream();                     // without a stream, so nothing is written
    TTraceStream(char const *fileName); // backslashes separate the parts of the name
    // Takes a path of the standard library, of any characters.
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    explicit TTraceStream(Path const &path) : TTraceStream(new TTraceStreamBase(path)) {}
    // These constructors take a stream, by the rules of SetStream(), and a selection, as ParseTraceString() does.
    TTraceStream(std::ostream &stream, char const *selection = nullptr);
    TTraceStream(std::ostream *stream, char const *selection = nullptr);
    TTraceStream(TTraceStream const &) = default;
    TTraceStream &operator=(TTraceStream const &) = default;
    ~TTraceStream() override;

    // These functions replace the stream. A stream that is passed by pointer is deleted with the destination, or when
    // another stream replaces it.
    void SetStream(std::ostream &stream);
    void SetStream(std::ostream *stream);

    // Returns what QueryPath() of the destination returns, or an empty path if there is no such destination.
    template <class Path = std::filesystem::path>
    Path QueryPath() const {
        TTraceStreamBase const *const destination = Destination();
        return destination ? destination->QueryPath() : Path();
    }

private:
    explicit TTraceStream(TTraceStreamBase *destination);

    TTraceStreamBase *Destination() const noexcept; // null if there is none, or one of another class
};

// Writes lines to the debugger of the process. If the system has no channel to a debugger, writes to the system's log.
class TUZUTIL_API TTraceWindowsDebugBase : public TTrace::Base {
public:
    ~TTraceWindowsDebugBase() override;

    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override;

    // A function that takes a line, with its line end and a terminating zero. REQUIRES: it neither throws nor traces.
    using TOutput = void (*)(char const *line);
    // Sets a function that takes each line instead of the debugger. If `output` is null, the debugger takes the lines
    // again. Returns the former function, or null for the debugger.
    static TOutput SetOutput(TOutput output) noexcept;

protected:
    friend class TTraceWindowsDebug;

    TTraceWindowsDebugBase();
    explicit TTraceWindowsDebugBase(Joining); // for a subclass that joins later, see TTrace::Make()
};

// A handle to a destination that writes to the debugger.
class TUZUTIL_API TTraceWindowsDebug : public TTrace {
public:
    TTraceWindowsDebug();
    TTraceWindowsDebug(TTraceWindowsDebug const &) = default;
    TTraceWindowsDebug &operator=(TTraceWindowsDebug const &) = default;
    ~TTraceWindowsDebug() override;
};

#endif
