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
// Ownership:  Copies of a handle share the destination, which holds the file and the lock.
// Threads:    The processes of a session take turns by the lock "kelvoTraceFile", whatever file they write. A process
//             that is suspended while it writes a record stops all the others.
// Failures:   Nothing is thrown. If the file cannot be opened, nothing is written. A record that the system refuses is
//             lost.
// Surprises:
// - The first process that opens the file discards its content; others join while it is in use. On Linux only the owner
//   of the file discards it, see TTraceSharedFileBase.
// - A new file is accessible to its owner only, see TTraceStreamBase::SetFileMode(). Directories are not made.
// - Every line has the long prefix with process and thread, whatever SetDisplayPrefix() says. FormatPrefix() of the
//   handle returns the prefix without the process.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TRACE.h"

#include <cstdint>
#include <iosfwd>
#include <memory>

class TMutexSemaphore;

// The destination of a shared file.
//
// On Linux only the owner of the file discards its content, and only he knows whether his own processes use it. He
// leaves the file as it is if somebody has locked it.
//
// If the lock is not available (because another user holds it, say), the file is not emptied, but records are written
// to it. If a process was killed in the middle of a line, the next record starts on a new line. If another program
// prevents writing, nothing is written.
class TUZUTIL_API TTraceSharedFileBase : public TTrace::Base {
public:
    ~TTraceSharedFileBase() override;

    bool IsOpen() const noexcept;                  // whether the file could be opened
    unsigned long QueryOpenError() const noexcept; // the system's error code if it could not; 0 otherwise

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
    TTraceSharedFile() noexcept = default; // without a destination
    TTraceSharedFile(char const *fileName);
    TTraceSharedFile(TTraceSharedFile const &) = default;
    TTraceSharedFile &operator=(TTraceSharedFile const &) = default;
    ~TTraceSharedFile() override;
};

#endif
