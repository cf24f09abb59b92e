// TTraceSharedFileBase: a destination whose file several processes write. A named lock, one for the session, is held
// for each record. The trace lock comes before it, so the destination joins the chain only after it has been released.

#include "tuzutil/TRACESHF.h"

#include "utility/destinations/trace_file_stream.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/trace_record.h"

namespace {

// One for all shared trace files of the session: programs of any version take turns by it.
char const fsMutexName[] = "kelvoTraceFile";

} // namespace

TTraceSharedFileBase::TTraceSharedFileBase(char const *fileName)
    : Base(joinsLater), fFileName(fileName), fFileMutex(std::make_unique<TMutexSemaphore>(fsMutexName)) {
    Open(fileName ? fileName : "");
    Join(); // after the file's lock is released: the trace lock comes before it
}

void TTraceSharedFileBase::Open(char const *fileName) {
    TLock const entry(*fFileMutex); // so that no other process empties the file now
    // Without the lock, the file must not be emptied, because other processes may be writing to it.
    auto const use =
        entry.State() == TMutexSemaphore::Locked ? TTraceFileStream::Use::joinedOrBegun : TTraceFileStream::Use::joined;
    fStream = std::make_unique<TTraceFileStream>(fileName, use);
}

TTraceSharedFileBase::~TTraceSharedFileBase() {
    Unlink();
}

bool TTraceSharedFileBase::IsOpen() const noexcept {
    return QueryOpenError() == 0;
}

unsigned long TTraceSharedFileBase::QueryOpenError() const noexcept {
    return static_cast<TTraceFileStream const &>(*fStream).OpenError();
}

void TTraceSharedFileBase::FormatPrefix(TString &prefix, unsigned long level) const {
    prefix = TTracePrefix(TTracePrefix::process, level, QueryPrefixParts()).Text();
}

void TTraceSharedFileBase::Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) {
    TTraceRecord const record(TTracePrefix::process, level, QueryPrefixParts(), category, message);
    TLock const entry(*fFileMutex);
    fStream->clear(); // the failure of an earlier record may no longer exist
    fStream->write(record.Text(), static_cast<std::streamsize>(record.Length())); // at the end of the file, at once
    fStream->flush();
}

TTraceSharedFile::TTraceSharedFile(char const *fileName) {
    QueryPointer() = TTrace::Pointer(new TTraceSharedFileBase(fileName));
}

TTraceSharedFile::~TTraceSharedFile() = default;
