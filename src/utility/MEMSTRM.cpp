// TMemStreamBuf and TMemStream: a stream in memory. Its bytes are in a chain of blocks, which are never moved. This
// source has no lock, because a stream belongs to one thread.

#include "tuzutil/MEMSTRM.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace {

constexpr unsigned long fsDefaultSize = 10000;
// A block has at most this many bytes, because std::streambuf::pbump() takes an int.
constexpr unsigned long fsMaximumSize = 1ul << 30;

} // namespace

TMemStreamBuffer::TMemStreamBuffer(unsigned long allocSize)
    : fAllocSize(static_cast<std::uint32_t>(allocSize)),
      fData(allocSize == fAllocSize ? new char[fAllocSize] : throw std::bad_alloc()) {}

TMemStreamBuffer::~TMemStreamBuffer() {
    SetNext(nullptr);
}

// Deletes the former successors in a loop. If each block deleted the next one, a long chain would exhaust the stack.
void TMemStreamBuffer::SetNext(TMemStreamBuffer *next) noexcept {
    TMemStreamBuffer *block = std::exchange(fNext, next);
    while (block) {
        TMemStreamBuffer *const following = std::exchange(block->fNext, nullptr);
        delete block;
        block = following;
    }
}

TMemStreamBuf::TMemStreamBuf() : TMemStreamBuf(fsDefaultSize) {}

TMemStreamBuf::TMemStreamBuf(unsigned long blockSize)
    : fBlockSize(static_cast<std::uint32_t>(std::clamp(blockSize, 1ul, fsMaximumSize))) {}

TMemStreamBuf::~TMemStreamBuf() {
    delete fFirst;
}

void TMemStreamBuf::DeleteBuffer() noexcept {
    delete fFirst;
    fFirst = fLast = fRead = fWrite = nullptr;
    setg(nullptr, nullptr, nullptr);
    setp(nullptr, nullptr);
}

void TMemStreamBuf::SetPutPlace(TMemStreamBuffer &block, std::uint32_t offset) noexcept {
    fWrite = &block;
    setp(block.fData.get(), block.fData.get() + block.fAllocSize);
    pbump(static_cast<int>(offset));
}

void TMemStreamBuf::SetGetPlace(TMemStreamBuffer &block, std::uint32_t offset) noexcept {
    fRead = &block;
    char *const data = block.fData.get();
    setg(data, data + offset, data + block.fUsed);
}

int TMemStreamBuf::extend() {
    if (!NeedsBlock()) {
        fWrite->fUsed = std::max(fWrite->fUsed, PutCount());
        SetPutPlace(*fWrite->fNext, 0);
        return 0;
    }
    TMemStreamBuffer *block;
    try {
        block = std::make_unique<TMemStreamBuffer>(fBlockSize).release();
    } catch (std::bad_alloc const &) {
        return traits_type::eof();
    }
    if (fFirst) {
        TMemStreamBuf::sync();
        fLast->SetNext(block);
    } else {
        fFirst = block;
    }
    fLast = block;
    SetPutPlace(*block, 0);
    return 0;
}

int TMemStreamBuf::doallocate() {
    return fFirst ? 0 : extend();
}

std::streambuf::int_type TMemStreamBuf::overflow(int_type c) {
    if (!fFirst || pptr() == epptr()) {
        if ((fFirst ? extend() : doallocate()) == traits_type::eof())
            return traits_type::eof();
    } else {
        sync();
    }
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return 0;
    if (pptr() == epptr()) // true if the extend() of a derived class has filled the new block
        return overflow(c);
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return 0;
}

int TMemStreamBuf::sync() {
    if (fWrite && fWrite == fLast)
        fLast->fUsed = std::max(fLast->fUsed, PutCount());
    return 0;
}

std::streambuf::int_type TMemStreamBuf::underflow() {
    if (gptr() < egptr())
        return traits_type::to_int_type(*gptr());
    sync();
    // More bytes may have been written to the block since the get area was set.
    auto const seen = static_cast<std::uint32_t>(egptr() - eback());
    if (fRead && fRead->fUsed > seen) {
        SetGetPlace(*fRead, seen);
        return traits_type::to_int_type(*gptr());
    }
    TMemStreamBuffer *const next = fRead ? fRead->fNext : fFirst;
    if (!next)
        return traits_type::eof();
    SetGetPlace(*next, 0);
    return next->fUsed > 0 ? traits_type::to_int_type(*gptr()) : traits_type::eof();
}

std::uint64_t TMemStreamBuf::CountBefore(TMemStreamBuffer const *end) const noexcept {
    std::uint64_t count = 0;
    for (TMemStreamBuffer const *block = fFirst; block != end; block = block->fNext)
        count += block->fUsed;
    return count;
}

std::streambuf::pos_type TMemStreamBuf::seekoff(off_type offset, std::ios_base::seekdir direction,
                                                std::ios_base::openmode mode) {
    sync();
    if (!fFirst)
        return pos_type(off_type(0));

    std::uint64_t start = 0;
    if (direction == std::ios_base::end) {
        start = CountBefore(nullptr);
    } else if (direction == std::ios_base::cur) {
        if (fRead) {
            start = CountBefore(fRead);
            if (mode & std::ios_base::in)
                start += static_cast<std::uint64_t>(gptr() - eback());
            else if (mode & std::ios_base::out)
                start += PutCount();
        }
    } else if (direction != std::ios_base::beg) {
        return pos_type(off_type(-1));
    }

    // The absolute value of the offset is added, even if the offset is negative.
    auto const distance = static_cast<std::uint64_t>(offset);
    std::uint64_t const target = start + (offset < 0 ? 0 - distance : distance);
    TMemStreamBuffer *block = fFirst;
    std::uint64_t before = 0;
    while (block->fNext && target - before >= block->fUsed) {
        before += block->fUsed;
        block = block->fNext;
    }
    auto const place = static_cast<std::uint32_t>(std::min<std::uint64_t>(target - before, block->fUsed));
    if (mode & std::ios_base::in)
        SetGetPlace(*block, place);
    if (mode & std::ios_base::out)
        SetPutPlace(*block, place);
    return pos_type(static_cast<off_type>(before + place));
}

std::streambuf::pos_type TMemStreamBuf::seekpos(pos_type position, std::ios_base::openmode mode) {
    return seekoff(off_type(position), std::ios_base::beg, mode);
}

unsigned long TMemStreamBuf::Told(std::uint64_t count) noexcept {
    return static_cast<unsigned long>(std::min<std::uint64_t>(count, UINT32_MAX));
}

unsigned long TMemStreamBuf::WriteTo(std::ostream &to) {
    sync();
    std::uint64_t total = 0;
    if (to.rdbuf() == this) // a buffer that is written to itself would grow for ever
        to.setstate(std::ios_base::failbit);
    for (TMemStreamBuffer const *block = fFirst; block && to.write(block->QueryData(), block->fUsed);
         block = block->fNext)
        total += block->fUsed;
    return Told(total);
}

TMemStream::TMemStream() : std::iostream(nullptr) {
    init(&fBuf);
}

TMemStream::TMemStream(unsigned long blockSize) : std::iostream(nullptr), fBuf(blockSize) {
    init(&fBuf);
}

TMemStream::~TMemStream() = default;
