// shared_tracer FILE WRITER COUNT GATE: waits for the file GATE, then traces COUNT records to the shared file FILE:
// "checksum payload", from the source "wWRITER", each with its number as line. With COUNT 0 it holds the file open,
// says so by making GATE, and waits to be killed.

#include "shared_tracer.h"

#include "tuzutil/TRACESHF.h"
#include "tuzutil/TXTMSG.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

static TTrace::Category const fsCategory(1, "SharedTracer");

int main(int argc, char **argv) {
    if (argc != 5)
        return 100;
    auto const writer = static_cast<unsigned>(std::atoi(argv[2]));
    auto const count = static_cast<unsigned>(std::atoi(argv[3]));
    std::string const source = "w" + std::to_string(writer);
    TTraceSharedFile const trace(argv[1]);
    if (count == 0) {
        std::ofstream(argv[4]) << "open\n";
        std::this_thread::sleep_for(std::chrono::minutes(5));
        return 101;
    }
    while (!std::ifstream(argv[4]))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    for (unsigned number = 1; number <= count; ++number) {
        std::string const payload = SharedPayload(writer, number);
        TTextMessage message("%08x %s", TagVar(SharedChecksum(payload)), TagVar(payload.c_str()));
        message.SetDebugging(source.c_str(), number);
        TTrace::WriteEntry(TTrace::error, fsCategory, message);
    }
    return 0;
}
