// TTempStreamBuf and TTempStream: a stream in memory that moves to a temporary file when its TTempStreamTest asks for
// that. The blocks in memory stay unchanged until the move has succeeded. This source has no lock, because a stream
// belongs to one thread.

#include "tuzutil/TMPSTRM.h"

#include "platform/platform.h"
#include "tuzutil/PURETRAP.h"
#include "utility/kernel/buffer_area.h"
#include "utility/kernel/reporter.h"

#include <algorithm>
#include <new>
#include <utility>

namespace {

TReporter const fsReports(TUtilityTraceCategory::MemStream, "src/utility/TMPSTRM");
// The line numbers that the trace entries contain.
constexpr std::uint32_t fsNotOpened = 246;
constexpr std::uint32_t fsOpened = 250;

} // namespace

// Owns the temporary file.
class TTempStreamBuf::TFile {
public:
    explicit TFile(int &error) noexcept : fFile(platform::OpenTempFile(error)) {}
    TFile(TFile const &) = delete;
    TFile &operator=(TFile const &) = delete;
    ~TFile() {
        if (IsOpen())
            platform::CloseTempFile(fFile);
    }

    bool IsOpen() const noexcept { return fFile != platform::noTempFile; }
    std::ptrdiff_t Read(char *bytes, std::size_t count) const noexcept {
        return platform::ReadTempFile(fFile, bytes, count);
    }
    std::size_t Write(char const *bytes, std::size_t count) const noexcept {
        return platform::WriteTempFile(fFile, bytes, count);
    }
    std::int64_t Seek(std::int64_t offset, platform::TFileOrigin origin) const noexcept {
        return platform::SeekTempFile(fFile, offset, origin);
    }

private:
    platform::TempFile fFile;
};

TTempStreamTest::TTempStreamTest() = default;

TTempStreamTest::~TTempStreamTest() = default;

int TTempStreamTest::Test(TTempStreamBuf *) {
    return TPureCall::Trap(*this, "TTempStreamTest::Test()");
}

TTempStreamBuf::TTempStreamBuf(char const *name, TReference<TTempStreamTest> test)
    : fTest(std::move(test)), fName(name) {}

TTempStreamBuf::TTempStreamBuf(unsigned long blockSize, char const *name, TReference<TTempStreamTest> test)
    : TMemStreamBuf(blockSize), fTest(std::move(test)), fName(name) {}

TTempStreamBuf::~TTempStreamBuf() = default;

// Asks the stream's TTempStreamTest before a block is added. At that time, QueryUsed() of every block is up to date.
int TTempStreamBuf::extend() {
    if (fFile)
        return 0;
    if (!NeedsBlock())
        return TMemStreamBuf::extend();
    TMemStreamBuf::sync();
    bool const moves = fTest && fTest->Test(this);
    if (fFile) // true if the test itself has written so much that the stream has moved
        return 0;
    if (moves)
        return MoveToFile();
    bool const hasRoom = pptr() != epptr(); // true if the test has moved the writing position
    return hasRoom ? 0 : TMemStreamBuf::extend();
}

// Moves the stream to a temporary file. The blocks stay unchanged until all bytes are in the file. If the move fails,
// the file is removed at once.
int TTempStreamBuf::MoveToFile() {
    int error = 0;
    std::unique_ptr<TFile> file(new (std::nothrow) TFile(error));
    if (!file || !file->IsOpen()) {
        fsReports.Error({"Unable to open temp file, error=%d(%s)", fsNotOpened}, error,
                        platform::RuntimeErrorText(error));
        return traits_type::eof();
    }
    fsReports.Error({"Opened temp file", fsOpened});
    if (!CopyTo(*file))
        return traits_type::eof();
    fFileBuffer.reset(new (std::nothrow) char[FileBufferSize()]);
    if (!fFileBuffer)
        return traits_type::eof();
    fFile = std::move(file);
    DeleteBuffer();
    ResetAreas();
    return 0;
}

bool TTempStreamBuf::CopyTo(TFile const &file) const {
    for (TMemStreamBuffer const *block = QueryFirstBuffer(); block; block = block->QueryNext()) {
        if (file.Write(block->QueryData(), block->QueryUsed()) != block->QueryUsed())
            return false;
    }
    return true;
}

// Returns the size of the buffer, which is divided into two areas of at least one byte.
std::size_t TTempStreamBuf::FileBufferSize() const noexcept {
    return std::max(QueryAllocSize(), 2ul);
}

void TTempStreamBuf::ResetAreas() noexcept {
    char *const buffer = fFileBuffer.get();
    setg(buffer, buffer, buffer);
    setp(buffer + FileBufferSize() / 2, buffer + FileBufferSize());
}

// Writes the bytes of the put area to the file. Bytes that cannot be written stay in the put area.
bool TTempStreamBuf::FlushToFile() noexcept {
    auto const waiting = static_cast<std::size_t>(pptr() - pbase());
    std::size_t const written = waiting ? fFile->Write(pbase(), waiting) : 0;
    TBufferArea::Drop(*this, written);
    return written == waiting;
}

std::streambuf::int_type TTempStreamBuf::overflow(int_type c) {
    if (!fFile)
        return TMemStreamBuf::overflow(c);
    if (!FlushToFile())
        return traits_type::eof();
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return 0;
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

std::streambuf::int_type TTempStreamBuf::underflow() {
    if (!fFile)
        return TMemStreamBuf::underflow();
    if (gptr() < egptr())
        return traits_type::to_int_type(*gptr());
    char *const buffer = fFileBuffer.get();
    std::ptrdiff_t const count = fFile->Read(buffer, FileBufferSize() / 2);
    if (count <= 0)
        return traits_type::eof();
    setg(buffer, buffer, buffer + count);
    return traits_type::to_int_type(*gptr());
}

// Moves the position of the file back to that of the reader, and empties the get area. After that, bytes of the put
// area are written at the position of the reader. Returns false if the position cannot be moved.
bool TTempStreamBuf::DropReadAhead() noexcept {
    std::ptrdiff_t const ahead = egptr() - gptr();
    if (ahead != 0 && fFile->Seek(-ahead, platform::TFileOrigin::current) < 0)
        return false;
    setg(eback(), eback(), eback());
    return true;
}

int TTempStreamBuf::sync() {
    if (!fFile)
        return TMemStreamBuf::sync();
    if (!DropReadAhead() || overflow(traits_type::eof()) == traits_type::eof())
        return traits_type::eof();
    ResetAreas();
    return 0;
}

std::streambuf::pos_type TTempStreamBuf::seekoff(off_type offset, std::ios_base::seekdir direction,
                                                 std::ios_base::openmode mode) {
    if (!fFile)
        return TMemStreamBuf::seekoff(offset, direction, mode);
    pos_type const failure(off_type(-1));
    if (sync() != 0)
        return failure;
    switch (direction) {
    case std::ios_base::beg: return fFile->Seek(offset, platform::TFileOrigin::start);
    case std::ios_base::cur: return fFile->Seek(offset, platform::TFileOrigin::current);
    case std::ios_base::end: return fFile->Seek(offset, platform::TFileOrigin::end);
    default: return failure;
    }
}

unsigned long TTempStreamBuf::WriteTo(std::ostream &to) {
    if (!fFile)
        return TMemStreamBuf::WriteTo(to);
    std::int64_t const position = sync() == 0 ? fFile->Seek(0, platform::TFileOrigin::current) : -1;
    if (position < 0 || to.rdbuf() == this) {
        to.setstate(std::ios_base::failbit);
        return 0;
    }
    // The position of the file is restored even if `to` throws.
    struct TReturn {
        ~TReturn() {
            if (!isDone)
                GoBack();
        }
        bool GoBack() {
            isDone = true;
            return file.Seek(position, platform::TFileOrigin::start) >= 0;
        }
        TFile const &file;
        std::int64_t const position;
        bool isDone = false;
    } back{*fFile, position};
    char *const buffer = fFileBuffer.get(); // the whole buffer can be used, because both areas are empty
    std::uint64_t total = 0;
    std::ptrdiff_t count;
    while ((count = fFile->Read(buffer, FileBufferSize())) > 0 && to.write(buffer, count))
        total += static_cast<std::uint64_t>(count);
    bool const isBack = back.GoBack();
    if (count < 0 || !isBack)
        to.setstate(std::ios_base::failbit);
    return Told(total);
}

TTempStream::TTempStream(char const *name, TReference<TTempStreamTest> test) : fTempBuf(name, std::move(test)) {
    std::ios::rdbuf(&fTempBuf);
}

TTempStream::TTempStream(unsigned long blockSize, char const *name, TReference<TTempStreamTest> test)
    : fTempBuf(blockSize, name, std::move(test)) {
    std::ios::rdbuf(&fTempBuf);
}

TTempStream::~TTempStream() = default;
