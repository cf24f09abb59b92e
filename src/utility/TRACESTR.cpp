// TTraceStreamBase, the destination that writes to a stream or file, and TTraceWindowsDebugBase, which writes to the
// debugger. The lock fsFileMutex guards the stream of each destination, and keeps the records of two destinations on
// one stream from mixing. A thread that holds the trace lock, TTrace::Base::fsMutex, may take fsFileMutex. A thread
// that holds fsFileMutex neither takes the trace lock nor destroys a stream.

#include "tuzutil/TRACESTR.h"

#include "platform/platform.h"
#include "tuzutil/DIRECTRY.h"
#include "utility/destinations/trace_file_stream.h"
#include "utility/kernel/drop_exceptions.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/trace_line.h"

#include <atomic>
#include <filesystem>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string_view>
#include <utility>

namespace {

constinit std::atomic<TTraceWindowsDebugBase::TOutput> fsOutput{nullptr};
constinit std::atomic<unsigned int> fsFileMode{0600};

// Makes the directory of a file if it is missing, and then opens the file. If the directory cannot be made, the file
// cannot be opened either, and the stream has the error of opening the file. If there is no name, returns null.
std::unique_ptr<std::ostream> OpenFile(char const *name) {
    if (!name)
        return nullptr;
    TString const fileName(name);
    unsigned int const separator = fileName.lastIndexOf('\\');
    if (separator > 1)
        TDirectory::MakeTree(fileName.subString(1, separator - 1));
    return std::make_unique<TTraceFileStream>(name, TTraceFileStream::Use::alone);
}

std::unique_ptr<std::ostream> OpenNative(std::filesystem::path const &name) {
    if (name.has_parent_path())
        TDirectory::MakeTree(name.parent_path());
    return std::make_unique<TTraceFileStream>(name, TTraceFileStream::Use::alone);
}

TTracePrefix::Form FormOf(TTrace::Base const &destination) noexcept {
    return destination.QueryDisplayPrefix() ? TTracePrefix::thread : TTracePrefix::letter;
}

void Put(std::ostream &stream, std::string_view record) {
    if (!stream.good())
        stream.clear(); // if an earlier record failed, this record is written nevertheless
    // For most streams, write() and flush() do no more than the code below. They take longer, because each of them
    // tests whether the stream is tied to another and whether it has the flag unitbuf.
    bool const isPlain = stream.good() && !stream.tie() && stream.exceptions() == std::ios_base::goodbit &&
                         (stream.flags() & std::ios_base::unitbuf) == 0;
    if (isPlain) {
        std::streambuf &buffer = *stream.rdbuf();
        auto const count = static_cast<std::streamsize>(record.size());
        try {
            if (buffer.sputn(record.data(), count) != count || buffer.pubsync() == -1)
                stream.setstate(std::ios_base::badbit);
        } catch (...) {
            stream.setstate(std::ios_base::badbit);
            throw;
        }
        return;
    }
    stream.write(record.data(), static_cast<std::streamsize>(record.size()));
    stream.flush();
}

} // namespace

// The destination on a stream

TTraceStreamBase::TTraceStreamBase() : TTraceStreamBase(nullptr, nullptr) {}

TTraceStreamBase::TTraceStreamBase(std::ostream &stream) : TTraceStreamBase(nullptr, &stream) {}

TTraceStreamBase::TTraceStreamBase(std::ostream *stream)
    : TTraceStreamBase(std::unique_ptr<std::ostream>(stream), nullptr) {}

TTraceStreamBase::TTraceStreamBase(char const *fileName) : TTraceStreamBase(OpenFile(fileName), nullptr) {}

TTraceStreamBase::TTraceStreamBase(std::unique_ptr<std::ostream> owned, std::ostream *borrowed)
    : TTraceStreamBase(joinsLater, std::move(owned), borrowed) {
    Join();
}

TTraceStreamBase::TTraceStreamBase(Joining joining) : TTraceStreamBase(joining, nullptr, nullptr) {}

TTraceStreamBase::TTraceStreamBase(Joining joining, std::ostream &stream)
    : TTraceStreamBase(joining, nullptr, &stream) {}

TTraceStreamBase::TTraceStreamBase(Joining joining, std::ostream *stream)
    : TTraceStreamBase(joining, std::unique_ptr<std::ostream>(stream), nullptr) {}

TTraceStreamBase::TTraceStreamBase(Joining joining, char const *fileName)
    : TTraceStreamBase(joining, OpenFile(fileName), nullptr) {}

TTraceStreamBase::TTraceStreamBase(Joining joining, TNative, std::filesystem::path::value_type const *name)
    : TTraceStreamBase(joining, OpenNative(name), nullptr) {}

TTraceStreamBase::TTraceStreamBase(Joining joining, std::unique_ptr<std::ostream> owned, std::ostream *borrowed)
    : Base(joining), fOwned(std::move(owned)), fStream(fOwned ? fOwned.get() : borrowed),
      fFile(dynamic_cast<TTraceFileStream *>(fOwned.get())) {}

TTraceStreamBase::~TTraceStreamBase() {
    Unlink(); // takes the trace lock, so another thread that is writing finishes first
    Replace(nullptr, 0);
}

bool TTraceStreamBase::IsOpen() const noexcept {
    return fStream.load() && QueryOpenError() == 0;
}

unsigned long TTraceStreamBase::QueryOpenError() const noexcept {
    TLock const lock(fsFileMutex);
    auto const *const file = dynamic_cast<TTraceFileStream const *>(fStream.load());
    return file ? file->OpenError() : 0;
}

void TTraceStreamBase::CopyPath(TTakePath take, void *path) const {
    TLock const lock(fsFileMutex);
    if (fFile)
        take(path, fFile->Name().c_str());
}

unsigned int TTraceStreamBase::SetFileMode(unsigned int mode) noexcept {
    return fsFileMode.exchange(mode & 0666, std::memory_order_relaxed);
}

unsigned int TTraceStreamBase::QueryFileMode() noexcept {
    return fsFileMode.load(std::memory_order_relaxed);
}

void TTraceStreamBase::Replace(std::ostream *stream, int owned) {
    std::unique_ptr<std::ostream> former; // its destructor may run any code, so it is destroyed after the unlock
    TLock const lock(fsFileMutex);
    former = std::exchange(fOwned, std::unique_ptr<std::ostream>(owned ? stream : nullptr));
    if (former.get() == stream)
        static_cast<void>(former.release()); // the same stream is set again, so it is not destroyed
    fStream = stream;
    fFile = nullptr;
}

void TTraceStreamBase::SetStream(std::ostream &stream) {
    Replace(&stream, 0);
}

void TTraceStreamBase::SetStream(std::ostream *stream) {
    Replace(stream, 1);
}

void TTraceStreamBase::Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) {
    if (!fStream)
        return;
    TTraceRecord const record(FormOf(*this), level, QueryPrefixParts(), category, message);
    TLock const lock(fsFileMutex);
    std::ostream *const stream = fStream; // another thread may have replaced the stream meanwhile
    // No test gets here: another thread would have to take the stream away just before this line.
    if (!stream)
        return;
    Put(*stream, {record.Text(), record.Length()});
}

void TTraceStreamBase::WriteLine(Base &destination, unsigned long level, TTraceLine &line) noexcept {
    auto &self = static_cast<TTraceStreamBase &>(destination);
    if (!self.fStream)
        return;
    std::string_view const record = line.Record(FormOf(self), level, self.QueryPrefixParts());
    TLock const lock(fsFileMutex);
    if (self.fFile) {
        self.fFile->Append(record);
        // No test gets here: another thread would have to take the stream away just before this line.
    } else if (std::ostream *const stream = self.fStream) {
        DropExceptions([&] { Put(*stream, record); });
    }
}

// REQUIRES: `destination` is of the class TTraceStreamBase itself, because a subclass may have its own Write().
TTraceStream::TTraceStream(TTraceStreamBase *destination) {
    QueryPointer() = TTrace::Pointer(destination);
    destination->TakeLines(&TTraceStreamBase::WriteLine);
}

TTraceStream::TTraceStream() : TTraceStream(new TTraceStreamBase) {}

// No test gets here: the constructor that takes the destination over would have to throw.
TTraceStream::TTraceStream(char const *fileName) : TTraceStream(new TTraceStreamBase(fileName)) {}

// No test gets here: the constructor that takes the destination over would have to throw.
TTraceStream::TTraceStream(std::ostream &stream, char const *selection) : TTraceStream(new TTraceStreamBase(stream)) {
    TTrace::ParseTraceString(selection);
}

TTraceStream::TTraceStream(std::ostream *stream, char const *selection) : TTraceStream(new TTraceStreamBase(stream)) {
    TTrace::ParseTraceString(selection);
}

TTraceStream::~TTraceStream() = default;

// If the handle now has no destination, or a destination of another class, returns null.
TTraceStreamBase *TTraceStream::Destination() const noexcept {
    return dynamic_cast<TTraceStreamBase *>(QueryPointer().Pointer());
}

void TTraceStream::SetStream(std::ostream &stream) {
    if (TTraceStreamBase *const destination = Destination())
        destination->SetStream(stream);
}

void TTraceStream::SetStream(std::ostream *stream) {
    if (TTraceStreamBase *const destination = Destination())
        destination->SetStream(stream);
    else
        delete stream;
}

// The debugger

TTraceWindowsDebugBase::TTraceWindowsDebugBase() : TTraceWindowsDebugBase(joinsLater) {
    Join();
}

TTraceWindowsDebugBase::TTraceWindowsDebugBase(Joining joining) : Base(joining) {}

TTraceWindowsDebugBase::~TTraceWindowsDebugBase() {
    Unlink();
}

void TTraceWindowsDebugBase::Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) {
    TTraceRecord const record(FormOf(*this), level, QueryPrefixParts(), category, message);
    TOutput const output = fsOutput.load(std::memory_order_acquire);
    (output ? output : platform::DebuggerOutput)(record.Text());
}

TTraceWindowsDebugBase::TOutput TTraceWindowsDebugBase::SetOutput(TOutput output) noexcept {
    return fsOutput.exchange(output, std::memory_order_acq_rel);
}

TTraceWindowsDebug::TTraceWindowsDebug() {
    QueryPointer() = TTrace::Pointer(new TTraceWindowsDebugBase);
}

TTraceWindowsDebug::~TTraceWindowsDebug() = default;
