#ifndef TUZUTIL_TRACESHF_H
#define TUZUTIL_TRACESHF_H

// TTraceSharedFile: a trace destination by which any number of processes write to one file, line by line.
//
// Example:
//     TTraceSharedFile trace("C:\\srv\\trace.log"); // in each of the processes
//     trace.SetLevel(TTrace::error | TTrace::warning);
//     TTracePoint::Write(TTrace::warning, fsCategory, "src/server.cpp", "Queue is full");
//     // 07/14-09:05:03.27 0000013C:000000A4 W [server.cpp:89] Queue is full
//
// Ownership:  copies of a handle share the destination, which holds the file and the lock.
// Threads:    all processes of a session take turns by the lock "kelvoTraceFile", whatever file they write. It is held
//             for one record: a process that is suspended just then stops all the others.
// Failures:   none: where the file cannot be opened nothing is written, and a record that the system refuses is lost.
//             Without the lock (of another user, say) records are written all the same, to what the file holds. A line
//             that a process left unfinished when it was killed is ended before the next one. Where another program
//             keeps the others from writing, nothing is written.
// Surprises:  the first process that opens the file discards its content; those that open it while it is in use join.
//             On Linux only its owner does so, who knows of his own processes; he leaves it as it is where somebody has
//             locked it. A new file is its owner's only, see TTraceStreamBase::SetFileMode().
//             Every line has the long prefix, with process and thread, whatever SetDisplayPrefix() says; FormatPrefix()
//             of the handle gives the one without a process. Directories are not made.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TRACE.h"

#include <cstdint>
#include <iosfwd>
#include <memory>

class TMutexSemaphore;

class TUZUTIL_API TTraceSharedFileBase : public TTrace::Base {
public:
    ~TTraceSharedFileBase() override;

    void FormatPrefix(TString &prefix, unsigned long level) const;
    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override;

protected:
    friend class TTraceSharedFile;

    TTraceSharedFileBase(char const *fileName);

private:
    void Open(char const *fileName);

    TString fFileName;
    std::unique_ptr<TMutexSemaphore> fFileMutex;
    [[maybe_unused]] std::int32_t fReservedCount = 5000;
    std::unique_ptr<std::ostream> fStream;
    [[maybe_unused]] std::int32_t fReserved = -1;
};

class TUZUTIL_API TTraceSharedFile : public TTrace {
public:
    TTraceSharedFile() noexcept = default; // no destination
    TTraceSharedFile(char const *fileName);
    TTraceSharedFile(TTraceSharedFile const &) = default;
    TTraceSharedFile &operator=(TTraceSharedFile const &) = default;
    ~TTraceSharedFile() override;
};

#endif
