#include "support/Process.h"

#include <cstring>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

TProcess::TProcess(std::string const &helper, std::vector<std::string> const &arguments) : fProcess(-1) {
    char own[4096];
    ssize_t const length = ::readlink("/proc/self/exe", own, sizeof own);
    std::string path(own, length > 0 ? static_cast<std::size_t>(length) : 0);
    path = path.substr(0, path.rfind('/') + 1) + helper;
    std::vector<std::string> texts = arguments;
    std::vector<char *> list = {path.data()};
    for (std::string &text : texts)
        list.push_back(text.data());
    list.push_back(nullptr);
    pid_t process;
    if (::posix_spawn(&process, path.c_str(), nullptr, nullptr, list.data(), environ) == 0)
        fProcess = process;
}

TProcess::~TProcess() {
    Kill();
}

void TProcess::Kill() {
    if (fProcess > 0)
        ::kill(static_cast<pid_t>(fProcess), SIGKILL);
    Wait();
}

int TProcess::Wait() {
    int status = -1;
    if (fProcess > 0)
        ::waitpid(static_cast<pid_t>(fProcess), &status, 0);
    fProcess = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

namespace {

struct Start {
    void (*body)(void *);
    void *argument;
};

} // namespace

void RunThreadThatEnds(void (*body)(void *), void *argument) {
    Start start = {body, argument};
    pthread_t thread;
    ::pthread_create(
        &thread, nullptr,
        [](void *given) -> void * {
            auto const *const what = static_cast<Start *>(given);
            what->body(what->argument);
            return nullptr;
        },
        &start);
    ::pthread_join(thread, nullptr);
}
