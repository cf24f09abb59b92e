// Functions of a program that the library calls, and that throw. The exception must reach the caller unless the header
// says otherwise. Afterwards no lock is held, nothing is lost or destroyed twice, and the object can be used again.

#include "support/CaptureTrace.h"
#include "support/OleStream.h"
#include "tuzutil/COLLECT.h"
#include "tuzutil/FILTSTRM.h"
#include "tuzutil/MEMSTRM.h"
#include "tuzutil/TMPSTRM.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TREFCNT.h"

#include <gtest/gtest.h>

#include <functional>
#include <istream>
#include <map>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

TTrace::Category const fsSession(8, "Session");

struct TThrown : std::runtime_error {
    TThrown() : std::runtime_error("thrown by the program") {}
};

// Throws at the call with that number, which is 1-based; never if the number is 0.
struct TCountdown {
    int at = 0;
    void Count() {
        if (at > 0 && --at == 0)
            throw TThrown();
    }
};

// Collections

// Counts how often each element is destroyed.
class TSet : public TBaseSetOf {
public:
    ~TSet() override { DeleteSet(); }
    using TBaseSetOf::DeleteSet;
    TCountdown countdown;
    static inline std::map<void *, int> fsDestroyed;

private:
    void DeleteElement(void *element) override {
        if (element)
            ++fsDestroyed[element];
        countdown.Count();
    }
};

class TArray : public TSparseArrayOf<int> {
public:
    ~TArray() override { DeleteArray(); }
    TCountdown countdown;
    static inline std::map<void *, int> fsDestroyed;

private:
    void DeleteElement(void *value) override {
        if (value)
            ++fsDestroyed[value];
        countdown.Count();
    }
};

class TCopied {
public:
    explicit TCopied(int n) : number(n) { ++fsAlive; }
    TCopied(TCopied const &other) : number(other.number) {
        fsCountdown.Count();
        ++fsAlive;
    }
    TCopied &operator=(TCopied const &) = delete;
    ~TCopied() { --fsAlive; }
    int const number;
    static inline int fsAlive = 0;
    static inline TCountdown fsCountdown;
};

std::string Numbers(TSetOfCopy<TCopied> const &set) {
    std::string numbers;
    TSetOfCopy<TCopied>::Cursor cursor(set);
    for (TCopied const *element = cursor.Element(); element; element = cursor.Next())
        numbers += std::to_string(element->number);
    return numbers;
}

struct TKeyed {
    explicit TKeyed(int k) : key(k) {}
    int Key() const {
        fsCountdown.Count();
        return key;
    }
    int const key;
    static inline TCountdown fsCountdown;
};

} // namespace

TEST(CallbackThatThrows, DestroyingAnElementLeavesTheOthersInTheSet) {
    int elements[4] = {};
    for (int at = 1; at <= 4; ++at) {
        TSet::fsDestroyed.clear();
        {
            TSet set;
            for (int &element : elements)
                set.Add(&element);
            set.countdown.at = at;
            EXPECT_THROW(set.DeleteSet(), TThrown);
            EXPECT_EQ(TSet::fsDestroyed.size(), static_cast<std::size_t>(at));
        }
        for (int &element : elements)
            EXPECT_EQ(TSet::fsDestroyed[&element], 1) << at;
    }
}

TEST(CallbackThatThrows, DestroyingAValueLeavesTheOthersInTheArray) {
    int values[4] = {};
    for (int at = 1; at <= 4; ++at) {
        TArray::fsDestroyed.clear();
        {
            TArray array;
            for (unsigned long i = 0; i < 4; ++i)
                array.Set(10 * i, &values[i]);
            array.countdown.at = at;
            EXPECT_THROW(array.DeleteArray(), TThrown);
            EXPECT_EQ(TArray::fsDestroyed.size(), static_cast<std::size_t>(at));
        }
        for (int &value : values)
            EXPECT_EQ(TArray::fsDestroyed[&value], 1) << at;
    }
}

TEST(CallbackThatThrows, DestroyingAReplacedValueLeavesTheNewOne) {
    int values[2] = {};
    TArray::fsDestroyed.clear();
    {
        TArray array;
        array.Set(7, &values[0]);
        array.countdown.at = 1;
        EXPECT_THROW(array.Set(7, &values[1]), TThrown);
        EXPECT_EQ(array.Find(7), &values[1]);
        array.countdown.at = 1;
        EXPECT_THROW(array.Set(7, nullptr), TThrown);
        EXPECT_EQ(array.QueryCount(), 0u);
    }
    EXPECT_EQ(TArray::fsDestroyed[&values[0]], 1);
    EXPECT_EQ(TArray::fsDestroyed[&values[1]], 1);
}

TEST(CallbackThatThrows, CopyingAnElementLeavesNoCopyBehind) {
    {
        TSetOfCopy<TCopied> set;
        for (int i = 1; i <= 3; ++i)
            set.Add(new TCopied(i));
        for (int at = 1; at <= 3; ++at) {
            TCopied::fsCountdown.at = at;
            EXPECT_THROW(static_cast<void>(TSetOfCopy<TCopied>(set)), TThrown);
            EXPECT_EQ(TCopied::fsAlive, 3);

            TSetOfCopy<TCopied> target;
            target.Add(new TCopied(9));
            TCopied::fsCountdown.at = at;
            EXPECT_THROW(target = set, TThrown);
            EXPECT_EQ(Numbers(target), std::string("123").substr(0, static_cast<std::size_t>(at - 1)));
            target = set;
            EXPECT_EQ(Numbers(target), "123");
        }
        EXPECT_EQ(Numbers(set), "123");
    }
    EXPECT_EQ(TCopied::fsAlive, 0);
}

TEST(CallbackThatThrows, AKeyLeavesTheSetAsItIs) {
    TKeySetOf<TKeyed, int> set;
    for (int key = 1; key <= 3; ++key)
        set.Add(new TKeyed(key));
    TKeyed::fsCountdown.at = 2;
    EXPECT_THROW(set.FindKey(3), TThrown);
    ASSERT_NE(set.FindKey(3), nullptr);
    EXPECT_EQ(set.FindKey(3)->key, 3);
    EXPECT_EQ(set.GetNumberElements(), 3u);
}

// Streams

namespace {

// A buffer above a text, which passes on what is written. One of its functions throws once.
class TFilter : public TFilterStreamBuf {
public:
    explicit TFilter(std::string text) : fText(std::move(text)) {}

    std::string throwing; // the function that throws at its next call
    std::string written;

private:
    void Enter(char const *function) {
        if (throwing != function)
            return;
        throwing.clear();
        throw TThrown();
    }
    int doallocate() override {
        Enter("doallocate");
        if (!fArea) {
            fArea = NewStorage(8);
            SetPutArea(fArea.get(), fArea.get() + 8);
        }
        return 0;
    }
    bool IsWritable() const noexcept override { return true; }
    void WriteThrough(char const *bytes, std::size_t count) override {
        Enter("WriteThrough");
        written.append(bytes, count);
    }
    bool IsReadable() const noexcept override { return true; }
    void BeforeRead() override { Enter("BeforeRead"); }
    TPiece ReadPiece() override {
        Enter("ReadPiece");
        std::size_t const count = fText.copy(fPiece + fsPutBackRoom, 4, fTaken);
        fTaken += count;
        return {fPiece, fPiece + fsPutBackRoom, fPiece + fsPutBackRoom + count};
    }
    std::size_t TakePieces(char *into, std::size_t size) override {
        Enter("TakePieces");
        std::size_t const count = size > 1 ? fText.copy(into, size - 1, fTaken) : 0;
        fTaken += count;
        return count;
    }

    std::string fText;
    std::size_t fTaken = 0;
    std::unique_ptr<char[]> fArea;
    char fPiece[fsPutBackRoom + 4];
};

// Reads one byte, and then up to 100 bytes at once. Repeats what threw. Returns what was read.
std::string ReadAll(std::istream &in, int &thrown) {
    std::string all;
    in.exceptions(std::ios::badbit);
    for (std::streamsize const count : {1, 100, 100, 100}) {
        char bytes[100];
        try {
            in.read(bytes, count);
        } catch (TThrown const &) {
            ++thrown;
        }
        all.append(bytes, static_cast<std::size_t>(in.gcount()));
        in.exceptions(std::ios::goodbit);
        in.clear();
        in.exceptions(std::ios::badbit);
    }
    return all;
}

} // namespace

TEST(CallbackThatThrows, InAFilterThatIsReadLosesNoByte) {
    std::string const text = "0123456789abcdefghij";
    for (char const *const function : {"doallocate", "BeforeRead", "ReadPiece"}) {
        TFilter filter(text);
        std::istream in(&filter);
        filter.throwing = function;
        int thrown = 0;
        EXPECT_EQ(ReadAll(in, thrown), text) << function;
        EXPECT_EQ(thrown, 1) << function;
    }
    for (char const *const function : {"BeforeRead", "ReadPiece", "TakePieces"}) { // after the first byte
        TFilter filter(text);
        std::istream in(&filter);
        ASSERT_EQ(in.get(), '0');
        filter.throwing = function;
        std::string read;
        char c;
        int thrown = 0;
        in.exceptions(std::ios::badbit);
        for (int i = 0; i < 30; ++i) {
            try {
                in.read(&c, 1);
            } catch (TThrown const &) {
                ++thrown;
            }
            read.append(&c, static_cast<std::size_t>(in.gcount()));
            in.exceptions(std::ios::goodbit);
            in.clear();
            in.exceptions(std::ios::badbit);
        }
        EXPECT_EQ(read, text.substr(1)) << function;
        EXPECT_EQ(thrown, 1) << function;
    }
}

TEST(CallbackThatThrows, InAFilterThatIsWrittenEndsThatWriteOnly) {
    for (char const *const function : {"doallocate", "WriteThrough"}) {
        TFilter filter("");
        std::ostream out(&filter);
        out.exceptions(std::ios::badbit);
        filter.throwing = function;
        EXPECT_THROW(out << "01234567890123456789" << std::flush, TThrown) << function;
        EXPECT_TRUE(out.bad()) << function;
        EXPECT_EQ(filter.written, "") << function;
        out.clear();
        out << "after" << std::flush;
        EXPECT_EQ(filter.written, "after") << function;
    }
    TFilter filter("");
    std::ostream out(&filter);
    out.exceptions(std::ios::badbit);
    out << "wait";
    filter.throwing = "WriteThrough";
    EXPECT_THROW(out << std::flush, TThrown);
    out.clear();
    out << "after" << std::flush;
    EXPECT_EQ(filter.written, "after"); // nobody knows how much of the rest has arrived, so it is not sent again
}

TEST(CallbackThatThrows, InAStreamObjectLosesNoByte) {
    TOleBehaviour behaviour;
    behaviour.content = "content";
    TOleObject const object(behaviour);
    behaviour.throwing = "AddRef";
    EXPECT_THROW(TiOleStream(object.Stream()), std::runtime_error);
    EXPECT_EQ(behaviour.references, 0);
    behaviour.throwing.clear();
    {
        TiOleStream in(object.Stream());
        EXPECT_EQ(behaviour.references, 1);
        behaviour.throwing = "Read";
        EXPECT_EQ(in.get(), std::char_traits<char>::eof());
        EXPECT_TRUE(in.bad());
        in.exceptions(std::ios::goodbit);
        in.clear();
        in.exceptions(std::ios::badbit);
        EXPECT_THROW(in.get(), std::runtime_error);
        behaviour.throwing.clear();
        in.clear();
        std::string word;
        in >> word;
        EXPECT_EQ(word, "content");
    }
    EXPECT_EQ(behaviour.references, 0);
    behaviour.content.clear();
    {
        ToOleStream out(object.Stream());
        out.exceptions(std::ios::badbit);
        behaviour.throwing = "Write";
        EXPECT_THROW(out << "text" << std::flush, std::runtime_error);
        behaviour.throwing.clear();
        out.clear();
        out << "more" << std::flush;
        EXPECT_EQ(behaviour.content, "textmore");
        behaviour.throwing = "Release"; // the destructor drops this exception
    }
    behaviour.throwing.clear();
    EXPECT_EQ(behaviour.references, 1);
}

namespace {

class TOleBuffer : public TOleStreamBuf {
public:
    using TOleStreamBuf::Close;
    using TOleStreamBuf::Init;
    using TOleStreamBuf::TOleStreamBuf;
};

class TBlocks : public TMemStreamBuf {
public:
    using TMemStreamBuf::TMemStreamBuf;
    TCountdown countdown;

protected:
    int doallocate() override {
        countdown.Count();
        return TMemStreamBuf::doallocate();
    }
    int extend() override {
        countdown.Count();
        return TMemStreamBuf::extend();
    }
};

} // namespace

TEST(CallbackThatThrows, InTheReleaseOfAStreamObjectLeavesTheBufferClosed) {
    TOleBehaviour first;
    TOleBehaviour second;
    TOleObject const one(first);
    TOleObject const other(second);
    TOleBuffer buffer(one.Stream(), TOleStreamBuf::writing);
    buffer.sputn("text", 4);
    buffer.pubsync();
    ASSERT_EQ(buffer.QueryBytesWritten(), 4u);
    first.throwing = "Release";
    EXPECT_THROW(buffer.Init(other.Stream()), std::runtime_error);
    EXPECT_EQ(buffer.QueryBytesWritten(), 0u);
    buffer.sputn("more", 4);
    buffer.pubsync();
    EXPECT_EQ(second.content, "more");
    buffer.sputn("waits", 5);
    second.throwing = "Release";
    EXPECT_THROW(buffer.Close(), std::runtime_error);
    second.throwing.clear();
    EXPECT_EQ(buffer.pubsync(), 0); // nothing waits any more
    EXPECT_EQ(second.content, "more");
}

TEST(CallbackThatThrows, InAStreamInMemoryKeepsWhatWasWritten) {
    for (int at = 1; at <= 4; ++at) {
        TBlocks blocks(4);
        std::iostream stream(&blocks);
        stream.exceptions(std::ios::badbit);
        blocks.countdown.at = at;
        std::string expected;
        int thrown = 0;
        for (char c = 'a'; c < 'a' + 16; ++c) {
            try {
                stream.put(c);
                expected += c;
            } catch (TThrown const &) {
                ++thrown;
                stream.clear();
            }
        }
        EXPECT_EQ(thrown, 1) << at;
        stream.flush();
        std::string read;
        stream >> read;
        EXPECT_EQ(read, expected) << at;
    }
}

// References

namespace {

struct TStubborn : TRefCounted {
    explicit TStubborn(TCountdown &where) : countdown(where) {}
    void AddRef() override {
        countdown.Count();
        TRefCounted::AddRef();
    }
    void Unreachable() override {
        countdown.Count();
        TRefCounted::Unreachable();
    }
    TCountdown &countdown;
};

struct TWeakStubborn : TWeakRefCounted {
    explicit TWeakStubborn(std::string &where) : throwing(where) {}
    void ZeroWeakReference() override { Enter("ZeroWeakReference"); }
    void Unreachable() override {
        Enter("Unreachable");
        delete this;
    }
    void Enter(char const *function) const {
        if (throwing == function)
            throw TThrown();
    }
    std::string &throwing;
};

} // namespace

TEST(CallbackThatThrows, InAddRefMakesNoReference) {
    TCountdown countdown;
    auto *const object = new TStubborn(countdown);
    TReference<TStubborn> const first(object);
    countdown.at = 1;
    EXPECT_THROW(TReference<TStubborn>{first}, TThrown);
    EXPECT_EQ(object->QueryReferenceCount(), 1u);
    TReference<TStubborn> target;
    countdown.at = 1;
    EXPECT_THROW(target = first, TThrown);
    EXPECT_FALSE(target);
    EXPECT_EQ(object->QueryReferenceCount(), 1u);
}

TEST(CallbackThatThrows, InUnreachableReachesWhoeverReleasesTheLastReference) {
    TCountdown countdown;
    auto *const object = new TStubborn(countdown);
    TReference<TStubborn> reference(object);
    countdown.at = 1;
    EXPECT_THROW(reference = nullptr, TThrown);
    EXPECT_FALSE(reference);
    EXPECT_EQ(object->QueryReferenceCount(), 0u);
    delete object;
}

TEST(CallbackThatThrows, InTheLastReleaseOfAWeakObjectLeavesTheLockFree) {
    for (std::string const function : {"ZeroWeakReference", "Unreachable"}) {
        std::string throwing;
        auto *const object = new TWeakStubborn(throwing);
        TReference<TWeakStubborn> reference(object);
        throwing = function;
        EXPECT_THROW(reference = nullptr, TThrown) << function;
        EXPECT_FALSE(reference);
        EXPECT_EQ(object->QueryReferenceCount(), 0u) << function;
        throwing.clear();
        // Another thread can take the lock.
        std::thread([&] { TReference<TWeakStubborn>{object}; }).join(); // destroys the object
    }
}

// Traces

namespace {

class TChanging : public TTrace::Base {
public:
    explicit TChanging(TCountdown &where) : Base(joinsLater), fCountdown(where) {}
    ~TChanging() override { Unlink(); }
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {}
    void Change() override { fCountdown.Count(); }

private:
    TCountdown &fCountdown;
};

class TObserver : public TTraceNotify {
public:
    TObserver() : TTraceNotify(joinsLater) { Join(); }
    ~TObserver() override { Leave(); }
    void Notify() override {
        ++count;
        throw TThrown();
    }
    int count = 0;
};

} // namespace

TEST(CallbackThatThrows, InChangeReachesTheCallerAfterTheChange) {
    struct TCase {
        char const *name;
        std::function<void(TTrace &)> change;
        std::function<bool(TTrace const &)> isDone;
    };
    TCase const cases[] = {
        {"SetLevel", [](TTrace &trace) { trace.SetLevel(2); },
         [](TTrace const &trace) { return trace.QueryLevel() == 2; }},
        {"SetComponent", [](TTrace &trace) { trace.SetComponent(16); },
         [](TTrace const &trace) { return trace.QueryComponent() == 16; }},
        {"SetDefaultTracing", [](TTrace &trace) { trace.SetDefaultTracing(0); },
         [](TTrace const &trace) { return trace.QueryDefaultTracing() == 0; }},
        {"AddCategory", [](TTrace &trace) { trace.AddCategory(fsSession, 0); },
         [](TTrace const &trace) { return trace.QueryPointer()->QueryCategory(fsSession) == 0; }},
        {"RemoveCategory", [](TTrace &trace) { trace.RemoveCategory(fsSession); },
         [](TTrace const &trace) { return trace.QueryPointer()->QueryCategory(fsSession) == 1; }},
        {"ParseTraceString", [](TTrace &trace) { trace.ParseTraceString("er"); },
         [](TTrace const &trace) { return trace.QueryLevel() == TTrace::error; }},
        {"StopTracing", [](TTrace &trace) { trace.QueryPointer()->StopTracing(); },
         [](TTrace const &trace) { return trace.QueryLevel() == 0; }},
    };
    for (TCase const &each : cases) {
        TCountdown countdown;
        TTrace trace = TTrace::Make<TChanging>(countdown);
        if (std::string(each.name) == "RemoveCategory")
            trace.AddCategory(fsSession, 0);
        countdown.at = 1;
        EXPECT_THROW(each.change(trace), TThrown) << each.name;
        EXPECT_TRUE(each.isDone(trace)) << each.name;
        // The lock is free: another thread gets it.
        std::thread([&] { trace.SetLevel(4); }).join();
        TTracePoint::Write(TTrace::error, fsSession, "file", "text");
    }
}

TEST(CallbackThatThrows, InNotifyIsDroppedAndTheOtherObserversAreNotified) {
    TObserver first;
    TObserver second;
    TCapture capture(4, 8);
    EXPECT_EQ(first.count, 2); // once for the levels, once for the components
    EXPECT_EQ(second.count, 2);
    std::thread([&] { capture.trace.SetLevel(2); }).join();
    EXPECT_EQ(first.count, 4);
    EXPECT_EQ(second.count, 4);
    EXPECT_EQ(capture.trace.QueryLevel(), 2u);
}
