// Opens the trace destinations that any configurations name, and writes an entry to each. The first byte chooses the
// keyword of the first configuration. The rest of the input are configurations, with line feeds between them: the first
// is opened, and the others are the values of the variables A, B and C, to which a configuration can refer.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/NULSTRM.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TRACEP.h"

#include "support/Environment.h"
#include "support/TempFolder.h"

#include "bounds.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <string>

namespace {

TTrace::Category const fsSession(8, "Session");

class TCounter : public TTrace::Base {
public:
    TCounter() : Base(joinsLater) {}
    void Write(unsigned long, TTrace::Category const &category, TTextMessage const &) override {
        count += &category == &fsSession; // the library's own reports have other categories
    }
    int count = 0;
};

class TCounterFactory : public TTraceFactory {
public:
    TCounterFactory() : TTraceFactory("counter") {}
    TTrace CreateTrace(char const *argument) override {
        Require(argument != nullptr);
        return TTrace::Make<TCounter>();
    }
};

// The working directory of the fuzzer, in which all trace files are made. The standard streams are silent.
class TPlace {
public:
    TPlace() : fOut(std::cout.rdbuf(fNull.rdbuf())), fErr(std::cerr.rdbuf(fNull.rdbuf())) {
        std::filesystem::current_path(fFolder.Native("."));
    }
    TPlace(TPlace const &) = delete;
    TPlace &operator=(TPlace const &) = delete;
    ~TPlace() {
        std::cout.rdbuf(fOut);
        std::cerr.rdbuf(fErr);
        std::filesystem::current_path(fFormer);
    }
    void Empty() const {
        std::error_code ignored;
        for (auto const &entry : std::filesystem::directory_iterator("."))
            std::filesystem::remove_all(entry.path(), ignored);
    }

private:
    ToNulStream fNull;
    std::streambuf *fOut;
    std::streambuf *fErr;
    TTempFolder const fFolder;
    std::filesystem::path const fFormer = std::filesystem::current_path();
};

// Takes the next configuration. It can name no file outside of the working directory.
std::string TakeConfiguration(std::string &rest) {
    std::size_t const end = std::min(rest.find('\n'), rest.size());
    std::string text = std::string(rest, 0, end).c_str();
    rest.erase(0, end + 1);
    for (char &c : text)
        if (c == '/' || c == '\\' || c == ':')
            c = '_';
    return text;
}

} // namespace

// A configuration is split into texts, and opens a destination with its buffer.
TBounds const fsBounds{96 << 10, 32, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    static TPlace const place;
    static TCounterFactory const factory;
    if (size == 0)
        return 0;
    char const *const keywords[] = {"", "file(", "shfile(", "env(", "debug(", "counter(", "FILE", "stderr,"};
    std::string rest(reinterpret_cast<char const *>(data + 1), size - 1);
    std::string const configuration = keywords[data[0] % std::size(keywords)] + TakeConfiguration(rest);
    TEnvironment const a("A", TakeConfiguration(rest).c_str());
    TEnvironment const b("B", TakeConfiguration(rest).c_str());
    TEnvironment const c("C", TakeConfiguration(rest).c_str());
    try {
        TTrace trace(configuration.c_str());
        TTracePoint::Write(TTrace::error, fsSession, "fuzz", "%d", 17);
        auto const *const destination = trace.QueryPointer().Pointer();
        bool const isTaken = destination && destination->IsTracing(TTrace::error, 8, fsSession);
        Require(!isTaken || TTrace::IsGlobalTracing(TTrace::error, 8, fsSession));
        if (auto const *const counter = dynamic_cast<TCounter const *>(destination))
            Require(counter->count == isTaken);
    } catch (TInvalidRequest const &) {
        // The selection is refused.
    }
    place.Empty();
    return 0;
}
