// Runs one path of the library as often as asked, so that its instructions can be counted: paths NAME COUNT. Everything
// that a path does only once is done even if COUNT is 0.

#include "tuzutil/BASE64.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESTR.h"
#include "tuzutil/TXTMSG.h"

#include <cstdlib>
#include <istream>
#include <sstream>
#include <string>
#include <string_view>

namespace {

TTrace::Category const fsCategory(8, "Speed");

// The compiler must not know that the value is not used.
template <typename T>
void Use(T const &value) {
    asm volatile("" : : "g"(&value) : "memory");
}

void TracePoint(long count) {
    for (int number = 17; count > 0; --count)
        TTracePoint::Write(TTrace::error, fsCategory, "session %d", number);
}

void Record(long count) {
    TTraceStream const trace("/dev/null");
    for (; count > 0; --count)
        TTracePoint::Write(TTrace::error, fsCategory, "session %d of %s: %d bytes", 4711, "anna@example.org", 123456);
}

void Message(long count) {
    TString const name("inbox");
    for (; count > 0; --count) {
        TTextMessage const message("message %2$s has %1$d items, %3$08X", 1234, name, 0xBEEFu);
        Use(message.QueryMessage());
    }
}

void Append(long count) {
    TString text;
    for (; count > 0; --count)
        text += "0123456789abcdef";
    Use(text);
}

std::string Lines(std::size_t size) {
    std::string lines;
    while (lines.size() < size)
        lines += "A line of a message, with about as many characters as usual.\r\n";
    return lines;
}

void Line(long count) {
    std::istringstream source(Lines(64 * 1024));
    TiLineStream lines(&source);
    std::string line;
    for (; count > 0; --count) {
        std::getline(lines, line);
        Use(line);
    }
}

void Unstuff(long count) {
    std::string const body = Lines(64 * 1024) + ".\r\n";
    char bytes[4096];
    for (; count > 0; --count) {
        std::istringstream source(body);
        TiDotByteStream in(source);
        while (in.read(bytes, sizeof bytes))
            Use(bytes);
    }
}

void Base64(long count) {
    TString const bytes(nullptr, 4096, 'x');
    for (; count > 0; --count)
        Use(TBase64::Encode(bytes));
}

void LockPair(long count) {
    TMutexSemaphore mutex;
    for (; count > 0; --count) {
        TMutexSemaphoreEntry const entry(mutex, TMutexSemaphore::fsInfinite);
        Use(entry);
    }
}

struct TPath {
    char const *name;
    void (*run)(long count);
};

constexpr TPath fsPaths[] = {{"trace_point", TracePoint}, {"record", Record}, {"message", Message},
                             {"append", Append},          {"line", Line},     {"unstuff", Unstuff},
                             {"base64", Base64},          {"lock", LockPair}};

} // namespace

int main(int argc, char **argv) {
    if (argc == 3) {
        for (TPath const &path : fsPaths) {
            if (std::string_view(argv[1]) == path.name) {
                path.run(std::atol(argv[2]));
                return 0;
            }
        }
    }
    return 2;
}
