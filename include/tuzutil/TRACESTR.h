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
// Ownership:  A stream given by reference is borrowed and must outlive all handles to the destination; see SetStream()
//             for pointers. Copies of a handle share the destination.
// Threads:    The lines of a process never interleave, because each is written under the lock fsFileMutex. Other writes
//             to the stream may come between lines.
// Failures:   Nothing is thrown, except by ParseTraceString(), see TRACE.h. A record that a stream refuses is lost.
// Surprises:
// - A file is emptied when it is opened, even if another process writes to it: share it with TTraceSharedFile.
// - A new file is accessible to its owner only, see SetFileMode().
// - A text ends before its first zero. 16-bit text is written in the encoding of the process. A message with line ends
//   takes several lines, and line ends are those of the system's text files.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TRACE.h"

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <memory>

class TMutexSemaphore;

// The destination of a stream or file. If the file or its directory cannot be made, nothing is written. If the
// stream refuses a record, its state bits are cleared and the next record is tried; in a file, that record starts on a
// new line.
class TUZUTIL_API TTraceStreamBase : public TTrace::Base {
public:
    ~TTraceStreamBase() override;

    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override;

    // Whether there is a stream and, if it is that of a file, the file could be opened.
    bool IsOpen() const noexcept;
    // The system's error code if the file could not be opened; 0 otherwise, and if its directory could not be made.
    unsigned long QueryOpenError() const noexcept;

    static TMutexSemaphore &fsFileMutex;      // lives as long as the process
    static void InitializeMutex() noexcept {} // does nothing; it exists for programs that call it

    // Sets who may read and write the files that destinations make from now on, including shared files. The mode
    // consists of the system's nine permission bits; bits beyond 0666, and those in the umask, are ignored. The
    // default is 0600, for the owner only. Existing files keep their mode. Returns the former mode. On Windows the
    // permissions of the folder apply instead.
    static unsigned int SetFileMode(unsigned int mode) noexcept;
    static unsigned int QueryFileMode() noexcept;

protected:
    friend class TTraceStream;

    TTraceStreamBase(); // without a stream, so nothing is written
    TTraceStreamBase(std::ostream &stream);
    TTraceStreamBase(std::ostream *stream);
    TTraceStreamBase(char const *fileName); // makes the directories before the last backslash

    // A stream given by pointer is deleted with the destination, or when another stream replaces it, so never pass
    // &std::cout.
    void SetStream(std::ostream &stream);
    void SetStream(std::ostream *stream);

private:
    TTraceStreamBase(std::unique_ptr<std::ostream> owned, std::ostream *borrowed); // at most one of them

    void Replace(std::ostream *stream, int owned);

    std::unique_ptr<std::ostream> fOwned;         // the stream if it is deleted with the destination, otherwise null
    std::atomic<std::ostream *> fStream{nullptr}; // changed under fsFileMutex
};

class TUZUTIL_API TTraceStream : public TTrace {
public:
    TTraceStream();
    TTraceStream(char const *fileName);
    TTraceStream(std::ostream &stream, char const *selection = nullptr);
    TTraceStream(std::ostream *stream, char const *selection = nullptr);
    TTraceStream(TTraceStream const &) = default;
    TTraceStream &operator=(TTraceStream const &) = default;
    ~TTraceStream() override;

    void SetStream(std::ostream &stream);
    void SetStream(std::ostream *stream);

private:
    explicit TTraceStream(TTraceStreamBase *destination);

    TTraceStreamBase *Destination();
};

// Writes lines to the debugger of the process, or to the system's log if the system has no such channel.
class TUZUTIL_API TTraceWindowsDebugBase : public TTrace::Base {
public:
    ~TTraceWindowsDebugBase() override;

    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override;

    // Sets a function that takes each line, with its line end and a zero, in place of the debugger; null restores the
    // debugger. Returns the former function, or null for the debugger. REQUIRES: the function neither throws nor
    // traces.
    using TOutput = void (*)(char const *line);
    static TOutput SetOutput(TOutput output) noexcept;

protected:
    friend class TTraceWindowsDebug;

    TTraceWindowsDebugBase();
};

class TUZUTIL_API TTraceWindowsDebug : public TTrace {
public:
    TTraceWindowsDebug();
    TTraceWindowsDebug(TTraceWindowsDebug const &) = default;
    TTraceWindowsDebug &operator=(TTraceWindowsDebug const &) = default;
    ~TTraceWindowsDebug() override;
};

#endif
