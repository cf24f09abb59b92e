#include "support/Process.h"

#include <windows.h>

TProcess::TProcess(std::string const &helper, std::vector<std::string> const &arguments) : fProcess(0) {
    char own[MAX_PATH];
    std::string path(own, GetModuleFileNameA(nullptr, own, sizeof own));
    path = path.substr(0, path.rfind('\\') + 1) + helper + ".exe";
    std::string line = '"' + path + '"';
    for (std::string const &argument : arguments)
        line += " \"" + argument + '"';
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process;
    if (CreateProcessA(path.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
        CloseHandle(process.hThread);
        fProcess = reinterpret_cast<std::intptr_t>(process.hProcess);
    }
}

TProcess::~TProcess() {
    Kill();
}

void TProcess::Kill() {
    if (fProcess)
        TerminateProcess(reinterpret_cast<HANDLE>(fProcess), 137);
    Wait();
}

int TProcess::Wait() {
    if (!fProcess)
        return -1;
    auto const process = reinterpret_cast<HANDLE>(fProcess);
    fProcess = 0;
    DWORD status = 137;
    WaitForSingleObject(process, INFINITE);
    GetExitCodeProcess(process, &status);
    CloseHandle(process);
    return status == 137 ? -1 : static_cast<int>(status);
}

namespace {

struct Start {
    void (*body)(void *);
    void *argument;
};

DWORD WINAPI RunBody(void *given) {
    auto const *const start = static_cast<Start *>(given);
    start->body(start->argument);
    return 0;
}

} // namespace

void RunThreadThatEnds(void (*body)(void *), void *argument) {
    Start start = {body, argument};
    HANDLE const thread = CreateThread(nullptr, 0, RunBody, &start, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}
