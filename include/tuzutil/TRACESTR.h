#ifndef TUZUTIL_TRACESTR_H
#define TUZUTIL_TRACESTR_H

// TTraceStream, TTraceWindowsDebug: trace destinations that write one line per entry, to a stream or a file, or to the
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
// Ownership:  a stream given by reference is borrowed, and must outlive all handles to the destination; one given by
//             pointer is deleted with the destination, or when another takes its place: never give &std::cout. Copies
//             of a handle share the destination.
// Threads:    lines of all destinations and threads of a process never interleave: one lock, fsFileMutex, is held for
//             each. The streams belong to the destination meanwhile: what else writes to them comes between lines.
// Failures:   none: where a file or its directory cannot be made nothing is written, and a record that a stream refuses
//             is lost. The next one is tried afresh, with the state bits of the stream cleared; in a file, on a line
//             of its own. ParseTraceString() throws, see TRACE.h.
// Surprises:  a file is begun anew, also one that another process writes to: share it by TTraceSharedFile. A new one is
//             its owner's only, see SetFileMode(). Only the
//             text up to its first zero is written, 16-bit text in the encoding of the process; a message with line
//             ends takes several lines. Lines end as the system's text files do.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TRACE.h"

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <memory>

class TMutexSemaphore;

class TUZUTIL_API TTraceStreamBase : public TTrace::Base {
public:
    ~TTraceStreamBase() override;

    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override;

    static TMutexSemaphore &fsFileMutex;      // lives as long as the process
    static void InitializeMutex() noexcept {} // it is made at start-up; for programs that call it

    // Who may read and write the files that destinations make from now on, shared ones too, as nine bits of the
    // system's permissions, less what the process's own mask takes away: 0600, for their owner, unless it is set. Bits
    // beyond 0666 stand for nothing. Files that are there keep theirs. Returns the former mode. On Windows the folder
    // decides.
    static unsigned int SetFileMode(unsigned int mode) noexcept;
    static unsigned int QueryFileMode() noexcept;

protected:
    friend class TTraceStream;

    TTraceStreamBase(); // without a stream nothing is written
    TTraceStreamBase(std::ostream &stream);
    TTraceStreamBase(std::ostream *stream);
    TTraceStreamBase(char const *fileName); // makes the directories before the last backslash

    void SetStream(std::ostream &stream);
    void SetStream(std::ostream *stream);

private:
    TTraceStreamBase(std::ostream *stream, int owned);

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

// Lines for the debugger that watches the process; where the system has no such channel, for its log.
class TUZUTIL_API TTraceWindowsDebugBase : public TTrace::Base {
public:
    ~TTraceWindowsDebugBase() override;

    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override;

    // What takes a line, with its line end and a zero, in place of the debugger; null for the debugger. It must neither
    // throw nor trace. Returns the former one, null for the debugger.
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
