// The system's own component-object streams: on global memory, and in a structured-storage file.

#include "tuzutil/OLESTRM.h"

#include "support/CaptureTrace.h"

#include <gtest/gtest.h>

#include <objbase.h>
#include <sstream>
#include <string>

namespace {

std::string Pattern(std::size_t size) {
    std::string text(size, ' ');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(i * 7 + i / 256);
    return text;
}

std::string ReadAll(IStream *stream, unsigned long bufferSize) {
    TiOleStream in(bufferSize, stream);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void Rewind(IStream *stream) {
    LARGE_INTEGER start;
    start.QuadPart = 0;
    ASSERT_EQ(stream->Seek(start, STREAM_SEEK_SET, nullptr), S_OK);
}

ULONG References(IStream *stream) {
    stream->AddRef();
    return stream->Release();
}

void WriteAndReadBack(IStream *stream) {
    for (unsigned long bufferSize : {2ul, 100ul, 10240ul, 100000ul}) {
        std::string const text = Pattern(30000);
        Rewind(stream);
        {
            ToOleStream out(bufferSize, stream);
            EXPECT_EQ(References(stream), 2u);
            out.write(text.data(), 30000);
            EXPECT_TRUE(out.flush().good());
            EXPECT_EQ(out.QueryBytesWritten(), 30000u);
        }
        EXPECT_EQ(References(stream), 1u);
        Rewind(stream);
        EXPECT_EQ(ReadAll(stream, bufferSize), text) << bufferSize;
    }
}

} // namespace

TEST(SystemStream, OnGlobalMemory) {
    IStream *stream = nullptr;
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
    WriteAndReadBack(stream);
    EXPECT_EQ(stream->Release(), 0u);
}

TEST(SystemStream, InAStorageFile) {
    WCHAR folder[MAX_PATH];
    WCHAR name[MAX_PATH];
    ASSERT_NE(GetTempPathW(MAX_PATH, folder), 0u);
    ASSERT_NE(GetTempFileNameW(folder, L"ole", 0, name), 0u);
    DWORD const write = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
    DWORD const read = STGM_READ | STGM_SHARE_EXCLUSIVE;
    IStorage *storage = nullptr;
    IStream *stream = nullptr;
    ASSERT_EQ(StgCreateDocfile(name, STGM_CREATE | write, 0, &storage), S_OK);
    ASSERT_EQ(storage->CreateStream(L"message", STGM_CREATE | write, 0, 0, &stream), S_OK);
    WriteAndReadBack(stream);
    stream->Release();
    storage->Release();

    // Another look, at a stream that may only be read.
    ASSERT_EQ(StgOpenStorage(name, nullptr, read, nullptr, 0, &storage), S_OK);
    ASSERT_EQ(storage->OpenStream(L"message", nullptr, read, 0, &stream), S_OK);
    EXPECT_EQ(ReadAll(stream, 10240), Pattern(30000));
    TCapture capture(TTrace::error);
    {
        ToOleStream out(stream);
        out << "abc" << std::flush;
        EXPECT_TRUE(out.bad());
    }
    ASSERT_EQ(capture.Entries().size(), 1u);
    EXPECT_NE(capture.Entries()[0].text.find(", rc=-2147287035"), std::string::npos) << capture.Entries()[0].text;
    stream->Release();
    storage->Release();
    DeleteFileW(name);
}
