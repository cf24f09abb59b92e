#ifndef TUZUTIL_TEXT_LIBRARY
#define TUZUTIL_TEXT_LIBRARY

// Opens the language library of a message store, and loads texts from it. Every failure is traced, and the caller then
// uses the default texts. The search, the opening and the loading are parameters, because a test causes each failure by
// functions of its own.

#include "platform/no_cancel.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TDLL.h"
#include "utility/kernel/reporter.h"

#include <cstdint>
#include <memory>

namespace text_library {

inline TReporter const fsReports(TUtilityTraceCategory::Message, "src/utility/MSGSTRPM");

// Runs `act`, and returns true unless it throws. If `act` throws a TException, calls `known` with the contents of the
// exception. If `act` throws any other exception, calls `unknown`.
template <typename Act, typename Known, typename Unknown>
bool Attempt(Act act, Known known, Unknown unknown) {
    TNoCancel const noCancel;
    try {
        act();
        return true;
    } catch (TException const &problem) {
        known(problem.name(), problem.text(0), static_cast<std::uint32_t>(problem.errorId()),
              static_cast<std::uint32_t>(problem.textCount()));
    } catch (...) {
        unknown();
    }
    return false;
}

// Returns the library that holds the texts of a store, or null. `find` returns the path of the library or null, and
// `open` opens it.
template <typename Find, typename Open>
std::unique_ptr<TDll> OpenLibrary(char const *store, char const *name, Find find, Open open) {
    // The first arguments of the formats `known` and `unknown` are the names of the store and of the library.
    auto const attempt = [&](auto act, TReportText known, TReportText unknown) {
        return Attempt(
            act, [&](auto... problem) { fsReports.Warning(known, store, name, problem...); },
            [&] { fsReports.Warning(unknown, store, name); });
    };
    // A TReportText takes the line number of its definition, so each of these reports has a line number of its own.
    TReportText const notFound = "For message store %s, could not find DLL %s, %s(%s,%u,%u), Using C locale";
    TReportText const notFoundEither = "For message store %s, could not find DLL %s, unknown exception, Using C locale";
    TReportText const notLoaded = "For message store %s, could not load DLL %s, %s(%s,%u,%u), Using C locale";
    TReportText const notLoadedEither =
        "For message store %s, could not load DLL %s, unknown exception, Using C locale";
    char const *path = nullptr;
    if (!attempt([&] { path = find(); }, notFound, notFoundEither))
        return nullptr;
    if (!path) {
        fsReports.Warning("For message store %s, could not find DLL %s. Using C locale", store, name);
        return nullptr;
    }
    std::unique_ptr<TDll> library;
    if (attempt([&] { library = open(path); }, notLoaded, notLoadedEither))
        fsReports.Note("For message store %s, loaded DLL %s", store, path);
    return library;
}

// Returns the text that `load` returns, or a null string if `load` throws.
template <typename Load>
TString LoadText(char const *store, std::uint32_t set, std::uint32_t number, Load load) {
    TString text;
    Attempt([&] { text = load(); },
            [&](auto... problem) {
                fsReports.Warning("Could not find message (%s,%u), %s(%s,x%08X,%u), Using default message", store,
                                  number, problem...);
            },
            [&] {
                fsReports.Warning("Could not find message (%s,%u,%u), unknown exception, Using default message", store,
                                  set, number);
            });
    return text;
}

} // namespace text_library

#endif
