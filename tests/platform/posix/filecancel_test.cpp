// Threads that are cancelled while the library works with files: it finishes what it does.

#include "platform/posix/Cancelled.h"
#include "support/TempFolder.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TMPSTRM.h"
#include "tuzutil/TRACESHF.h"
#include "tuzutil/TXTMSG.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace {

class TAtOnce : public TTempStreamTest {
public:
    int Test(TTempStreamBuf *) override { return 1; }
};

// From the beginning of `body` on the thread ends wherever it can.
bool ComesToItsEnd(std::function<void()> const &body) {
    return IsCancelledAfter([&] {
        ::pthread_cancel(::pthread_self());
        body();
    });
}

} // namespace

TEST(FileCancel, NamedLockIsMade) {
    std::string const name =
        "tuzutil.cancel." + std::to_string(std::hash<std::string>()(std::filesystem::current_path().string()));
    TMutexSemaphore const other(name.c_str()); // what is left to do is to open it
    EXPECT_TRUE(ComesToItsEnd([&] {
        TMutexSemaphore mutex(name.c_str());
        EXPECT_EQ(TMutexSemaphoreEntry(mutex, 0).State(), TMutexSemaphore::Locked);
    }));
}

TEST(FileCancel, TemporaryFileIsMadeWrittenReadAndClosed) {
    std::string const text = "0123456789";
    EXPECT_TRUE(ComesToItsEnd([&] {
        TTempStreamBuf buf(4, "x", new TAtOnce);
        EXPECT_EQ(buf.sputn(text.data(), 10), 10);
        EXPECT_EQ(std::streamoff(buf.pubseekpos(0)), 0);
        std::string read(10, ' ');
        EXPECT_EQ(buf.sgetn(read.data(), 10), 10);
        EXPECT_EQ(read, text);
    }));
}

TEST(FileCancel, TraceFileIsOpenedWrittenAndClosed) {
    TTempFolder const folder;
    TTrace::Category const category(1, "FileCancel");
    TTextMessage message("text");
    EXPECT_TRUE(ComesToItsEnd([&] {
        TTraceSharedFile const trace(folder.Name("trace.log").c_str());
        TTrace::WriteEntry(TTrace::error, category, message);
    }));
    EXPECT_GT(std::filesystem::file_size(folder.Native("trace.log")), 4u);
}
