// The time zone, the environment and new threads on a system whose calls fail, or answer as they seldom do.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <process.h>
#include <string>
#include <vector>
#include <windows.h>

namespace {

// What the calls of the system do.
struct TSystem {
    DWORD zone = TIME_ZONE_ID_UNKNOWN; // the kind of time that is in force
    std::vector<std::string> values;   // of a variable, from call to call; the last one stays
    std::size_t calls = 0;
    bool startsThreads = true;
    bool knowsLibrary = true;
} fsSystem;

DWORD WINAPI TellZone(TIME_ZONE_INFORMATION *zone) {
    *zone = {};
    zone->Bias = -60;
    zone->StandardBias = 5;
    zone->DaylightBias = -60;
    return fsSystem.zone;
}

// As GetEnvironmentVariableA() for a variable whose value another thread changes between two calls. The value "-" says
// that the variable does not exist.
DWORD WINAPI TellVariable(char const *, char *value, DWORD size) {
    std::string const &text = fsSystem.values[std::min(fsSystem.calls++, fsSystem.values.size() - 1)];
    if (text == "-") {
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return 0;
    }
    if (size <= text.size())
        return static_cast<DWORD>(text.size() + 1);
    std::memcpy(value, text.c_str(), text.size() + 1);
    return static_cast<DWORD>(text.size());
}

std::uintptr_t Begin(void *security, unsigned int stack, unsigned int(WINAPI *body)(void *), void *argument,
                     unsigned int flags, unsigned int *id) {
    if (fsSystem.startsThreads)
        return _beginthreadex(security, stack, body, argument, flags, id);
    ::SetLastError(ERROR_NO_SYSTEM_RESOURCES);
    return 0;
}

BOOL WINAPI FindModule(DWORD flags, char const *address, HMODULE *module) {
    if (fsSystem.knowsLibrary)
        return GetModuleHandleExA(flags, address, module);
    ::SetLastError(ERROR_MOD_NOT_FOUND);
    return FALSE;
}

} // namespace

#define GetTimeZoneInformation TellZone
#define GetEnvironmentVariableA TellVariable
#define _beginthreadex Begin
#define GetModuleHandleExA FindModule
#include "platform/win32/clock.cpp"
#include "platform/win32/process.cpp"
#include "platform/win32/thread.cpp"
#undef GetModuleHandleExA
#undef _beginthreadex
#undef GetEnvironmentVariableA
#undef GetTimeZoneInformation

namespace {

class SystemFailure : public testing::Test {
protected:
    SystemFailure() { fsSystem = TSystem(); }

    // Looks a variable up that the runtime does not know.
    std::string Variable(std::vector<std::string> values) {
        fsSystem.values = std::move(values);
        fsSystem.calls = 0;
        std::string value;
        return platform::FindVariable("TUZUTIL_TEST_OF_NO_RUNTIME", value) ? value : "none";
    }
};

} // namespace

TEST_F(SystemFailure, TheZoneIsThatOfTheTimeInForce) {
    struct {
        DWORD kind;
        int minutes;
    } const rows[] = {{TIME_ZONE_ID_UNKNOWN, 60},
                      {TIME_ZONE_ID_STANDARD, 55},
                      {TIME_ZONE_ID_DAYLIGHT, 120},
                      {TIME_ZONE_ID_INVALID, 0}}; // a zone that cannot be found out is UTC
    for (auto const &row : rows) {
        fsSystem.zone = row.kind;
        EXPECT_EQ(platform::LocalZone(), row.minutes) << row.kind;
    }
}

TEST_F(SystemFailure, ATimeBeyondTheRangeOfTheRuntimeHasNoRecord) {
    std::tm record{};
    EXPECT_TRUE(platform::UtcRecord(4102444800, record)); // 1 January 2100
    EXPECT_EQ(record.tm_year, 200);
    EXPECT_EQ(ClassicFormat("%G %V", record), "2099 53");
    EXPECT_TRUE(platform::UtcRecord(7289568000, record)); // 31 December 2200, which is no leap year
    EXPECT_EQ(ClassicFormat("%G %V", record), "2201 01");
    for (std::int64_t const time : {std::int64_t{-1}, INT64_MAX})
        EXPECT_FALSE(platform::UtcRecord(time, record)) << time;
    EXPECT_EQ(record.tm_year, 300); // unchanged
}

TEST_F(SystemFailure, AVariableMayChangeWhileItIsRead) {
    EXPECT_EQ(Variable({"text"}), "text");
    EXPECT_EQ(Variable({"text", "a longer text"}), "a longer text");
    EXPECT_EQ(Variable({"a longer text", "text"}), "text");
    EXPECT_EQ(Variable({"text", ""}), "");
    EXPECT_EQ(Variable({"text", "-"}), "none");
    EXPECT_EQ(Variable({"text", "a longer text", "-"}), "none");
    EXPECT_EQ(Variable({"-"}), "none");
}

TEST_F(SystemFailure, AThreadThatCannotBeStartedLeavesTheErrorOfTheSystem) {
    HANDLE const ran = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    auto const body = [](void *event) { SetEvent(event); };
    std::uintptr_t const none = ~std::uintptr_t{0};
    fsSystem.startsThreads = false;
    EXPECT_EQ(platform::StartThread(body, ran, true), none);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_SYSTEM_RESOURCES});
    fsSystem = TSystem();
    fsSystem.knowsLibrary = false;
    EXPECT_EQ(platform::StartThread(body, ran, true), none);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
    EXPECT_EQ(WaitForSingleObject(ran, 0), DWORD{WAIT_TIMEOUT});
    fsSystem = TSystem();
    EXPECT_NE(platform::StartThread(body, ran, true), none);
    EXPECT_EQ(WaitForSingleObject(ran, INFINITE), DWORD{WAIT_OBJECT_0});
    CloseHandle(ran);
}
