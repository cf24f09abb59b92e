// TTraceSharedFileBase: a destination whose file several processes write. A named lock, the same for all processes of
// the session, is held while the file is opened and while a record is written. A thread that holds the named lock must
// not take the trace lock, TTrace::Base::fsMutex, because other threads take the named lock under the trace lock.

#include "tuzutil/TRACESHF.h"

#include "utility/destinations/trace_file_stream.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/trace_line.h"

namespace {

// The name of the lock for all shared trace files of the session. The name must not change, because processes with
// different versions of the library may share a file.
char const fsMutexName[] = "kelvoTraceFile";

template <typename Name>
std::unique_ptr<std::ostream> Open(TMutexSemaphore &fileMutex, Name const &fileName) {
    TLock const entry(fileMutex); // keeps other processes from emptying the file meanwhile
    // Without the lock, the file must not be emptied, because other processes may be writing to it.
    auto const use =
        entry.State() == TMutexSemaphore::Locked ? TTraceFileStream::Use::joinedOrBegun : TTraceFileStream::Use::joined;
    return std::make_unique<TTraceFileStream>(fileName, use);
}

} // namespace

TTraceSharedFileBase::TTraceSharedFileBase(char const *fileName) : TTraceSharedFileBase(joinsLater, fileName) {
    Join(); // takes the trace lock, so this thread must not hold the named lock here
}

TTraceSharedFileBase::TTraceSharedFileBase(Joining joining, char const *fileName)
    : Base(joining), fFileName(fileName), fFileMutex(std::make_unique<TMutexSemaphore>(fsMutexName)),
      fStream(Open(*fFileMutex, fileName ? fileName : "")) {}

TTraceSharedFileBase::TTraceSharedFileBase(Joining joining, TNative, std::filesystem::path::value_type const *name)
    : Base(joining), fFileMutex(std::make_unique<TMutexSemaphore>(fsMutexName)),
      fStream(Open(*fFileMutex, std::filesystem::path(name))) {}

TTraceSharedFileBase::~TTraceSharedFileBase() {
    Unlink();
}

bool TTraceSharedFileBase::IsOpen() const noexcept {
    return QueryOpenError() == 0;
}

unsigned long TTraceSharedFileBase::QueryOpenError() const noexcept {
    return static_cast<TTraceFileStream const &>(*fStream).OpenError();
}

std::filesystem::path::value_type const *TTraceSharedFileBase::Name() const noexcept {
    return static_cast<TTraceFileStream const &>(*fStream).Name().c_str();
}

void TTraceSharedFileBase::FormatPrefix(TString &prefix, unsigned long level) const {
    prefix = TTracePrefix(TTracePrefix::process, level, QueryPrefixParts()).Text();
}

void TTraceSharedFileBase::Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) {
    TTraceRecord const record(TTracePrefix::process, level, QueryPrefixParts(), category, message);
    TLock const entry(*fFileMutex);
    fStream->clear(); // if an earlier record failed, this record is written nevertheless
    fStream->write(record.Text(), static_cast<std::streamsize>(record.Length())); // appends the record in one write
    fStream->flush();
}

void TTraceSharedFileBase::WriteLine(Base &destination, unsigned long level, TTraceLine &line) noexcept {
    auto &self = static_cast<TTraceSharedFileBase &>(destination);
    std::string_view const record = line.Record(TTracePrefix::process, level, self.QueryPrefixParts());
    TLock const entry(*self.fFileMutex);
    static_cast<TTraceFileStream &>(*self.fStream).Append(record);
}

TTraceSharedFile::TTraceSharedFile(char const *fileName) {
    // No test gets here: Own() would have to throw.
    Own(new TTraceSharedFileBase(fileName));
}

// REQUIRES: `destination` is of the class TTraceSharedFileBase itself, because a subclass may have its own Write().
void TTraceSharedFile::Own(TTraceSharedFileBase *destination) {
    QueryPointer() = TTrace::Pointer(destination);
    destination->TakeLines(&TTraceSharedFileBase::WriteLine);
}

TTraceSharedFile::~TTraceSharedFile() = default;

TTraceSharedFileBase const *TTraceSharedFile::Destination() const noexcept {
    return dynamic_cast<TTraceSharedFileBase const *>(QueryPointer().Pointer());
}
