#include "support/Expect.h"
#include "tuzutil/BINSTRM.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

using namespace std::string_literals;

namespace {

std::string Text(TTextMessage const &message) {
    return Bytes(message.QueryMessage());
}

std::string Units(std::u16string const &text) {
    return std::string(reinterpret_cast<char const *>(text.data()), text.size() * 2);
}

TTextMessage::StoreID Store(char const *name) {
    return TTextMessage::StoreID(TString(name), ExplicitInit);
}

// The store "Mail": answers with one text, and remembers what it was asked.
class TMailStore : public TTextMessageStore {
public:
    explicit TMailStore(TString const &text) : TTextMessageStore(Store("Mail")), fText(text) {}
    TString GetMsg(long set, long number, int wide) override {
        std::ostringstream question;
        question << set << ' ' << number << ' ' << wide;
        questions.push_back(question.str());
        return fText;
    }
    std::vector<std::string> questions;

private:
    TString fText;
};

std::string Written(TTextMessage const &message) {
    std::ostringstream bytes;
    ToBinaryStream out(bytes, 1);
    EXPECT_EQ(&message.WriteToBinaryStream(out), &out);
    EXPECT_TRUE(bytes.good());
    return bytes.str();
}

struct TTraceAtLevel8 {
    TTraceAtLevel8() {
        TTrace::Base::fsRuntimeLevel = 8;
        TTrace::Base::fsRuntimeComponent = 1;
    }
    ~TTraceAtLevel8() {
        TTrace::Base::fsRuntimeLevel = 0;
        TTrace::Base::fsRuntimeComponent = 0;
    }
};

} // namespace

TEST(TextMessage, Example) {
    static TTextMessage::StoreID const fsStore(TString("Mail"), ExplicitInit);
    TTextMessage message(fsStore, 1, 17, "%2$s has %1$d messages", 5, "inbox");
    EXPECT_EQ(Text(message), "inbox has 5 messages");
}

// Identity

TEST(TextMessage, StoreIdIsANameWithEquality) {
    TTextMessage::StoreID const none;
    EXPECT_EQ(none.length(), 0u);
    TTextMessage::StoreID const mail = Store("Mail");
    TTextMessage::StoreID copy(mail);
    EXPECT_EQ(copy.IsEqual(mail), 1);
    EXPECT_EQ(copy.IsEqual(Store("News")), 0);
    copy = Store("News");
    EXPECT_EQ(copy.IsEqual(Store("News")), 1);
    EXPECT_EQ(Bytes(copy), "News");
    EXPECT_FALSE((std::is_convertible_v<TString, TTextMessage::StoreID>));
}

TEST(TextMessage, DefaultIsEmpty) {
    TTextMessage const message;
    EXPECT_EQ(message.QueryStoreID().length(), 0u);
    EXPECT_EQ(message.QuerySetID(), 0);
    EXPECT_EQ(message.QueryMessageID(), 0);
    EXPECT_EQ(message.QueryNumberArgs(), 0u);
    EXPECT_TRUE(message.QueryFile().IsNull());
    EXPECT_EQ(message.QueryLine(), 0u);
    EXPECT_EQ(message.UserDisplayable(), 0);
    EXPECT_EQ(Text(message), "\0"s);
}

TEST(TextMessage, MessageOfAStoreKnowsItsPlace) {
    TTextMessage message(Store("Mail"), -1, 17, "text");
    EXPECT_EQ(Bytes(message.QueryStoreID()), "Mail");
    EXPECT_EQ(message.QuerySetID(), -1);
    EXPECT_EQ(message.QueryMessageID(), 17);
    EXPECT_EQ(message.UserDisplayable(), 1);
    EXPECT_TRUE(message.QueryFile().IsNull());
    message.SetDebugging("src/mail/POP3", 89);
    EXPECT_EQ(Bytes(message.QueryFile()), "src/mail/POP3");
    EXPECT_EQ(message.QueryLine(), 89u);
}

// Arguments

TEST(TextMessage, ArgumentsComeAsValues) {
    TagVar const four(4);
    EXPECT_EQ(Text(TTextMessage("-")), "-");
    EXPECT_EQ(Text(TTextMessage("%d", 1)), "1");
    EXPECT_EQ(Text(TTextMessage("%d %s %.1f %d %u %s %d", 1, "two", 3.0, four, 5u, TString("six"), 7)),
              "1 two 3.0 4 5 six 7");
    EXPECT_EQ(
        Text(TTextMessage(Store("x"), 1, 2, "%d %s %.1f %d %u %s %d", 1, "two", 3.0, four, 5u, TString("six"), 7)),
        "1 two 3.0 4 5 six 7");
    EXPECT_EQ(Text(TTextMessage("%d", 0)), "0"); // an integer, not a null pointer
}

TEST(TextMessage, ValuesOfEveryKindAreTaken) {
    TTextMessage const message("%s", TagVar(), TagVar(TagVar::endOfArgs), 5);
    EXPECT_EQ(message.QueryNumberArgs(), 3u);
    EXPECT_TRUE(message[0].IsNil());
    EXPECT_TRUE(message[1].IsEndOfArgs());
    EXPECT_TRUE(message[2].IsInteger());
}

TEST(TextMessage, ArgumentsComeAsAListOfPointers) {
    TagVar const one(1);
    TagVar const two("two");
    TagVar const nothing;
    EXPECT_EQ(Text(TTextMessage("%d %s", &one, &two, &TTextMessage::fsEndOfArgs)), "1 two");
    EXPECT_EQ(TTextMessage("x", &one, &two, &TTextMessage::fsEndOfArgs, &one).QueryNumberArgs(), 2u);
    EXPECT_EQ(TTextMessage("x", &one, &two, nullptr).QueryNumberArgs(), 2u);
    EXPECT_EQ(TTextMessage("x", &one, &two, &two, 0).QueryNumberArgs(), 3u);
    EXPECT_EQ(TTextMessage("x", &one, &nothing, &two, nullptr).QueryNumberArgs(), 1u);
    EXPECT_EQ(TTextMessage("x", &nothing, &two, nullptr).QueryNumberArgs(), 0u);
    EXPECT_EQ(TTextMessage("x", &TTextMessage::fsEndOfArgs).QueryNumberArgs(), 0u);
    EXPECT_EQ(TTextMessage("x", nullptr).QueryNumberArgs(), 0u);
    EXPECT_EQ(TTextMessage("x", static_cast<TagVar const *>(nullptr), &one).QueryNumberArgs(), 0u);
    EXPECT_EQ(TTextMessage("x", &one, &two).QueryNumberArgs(), 2u); // the end may be left out
    EXPECT_EQ(TTextMessage(Store("x"), 1, 2, "x", &one, &TTextMessage::fsEndOfArgs).QueryNumberArgs(), 1u);
    EXPECT_EQ(TTextMessage(u"x", &one, &TTextMessage::fsEndOfArgs).QueryNumberArgs(), 1u);
    EXPECT_TRUE(TTextMessage::fsEndOfArgs.IsEndOfArgs());
}

TEST(TextMessage, ArgumentsComeAsAnArrayOfPointers) {
    TagVar const one(1);
    TagVar const two("two");
    TagVar const nothing;
    TagVar const *array[] = {&one, &two, nullptr};
    EXPECT_EQ(Text(TTextMessage("%d %s", array)), "1 two");
    TagVar const **const pointer = array;
    EXPECT_EQ(Text(TTextMessage(Store("x"), 1, 2, "%d %s", pointer)), "1 two");
    array[1] = &TTextMessage::fsEndOfArgs;
    EXPECT_EQ(TTextMessage("x", array).QueryNumberArgs(), 1u);
    array[0] = &nothing;
    EXPECT_EQ(TTextMessage("x", pointer).QueryNumberArgs(), 0u);
    EXPECT_EQ(TTextMessage("x", static_cast<TagVar const **>(nullptr)).QueryNumberArgs(), 0u);
}

TEST(TextMessage, DefaultTextMayStandInAString) {
    TString const narrow("%s has %d");
    TString const wide(u"%s has %d");
    TTextMessage::StoreID const store(TString("Mail"), ExplicitInit);
    EXPECT_STREQ(TTextMessage(narrow, "inbox", 5), "inbox has 5");
    EXPECT_STREQ(TTextMessage(store, 1, 17, narrow, "inbox", 5), "inbox has 5");
    EXPECT_EQ(TTextMessage(wide, "inbox", 5).QueryMessage(), TString(u"inbox has 5"));
    EXPECT_TRUE(TTextMessage(wide, "inbox", 5).QueryMessage().IsUnicode());
    TagVar const text("inbox"), number(5);
    EXPECT_STREQ(TTextMessage(narrow, &text, &number, &TTextMessage::fsEndOfArgs), "inbox has 5");
    TagVar const *const array[] = {&text, &number, nullptr};
    EXPECT_STREQ(TTextMessage(store, 1, 17, narrow, array), "inbox has 5");

    TTextMessage const bare(TString("text"));
    EXPECT_STREQ(bare, "text");
    EXPECT_EQ(bare.UserDisplayable(), 0);
    TTextMessage const stored(store, 2, 3, TString("text"));
    EXPECT_STREQ(stored, "text");
    EXPECT_EQ(stored.QuerySetID(), 2);
    EXPECT_EQ(stored.QueryMessageID(), 3);
    EXPECT_TRUE(stored.QueryStoreID() == "Mail");
    TTextMessage const copy(bare); // still a copy, and not a text made from a message
    EXPECT_STREQ(copy, "text");
}

TEST(TextMessage, SetArgsReplacesTheArguments) {
    TTextMessage message("%d %s", 1, "two");
    message.SetArgs(3, "four");
    EXPECT_EQ(Text(message), "3 four");
    TagVar const five(5);
    message.SetArgs(&five, &TTextMessage::fsEndOfArgs);
    EXPECT_EQ(message.QueryNumberArgs(), 1u);
    TagVar const *const array[] = {&five, &five, &five, nullptr};
    message.SetArgs(array);
    EXPECT_EQ(message.QueryNumberArgs(), 3u);
    message.SetArgs(1, 2, 3, 4, 5, 6, 7);
    EXPECT_EQ(message.QueryNumberArgs(), 7u);
    EXPECT_EQ(static_cast<long>(message[6]), 7);
    message.SetArgs();
    EXPECT_EQ(message.QueryNumberArgs(), 0u);
}

TEST(TextMessage, SetArgsMayBeGivenItsOwnArguments) {
    TTextMessage message("%s", 1, "two");
    message.SetArgs(message[1], message[0]);
    EXPECT_EQ(Text(message), "two");
    EXPECT_EQ(message.QueryNumberArgs(), 2u);
}

TEST(TextMessage, SetArgsWithAnUnknownKindKeepsTheOldArguments) {
    TTextMessage message("%d", 1);
    TagVar const unknown(static_cast<TagVar::Type>(12));
    EXPECT_THROW(message.SetArgs(5, unknown), TInvalidRequest);
    EXPECT_EQ(message.QueryNumberArgs(), 1u);
    EXPECT_EQ(Text(message), "1");
}

TEST(TextMessage, ArgumentsAreReadAndChangedByIndex) {
    TTextMessage message("%d %s", 1, "two");
    TTextMessage const &constant = message;
    EXPECT_TRUE(constant[0].IsInteger());
    EXPECT_TRUE(constant[1u].IsString());
    EXPECT_TRUE(constant[1L].IsString());
    EXPECT_TRUE(constant[std::size_t{1}].IsString());
    message[0] = 7;
    message[1] += TagVar("!");
    EXPECT_EQ(Text(message), "7 two!");
}

TEST(TextMessage, IndexBeyondTheArgumentsThrows) {
    TTextMessage message("%d %s", 1, "two");
    TTextMessage const &constant = message;
    TExpectedFailure const outOfRange = {"Out of Range", "src/utility/TXTMSG"};
    ExpectThrows<TInvalidParameter>(outOfRange, [&] { message[2]; });
    ExpectThrows<TInvalidParameter>(outOfRange, [&] { constant[2u]; });
    ExpectThrows<TInvalidParameter>(outOfRange, [&] { message[-1]; });
    ExpectThrows<TInvalidParameter>(outOfRange, [&] { constant[0x100000000ll]; });
    ExpectThrows<TInvalidParameter>(outOfRange, [&] { TTextMessage()[0]; });
    message.SetDebugging("file", 5);
    TTraceAtLevel8 const tracing;
    ExpectThrows<TInvalidParameter>(outOfRange, [&] { message[2]; });
}

// The text

TEST(TextMessage, TextIsFormattedOnce) {
    TTextMessage message("%d", 1);
    TString const &text = message.QueryMessage();
    EXPECT_EQ(Bytes(text), "1");
    message.SetArgs(2);
    EXPECT_EQ(&message.QueryMessage(), &text);
    EXPECT_EQ(Text(message), "1");
    EXPECT_EQ(Text(TTextMessage(message)), "2"); // a copy formats afresh
}

TEST(TextMessage, EmptyTextIsOneZeroCharacterAndIsFormattedOnce) {
    TMailStore mail("");
    TTextMessage const message(Store("Mail"), 1, 2, "");
    EXPECT_EQ(Text(message), "\0"s);
    EXPECT_EQ(Text(message), "\0"s);
    EXPECT_EQ(mail.questions.size(), 1u);
    EXPECT_EQ(Bytes(TTextMessage(u"").QueryMessage()), "\0\0"s);
}

TEST(TextMessage, TextConvertsToPointerStringAndValue) {
    TTextMessage const message("%d items", 5);
    EXPECT_STREQ(static_cast<char const *>(message), "5 items");
    TString const text = message;
    EXPECT_EQ(Bytes(text), "5 items");
    TagVar const value = message;
    EXPECT_TRUE(value.IsString());
    EXPECT_EQ(Bytes(*value.QueryString()), "5 items");
    TagVar const wide = TTextMessage(u"%d", 5);
    EXPECT_TRUE(wide.IsWideString());
    EXPECT_EQ(Bytes(*wide.QueryString()), "5\0"s);
    EXPECT_EQ(Text(TTextMessage("<%s>", message)), "<5 items>"); // as an argument of another
}

TEST(TextMessage, WideTextGivesWideText) {
    unsigned short const format[] = {'%', 'd', 0x4E2D, 0};
    TTextMessage const message(format, 5);
    EXPECT_TRUE(message.QueryMessage().IsUnicode());
    EXPECT_EQ(Text(message), Units(u"5\u4E2D"));
    EXPECT_EQ(Text(TTextMessage(Store("x"), 1, 2, format, 6)), Units(u"6\u4E2D"));
}

// Stores

TEST(TextMessage, TextComesFromTheStore) {
    TMailStore mail("x%2$08X");
    TTextMessage const message(Store("Mail"), 3, 17, "default", 1, 255u);
    EXPECT_EQ(Text(message), "x000000FF");
    EXPECT_EQ(mail.questions, std::vector<std::string>{"3 17 0"});
}

TEST(TextMessage, StoreIsAskedForNarrowTextAlways) {
    TMailStore mail("narrow %d");
    TTextMessage const message(Store("Mail"), 3, 17, u"wide %d", 5);
    EXPECT_EQ(Text(message), "narrow 5");
    EXPECT_FALSE(message.QueryMessage().IsUnicode());
    EXPECT_EQ(mail.questions, std::vector<std::string>{"3 17 0"});
}

TEST(TextMessage, StoreThatAnswersWithWideTextIsPrintedWide) {
    TMailStore mail(u"wide %d");
    EXPECT_EQ(Text(TTextMessage(Store("Mail"), 3, 17, "narrow", 5)), Units(u"wide 5"));
}

TEST(TextMessage, DefaultTextStandsInWhereTheStoreHasNone) {
    for (TString const &answer : {TString(), TString("")}) {
        TMailStore mail(answer);
        EXPECT_EQ(Text(TTextMessage(Store("Mail"), 3, 17, "default %d", 5)), "default 5");
        EXPECT_EQ(mail.questions.size(), 1u);
    }
    EXPECT_EQ(Text(TTextMessage(Store("Mail"), 3, 17, "default %d", 5)), "default 5"); // no store
}

TEST(TextMessage, MessageWithoutStoreAsksNobody) {
    TMailStore mail("from the store");
    EXPECT_EQ(Text(TTextMessage("default %d", 5)), "default 5");
    EXPECT_TRUE(mail.questions.empty());
}

TEST(TextMessage, StoreThatThrowsIsAStoreWithoutTheText) {
    struct TThrowing : TTextMessageStore {
        TThrowing() : TTextMessageStore(Store("Mail")) {}
        TString GetMsg(long set, long, int) override {
            if (set == 1)
                throw TInvalidRequest("no such store", 1, TException::recoverable);
            throw std::bad_alloc();
        }
    } const throwing;
    TTextMessage const first(Store("Mail"), 1, 17, "default %d", 5);
    EXPECT_EQ(Text(first), "default 5");
    EXPECT_EQ(Text(first), "default 5");
    EXPECT_EQ(Text(TTextMessage(Store("Mail"), 2, 17, u"default %d", 5)), Units(u"default 5"));
}

// Copies

TEST(TextMessage, CopiesHaveAllButTheFormattedText) {
    TTextMessage message(Store("Mail"), 3, 17, "%d %s", 5, "x");
    message.SetDebugging("file", 89);
    EXPECT_EQ(Text(message), "5 x");
    TTextMessage copy(message);
    TTextMessage assigned("old %d", 1);
    EXPECT_EQ(Text(assigned), "old 1");
    assigned = message;
    message[0] = 6;
    for (TTextMessage const *const other : {&copy, &assigned}) {
        EXPECT_EQ(Bytes(other->QueryStoreID()), "Mail");
        EXPECT_EQ(other->QuerySetID(), 3);
        EXPECT_EQ(other->QueryMessageID(), 17);
        EXPECT_EQ(other->QueryNumberArgs(), 2u);
        EXPECT_EQ(Bytes(other->QueryFile()), "file");
        EXPECT_EQ(other->QueryLine(), 89u);
        EXPECT_EQ(Text(*other), "5 x");
    }
}

TEST(TextMessage, CopyOfAnArgumentOfUnknownKindReportsAndKeepsNothing) {
    TString text("owned");
    {
        TTextMessage message("%s %d", text, 1);
        for (unsigned int const kind : {12u, 0x20000005u}) { // the second one is an inner kind
            TagVar const unknown(static_cast<TagVar::Type>(kind));
            EXPECT_THROW(message[1] = unknown, TInvalidRequest); // the argument has the kind nevertheless
            EXPECT_THROW(TTextMessage copy(message), TInvalidRequest) << kind;
        }
        message[1] = 2;
        EXPECT_EQ(Text(TTextMessage(message)), "owned 2");
    }
    char const *const bytes = text.view().data();
    text.MakeUnique();
    EXPECT_EQ(text.view().data(), bytes); // no message has the buffer any more
}

TEST(TextMessage, AssignmentToItselfDoesNothing) {
    TTextMessage message("%d", 1);
    EXPECT_EQ(Text(message), "1");
    message.SetArgs(2);
    TagVar const *const argument = &message[0];
    message = *&message;
    EXPECT_EQ(Text(message), "1"); // the formatted text stays
    EXPECT_EQ(&message[0], argument);
}

TEST(TextMessage, ArgumentsBeforeAnAssignmentStayAlive) {
    TTextMessage message("%s", "first");
    TagVar const &first = message[0];
    message = TTextMessage("%s", "second");
    TagVar const &second = message[0];
    message = TTextMessage("-");
    EXPECT_EQ(Bytes(*first.QueryString()), "first");
    EXPECT_EQ(Bytes(*second.QueryString()), "second");
    EXPECT_EQ(message.QueryNumberArgs(), 0u);
}

// Binary form

TEST(TextMessage, BinaryFormHidesWhereTheMessageWasRaised) {
    TTextMessage message(Store("St"), 1, -2, "a%d", 5, "x");
    message.SetDebugging("secret", 89);
    message.QueryMessage();
    EXPECT_EQ(Written(message), "\0\0\0\2\0\0\0\0St"
                                "\0\0\0\1"
                                "\xFF\xFF\xFF\xFE"
                                "\0\0\0\3\0\0\0\0a%d"
                                "\0\0\0\2"
                                "\0\0\0\2\0\0\0\5"
                                "\0\0\0\5\0\0\0\1\0\0\0\1\0\0\0\0x"
                                "\0\0\0\0\0\0\0\0"
                                "\0\0\0\0"s);
    EXPECT_EQ(Written(TTextMessage()), std::string(8 + 4 + 4 + 8 + 4 + 8 + 4, '\0'));
}

TEST(TextMessage, BinaryFormIsReadBack) {
    std::stringstream bytes(Written(TTextMessage(Store("St"), 1, -2, "a%d %s", 5, "x")));
    TiBinaryStream in(bytes, 1);
    TTextMessage message("old %d", 1);
    EXPECT_EQ(Text(message), "old 1");
    EXPECT_EQ(&message.ReadFromBinaryStream(in), &in);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.peek(), EOF);
    EXPECT_EQ(Bytes(message.QueryStoreID()), "St");
    EXPECT_EQ(message.QuerySetID(), 1);
    EXPECT_EQ(message.QueryMessageID(), -2);
    EXPECT_EQ(message.QueryNumberArgs(), 2u);
    EXPECT_EQ(Text(message), "a5 x");
}

TEST(TextMessage, WideTextComesBackAsItsBytes) {
    TTextMessage const wide(u"a%d", 5);
    std::stringstream bytes(Written(wide));
    EXPECT_EQ(bytes.str().substr(8 + 4 + 4, 8 + 6), "\0\0\0\6\0\0\0\0a\0%\0d\0"s);
    TiBinaryStream in(bytes, 1);
    TTextMessage message;
    message.ReadFromBinaryStream(in);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.peek(), EOF);
    EXPECT_EQ(Written(message), Written(wide));
    EXPECT_FALSE(message.QueryMessage().IsUnicode());
    EXPECT_EQ(Text(message), "a"); // up to its first zero
}

// The text ends at the first zero of its format, wherever this zero is.
TEST(TextMessage, EndsAtTheFirstZeroOfItsFormat) {
    for (std::size_t before = 0; before < 600; ++before) {
        std::string const text(before, 'x');
        ASSERT_EQ(Text(TTextMessage(TString("%%" + text + '\0' + "y%d"), 5)), '%' + text);
        std::u16string const wide(text.begin(), text.end());
        TString const printed = TTextMessage(TString(u"%%" + wide + u'\0' + u"y%d"), 5).QueryMessage();
        ASSERT_TRUE(printed == TString(u'%' + wide)) << before;
    }
}

TEST(TextMessage, EmptyTextsOfTheStreamLeaveTheMessagesOwn) {
    std::stringstream bytes(Written(TTextMessage()));
    TiBinaryStream in(bytes, 1);
    TTextMessage message(Store("St"), 1, 2, "text", 5);
    message.SetDebugging("file", 89);
    message.ReadFromBinaryStream(in);
    EXPECT_EQ(Bytes(message.QueryStoreID()), "St");
    EXPECT_EQ(message.QuerySetID(), 0);
    EXPECT_EQ(message.QueryMessageID(), 0);
    EXPECT_EQ(message.QueryNumberArgs(), 0u);
    EXPECT_EQ(Bytes(message.QueryFile()), "file");
    EXPECT_EQ(message.QueryLine(), 0u);
    EXPECT_EQ(Text(message), "text");
}

TEST(TextMessage, ReadingStopsWhereTheStreamFailsAndKeepsWhatCameBefore) {
    std::string const whole = Written(TTextMessage(Store("St"), 1, 2, "text", 5, "x"));
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        std::stringstream bytes(whole.substr(0, cut));
        TiBinaryStream in(bytes, 1);
        TTextMessage message(Store("Old"), 7, 8, "old", 9);
        message.ReadFromBinaryStream(in);
        EXPECT_TRUE(in.fail());
        EXPECT_EQ(message.QuerySetID(), cut < 14 ? 7 : 1);
        EXPECT_EQ(message.QueryMessageID(), cut < 18 ? 8 : 2);
        EXPECT_EQ(message.QueryNumberArgs(), cut < 42 ? 0u : cut < 59 ? 1u : 2u) << cut;
        for (unsigned int i = 0; i < message.QueryNumberArgs(); ++i)
            EXPECT_FALSE(message[i].IsNil());
    }
}

TEST(TextMessage, AnnouncedNumberOfArgumentsAloneTakesNoMemory) {
    std::string bytes = Written(TTextMessage("text"));
    bytes.replace(8 + 4 + 4 + 12, std::string::npos, "\xFF\xFF\xFF\xFF\0\0\0\2\0\0\0\5"s);
    std::istringstream source(bytes);
    TiBinaryStream in(source, 1);
    TTextMessage message;
    message.ReadFromBinaryStream(in);
    EXPECT_TRUE(in.fail());
    EXPECT_EQ(message.QueryNumberArgs(), 1u);
    EXPECT_EQ(static_cast<long>(message[0]), 5);
}

TEST(TextMessage, ManyArgumentsAreReadWhole) {
    std::string bytes = Written(TTextMessage("text"));
    bytes.replace(8 + 4 + 4 + 12, 4, "\0\0\x03\xE8"s);
    std::string arguments;
    for (int i = 0; i < 1000; ++i)
        arguments += "\0\0\0\2\0\0"s + static_cast<char>(i / 256) + static_cast<char>(i % 256);
    bytes.insert(8 + 4 + 4 + 12 + 4, arguments);
    std::istringstream source(bytes);
    TiBinaryStream in(source, 1);
    TTextMessage message;
    message.ReadFromBinaryStream(in);
    EXPECT_TRUE(in.good());
    ASSERT_EQ(message.QueryNumberArgs(), 1000u);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(static_cast<long>(message[i]), i);
}

TEST(TextMessage, UnknownArgumentInTheStreamIsReported) {
    std::string bytes = Written(TTextMessage("text", 5));
    bytes.replace(8 + 4 + 4 + 12 + 4, 4, "\0\0\0\14"s);
    std::istringstream source(bytes);
    TiBinaryStream in(source, 1);
    TTextMessage message("old %d", 1);
    EXPECT_THROW(message.ReadFromBinaryStream(in), TInvalidRequest);
    EXPECT_EQ(message.QueryNumberArgs(), 0u);
    EXPECT_EQ(Text(message), "text");
}

TEST(TTextMessageBinary, IsWrittenWholeOrTheStreamFails) {
    struct TLimited : std::streambuf {
        explicit TLimited(std::size_t bytes) : room(bytes) {}
        int_type overflow(int_type c) override { return room == 0 ? traits_type::eof() : (--room, c); }
        std::size_t room;
    };
    TTextMessage const message("%s %s %d", "text", TString(u"wide"), 5);
    std::ostringstream whole;
    ToBinaryStream all(whole);
    message.WriteToBinaryStream(all);
    std::size_t const size = whole.str().size();
    EXPECT_EQ(size, 100u);
    for (std::size_t room = 0; room <= size; ++room) {
        TLimited buffer(room);
        std::ostream out(&buffer);
        ToBinaryStream limited(out);
        message.WriteToBinaryStream(limited);
        EXPECT_EQ(out.fail(), room < size) << room;
    }
}
