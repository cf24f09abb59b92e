#include "utility/destinations/trace_configuration.h"

#include "platform/no_cancel.h"
#include "platform/platform.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TRACESHF.h"
#include "tuzutil/TRACESTR.h"
#include "utility/kernel/ascii_names.h"
#include "utility/kernel/drop_exceptions.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/string_access.h"
#include "utility/kernel/trace_levels.h"

#include <iostream>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Trace, "src/utility/TRACEP");
char const fsNoFactory[] = "Unable to load trace factory %s";
char const fsTooDeep[] = "Trace configuration refers to variables more than %d times";
constexpr int fsDeepest = 16; // variables that refer to variables

bool IsSign(char c) noexcept {
    return c == '+' || c == '-';
}

// Destinations

// A name from outside in the library's form.
std::string LibraryForm(std::string name) {
    platform::FromNativeName(name.data(), name.size());
    return name;
}

// That of the program, with another ending.
std::string DefaultLogName() {
    TString const program = TTrace::QueryExeFileName();
    std::string name(static_cast<char const *>(program), program.length());
    std::size_t const dot = name.find_last_of(".\\");
    if (dot == std::string::npos || name[dot] != '.')
        fsReports.Warning("Unable to find '.', using %s.log for file", program);
    else
        name.resize(dot);
    return name + ".log";
}

std::string FileNameOrDefault(std::string const &argument) {
    return argument.empty() ? DefaultLogName() : LibraryForm(argument);
}

TTrace ConsoleTrace(std::ostream &stream) {
    TTraceStream trace(stream);
    trace.SetDisplayPrefix(0);
    return trace;
}

TTrace FactoryTrace(TTraceConfiguration &configuration) {
    std::string const &keyword = configuration.keyword;
    TTraceFactory *const factory =
        keyword.empty() ? nullptr
                        : TTraceFactoryLoader::GetInstance()->Find(TFactoryType(LibraryForm(keyword).c_str()));
    if (factory) {
        TLock const lock(TTrace::Base::fsMutex); // no other thread reaches the destination before all of it stands
        return factory->CreateTrace(configuration.argument.c_str());
    }
    fsReports.Error(fsNoFactory, keyword.c_str());
    configuration.problem = TTextMessage(fsNoFactory, keyword.c_str());
    return TTrace();
}

struct TDestination {
    char const *keyword;
    TTrace (*open)(std::string const &argument);
};

// In the order in which they are tried. What is none of them names a factory.
constexpr TDestination fsDestinations[] = {
    {"stdout", [](std::string const &) { return ConsoleTrace(std::cout); }},
    {"stderr", [](std::string const &) { return ConsoleTrace(std::cerr); }},
    {"shfile", [](std::string const &a) -> TTrace { return TTraceSharedFile(FileNameOrDefault(a).c_str()); }},
    {"file", [](std::string const &a) -> TTrace { return TTraceStream(FileNameOrDefault(a).c_str()); }},
    {"win", [](std::string const &) { return TTrace(); }},
    {"debug", [](std::string const &) -> TTrace { return TTraceWindowsDebug(); }},
};

TTrace OpenDestination(TTraceConfiguration &configuration) {
    for (TDestination const &each : fsDestinations) {
        if (ascii_names::IsEqual(configuration.keyword.c_str(), each.keyword))
            return each.open(configuration.argument);
    }
    return FactoryTrace(configuration);
}

// Selections

// The fields of a selection, which it loses one by one.
std::string_view TakeField(std::string_view &rest) noexcept {
    std::string_view const field = rest.substr(0, rest.find(','));
    rest.remove_prefix(std::min(field.size() + 1, rest.size()));
    return field;
}

// A mask that a field adds to and takes from; it begins with the current one where the field begins with a sign.
class TMaskChange {
public:
    TMaskChange(std::string_view field, unsigned long current) noexcept
        : fMask(IsSign(field.front()) ? static_cast<std::uint32_t>(current) : 0) {}

    void SetSign(char sign) noexcept { fAdds = sign == '+'; }
    void Apply(std::uint32_t mask) noexcept { fMask = fAdds ? fMask | mask : fMask & ~mask; }
    std::uint32_t Mask() const noexcept { return fMask; }

private:
    std::uint32_t fMask;
    bool fAdds = true;
};

TTraceLevel const *FindLevel(std::string_view keyword) noexcept {
    for (TTraceLevel const &each : fsTraceLevels) {
        if (keyword.size() == 2 && ascii_names::Fold(keyword[0]) == each.keyword[0] &&
            ascii_names::Fold(keyword[1]) == each.keyword[1])
            return &each;
    }
    return nullptr;
}

// False where a pair of characters is no level; `at` is where it stands then.
bool ApplyLevels(TTrace::Base &destination, std::string_view field, std::size_t &at) {
    TMaskChange change(field, destination.QueryLevel());
    for (at = 0; at < field.size();) {
        if (IsSign(field[at])) {
            change.SetSign(field[at++]);
            continue;
        }
        TTraceLevel const *const level = FindLevel(field.substr(at, 2));
        if (!level)
            return false;
        change.Apply(level->mask);
        at += 2;
    }
    destination.SetLevel(change.Mask());
    return true;
}

void ApplyComponents(TTrace::Base &destination, std::string_view field) {
    TMaskChange change(field, destination.QueryComponent());
    while (!field.empty()) {
        if (IsSign(field.front())) {
            change.SetSign(field.front());
            field.remove_prefix(1);
            continue;
        }
        std::string_view const name = field.substr(0, field.find_first_of("+-"));
        change.Apply(static_cast<std::uint32_t>(TTrace::QueryComponentFromName(TStringAccess::From(name))));
        field.remove_prefix(name.size());
    }
    destination.SetComponent(change.Mask());
}

bool ApplyDefault(TTrace::Base &destination, std::string_view field) {
    if (field != "0" && field != "1")
        return false;
    destination.SetDefaultTracing(field == "1");
    return true;
}

// The sign of each name is the character of the *components* at the same position; where there is one, the name loses
// its first character. Configurations in use count on that.
void ApplyCategories(TTrace::Base &destination, std::string_view field, std::string_view components) {
    bool isOn = true;
    for (std::size_t at = 0; at < field.size();) {
        std::size_t begin = at;
        if (at < components.size() && IsSign(components[at])) {
            isOn = components[at] == '+';
            ++begin;
        }
        std::size_t const end = std::min(field.find_first_of("+-", begin), field.size());
        std::string_view const name = field.substr(begin, end - begin);
        if (!name.empty()) {
            if (TTrace::Category const *const category = TTrace::FindCategory(TStringAccess::From(name)))
                destination.AddCategory(*category, isOn);
            else
                fsReports.Warning("Trace category %s not found", TStringAccess::From(name));
        }
        at = end + 1;
    }
}

std::string Printable(std::string_view text) {
    std::string result(text.substr(0, 200));
    for (char &c : result) {
        if (static_cast<unsigned char>(c) < ' ' || c == 0x7F)
            c = '?';
    }
    return result;
}

constexpr char fsStartupVariable[] = "NUV_TRACE_STARTUP";

void ReportStartup(std::string const &problem) {
    std::cerr << fsStartupVariable + (": " + problem) + "\n" << std::flush;
}

// A selection that is faulty is not applied in part.
void ApplyStartupSelection(TTrace::Base &destination, std::string const &selection) {
    unsigned long const level = destination.QueryLevel();
    unsigned long const component = destination.QueryComponent();
    int const defaultTracing = destination.QueryDefaultTracing();
    TTraceSelectionFault const fault = ApplyTraceSelection(destination, selection);
    if (!fault.text)
        return;
    destination.SetLevel(level);
    destination.SetComponent(component);
    destination.SetDefaultTracing(defaultTracing);
    ReportStartup(std::string(fault.text) + ": \"" + Printable(selection.substr(fault.position, fault.length)) +
                  "\" at character " + std::to_string(fault.position + 1) + " of \"" + Printable(selection) + '"');
}

void OpenStartupTrace(TTrace &trace, TTraceConfiguration &configuration) {
    auto const report = [&](char const *problem) {
        ReportStartup(Printable(problem ? problem : "not opened") + ": \"" + Printable(configuration.keyword) + '"');
    };
    TNoCancel const noCancel;
    try {
        trace.QueryPointer() = OpenTraceDestination(configuration);
        if (!configuration.problem.empty())
            ReportStartup(Printable(configuration.problem));
    } catch (TException const &problem) {
        report(problem.text(0));
    } catch (std::exception const &problem) {
        report(problem.what());
    } catch (...) {
        report(nullptr);
    }
    if (trace.QueryPointer())
        ApplyStartupSelection(*trace.QueryPointer(), configuration.selection);
}

} // namespace

TTraceConfiguration::TTraceConfiguration(std::string_view text) {
    std::size_t const comma = std::min(text.find(','), text.size());
    std::string_view const destination = text.substr(0, comma);
    selection = text.substr(std::min(comma + 1, text.size()));
    std::size_t const open = std::min(destination.find('('), destination.size());
    keyword = destination.substr(0, open);
    argument = destination.substr(std::min(open + 1, destination.size()));
    if (argument.ends_with(')'))
        argument.pop_back();
}

TTrace::Pointer OpenTraceDestination(TTraceConfiguration &configuration) {
    for (int depth = 0; ascii_names::IsEqual(configuration.keyword.c_str(), "env"); ++depth) {
        if (depth == fsDeepest) {
            fsReports.Warning(fsTooDeep, fsDeepest);
            configuration.problem = TTextMessage(fsTooDeep, fsDeepest);
            return TTrace::Pointer(nullptr);
        }
        std::string const variable = configuration.argument.empty() ? "NUV_TRACE" : configuration.argument;
        std::string value;
        if (!platform::FindVariable(variable.c_str(), value) || value.empty())
            return TTrace::Pointer(nullptr);
        configuration = TTraceConfiguration(value);
    }
    return OpenDestination(configuration).QueryPointer();
}

TTraceSelectionFault ApplyTraceSelection(TTrace::Base &destination, std::string_view selection) {
    std::string_view rest = selection;
    std::string_view const levels = TakeField(rest);
    std::string_view const components = TakeField(rest);
    std::string_view const defaultTracing = TakeField(rest);
    std::string_view const categories = TakeField(rest);
    auto const positionOf = [&](std::string_view field) {
        return static_cast<std::size_t>(field.data() - selection.data());
    };

    std::size_t at = 0;
    if (!levels.empty() && !ApplyLevels(destination, levels, at))
        return {"Unknown level specified", positionOf(levels) + at, std::min<std::size_t>(2, levels.size() - at)};
    if (!components.empty())
        ApplyComponents(destination, components);
    if (!defaultTracing.empty() && !ApplyDefault(destination, defaultTracing))
        return {"Invalid default specified", positionOf(defaultTracing), defaultTracing.size()};
    if (!categories.empty())
        ApplyCategories(destination, categories, components);
    return {nullptr, 0, 0};
}

TTrace OpenStartupTrace() noexcept {
    TTrace trace;
    // If there is no memory, so early, the program goes on without this trace.
    DropExceptions([&] {
        TTraceConfiguration configuration(std::string("env(") + fsStartupVariable + ")");
        OpenStartupTrace(trace, configuration);
    });
    return trace;
}
TTrace::TTrace(char const *configuration) {
    if (!configuration || !*configuration)
        return;
    TTraceConfiguration parts{std::string_view(configuration)};
    fDestination = OpenTraceDestination(parts);
    TTrace::ParseTraceString(parts.selection.c_str());
}

void TTrace::ParseTraceString(char const *selection) {
    if (!selection || !*selection || !fDestination)
        return;
    TTraceSelectionFault const fault = ApplyTraceSelection(*fDestination, selection);
    if (fault.text)
        fsReports.Raise<TInvalidRequest>(fault.text);
}

TString TTrace::QueryExeFileName() {
    [[maybe_unused]] static bool const isKnown = [] {
        char name[260 + 1];
        fsExeFileName = TStringAccess::From({name, platform::LibraryName(nullptr, name, sizeof name)});
        return true;
    }();
    return fsExeFileName.Copy();
}
