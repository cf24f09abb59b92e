// Text as a program of today has it: standard strings and views, numbers, containers, lines from a network.
#include <tuzutil/TSTRING.h>
#include <tuzutil/TXTMSG.h>
#include <tuzutil/UNICODE.h>
#include <tuzutil/UTF7.h>

#include <cstdint>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>

using namespace std::string_view_literals;

static int failures = 0;

static void Check(bool holds, int line) {
    if (!holds)
        std::cout << "line " << line << " does not hold\n", ++failures;
}
#define CHECK(condition) Check((condition), __LINE__)

// The verb of a command line, whatever the client has sent.
static TString Verb(TString const &line) {
    return line.left(line.indexOf(' ') - 1).upperCase();
}

int main() {
    std::string const user = "joe";
    TString greeting = "+OK "sv;
    greeting += user;
    greeting += '!';
    CHECK(greeting == "+OK joe!" && greeting == "+OK joe!"sv && "+OK joe!" == greeting && user != greeting);
    CHECK("<" + greeting.mid(5, 3) + ">" == "<joe>");
    CHECK(std::string(greeting).size() == 8 && greeting.view().substr(4) == "joe!");

    std::size_t const octets = user.size();
    int const messages = 2;
    CHECK(TString(messages) + " " + TString(octets) == "2 3" && TString::Number(messages + 1) == "3");
    CHECK(TString(std::int64_t{-1099511627776}) == "-1099511627776");

    CHECK(Verb("retr 17") == "RETR" && Verb("quit") == "QUIT" && Verb("") == "");
    std::string joined;
    for (TString const &word : TString("a,b,,c").split(','))
        joined += "[" + std::string(word) + "]";
    CHECK(joined == "[a][b][][c]");

    TString const wide(u"Entw\u00FCrfe");
    CHECK(wide.IsUnicode() && wide.u16view() == u"Entw\u00FCrfe" && std::u16string(wide).size() == 8);

    std::unordered_set<TString> const names{"inbox", "drafts", "inbox"};
    std::map<TString, int> sizes;
    ++sizes["inbox"sv];
    CHECK(names.size() == 2 && names.count(user) == 0 && sizes.count("inbox") == 1);
#if __cplusplus >= 202002L
    CHECK((greeting <=> "+OK joe!") == 0 && (wide <=> greeting) > 0);
#endif

    TString const utf8 = TUnicode::ToUtf8(wide);
    unsigned int fault = 0;
    CHECK(utf8 == "Entw\xC3\xBCrfe" && TUnicode::FromUtf8(utf8) == wide && TUnicode::FindFault("a\xFF") == 2);
    CHECK(TUnicode::ToUtf8("a\xFF", TUnicode::replace) == "a\xEF\xBF\xBD");
    CHECK(TModifiedUTF7::EncodeUtf8(utf8) == "Entw&APw-rfe" && TModifiedUTF7::DecodeUtf8("Entw&APw-rfe") == utf8);
    CHECK(!TModifiedUTF7::IsCanonical("a&AC8-b", &fault) && fault == 3);
    TUnicode::SetUtf8Mode(1);
    CHECK(TTextMessage("%s: %s", utf8, wide).QueryMessage() == utf8 + ": " + utf8);

    TString const line("QUIT");
    bool refused = false;
    try {
        static_cast<void>(line.subString(1, line.indexOf(' ') - 1));
    } catch (...) {
        refused = true; // instead of four gigabytes of blanks
    }
    CHECK(refused);
    if (failures == 0)
        std::cout << "ok\n";
    return failures;
}
