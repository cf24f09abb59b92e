// Traces from its first static object to its last, and from those of a library that it loads. Prints what it traced.

#include "startup/load.h"
#include "startup/objects.h"

#include <cstdio>

namespace {

class TPrinting : public TTrace::Base {
public:
    ~TPrinting() override {
        Unlink();
        std::printf("destination destroyed\n");
        std::fflush(stdout);
    }
    void Write(unsigned long, TTrace::Category const &category, TTextMessage const &message) override {
        std::printf("%s: %s\n", static_cast<char const *>(category.QueryString()), static_cast<char const *>(message));
        std::fflush(stdout);
    }
};

TTrace OpenTrace() {
    TTrace trace;
    trace.QueryPointer() = TTrace::Pointer(new TPrinting);
    return trace;
}

TTrace fsTrace = OpenTrace(); // before all that trace, so destroyed after them
TStaticUser fsUser("program");

} // namespace

int main(int, char **arguments) {
    static TStaticUser local("local");
    if (!Load(arguments[1])) {
        std::printf("cannot load %s\n", arguments[1]);
        return 1;
    }
    std::printf("main ends\n");
    return 0;
}
