// Records of trace points, which are made without a message if that is possible.

#include "support/FailingMemory.h"
#include "support/TracedText.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESTR.h"

#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace {

TTrace::Category const fsCategory(1, "TraceLineTest");

// A destination that keeps the messages.
class TKeeper : public TTrace::Base {
public:
    TKeeper() : Base(joinsLater) {}
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &message) override {
        kept.push_back(message);
    }
    std::vector<TTextMessage> kept;
};

template <typename... Arguments>
void Write(char const *format, Arguments const &...arguments) {
    TTracePoint::Write(TTrace::error, fsCategory, {"src/file.cpp", 7}, format, arguments...);
}

// A stream buffer on memory of its own, which allocates nothing.
class TFixedBuf : public std::streambuf {
public:
    TFixedBuf() { setp(fBytes, fBytes + sizeof fBytes); }
    std::string Written() const { return std::string(pbase(), pptr()); }

private:
    char fBytes[4096];
};

} // namespace

TEST(TraceLine, NeedsNoMemoryForEightArguments) {
    TFixedBuf bytes;
    std::ostream out(&bytes);
    TTraceStream trace(out);
    trace.SetDisplayPrefix(0);
    TString const text("text");
    Write("%s", "the first record makes what each thread needs once");
    memory::FailFrom(1);
    Write("%d %u %s %s %ld %llu %x %c", 1, 2u, "three", text, 5L, 6ull, 255, 'c');
    EXPECT_EQ(memory::Stop(), 0);
    EXPECT_EQ(bytes.Written(), "E [file.cpp:7] the first record makes what each thread needs once\n"
                               "E [file.cpp:7] 1 2 three text 5 6 ff c\n");
}

TEST(TraceLine, OfEveryLengthIsWhole) {
    TTracedText traced;
    for (std::size_t length = 0; length < 1200; ++length) {
        std::string const text(length, 'x');
        Write("%s", text.c_str());
        ASSERT_EQ(traced.Take(), "E [file.cpp:7] " + text + "\n");
    }
}

TEST(TraceLine, MayHaveALongFileNameAndALongCategory) {
    TTracedText traced;
    for (std::size_t const length : {1u, 100u, 150u, 180u, 200u, 250u, 300u, 1000u}) {
        std::string const name(length, 'n');
        TTracePoint::Write(TTrace::error, fsCategory, {name.c_str(), 7}, "%d", 17);
        EXPECT_EQ(traced.Take(), "E [" + name + ":7] 17\n");
        TTrace::Category const category(1, name.c_str());
        static_cast<void>(traced.Take()); // a debug build warns that the category is not static
        traced.trace.SetPrefixParts(TTrace::Base::categoryPart);
        TTracePoint::Write(TTrace::error, category, {"file.cpp", 7}, "%d", 17);
        EXPECT_EQ(traced.Take(), "E " + name + " [file.cpp:7] 17\n");
        traced.trace.SetPrefixParts(0);
    }
}

TEST(TraceLine, MayBeginWithTheYearAndTheZone) {
    std::ostringstream out;
    TTraceStream trace(out);
    trace.SetDisplayPrefix(1);
    constexpr unsigned int both = TTrace::Base::yearPart | TTrace::Base::zonePart;
    for (unsigned int const parts : {0u, +TTrace::Base::yearPart, +TTrace::Base::zonePart, both}) {
        trace.SetPrefixParts(parts);
        out.str("");
        Write("%d", 17);
        std::string const expected = std::string(parts & TTrace::Base::yearPart ? "[0-9]{4}/" : "") +
                                     "[0-9]{2}/[0-9]{2}-[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{2}" +
                                     (parts & TTrace::Base::zonePart ? "[+-][0-9]{2}:[0-9]{2}" : "") +
                                     " [0-9A-F]{8} E \\[file\\.cpp:7\\] 17\n";
        EXPECT_TRUE(std::regex_match(out.str(), std::regex(expected))) << out.str() << expected;
    }
}

TEST(TraceLine, EndsAtACharacterZero) {
    TTracedText traced;
    Write("before%cafter", 0);
    EXPECT_EQ(traced.Take(), "E [file.cpp:7] before\n");
    Write("%c", 0);
    EXPECT_EQ(traced.Take(), "E [file.cpp:7] \n");
}

TEST(TraceLine, ValuesThatEndAListEndTheArguments) {
    TTracedText traced;
    traced.trace.AddCategory(TUtilityTraceCategory::Message, 0);
    for (TagVar const &end : {TagVar(), TagVar(TagVar::endOfArgs)}) {
        Write("%d %d %d", TagVar(1), end, 3);
        EXPECT_EQ(traced.Take(), "E [file.cpp:7] 1 0 0\n");
    }
}

TEST(TraceLine, AFaultIsReportedOnceAndTheRecordIsWrittenOnce) {
    TTracedText traced;
    Write("%s", 5);
    std::string const all = traced.Take();
    EXPECT_EQ(all.substr(all.find("E [file.cpp")), "E [file.cpp:7] (null)\n");
    EXPECT_EQ(all.find("Type mismatch"), all.rfind("Type mismatch"));
    EXPECT_NE(all.find("W [TXTMSG:"), all.npos);
}

TEST(TraceLine, EachDestinationHasItsOwnPrefix) {
    TTracedText first;
    TTracedText second;
    second.trace.SetPrefixParts(TTrace::Base::categoryPart);
    TTracedText third;
    third.trace.AddCategory(fsCategory, 0);
    Write("%s", "one");
    EXPECT_EQ(first.Take(), "E [file.cpp:7] one\n");
    EXPECT_EQ(second.Take(), "E TraceLineTest [file.cpp:7] one\n");
    EXPECT_EQ(third.Take(), "");
    third.trace.AddCategory(fsCategory, 1);
    first.trace.SetDefaultTracing(0);
    Write("%s", "two");
    EXPECT_EQ(first.Take(), "");
    EXPECT_EQ(third.Take(), "E [file.cpp:7] two\n");
}

TEST(TraceLine, OtherDestinationsGetMessagesThatOwnTheirArguments) {
    TTracedText traced;
    TTrace const trace = TTrace::Make<TKeeper>();
    auto &keeper = static_cast<TKeeper &>(*TTrace(trace).QueryPointer());
    {
        char chars[] = "borrowed";
        TString const text(u"wide");
        Write("%s %s %d", chars, text, 17);
        std::memset(chars, '!', sizeof chars - 1);
    }
    ASSERT_EQ(keeper.kept.size(), 1u);
    TTextMessage const &message = keeper.kept[0];
    EXPECT_STREQ(message.QueryMessage(), "borrowed wide 17");
    ASSERT_TRUE(message[0].IsString());
    EXPECT_EQ(*message[0].QueryString(), "borrowed");
    EXPECT_TRUE(message[1].IsWideString());
    EXPECT_EQ(static_cast<long>(message[2]), 17);
    EXPECT_EQ(message.QueryFile(), "src/file.cpp");
    EXPECT_EQ(traced.Take(), "E [file.cpp:7] borrowed wide 17\n");
}

TEST(MessageArguments, UpToEightNeedNoMemoryOfTheirOwn) {
    TString const text("text");
    memory::FailFrom(0);
    {
        TTextMessage const message("%d %u %s %d %d %d %d %d", 1, 2u, text, 4, 5, 6, 7, 8);
        TTextMessage const copy(message);
        EXPECT_STREQ(copy.QueryMessage(), "1 2 text 4 5 6 7 8");
    }
    EXPECT_EQ(memory::Stop(), 2) << "the format and the text";
}

TEST(MessageArguments, OfAnyNumberAreCopiedAndReplaced) {
    for (unsigned int count = 0; count < 20; ++count) {
        std::vector<TagVar> values;
        std::vector<TagVar const *> pointers;
        std::string expected;
        for (unsigned int i = 0; i < count; ++i) {
            values.push_back(i % 2 ? TagVar(static_cast<int>(i)) : TagVar(TString::Number(i)));
            expected += std::to_string(i);
        }
        for (TagVar const &value : values)
            pointers.push_back(&value);
        pointers.push_back(nullptr);
        std::string format;
        for (unsigned int i = 0; i < count; ++i)
            format += i % 2 ? "%d" : "%s";
        TTextMessage message(format.c_str());
        message.SetArgs(pointers.data());
        TTextMessage copy("%s %s", "other", "arguments");
        TagVar const &former = copy[1];
        copy = message;
        EXPECT_EQ(*former.QueryString(), "arguments") << "a reference outlives an assignment";
        copy = copy;
        TTextMessage const second(copy);
        ASSERT_EQ(second.QueryNumberArgs(), count);
        EXPECT_EQ(std::string(count ? second.QueryMessage().data() : ""), expected);
        for (unsigned int i = 0; i < count; ++i)
            EXPECT_EQ(second[i].IsString(), i % 2 == 0);
        copy.SetArgs(TagVar("last"));
        ASSERT_EQ(copy.QueryNumberArgs(), 1u);
        EXPECT_EQ(*copy[0].QueryString(), "last");
    }
}

TEST(TraceLine, WithoutAFormatHasNoText) {
    TTracedText traced;
    Write(static_cast<char const *>(nullptr));
    EXPECT_EQ(traced.Take(), "E [file.cpp:7] \n");
}

TEST(TraceLine, ShowsLineNumbersOfMoreThan32Bits) {
    TTracedText traced;
    auto const line = static_cast<unsigned long>(0x100000007ull); // 7 if long has 32 bits
    TTracePoint::Write(TTrace::error, fsCategory, {"src/file.cpp", line}, "%d", 17);
    EXPECT_EQ(traced.Take(), sizeof line == 4 ? "E [file.cpp:7] 17\n" : "E [file.cpp:4294967303] 17\n");
}
