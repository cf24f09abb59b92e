// Opens the destination that a trace configuration describes. The configuration begins with a keyword, which is the
// kind of the destination, or the name of a factory that makes it. After the keyword "env" comes the name of an
// environment variable with another configuration. At start-up, the configuration in the variable NUV_TRACE_STARTUP is
// opened. If this fails, the failure is written to standard error. The trace lock is held while a factory makes a
// destination.

#include "utility/destinations/trace_configuration.h"

#include "platform/no_cancel.h"
#include "platform/platform.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TRACESHF.h"
#include "tuzutil/TRACESTR.h"
#include "utility/destinations/configuration_fault.h"
#include "utility/destinations/trace_selection.h"
#include "utility/kernel/ascii_names.h"
#include "utility/kernel/drop_exceptions.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/string_access.h"

#include <iostream>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Trace, "src/utility/TRACEP");
char const fsNoFactory[] = "Unable to load trace factory %s";
char const fsTooDeep[] = "Trace configuration refers to variables more than %d times";
constexpr int fsDeepest = 16; // at most so many variables are read, if each names the next one

// Destinations

// Converts a file name of the system to the form of the library, in which backslashes are between the parts of a name.
std::string LibraryForm(std::string name) {
    platform::FromNativeName(name.data(), name.size());
    return name;
}

TString ExeFileName() {
    char name[260 + 1];
    return TStringAccess::From({name, platform::LibraryName(nullptr, name, sizeof name)});
}

// Returns the name of the program with the ending ".log".
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
    if (argument.empty())
        return DefaultLogName();
    return LibraryForm(argument);
}

// Returns the handle `trace`. If the file of its destination could not be opened, also reports this fault. The
// destination then writes nothing.
template <typename Destination>
TTrace Checked(TTrace trace, std::string const &name) {
    auto const &file = static_cast<Destination const &>(*trace.QueryPointer());
    if (file.IsOpen())
        return trace;
    char reason[256] = "";
    platform::ErrorText(static_cast<std::uint32_t>(file.QueryOpenError()), reason, sizeof reason);
    DropExceptions([&] { TellConfigurationFault("unable to write the file (" + std::string(reason) + ")", name); });
    return trace;
}

TTrace FileTrace(std::string const &argument) {
    std::string const name = FileNameOrDefault(argument);
    return Checked<TTraceStreamBase>(TTraceStream(name.c_str()), name);
}

TTrace SharedFileTrace(std::string const &argument) {
    std::string const name = FileNameOrDefault(argument);
    return Checked<TTraceSharedFileBase>(TTraceSharedFile(name.c_str()), name);
}

TTrace ConsoleTrace(std::ostream &stream) {
    TTraceStream trace(stream);
    trace.SetDisplayPrefix(0);
    return trace;
}

TTrace FactoryTrace(TTraceConfiguration &configuration) {
    std::string const &keyword = configuration.keyword;
    TTraceFactory *factory = nullptr;
    if (!keyword.empty())
        factory = TTraceFactoryLoader::GetInstance()->Find(TFactoryType(LibraryForm(keyword).c_str()));
    if (factory) {
        TLock const lock(TTrace::Base::fsMutex); // no other thread writes to the destination before it is complete
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

// The keywords, in the order in which they are tried. Any other keyword names a factory.
constexpr TDestination fsDestinations[] = {
    {"stdout", [](std::string const &) { return ConsoleTrace(std::cout); }},
    {"stderr", [](std::string const &) { return ConsoleTrace(std::cerr); }},
    {"shfile", SharedFileTrace},
    {"file", FileTrace},
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

// The destination that the environment names

constexpr char fsStartupVariable[] = "NUV_TRACE_STARTUP";

void ReportStartup(std::string const &problem) {
    std::cerr << fsStartupVariable + (": " + problem) + "\n" << std::flush;
}

// If the selection has a fault, reports the fault and restores the level, the components and the default tracing (see
// SetDefaultTracing()) of the destination, because a selection must not be applied in part.
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

TTrace OpenStartupTrace() noexcept {
    TTrace trace;
    // If there is no memory for the destination, the program runs without this trace.
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
    if (!parts.problem.empty())
        TellConfigurationFault(parts.problem, configuration, alsoAnEntry);
    TTrace::ParseTraceString(parts.selection.c_str());
}

void TTrace::ParseTraceString(char const *selection) {
    if (!selection || !*selection || !fDestination)
        return;
    TTraceSelectionFault const fault = ApplyTraceSelection(*fDestination, selection);
    if (fault.text)
        fsReports.Raise<TInvalidRequest>({fault.text, fault.line});
}

TString TTrace::QueryExeFileName() {
    // No test gets here: two threads would have to ask for the name first in one moment.
    [[maybe_unused]] static bool const isKnown = (fsExeFileName = ExeFileName(), true);
    return fsExeFileName.Copy();
}
