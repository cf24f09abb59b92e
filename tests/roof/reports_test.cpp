// Every report that the library can be brought to make without a system that fails, in one program: what different
// reports say of their source must differ.

#include "support/Notes.h"

#include "support/TempFolder.h"
#include "tuzutil/COLLECT.h"
#include "tuzutil/DIRECTRY.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/FACTORY.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/MSGSTRPM.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/NLSRESRC.h"
#include "tuzutil/PURETRAP.h"
#include "tuzutil/THREAD.h"
#include "tuzutil/TMPSTRM.h"
#include "tuzutil/TRACEFAC.h"
#include "utility/languages/program_directory.h"
#include "utility/languages/require_open.h"
#include "utility/languages/text_library.h"

#include <functional>
#include <sstream>
#include <stdexcept>

namespace {

class Reports : public testing::Test {
protected:
    TNotes notes;
};

[[noreturn]] void ThrowOurs() {
    throw TInvalidRequest("ours", 1, TException::recoverable);
}
[[noreturn]] void ThrowForeign() {
    throw std::runtime_error("foreign");
}

class TStore : public TTextMessageStore {
public:
    explicit TStore(TTextMessage::StoreID const &id) : TTextMessageStore(id) {}
};

struct TKind : TTraceFactory {
    TKind() : TTraceFactory(TFactoryType("ReportsKind")) {}
};

class TTask : public TThread {
public:
    explicit TTask(std::function<void()> body) : fBody(std::move(body)) {}
    int Run() override {
        fBody();
        return 0;
    }

private:
    std::function<void()> fBody;
};

} // namespace

TEST_F(Reports, OfMessagesHaveLinesOfTheirOwn) {
    for (char const *const format : {"%n", "%*d", "%.*d", "%d"})
        TTextMessage(format, TagVar(TDate()), TagVar(TDate())).QueryMessage();
    TTextMessage message("text");
    message.SetDebugging("raiser.cpp", 12);
    notes.Catch([&] { message[3]; });
    TTextMessage::StoreID const id(TString("Reports"), ExplicitInit);
    TStore const store(id);
    notes.Catch([&] { TStore const second(id); });
    notes.Catch([] { TTextMessageArchive const second; });
    EXPECT_EQ(notes.Count("src/utility/TXTMSG"), 8u);
}

TEST_F(Reports, OfLanguageLibrariesHaveLinesOfTheirOwn) {
    auto const found = [] { return "path"; };
    auto const none = [](char const *) { return std::unique_ptr<TDll>(); };
    text_library::OpenLibrary(
        "Mail", "msgs", [] { return static_cast<char const *>(nullptr); }, none);
    for (void (*const fail)() : {ThrowOurs, ThrowForeign}) {
        auto const failing = [&] {
            fail();
            return "path";
        };
        text_library::OpenLibrary("Mail", "msgs", failing, none);
        text_library::OpenLibrary("Mail", "msgs", found, [&](char const *) {
            fail();
            return std::unique_ptr<TDll>();
        });
        text_library::LoadText("Mail", 3, 17, [&] {
            fail();
            return TString();
        });
    }
    text_library::OpenLibrary("Mail", "msgs", found, none);
    TTextMessage::StoreID const id(TString("Reports"), ExplicitInit);
    TTextMessageStorePM const store(id, "msgs");
    EXPECT_EQ(notes.Count("src/utility/MSGSTRPM"), 9u);
}

TEST_F(Reports, OfTheSearchForLanguagesHaveLinesOfTheirOwn) {
    struct TClosed {
        int isOpen() const { return 0; }
        void open() {}
    } closed;
    TTempFolder const folder;
    folder.AddFile("msgs.dll");
    TString const former = TSearchNLSPath::fsNLSpath;
    TSearchNLSPath::fsNLSpath = folder.Name("%N").c_str();
    TSearchNLSPath("no such library").FindFile();
    TSearchNLSPath("msgs").FindFile();
    TSearchNLSPath::fsNLSpath = former;
    ProgramDirectory("server.exe");
    notes.Catch([&] { RequireOpen(closed, "msgs"); });
    EXPECT_EQ(notes.Count("src/utility/NLSRESRC"), 5u);
    TNLSResourceDll const program("no such library");
    notes.Catch([&] { program.loadMessage(1, 0); });
    notes.Catch([] { TDll const library("no such library"); });
    EXPECT_EQ(notes.Count("src/utility/TDLL"), 3u);
}

TEST_F(Reports, OfDirectoriesHaveLinesOfTheirOwn) {
    TTempFolder const folder;
    TDirectory::MakeTree(folder.Name("a\\b").c_str());
    TDirectory::MakeTree("no such folder\\a\\b");
    TDirectory::MakeTree("no such folder\\a");
    int isDirectory = 0;
    {
        TDirectory first(folder.Name("").c_str());
        first.FindFirst(&isDirectory, nullptr);
        TDirectory const copy(first);
    }
    EXPECT_EQ(notes.Count("src/utility/DIRECTRY"), 4u);
}

TEST_F(Reports, OfTracesHaveLinesOfTheirOwn) {
    TTrace trace("stderr");
    trace.SetLevel(0);
    trace.ParseTraceString(",,,NoSuchCategory");
    notes.Catch([&] { trace.ParseTraceString("xx"); });
    notes.Catch([&] { trace.ParseTraceString(",,2"); });
    TTrace const none("NoSuchFactory");
    EXPECT_GE(notes.Count("src/utility/TRACEP"), 4u);
    notes.Catch([] { static_cast<void>(TTraceFactoryLoader::GetInstance()->Find(TFactoryType(""))); });
    TKind const kind;
    notes.Catch([] { TKind const second; });
    EXPECT_EQ(notes.Count("src/utility/FACTORY"), 4u);
    TPureCall::Trap();
    EXPECT_EQ(notes.Count("src/utility/PURETRAP"), 1u);
}

TEST_F(Reports, OfThreadsAndLocksHaveLinesOfTheirOwn) {
    for (void (*const fail)() : {ThrowOurs, ThrowForeign}) {
        TReference<TTask> const task(new TTask(fail));
        ASSERT_EQ(task->Start(), 0);
        task->WaitForTermination(-1);
    }
    EXPECT_EQ(notes.Count("src/utility/THREAD"), 2u);
    TMutexSemaphore const mutex("no\\such\\name");
    EXPECT_EQ(notes.Count("src/utility/MUTEXSEM"), 1u);
    notes.Catch([] { TReference<TTask>(nullptr)->Start(); });
    EXPECT_EQ(notes.Count("src/utility/TREFCNT"), 1u);
}

TEST_F(Reports, OfStreamsHaveLinesOfTheirOwn) {
    {
        std::istringstream connection("text\r\n.\r\n");
        TiDotByteStream in(connection);
        in.Cancel();
        notes.Catch([&] { in.get(); });
    }
    for (char const *const text : {"\r\n", "a\r\n\r\nb\r\n"}) {
        std::ostringstream sink;
        ToDotByteStream out(sink, *text == '\r' ? 0 : 1);
        notes.Catch([&] { out << text << std::flush; });
    }
    EXPECT_EQ(notes.Count("src/utility/DOTBYTE"), 4u);
}

TEST_F(Reports, OfStringsHaveLinesOfTheirOwn) {
    TString text("text");
    notes.Catch([&] { text[0u]; });
    notes.Catch([&] { text.subString(0); });
    notes.Catch([&] { text.subString(1, 0xFFFFFFFF); });
    EXPECT_EQ(notes.Count("src/utility/TSTRING"), 3u);
}
