// A program that reports its failures as programs of today do, counts its errors by a destination of its own, and is
// told of its mistakes with threads.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TDLL.h"
#include "tuzutil/THREAD.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESTR.h"

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

static void Require(bool condition, char const *what) {
    if (condition)
        return;
    std::cerr << what << '\n';
    std::exit(1);
}

// What a handler learns that knows the standard only.
template <typename Call>
static std::string Failure(Call call) {
    try {
        call();
    } catch (std::exception const &problem) {
        return problem.what();
    }
    return "none";
}

class Errors : public TTrace::Base {
public:
    explicit Errors(std::vector<std::string> &texts) : Base(joinsLater, TTrace::error, 8), fTexts(texts) {}
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &message) override {
        fTexts.push_back(static_cast<char const *>(message));
    }

private:
    std::vector<std::string> &fTexts;
};

class Fetch : public TThread {
public:
    int Run() override { return 17; }
};

static TTrace::Category const fsSession(8, "Session");

int main() {
    std::string const cut = Failure([] { static_cast<void>(TString("abc").subString(0)); });
    Require(cut.find("Bad value to truncate this String (TInvalidRequest, ID 1, src/utility/TSTRING:") == 0, "no text");
    try {
        TDll const missing("no\\such\\library.dll");
    } catch (TException const &problem) {
        std::ostringstream out;
        out << problem;
        Require(out.str() == problem.what(), "the stream has another text");
        Require(problem.code() && problem.code().category() == std::system_category(), "no error of the system");
        Require(problem.systemText() && out.str().find(problem.systemText()) != std::string::npos,
                "the loader is mute");
    }

    Fetch local;
    Require(Failure([&] { static_cast<void>(local.Start()); }).find("Thread object without a reference") == 0,
            "started");
    TReference<Fetch> const fetch(new Fetch);
    Require(fetch->Start() == 0, "not started");
    fetch->WaitForTermination(-1);
    Require(fetch->QueryResult() == 17, "the result is lost");

    std::vector<std::string> texts;
    std::filesystem::path const log = std::filesystem::temp_directory_path() / u"tuzutil_failures_\u00E4.log";
    {
        TTrace const errors = TTrace::Make<Errors>(texts);
        TTraceStream file(log);
        file.SetDisplayPrefix(0);
        TTracePoint::Write(TTrace::error, fsSession, {"src/session.cpp", 7}, "%d bytes lost", 17);
    }
    TTracePoint::Write(TTrace::error, fsSession, "nobody listens");
    Require(texts == std::vector<std::string>{"17 bytes lost"}, "the destination heard something else");
    std::string line;
    std::ifstream(log) >> line >> line >> line;
    Require(line == "17", "the file has another record");
    std::filesystem::remove(log);
    std::cout << "ok\n";
}
