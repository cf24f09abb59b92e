#ifndef TUZUTIL_TRACESHF_H
#define TUZUTIL_TRACESHF_H

// TTraceSharedFile: a trace destination that is a file. Any number of processes may write to the file, line by line.
//
// Example:
//     TTraceSharedFile trace("C:\\srv\\trace.log"); // in each of the processes
//     trace.SetLevel(TTrace::error | TTrace::warning);
//     TTracePoint::Write(TTrace::warning, fsCategory, "src/server.cpp", "Queue is full");
//     // 07/14-09:05:03.27 0000013C:000000A4 W [server.cpp:89] Queue is full
//
// Ownership:  Copies of a TTraceSharedFile share the destination, which holds the file and the lock.
// Threads:    A process holds the lock "kelvoTraceFile" while it writes a record. The session has one such lock for all
//             shared files: a process that is suspended while it writes stops all other processes that write to a
//             shared file.
// Failures:   The functions of TTrace throw as TRACE.h says. Otherwise, only a lack of memory is thrown. If the file
//             cannot be opened, nothing is written. A record that the system refuses is lost.
// Surprises:
// - The first process that opens the file discards its content, unless another process is using the file. On Linux,
//   there are further conditions, see TTraceSharedFileBase.
// - On Linux, only the owner of a new file has access to it, see TTraceStreamBase::SetFileMode(). Directories are not
//   made.
// - Every line has the long prefix with process and thread, whatever SetDisplayPrefix() says. FormatPrefix() of a
//   TTraceSharedFile stores a prefix without the process.
class TTraceSharedFile;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TRACE.h"

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <type_traits>

class TMutexSemaphore;

// The destination of a shared file.
//
// On Linux, a process discards the content only if the file belongs to the user of the process, no other process of
// this user uses the file, and nobody has locked the file.
//
// If the lock "kelvoTraceFile" cannot be opened, for example because another user has made it, the file is not emptied,
// but records are written to it. If a process was killed in the middle of a line, the next record starts on a new line.
class TUZUTIL_API TTraceSharedFileBase : public TTrace::Base {
public:
    ~TTraceSharedFileBase() override;

    bool IsOpen() const noexcept;                  // whether the file could be opened
    unsigned long QueryOpenError() const noexcept; // the system's error code if the file could not be opened, or 0

    // Returns the path of the file, even if it could not be opened.
    template <class Path = std::filesystem::path>
    Path QueryPath() const {
        return Path(Name());
    }

    // Stores the beginning of a record: date, time, process and thread, and the letter of the level.
    void FormatPrefix(TString &prefix, unsigned long level) const;
    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override;

protected:
    friend class TTraceSharedFile;

    // These constructors open the file, and join the chain of destinations at once. A path of the standard library may
    // contain any character.
    TTraceSharedFileBase(char const *fileName);
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    explicit TTraceSharedFileBase(Path const &path) : TTraceSharedFileBase(joinsLater, native, path.c_str()) {
        Join();
    }
    // These constructors are for a subclass that joins later, see TTrace::Make(). Otherwise they do the same as the
    // constructors without `Joining`.
    TTraceSharedFileBase(Joining, char const *fileName);
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    TTraceSharedFileBase(Joining joining, Path const &path) : TTraceSharedFileBase(joining, native, path.c_str()) {}

private:
    enum TNative { native };
    static void WriteLine(Base &destination, unsigned long level, TTraceLine &line) noexcept;
    TTraceSharedFileBase(Joining, TNative, std::filesystem::path::value_type const *name);

    std::filesystem::path::value_type const *Name() const noexcept; // in the system's form

    TString fFileName; // null for a path of the standard library
    std::unique_ptr<TMutexSemaphore> fFileMutex;
    [[maybe_unused]] std::int32_t fReservedCount = 5000;
    std::unique_ptr<std::ostream> fStream;
    [[maybe_unused]] std::int32_t fReserved = -1;
};

class TUZUTIL_API TTraceSharedFile : public TTrace {
public:
    TTraceSharedFile() noexcept = default;  // without a destination
    TTraceSharedFile(char const *fileName); // backslashes separate the parts of the name
    // Takes a path of the standard library, of any characters.
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    explicit TTraceSharedFile(Path const &path) {
        Own(new TTraceSharedFileBase(path));
    }
    TTraceSharedFile(TTraceSharedFile const &) = default;
    TTraceSharedFile &operator=(TTraceSharedFile const &) = default;
    ~TTraceSharedFile() override;

    // Returns the path of the file, or an empty path without a destination.
    template <class Path = std::filesystem::path>
    Path QueryPath() const {
        TTraceSharedFileBase const *const destination = Destination();
        return destination ? destination->QueryPath() : Path();
    }

private:
    void Own(TTraceSharedFileBase *destination);
    TTraceSharedFileBase const *Destination() const noexcept; // null if there is none, or one of another class
};

#endif
