// uncaught CONFIGURATION: opens a destination by the configuration, and catches nothing.
// uncaught MODE: ends without success.
//   untold     throws an exception without text
//   foreign    throws an exception that is not of the library
//   nothing    calls std::terminate() while there is no exception
//   replaced   the same with a handler of the program's own, which prints "replaced" and ends the program with the
//              status 7

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TRACE.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

int main(int argc, char **argv) {
    std::string const mode = argc > 1 ? argv[1] : "";
    if (mode == "untold")
        throw TInvalidRequest(nullptr, 1, TException::unrecoverable);
    if (mode == "foreign")
        throw std::runtime_error("not of the library");
    if (mode == "replaced")
        std::set_terminate([] {
            std::puts("replaced");
            std::exit(7);
        });
    if (mode == "nothing" || mode == "replaced")
        std::terminate();
    TTrace const trace(mode.c_str());
    return 0;
}
