// A program that configures its traces: it names a component of its own, leaves a category out, asks for more in the
// prefix, and is told of its misspellings. It prints "ok" if all of this is so.

#include "tuzutil/DIRECTRY.h"
#include "tuzutil/FILENAME.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESTR.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>

namespace {

constexpr unsigned long fsDelivery = 0x100; // the component of this program

TTrace::Category const fsQueue(fsDelivery, "DeliveryQueue");
TTrace::Category const fsNoise(fsDelivery, "DeliveryNoise");

int Fail(char const *what, std::string const &seen) {
    std::fprintf(stderr, "%s: %s\n", what, seen.c_str());
    return 1;
}

// Returns what standard error receives while a configuration is opened.
std::string Told(std::string const &configuration) {
    std::ostringstream text;
    std::streambuf *const former = std::cerr.rdbuf(text.rdbuf());
    TTrace const trace(configuration.c_str());
    std::cerr.rdbuf(former);
    return text.str();
}

} // namespace

int main() {
    TTrace::NameComponent(fsDelivery, "Delivery");

    std::ostringstream out;
    {
        TTraceStream trace(out, "al,Delivery,1,!DeliveryNoise,category");
        trace.SetDisplayPrefix(0);
        TTracePoint::Write(TTrace::information, fsQueue, {"queue.cpp", 7}, "%d messages", 3);
        TTracePoint::Write(TTrace::information, fsNoise, {"queue.cpp", 8}, "noise");
    }
    if (out.str() != "I DeliveryQueue [queue.cpp:7] 3 messages\n")
        return Fail("records", out.str());

    std::string const unknown = Told("stdout,no,Delvery");
    if (unknown != "Trace configuration: unknown component \"Delvery\"\n")
        return Fail("component", unknown);

    std::filesystem::path const folder = std::filesystem::temp_directory_path() / "tuzutil configuration";
    if (TDirectory::MakeTree(folder / "taken") != 0)
        return Fail("directory", folder.string());
    TFileName const taken(folder / "taken");
    std::string const unwritable = Told(std::string("file(") + static_cast<char const *>(taken.QueryNameLocal()) + ")");
    std::filesystem::remove_all(folder);
    if (unwritable.rfind("Trace configuration: unable to write the file (", 0) != 0)
        return Fail("file", unwritable);
    std::puts("ok");
    return 0;
}
