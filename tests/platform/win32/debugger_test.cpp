#include <gtest/gtest.h>

#include <string>

#include <windows.h>

namespace {

// Runs a program of the tests as its debugger; what it says to the debugger.
std::string OutputOf(char const *program) {
    char own[MAX_PATH];
    std::string path(own, GetModuleFileNameA(nullptr, own, sizeof own));
    path = path.substr(0, path.rfind('\\') + 1) + program;
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process;
    if (!CreateProcessA(path.c_str(), nullptr, nullptr, nullptr, FALSE, DEBUG_ONLY_THIS_PROCESS, nullptr, nullptr,
                        &startup, &process))
        return "cannot start " + path;
    std::string output;
    for (DEBUG_EVENT event; WaitForDebugEvent(&event, 20000);) {
        DWORD answer = DBG_CONTINUE;
        if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT) {
            auto const &text = event.u.DebugString;
            std::string part(text.nDebugStringLength, '\0');
            ReadProcessMemory(process.hProcess, text.lpDebugStringData, part.data(), part.size(), nullptr);
            output += part.c_str();
        } else if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
                   event.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT) {
            answer = static_cast<DWORD>(DBG_EXCEPTION_NOT_HANDLED);
        }
        ContinueDebugEvent(event.dwProcessId, event.dwThreadId, answer);
        if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT)
            break;
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return output;
}

} // namespace

TEST(TTraceWindowsDebug, ReachesTheDebuggerHoweverLongTheLine) {
    EXPECT_EQ(OutputOf("debug_tracer.exe"), "E [f:1] xxxxx\nE [f:1] " + std::string(10000, 'x') + "\n");
}
