#ifndef TUZUTIL_TESTS_MEMSTREAM_MODEL_H
#define TUZUTIL_TESTS_MEMSTREAM_MODEL_H

// Models of memory streams and temporary streams. They do every operation byte by byte, because this is the simplest
// form of the rules.

#include <algorithm>
#include <cstdint>
#include <ios>
#include <optional>
#include <string>

// A stream in memory. All blocks except the last one are full. A place is a block and an offset in the block. The
// offset may be the end of the block.
class TMemoryModel {
public:
    explicit TMemoryModel(std::size_t blockSize) : fSize(blockSize) {}

    bool NeedsFirst() const { return fBlocks == 0; }

    // Returns whether the next byte that is written needs a new block.
    bool NeedsBlock() const { return fBlocks == 0 || (fPut.offset == fSize && fPut.block + 1 == fBlocks); }

    void Write(char byte) {
        if (NeedsBlock())
            fPut = {fBlocks++, 0};
        else if (fPut.offset == fSize)
            fPut = {fPut.block + 1, 0};
        std::size_t const at = fPut.block * fSize + fPut.offset++;
        if (at == data.size())
            data += byte;
        else
            data[at] = byte;
    }

    int Read() {
        if (!fHasRead || fGet.offset == Used(fGet.block)) {
            std::size_t const next = fHasRead ? fGet.block + 1 : 0;
            if (next >= fBlocks)
                return -1;
            fGet = {next, 0};
            fHasRead = true;
        }
        return static_cast<unsigned char>(data[fGet.block * fSize + fGet.offset++]);
    }

    std::int64_t Seek(std::int64_t offset, std::ios_base::seekdir direction, std::ios_base::openmode mode) {
        if (fBlocks == 0)
            return 0;
        std::uint64_t start = 0;
        if (direction == std::ios_base::end)
            start = data.size();
        else if (direction == std::ios_base::cur && fHasRead && (mode & std::ios_base::in))
            start = fGet.block * fSize + fGet.offset;
        else if (direction == std::ios_base::cur && fHasRead && (mode & std::ios_base::out))
            start = fGet.block * fSize + fPut.offset;
        else if (direction == std::ios_base::cur && fHasRead)
            start = fGet.block * fSize;
        std::uint64_t const amount =
            offset < 0 ? -static_cast<std::uint64_t>(offset) : static_cast<std::uint64_t>(offset);
        auto const position = static_cast<std::size_t>(std::min<std::uint64_t>(start + amount, data.size()));
        TPlace place = {position / fSize, position % fSize};
        if (place.block == fBlocks)
            place = {fBlocks - 1, fSize};
        if (mode & std::ios_base::in) {
            fGet = place;
            fHasRead = true;
        }
        if (mode & std::ios_base::out)
            fPut = place;
        return static_cast<std::int64_t>(position);
    }

    void Sync() {}
    std::string Rest() { return data; }

    std::string data;

private:
    struct TPlace {
        std::size_t block;
        std::size_t offset;
    };

    std::size_t Used(std::size_t block) const { return std::min(fSize, data.size() - block * fSize); }

    std::size_t fSize;
    std::size_t fBlocks = 0;
    TPlace fPut = {0, 0};
    TPlace fGet = {0, 0};
    bool fHasRead = false;
};

// A stream in a file. It has one position, bytes that wait to be written, and bytes that were read ahead.
class TFileModel {
public:
    TFileModel(std::size_t bufferSize, std::string content)
        : fAhead(bufferSize / 2), fBehind(bufferSize - bufferSize / 2), data(std::move(content)), fAt(data.size()) {}

    void Write(char byte) {
        if (fWaiting.size() == fBehind)
            Flush();
        fWaiting += byte;
    }

    int Read() {
        if (fUnread.empty()) {
            fUnread = fAt < data.size() ? data.substr(fAt, fAhead) : "";
            fAt += fUnread.size();
        }
        if (fUnread.empty())
            return -1;
        auto const byte = static_cast<unsigned char>(fUnread[0]);
        fUnread.erase(0, 1);
        return byte;
    }

    // Writes the waiting bytes at the position of the reader.
    void Sync() {
        fAt -= fUnread.size();
        fUnread.clear();
        Flush();
    }

    std::int64_t Seek(std::int64_t offset, std::ios_base::seekdir direction) {
        Sync();
        auto const start = static_cast<std::int64_t>(direction == std::ios_base::beg   ? 0
                                                     : direction == std::ios_base::end ? data.size()
                                                                                       : fAt);
        if (start + offset < 0)
            return -1;
        fAt = static_cast<std::size_t>(start + offset);
        return start + offset;
    }

    std::string Rest() {
        Sync();
        return fAt < data.size() ? data.substr(fAt) : "";
    }

private:
    void Flush() {
        if (fWaiting.empty())
            return;
        data.resize(std::max(data.size(), fAt + fWaiting.size()));
        data.replace(fAt, fWaiting.size(), fWaiting);
        fAt += fWaiting.size();
        fWaiting.clear();
    }

    std::size_t fAhead;
    std::size_t fBehind;

public:
    std::string data;

private:
    std::size_t fAt;
    std::string fWaiting;
    std::string fUnread;
};

// A stream that is in memory at first, and in a file after it has asked for a block `movesAt` times.
class TTempModel {
public:
    TTempModel(std::size_t blockSize, unsigned int movesAt) : fSize(blockSize), fMovesAt(movesAt), fMemory(blockSize) {}

    void Write(char byte) {
        if (!fFile && fMemory.NeedsBlock() && ++questions == fMovesAt)
            fFile.emplace(std::max<std::size_t>(fSize, 2), fMemory.data);
        if (fFile)
            fFile->Write(byte);
        else
            fMemory.Write(byte);
    }
    int Read() { return fFile ? fFile->Read() : fMemory.Read(); }
    std::int64_t Seek(std::int64_t offset, std::ios_base::seekdir direction, std::ios_base::openmode mode) {
        return fFile ? fFile->Seek(offset, direction) : fMemory.Seek(offset, direction, mode);
    }
    void Sync() {
        if (fFile)
            fFile->Sync();
    }
    std::string Rest() { return fFile ? fFile->Rest() : fMemory.Rest(); }
    bool HasBlocks() const { return !fFile && !fMemory.NeedsFirst(); }

    unsigned int questions = 0;

private:
    std::size_t fSize;
    unsigned int fMovesAt;
    TMemoryModel fMemory;
    std::optional<TFileModel> fFile;
};

#endif
