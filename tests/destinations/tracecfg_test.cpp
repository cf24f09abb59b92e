#include "tuzutil/TRACE.h"

#include "support/CaptureTrace.h"
#include "support/Environment.h"
#include "support/Expect.h"
#include "support/TempFolder.h"
#include "tuzutil/DIRECTRY.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESHF.h"
#include "tuzutil/TRACESTR.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

char const fsFile[] = "src/utility/TRACEP";

TTrace::Category const fsHere(8, "ConfigurationTest");
TTrace::Category const fsOther(8, "OtherTest");

void Entry(unsigned long level, TTrace::Category const &category, char const *text) {
    TTextMessage message("%s", TagVar(text));
    message.SetDebugging("f", 1);
    TTrace::WriteEntry(level, category, message);
}

// A destination that no configuration has changed yet.
class TSilent : public TTrace::Base {
public:
    ~TSilent() override { Unlink(); }
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {}
    void Change() override { ++changes; }
    int changes = 0;
};

struct TSelected {
    TSelected() { trace.QueryPointer() = TTrace::Pointer(destination); }
    explicit TSelected(char const *selection) : TSelected() { trace.ParseTraceString(selection); }

    void ExpectFault(char const *selection, char const *text) {
        ExpectThrows<TInvalidRequest>({.text = text, .file = fsFile}, [&] { trace.ParseTraceString(selection); });
    }

    TSilent *const destination = new TSilent;
    TTrace trace;
};

// Catches what goes to a standard stream.
class TDiversion {
public:
    explicit TDiversion(std::ostream &stream) : fStream(stream), fFormer(stream.rdbuf(fText.rdbuf())) {}
    ~TDiversion() { fStream.rdbuf(fFormer); }
    std::string Text() const { return fText.str(); }

private:
    std::ostream &fStream;
    std::ostringstream fText;
    std::streambuf *fFormer;
};

std::string Content(std::filesystem::path const &path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

constexpr unsigned long fsAll = 0xFFFFFFFF;
constexpr unsigned long fsUsual = 0x1000F;

} // namespace

// Levels

TEST(TraceSelection, EveryLevelKeywordHasItsMask) {
    struct {
        char const *keyword;
        unsigned long mask;
    } const rows[] = {{"ou", 0x1},     {"se", 0x2},      {"er", 0x4},     {"wa", 0x8},     {"in", 0x10},
                      {"i2", 0x20},    {"nl", 0x80},     {"de", 0x3700},  {"d1", 0x100},   {"d2", 0x200},
                      {"en", 0x1000},  {"ex", 0x2000},   {"xc", 0x400},   {"au", 0x10000}, {"ad", 0x20000},
                      {"da", 0x40000}, {"tr", 0x100000}, {"al", 0x7373F}, {"np", 0x1000F}, {"no", 0}};
    for (auto const &row : rows) {
        EXPECT_EQ(TSelected(row.keyword).trace.QueryLevel(), row.mask) << row.keyword;
        std::string upper(row.keyword);
        for (char &c : upper)
            c = static_cast<char>(std::toupper(c));
        EXPECT_EQ(TSelected(upper.c_str()).trace.QueryLevel(), row.mask) << upper;
        EXPECT_EQ(TSelected((std::string("+") + row.keyword).c_str()).trace.QueryLevel(), fsUsual | row.mask)
            << row.keyword;
        EXPECT_EQ(TSelected((std::string("-") + row.keyword).c_str()).trace.QueryLevel(), fsUsual & ~row.mask)
            << row.keyword;
    }
}

TEST(TraceSelection, LevelsAreAddedAndRemovedInTurn) {
    struct {
        char const *field;
        unsigned long mask;
    } const rows[] = {{"erwa", 0xC},          {"erwa+en+ex", 0x300C},
                      {"al-er", 0x7373B},     {"al-erwa+er", 0x73737},
                      {"+d1", 0x1010F},       {"-er", 0x1000B},
                      {"-erwa", 0x10003},     {"er", 0x4},
                      {"+d1-er+d2", 0x1030B}, {"no", 0},
                      {"no+er", 0x4},         {"-al", 0},
                      {"+", fsUsual},         {"-", fsUsual},
                      {"er+", 0x4},           {"er-", 0x4},
                      {"+-er", 0x1000B},      {"-+d1", 0x1010F},
                      {"er++wa", 0xC},        {"er-er", 0}};
    for (auto const &row : rows)
        EXPECT_EQ(TSelected(row.field).trace.QueryLevel(), row.mask) << row.field;
}

TEST(TraceSelection, ASignAtTheBeginningStartsFromTheCurrentMask) {
    TSelected selected;
    selected.trace.SetLevel(0x30);
    selected.trace.ParseTraceString("-in");
    EXPECT_EQ(selected.trace.QueryLevel(), 0x20u);
    selected.trace.ParseTraceString("+er");
    EXPECT_EQ(selected.trace.QueryLevel(), 0x24u);
    selected.trace.ParseTraceString("wa");
    EXPECT_EQ(selected.trace.QueryLevel(), 0x8u);
}

TEST(TraceSelection, UnknownLevelsAreRefusedAndChangeNothing) {
    for (char const *field : {"e", "zz", "error", "er wa", "erw", "er+x", "erwa+zz+en", " er", "er.wa", "e\xE4"}) {
        TSelected selected;
        selected.ExpectFault(field, "Unknown level specified");
        EXPECT_EQ(selected.trace.QueryLevel(), fsUsual) << field;
        selected.ExpectFault((std::string(field) + ",Game,0").c_str(), "Unknown level specified");
        EXPECT_EQ(selected.trace.QueryComponent(), fsAll) << field;
        EXPECT_EQ(selected.trace.QueryDefaultTracing(), 1) << field;
        EXPECT_EQ(selected.destination->changes, 0);
    }
}

// Components

TEST(TraceSelection, ComponentsAreNamedOrNumbered) {
    struct {
        char const *field;
        unsigned long mask;
    } const rows[] = {{"Utility", 1},
                      {"utility", 1},
                      {"MMToolkits", 2},
                      {"GAME", 4},
                      {"Protocol", 8},
                      {"Reserved5", 0x10},
                      {"Reserved32", 0x80000000},
                      {"1", 1},
                      {"4", 8},
                      {"32", 0x80000000},
                      {"0", 0x80000000},
                      {"33", 1},
                      {"Utility+Protocol", 9},
                      {"Utility+4", 9},
                      {"1+2+3-2", 5},
                      {"-Game", fsAll & ~4ul},
                      {"-Game-Protocol", fsAll & ~0xCul},
                      {"-Game+Game", fsAll},
                      {"+Game", fsAll},
                      {"Nobody", 0},
                      {"Nobody+Game", 4},
                      {"+Nobody", fsAll},
                      {"+", fsAll},
                      {"-", fsAll},
                      {"Game+", 4},
                      {"Game-", 4},
                      {"Game++Protocol", 12},
                      {" Game", 0}};
    TCapture capture;
    for (auto const &row : rows)
        EXPECT_EQ(TSelected((std::string(",") + row.field).c_str()).trace.QueryComponent(), row.mask) << row.field;
    capture.ExpectNone(); // no destination receives an entry about an unknown component
}

// Default

TEST(TraceSelection, DefaultIsOneDigit) {
    EXPECT_EQ(TSelected(",,0").trace.QueryDefaultTracing(), 0);
    TSelected selected(",,0");
    selected.trace.ParseTraceString(",,1");
    EXPECT_EQ(selected.trace.QueryDefaultTracing(), 1);
}

TEST(TraceSelection, OtherDefaultsAreRefusedBehindWhatWasApplied) {
    for (char const *field : {"2", "10", "01", "00", "x", "-1", " 1", "+"}) {
        TSelected selected;
        selected.ExpectFault((std::string("er,Game,") + field + ",Trace").c_str(), "Invalid default specified");
        EXPECT_EQ(selected.trace.QueryLevel(), 4u) << field;
        EXPECT_EQ(selected.trace.QueryComponent(), 4u) << field;
        EXPECT_EQ(selected.trace.QueryDefaultTracing(), 1) << field;
        EXPECT_EQ(selected.trace.UsesDefault(TUtilityTraceCategory::Trace), 0) << field;
    }
}

// Categories

TEST(TraceSelection, CategoriesAreEnteredAsOn) {
    TSelected const selected(",,0,TagVar+message-String");
    EXPECT_EQ(selected.trace.QueryCategory(TUtilityTraceCategory::TagVar), 1);
    EXPECT_EQ(selected.trace.QueryCategory(TUtilityTraceCategory::Message), 1);
    EXPECT_EQ(selected.trace.QueryCategory(TUtilityTraceCategory::String), 1); // its "-" only separates
    EXPECT_EQ(selected.trace.UsesDefault(TUtilityTraceCategory::String), 1);
    EXPECT_EQ(selected.trace.QueryCategory(TUtilityTraceCategory::Trace), 0);
    EXPECT_EQ(selected.trace.UsesDefault(TUtilityTraceCategory::Trace), 0);
}

TEST(TraceSelection, SignsOfCategoriesAreReadFromTheComponents) {
    TCapture capture(TTrace::warning, 1);
    struct {
        char const *selection;
        int tagVar; // its entry: 1 on, 0 off, -1 none
        int message;
        std::vector<std::string> unknown;
    } const rows[] = {
        {",+Game,1,TagVar", -1, -1, {"agVar"}},
        {",+Game,1,xTagVar", 1, -1, {}},
        {",-Game,1,xTagVar", 0, -1, {}},
        {",-Game,1,-TagVar", 0, -1, {}},
        {",Game,1,-TagVar", 1, -1, {}},                     // an empty name, then one whose sign is no sign
        {",12345-7,1,TagVar+Message", 1, 1, {}},            // position 6 is no beginning of a name
        {",123456-8,1,TagVar+Message", 1, 1, {}},           // position 7 is the separator
        {",1234567-8,1,TagVar+Message", 1, -1, {"essage"}}, // position 8 is the name's first character
        {",1234567-8,1,TagVar+xMessage", 1, 0, {}},
        {",-23456789,1,xTagVar+Message", 0, 0, {}}, // the mode stays
        {",-234567+9,1,xTagVar+Message", 0, 0, {}},
        {",-2345678+0,1,xTagVar+xMessage", 0, 1, {}},
        {",,1,TagVar+Message", 1, 1, {}},
        {",1,1,TagVar++Message", 1, 1, {}},
        {",1,1,+TagVar+Message+", 1, 1, {}},
        {",1,1,+", -1, -1, {}},
        {",+,1,x", -1, -1, {}},
        {",1,1,Nobody", -1, -1, {"Nobody"}},
        {",1,1,Nobody+TagVar+ Message", 1, -1, {"Nobody", " Message"}},
    };
    for (auto const &row : rows) {
        capture.Entries().clear();
        TSelected const selected(row.selection);
        auto const entryOf = [&](TTrace::Category const &category) {
            return selected.trace.UsesDefault(category) ? selected.trace.QueryCategory(category) : -1;
        };
        EXPECT_EQ(entryOf(TUtilityTraceCategory::TagVar), row.tagVar) << row.selection;
        EXPECT_EQ(entryOf(TUtilityTraceCategory::Message), row.message) << row.selection;
        std::vector<TSeenEntry> const seen = capture.Entries();
        ASSERT_EQ(seen.size(), row.unknown.size()) << row.selection;
        for (std::size_t i = 0; i < seen.size(); ++i)
            EXPECT_EQ(seen[i],
                      (TSeenEntry{8, "Trace", "Trace category " + row.unknown[i] + " not found", fsFile, seen[i].line}))
                << row.selection;
    }
}

// Fields

TEST(TraceSelection, EmptyFieldsLeaveTheirSettings) {
    TSelected selected("er,Game,0,TagVar");
    selected.destination->changes = 0;
    for (char const *selection : {"", ",", ",,", ",,,", ",,,,", ",,,,,TagVar"})
        selected.trace.ParseTraceString(selection);
    selected.trace.ParseTraceString(nullptr);
    EXPECT_EQ(selected.destination->changes, 0);
    EXPECT_EQ(selected.trace.QueryLevel(), 4u);
    EXPECT_EQ(selected.trace.QueryComponent(), 4u);
    EXPECT_EQ(selected.trace.QueryDefaultTracing(), 0);
}

TEST(TraceSelection, WithoutTheOtherFieldsTheyKeepTheirStart) {
    TSelected const selected("er");
    EXPECT_EQ(selected.trace.QueryComponent(), fsAll);
    EXPECT_EQ(selected.trace.QueryDefaultTracing(), 1);
}

TEST(TraceSelection, AnExclamationMarkLeavesACategoryOut) {
    TSelected const selected("al,,1,TagVar+!Message+!queue");
    EXPECT_EQ(selected.trace.QueryCategory(TUtilityTraceCategory::TagVar), 1);
    EXPECT_EQ(selected.trace.QueryCategory(TUtilityTraceCategory::Message), 0);
    EXPECT_EQ(selected.trace.QueryCategory(TUtilityTraceCategory::Queue), 0);
    EXPECT_EQ(selected.trace.QueryCategory(TUtilityTraceCategory::Factory), 1);
    static TTrace::Category const marked(8, "!Marked");
    EXPECT_EQ(TSelected("al,,0,!Marked").trace.QueryCategory(marked), 1); // it is the name of a category
}

TEST(TraceSelection, AComponentIsLeftOutByItsSign) {
    TSelected const selected("al,-Protocol");
    EXPECT_EQ(selected.trace.QueryComponent(), fsAll & ~8ul);
    EXPECT_EQ(TSelected("al,+Game-2-Protocol").trace.QueryComponent(), fsAll & ~0xAul);
}

TEST(TraceSelection, ProgramsNameComponents) {
    TTrace::NameComponent(0x40, "Delivery");
    EXPECT_EQ(TSelected("al,delivery").trace.QueryComponent(), 0x40u);
    EXPECT_EQ(TSelected("al,Reserved7").trace.QueryComponent(), 0x40u);
    EXPECT_EQ(Bytes(TTrace::QueryComponentName(0x40)), "Delivery");
    TTrace::NameComponent(1, "Mine"); // the library's own
    TTrace::NameComponent(0, "Mine");
    TTrace::NameComponent(6, "Mine");                             // two components
    if (unsigned long const bit32 = 0xFFFFFFFFul + 1; bit32 != 0) // 0 if there is no such bit
        TTrace::NameComponent(bit32 | 8, "Mine");
    EXPECT_EQ(TTrace::QueryComponentFromName("Mine"), 0u);
    TTrace::NameComponent(0x40, nullptr);
    EXPECT_EQ(Bytes(TTrace::QueryComponentName(0x40)), "Reserved7");
}

TEST(TraceSelection, TheFifthFieldAddsToThePrefix) {
    EXPECT_EQ(TSelected("al").trace.QueryPrefixParts(), 0u);
    EXPECT_EQ(TSelected("al,,,,year").trace.QueryPrefixParts(), TTrace::Base::yearPart);
    EXPECT_EQ(TSelected("al,,,,Category+zone").trace.QueryPrefixParts(),
              TTrace::Base::categoryPart | TTrace::Base::zonePart);
    std::ostringstream out;
    TTraceStream trace(out, "al,,,,category");
    trace.SetDisplayPrefix(0);
    Entry(TTrace::error, fsHere, "here");
    EXPECT_EQ(out.str(), "E ConfigurationTest [f:1] here\n");
}

// Faults that throw nothing

TEST(TraceSelection, FaultsThatThrowNothingGoToStandardError) {
    struct {
        char const *selection;
        char const *told;
    } const rows[] = {
        {"al,Prtocol", "unknown component \"Prtocol\""},
        {"al,Utility|Protocol", "unknown component \"Utility|Protocol\""},
        {"al,Game+-Gmae", "unknown component \"Gmae\""},
        {"al,,1,TagVra", "unknown category \"TagVra\""},
        {"al,,1,!TagVra", "unknown category \"!TagVra\""},
        {"al,,,,yaer", "unknown part of the prefix \"yaer\""},
        {"al,,1,\x1b[2J", "unknown category \"?[2J\""},
    };
    for (auto const &row : rows) {
        TDiversion const error(std::cerr);
        TSelected const selected(row.selection);
        EXPECT_EQ(error.Text(), "Trace configuration: " + std::string(row.told) + "\n") << row.selection;
    }
    TDiversion const error(std::cerr);
    TSelected const right("al,Game+4+Reserved5,1,TagVar,year+");
    EXPECT_EQ(error.Text(), "");
}

TEST(TraceConfiguration, AnUnknownDestinationGoesToStandardError) {
    TDiversion const error(std::cerr);
    TTrace const trace("fiel(x),er");
    EXPECT_EQ(error.Text(), "Trace configuration: Unable to load trace factory fiel \"fiel(x),er\"\n");
}

TEST(TraceConfiguration, AFileThatCannotBeWrittenGoesToStandardError) {
    TTempFolder const folder;
    folder.AddFolder("taken");
    folder.AddFile("file");
    std::string const beginning = "Trace configuration: unable to write the file (";
    for (std::string const keyword : {"file", "shfile"}) {
        for (std::string const &name : {folder.Name("taken"), folder.Name("file\\below\\trace.log")}) {
            TDiversion const error(std::cerr);
            TTrace const trace((keyword + "(" + name + "),al").c_str());
            std::string const told = error.Text();
            EXPECT_TRUE(told.starts_with(beginning)) << told;
            EXPECT_TRUE(told.ends_with(") \"" + name + "\"\n")) << told;
            EXPECT_GT(told.size(), beginning.size() + name.size() + 10) << told; // the system's reason
        }
    }
    TDiversion const error(std::cerr);
    TTrace const right(("file(" + folder.Name("trace.log") + ")").c_str());
    EXPECT_EQ(error.Text(), "");
}

TEST(TraceSelection, MoreThanFiveFieldsAreIgnored) {
    TSelected const selected("er,Game,0,TagVar,,Message,zz");
    EXPECT_EQ(selected.trace.QueryLevel(), 4u);
    EXPECT_EQ(selected.trace.UsesDefault(TUtilityTraceCategory::TagVar), 1);
    EXPECT_EQ(selected.trace.UsesDefault(TUtilityTraceCategory::Message), 0);
}

TEST(TraceSelection, EachFieldIsOneChange) {
    EXPECT_EQ(TSelected("erwa+en").destination->changes, 1);
    EXPECT_EQ(TSelected("erwa,Game+Utility").destination->changes, 2);
    EXPECT_EQ(TSelected("erwa,Game+Utility,0").destination->changes, 3);
    EXPECT_EQ(TSelected("erwa,Game,0,TagVar+Message").destination->changes, 5);
}

TEST(TraceSelection, WithoutDestinationNothingIsParsed) {
    TTrace trace;
    trace.ParseTraceString("zz,,5");
    EXPECT_EQ(trace.QueryLevel(), 0u);
}

TEST(TraceSelection, AStoppedDestinationStaysSilent) {
    TSelected selected;
    selected.trace.StopTracing();
    selected.trace.ParseTraceString("al,Game");
    EXPECT_EQ(selected.trace.QueryLevel(), 0u);
    EXPECT_EQ(selected.trace.QueryComponent(), 0u);
}

TEST(TraceSelection, LongOnesAreRead) {
    std::string levels;
    for (int i = 0; i < 100000; ++i)
        levels += "er";
    EXPECT_EQ(TSelected(levels.c_str()).trace.QueryLevel(), 4u);
    EXPECT_EQ(TSelected(("er," + std::string(100000, '+')).c_str()).trace.QueryComponent(), fsAll);
    TSelected(("er,1,1," + std::string(100000, '-')).c_str());
}

// Destinations

TEST(TraceConfiguration, NullAndEmptyGiveNoDestination) {
    for (char const *configuration : {static_cast<char const *>(nullptr), ""}) {
        TTrace trace(configuration);
        EXPECT_FALSE(trace.QueryPointer());
        EXPECT_EQ(trace.QueryLevel(), 0u);
        EXPECT_EQ(trace.QueryDisableRestore(), 1);
        EXPECT_EQ(trace.UsesDefault(fsHere), 1);
    }
}

TEST(TraceConfiguration, ConsolesHaveTheShortPrefix) {
    for (char const *keyword : {"stdout", "STDOUT", "StdOut(ignored)", "stdout("}) {
        TDiversion const console(std::cout);
        TTrace const trace(keyword);
        EXPECT_EQ(trace.QueryDisplayPrefix(), 0) << keyword;
        Entry(TTrace::error, fsHere, "Error 5 from CreateMutex(unnamed)");
        EXPECT_EQ(console.Text(), "E [f:1] Error 5 from CreateMutex(unnamed)\n") << keyword;
    }
    for (char const *keyword : {"stderr", "StdErr", "stderr(x)"}) {
        TDiversion const console(std::cerr);
        TTrace const trace(keyword);
        EXPECT_EQ(trace.QueryDisplayPrefix(), 0) << keyword;
        Entry(TTrace::warning, fsHere, "text");
        EXPECT_EQ(console.Text(), "W [f:1] text\n") << keyword;
    }
}

TEST(TraceConfiguration, StandardErrorWithALevelMore) {
    TDiversion const console(std::cerr);
    TTrace const trace("stderr,+d1");
    EXPECT_EQ(trace.QueryLevel(), 0x1010Fu);
    EXPECT_EQ(trace.QueryComponent(), fsAll);
    EXPECT_EQ(trace.QueryDefaultTracing(), 1);
    Entry(0x100, fsHere, "detail");
    EXPECT_EQ(console.Text(), "1 [f:1] detail\n");
}

TEST(TraceConfiguration, EveryLevelOfOneComponentToTheDebugger) {
    static std::string output;
    output.clear();
    auto const former = TTraceWindowsDebugBase::SetOutput([](char const *line) { output += line; });
    {
        TTrace const trace("debug,al,1");
        EXPECT_EQ(trace.QueryLevel(), 0x7373Fu);
        EXPECT_EQ(trace.QueryComponent(), 1u);
        EXPECT_EQ(trace.QueryDisplayPrefix(), 1);
        Entry(TTrace::error, fsHere, "of another component");
        Entry(0x40000, TUtilityTraceCategory::Trace, "text");
    }
    TTraceWindowsDebugBase::SetOutput(former);
    EXPECT_TRUE(std::regex_match(output, std::regex("\\d\\d/\\d\\d-.* [0-9A-F]{8} D \\[f:1\\] text\n"))) << output;
}

TEST(TraceConfiguration, FilesAreNamedByTheArgument) {
    TTempFolder const folder;
    for (char const *keyword : {"file", "FILE", "shfile", "ShFile"}) {
        TTrace trace((std::string(keyword) + "(" + folder.Name("trace.log") + ")").c_str());
        Entry(TTrace::error, fsHere, keyword);
        EXPECT_TRUE(std::regex_match(Content(folder.Native("trace.log")),
                                     std::regex(std::string(".* E \\[f:1\\] ") + keyword + "\n")))
            << keyword;
    }
}

TEST(TraceConfiguration, ADocumentedExampleHolds) {
    TTempFolder const folder;
    TCapture capture(TTrace::warning, 1);
    std::string const name = folder.Name("srv\\trace.log");
    TTrace const trace(("file(" + name + "),erwa+en+ex,Utility+Protocol,0,TagVar+Message").c_str());
    EXPECT_EQ(trace.QueryLevel(), 0x300Cu);
    EXPECT_EQ(trace.QueryComponent(), 9u);
    EXPECT_EQ(trace.QueryDefaultTracing(), 0);
    EXPECT_EQ(trace.QueryCategory(TUtilityTraceCategory::TagVar), 1);
    EXPECT_EQ(trace.UsesDefault(TUtilityTraceCategory::Message), 0);
    capture.Entries().erase(capture.Entries().begin(), capture.Entries().end() - 1); // directories
    capture.ExpectOne(8, "Trace", "Trace category essage not found", fsFile);
    EXPECT_TRUE(std::filesystem::exists(folder.Native("srv\\trace.log")));
}

TEST(TraceConfiguration, ParenthesesAreSplitAsTheyCome) {
    TTempFolder const folder;
    struct {
        std::string configuration;
        char const *file;
        unsigned long level;
    } const rows[] = {{"file(" + folder.Name("a.log"), "a.log", fsUsual},
                      {"file(" + folder.Name("b.log") + ",er", "b.log", 4},
                      {"file(" + folder.Name("c(1).log") + "),er", "c(1).log", 4},
                      {"file(" + folder.Name("d(1") + ")),er", "d(1)", 4},
                      {"file(" + folder.Name("e") + "),", "e", fsUsual}};
    for (auto const &row : rows) {
        TTrace const trace(row.configuration.c_str());
        EXPECT_EQ(trace.QueryLevel(), row.level) << row.configuration;
        EXPECT_TRUE(std::filesystem::exists(folder.Native(row.file))) << row.configuration;
    }
    // The first comma counts, wherever it stands.
    ExpectThrows<TInvalidRequest>({.text = "Unknown level specified", .file = fsFile},
                                  [&] { TTrace(("file(" + folder.Name("f") + ",1.log)").c_str()); });
    EXPECT_TRUE(std::filesystem::exists(folder.Native("f")));
}

TEST(TraceConfiguration, AFaultLeavesNoDestinationBehind) {
    for (char const *configuration : {"stderr,zz", "stderr,e", "stderr,,,5", "debug,er,1,2"}) {
        EXPECT_THROW(TTrace{configuration}, TInvalidRequest) << configuration;
        EXPECT_EQ(TTrace::QueryGlobalLevel(), 0u);
        EXPECT_EQ(TTrace::Base::fsAnchor, nullptr);
    }
}

TEST(TraceConfiguration, WinIsNoDestinationAndItsSelectionIsNotRead) {
    for (char const *configuration : {"win", "WIN", "win(Trace)", "win()", "win,zz,,5"}) {
        TTrace trace(configuration);
        EXPECT_FALSE(trace.QueryPointer()) << configuration;
    }
}

TEST(TraceConfiguration, UnknownKeywordsAreFactoriesThatAreNotFound) {
    TCapture capture(TTrace::warning | TTrace::error, 1);
    TTrace trace("NoSuchKind(argument),zz");
    EXPECT_FALSE(trace.QueryPointer());
    ASSERT_EQ(capture.Entries().size(), 3u);
    std::string const text = capture.Entries()[0].text;
    EXPECT_TRUE(std::regex_match(text, std::regex("Unable to load Dll NoSuchKind, rc=x[0-9A-F]{8}"))) << text;
    EXPECT_EQ(capture.Entries()[0].level, 8u);
    EXPECT_EQ(capture.Entries()[0].category, "Factory");
    EXPECT_EQ(capture.Entries()[1].text, "Unable to find factory type NoSuchKind");
    EXPECT_EQ(capture.Entries()[1].level, 8u);
    EXPECT_EQ(capture.Entries()[1].category, "Factory");
    capture.Entries().erase(capture.Entries().begin(), capture.Entries().begin() + 2);
    capture.ExpectOne(4, "Trace", "Unable to load trace factory NoSuchKind", fsFile);
}

TEST(TraceConfiguration, AnEmptyKeywordIsAnUnknownOne) {
    for (char const *configuration : {",er", "(argument)", ","}) {
        TCapture capture(TTrace::warning | TTrace::error, 1);
        TTrace trace(configuration);
        EXPECT_FALSE(trace.QueryPointer()) << configuration;
        capture.ExpectOne(4, "Trace", "Unable to load trace factory ", fsFile);
    }
}

TEST(TraceConfiguration, SpacesBelongToTheKeyword) {
    TCapture capture(TTrace::error, 1);
    TTrace trace(" stderr");
    capture.ExpectOne(4, "Trace", "Unable to load trace factory  stderr", fsFile);
}

// The default name of a log file

TEST(TraceConfiguration, WithoutANameFilesAreNamedByTheProgram) {
    TString const program = TTrace::QueryExeFileName();
    TTempFolder const folder; // for its rules of names only
    std::string name(Data(program));
    std::size_t const slash = name.rfind('\\');
    ASSERT_NE(slash, std::string::npos);
    std::size_t const dot = name.find('.', slash);
    TCapture capture(TTrace::warning, 1);
    std::string const expected = name.substr(0, dot) + ".log";
    std::filesystem::path const native(Data(TFileName(expected.c_str()).QueryNative()));
    for (char const *keyword : {"file", "file()", "shfile", "shfile()"}) {
        std::filesystem::remove(native);
        {
            TTrace const trace(keyword);
            EXPECT_TRUE(std::filesystem::exists(native)) << keyword;
        }
        bool isWarned = false;
        for (TSeenEntry const &entry : capture.Entries())
            isWarned = isWarned || (entry.text == "Unable to find '.', using " + name + ".log for file" &&
                                    entry.level == 8 && entry.category == "Trace" && entry.file == fsFile);
        EXPECT_EQ(isWarned, dot == std::string::npos) << keyword;
        capture.Entries().clear();
    }
    std::filesystem::remove(native);
}

TEST(TraceConfiguration, AProgramWithoutFolderAndEndingHasItsLogBesideIt) {
    TString const program = TTrace::QueryExeFileName();
    std::string const plain = "tuzutil_tracecfg_test_plain_name";
    TTrace::fsExeFileName = plain.c_str();
    std::filesystem::remove(plain + ".log");
    TCapture capture(TTrace::warning, 1);
    {
        TTrace const trace("file");
        EXPECT_TRUE(std::filesystem::exists(plain + ".log"));
    }
    TTrace::fsExeFileName = program;
    std::filesystem::remove(plain + ".log");
    EXPECT_TRUE(std::any_of(capture.Entries().begin(), capture.Entries().end(), [&](TSeenEntry const &entry) {
        return entry.text == "Unable to find '.', using " + plain + ".log for file" && entry.level == 8;
    }));
}

TEST(TraceConfiguration, TheProgramsNameIsItsFullPath) {
    std::string const name = Data(TTrace::QueryExeFileName());
    EXPECT_NE(name.find("tracecfg_test"), std::string::npos);
    EXPECT_NE(name.find('\\'), std::string::npos);
    EXPECT_EQ(name.find('/'), std::string::npos);
    EXPECT_EQ(Bytes(TTrace::fsExeFileName), name);
    TTrace::SetExeFileName("another", "name");
    EXPECT_EQ(Bytes(TTrace::QueryExeFileName()), name);
}

// The environment

TEST(TraceConfiguration, EnvReadsItsVariable) {
    TEnvironment const usual("NUV_TRACE", "stderr,er");
    TEnvironment const named("TUZUTIL_TEST_TRACE", "stderr,wa");
    EXPECT_EQ(TTrace("env").QueryLevel(), 4u);
    EXPECT_EQ(TTrace("ENV()").QueryLevel(), 4u);
    EXPECT_EQ(TTrace("env(NUV_TRACE)").QueryLevel(), 4u);
    EXPECT_EQ(TTrace("env(TUZUTIL_TEST_TRACE)").QueryLevel(), 8u);
    EXPECT_EQ(TTrace("env(TUZUTIL_TEST_TRACE").QueryLevel(), 8u);
}

TEST(TraceConfiguration, TheSelectionBesideEnvIsIgnored) {
    TEnvironment const usual("NUV_TRACE", "stderr,er");
    EXPECT_EQ(TTrace("env,wa").QueryLevel(), 4u);
    EXPECT_EQ(TTrace("env,zz,,5").QueryLevel(), 4u);
}

TEST(TraceConfiguration, EnvFollowsEnv) {
    TEnvironment const first("TUZUTIL_TEST_TRACE", "env(TUZUTIL_TEST_TRACE2),wa");
    TEnvironment const second("TUZUTIL_TEST_TRACE2", "stderr,er");
    EXPECT_EQ(TTrace("env(TUZUTIL_TEST_TRACE)").QueryLevel(), 4u);
}

TEST(TraceConfiguration, AnUnsetVariableIsNoDestination) {
    TEnvironment const unset("NUV_TRACE");
    TCapture capture;
    EXPECT_FALSE(TTrace("env").QueryPointer());
    EXPECT_FALSE(TTrace("env,zz").QueryPointer());
    EXPECT_FALSE(TTrace("env(TUZUTIL_TEST_NOBODY)").QueryPointer());
    TEnvironment const empty("TUZUTIL_TEST_TRACE", "");
    EXPECT_FALSE(TTrace("env(TUZUTIL_TEST_TRACE)").QueryPointer());
    capture.ExpectNone();
}

TEST(TraceConfiguration, OneThatRefersToItselfEnds) {
    TEnvironment const own("TUZUTIL_TEST_TRACE", "env(TUZUTIL_TEST_TRACE)");
    TCapture capture(TTrace::warning, 1);
    EXPECT_FALSE(TTrace("env(TUZUTIL_TEST_TRACE)").QueryPointer());
    capture.ExpectOne(8, "Trace", "Trace configuration refers to variables more than 16 times", fsFile);
    TEnvironment const usual("NUV_TRACE", "env");
    EXPECT_FALSE(TTrace("env").QueryPointer());
}

TEST(TraceConfiguration, AFaultInAVariableIsThrownAsAnyOther) {
    TEnvironment const usual("NUV_TRACE", "stderr,zz");
    ExpectThrows<TInvalidRequest>({.text = "Unknown level specified", .file = fsFile}, [] { TTrace("env"); });
}
