"""What the examples of the public headers need around them, and what their comments promise.

A key is the name of a header, with ".2" for the second example in it. A header without an entry needs nothing: its
example is the body of a function, which is compiled and run.
"""

from dataclasses import dataclass, field


@dataclass
class Need:
    includes: list = field(default_factory=list)
    before: str = ""                   # declarations before the example
    declarations: bool = False         # the example consists of declarations, and is no body of a function
    signature: str = "void Example()"  # of the function whose body the example is
    inside: str = ""                   # before the example, in the body
    after: str = ""                    # after the example, in the body: checks of what its comments say
    close: str = ""                    # after the example, outside of the body
    test: str = "Example();"           # the body of the test; empty if the example is compiled only
    output: str = ""                   # what it writes to std::cout, as a C++ expression


# Headers that declare nothing of their own.
WITHOUT_EXAMPLE = {"EXPORT", "tuzutil"}

# Examples that name files, languages or directories of an imagined machine.
COMPILED_ONLY = Need(test="")

NEEDS = {
    "BASE64": Need(after='EXPECT_EQ(line, "TWFu"); EXPECT_EQ(text, "Man"); EXPECT_FALSE(isValid); EXPECT_EQ(fault, 4u);'),
    "BINSTRM": Need(
        after=r'EXPECT_EQ(bytes.str(), std::string("\1\2\3\4\0\0\0\3\0\0\0\0abc", 15));'
              'EXPECT_EQ(number, 0x01020304); EXPECT_EQ(text, "abc");'),
    "COLLECT": Need(includes=['"tuzutil/TSTRING.h"'], output=r'"INBOX\nDrafts\n"'),
    "CONCSTRM": Need(after=r'EXPECT_EQ(all.str(), "Subject: x\r\n" "\n" "Hello\r\n");'),
    "CRAMMD5": Need(after='EXPECT_EQ(digest, "b913a602c7eda7a495b4e6e7334d3890");'),
    "DIRECTRY": COMPILED_ONLY,
    "DOTBYTE": Need(includes=['"tuzutil/LINESTRM.h"'], after=r'EXPECT_EQ(connection.str(), "a\r\n..b\r\n.\r\n"); EXPECT_EQ(next, ' "'X');"
                          "EXPECT_TRUE(isWhole);", output=r'"a\n.b\n"'),
    "EXCEPTN": Need(signature="void Example(TString const &text)",
                    test='EXPECT_THROW(Example(TString("abc")), TInvalidRequest);'),
    "FACTORY": Need(declarations=True, test="EXPECT_EQ(filter, &fsFilter);"),
    "FILENAME": Need(
        includes=["<fstream>"],
        after=r'EXPECT_TRUE(folder == "C:\\mail"); EXPECT_TRUE(other == "C:\\mail\\drafts");'
              r'EXPECT_TRUE(name == TFileName(u"c:\\MAIL\\Inbox.mbx"));'),
    "FORMAT": Need(includes=['"tuzutil/TXTMSG.h"'], output=r'"joe has 5 messages\n"'),
    "FILTSTRM": Need(
        includes=["<cctype>", "<ostream>"], declarations=True,
        test='std::ostringstream sink; TCapitalsBuf buffer(sink); std::ostream out(&buffer);'
             'out << "capitals" << std::flush; EXPECT_EQ(sink.str(), "CAPITALS");'),
    "LINESTRM": Need(after='EXPECT_EQ(read, TLineRead::line); EXPECT_EQ(line, "USER joe"); EXPECT_EQ(n, 1u);'
                           "EXPECT_EQ(connection.peek(), 'P');"),
    "MD5": Need(after=r'EXPECT_EQ(std::string(digest, 16), "\xf9\x6b\x69\x7d\x7c\xb7\x93\x8d\x52\x5a\x2f\x31\xaa\xf1'
                      r'\x61\xd0");'),
    "MEMSTRM": Need(after=r'EXPECT_EQ(first, "Subject: x\r"); EXPECT_EQ(bytes, 21u);'
                          r'EXPECT_EQ(copy.str(), "Subject: x\r\n\r\nHello\r\n");'),
    "MSGSTORE": Need(output=r'"5 Nachrichten\ngoodbye\n"'),
    "MSGSTRPM": Need(includes=['"tuzutil/NLSRESRC.h"'], test=""),
    "MUTEXSEM": Need(before="int delivered = 0; void Deliver() { ++delivered; }",
                     test="Example(); EXPECT_EQ(delivered, 1);"),
    "NLSRESRC": COMPILED_ONLY,
    "NULSTRM": Need(after="EXPECT_TRUE(out.good()); EXPECT_EQ(c, std::char_traits<char>::eof());"),
    "OLESTRM": Need(declarations=True, test=""),
    "OSTRSTRM": Need(includes=['"tuzutil/TSTRING.h"'], after='EXPECT_EQ(text, "port 110");'),
    "PURETRAP": Need(before="struct TBody { virtual ~TBody() = default;", declarations=True, close="};",
                     test="EXPECT_EQ(TBody().Run(), 0);"),
    "SHAREMEM": Need(includes=["<new>"], before="struct TCounters { int logins; };", signature="int Example()",
                     after="return shared->logins;", test=""),
    "STRMCTL": Need(includes=['"tuzutil/DOTBYTE.h"'], inside=r'std::istringstream connection("ab\r\n.\r\n");',
                    after="EXPECT_TRUE(in.good());"),
    "TAGVAR": Need(output=r'"7.5\ninbox\n"'),
    "TDATETIM": Need(after='EXPECT_EQ(fault, 0u); EXPECT_EQ(sent.QueryTime(), 880127706); EXPECT_EQ(date.length(), 31u);'),
    "TDLL": COMPILED_ONLY,
    "THREAD": Need(after="EXPECT_EQ(result, 17);"),
    "TIMER": Need(after="EXPECT_EQ(timer.QueryTimeLeft(), 0);"),
    "TMPSTRM": Need(
        test='std::istringstream typed("Hello"); std::streambuf *const former = std::cin.rdbuf(typed.rdbuf());'
             "Example(); std::cin.rdbuf(former);",
        output='"Hello"'),
    "TRACE": Need(
        includes=['"tuzutil/TRACEP.h"', '"tuzutil/TXTMSG.h"'],
        after="EXPECT_EQ(static_cast<TCounter &>(*trace.QueryPointer()).count, 1);"
              'EXPECT_EQ(TTrace::QueryComponentName(8), "Protocol");'),
    "TRACEFAC": Need(
        includes=['"tuzutil/TXTMSG.h"'],
        before="class TQueueDestination : public TTrace::Base { public:"
               "explicit TQueueDestination(char const *argument) : Base(joinsLater), name(argument) {}"
               "void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {}"
               "TString name; };",
        declarations=True,
        test='EXPECT_EQ(static_cast<TQueueDestination &>(*trace.QueryPointer()).name, "mail.high");'
             "EXPECT_EQ(trace.QueryLevel(), TTrace::error);"),
    "TRACENOT": Need(
        includes=['"tuzutil/TRACE.h"', "<atomic>"],
        after="TCache cache; TTrace::SetGlobalComponent(8); TTrace::SetGlobalLevel(TTrace::functionEntry);"
              "EXPECT_EQ(cache.isVerbose, 1); TTrace::SetGlobalTracing(); EXPECT_EQ(cache.isVerbose, 0);"),
    "TRACEP": Need(
        includes=['"tuzutil/TRACESTR.h"'], before='TTrace::Category const fsSession(8, "Session");', declarations=True,
        test='std::ostringstream out; TTraceStream trace(out, "ex,Protocol"); trace.SetDisplayPrefix(0);'
             r'Fetch(3); EXPECT_NE(out.str().find("] Fetch, rc=17\n"), std::string::npos) << out.str();'
             "EXPECT_EQ(out.str()[0], '<');"),
    "TRACESHF": Need(includes=['"tuzutil/TRACEP.h"'], before='TTrace::Category const fsCategory(8, "Server");', test=""),
    "TRACESTR": Need(
        includes=['"tuzutil/TRACEP.h"'],
        after=r'EXPECT_EQ(out.str(), "E [MUTEXSEM:100] Error 5 from CreateMutex(unnamed)\n");'),
    "TREFCNT": Need(includes=['"tuzutil/MUTEXSEM.h"'],
                    after="EXPECT_EQ(posted->QueryReferenceCount(), 1u); EXPECT_EQ(posted->Wait(0), 0);"),
    "TSTRING": Need(after='EXPECT_EQ(blank, 5u); EXPECT_EQ(verb, "RETR"); EXPECT_EQ(number, "17"); EXPECT_EQ(copy, "RETR 17");', output=r'"17\n4\n2\n"'),
    "TSTRING.2": Need(after="EXPECT_TRUE(same);"),
    "TSTRING.3": Need(
        before="void Login(TString const &) {}", inside='TString const password("geheim");',
        after=r'EXPECT_EQ(password, TString("\0\0\0\0\0\0", 6, 0));'),
    "TXTMSG": Need(output=r'"inbox has 5 messages\n"'),
    "UTF7": Need(after='EXPECT_EQ(wire, "Entw&APw-rfe"); EXPECT_TRUE(back == name); EXPECT_TRUE(back.IsUnicode());'
                  r'EXPECT_EQ(utf8, "Entw\xC3\xBCrfe"); EXPECT_EQ(good, 0);'),
    "UNICODE": Need(
        after=r'EXPECT_EQ(wide, u"Entw\u00FCrfe"); EXPECT_EQ(back, "Entw\xC3\xBCrfe"); EXPECT_EQ(fault, 2u);'
              r'EXPECT_EQ(shown, "a\xEF\xBF\xBD");'),
    "RELEASE": Need(test="Example();", output=r'"tuzutil 0.1.0\n"'),
    "VERSION": Need(test='TShown shown; Example(); EXPECT_EQ(shown.Text().substr(0, 4), "3.7.");'),
}
