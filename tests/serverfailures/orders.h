#ifndef TUZUTIL_TESTS_ORDERS_H
#define TUZUTIL_TESTS_ORDERS_H

// What the programs of these tests are told. An order is one line: "only N KIND" makes the call with the number N fail,
// "from N KIND" also all later ones, and "stop" none. KIND is a number of calls::Kind. The reply to "stop" is one line:
// how many calls were counted, and the name of the function that failed last.
//
// A server gets its orders through a connection: the environment variable TUZUTIL_ORDERS is the port at which the test
// listens. A process that lives only for one session obeys one order, from its beginning on: the environment variable
// TUZUTIL_ORDER has the order, and TUZUTIL_COUNTED names the file that gets the reply to "stop" when the process ends.

#include "support/FailingCalls.h"

#include <cstdio>
#include <cstring>
#include <string>

// Returns how much the process has of each kind of thing that the system lends, for example open files and threads.
std::string Resources();

// Returns the reply to the order.
inline std::string Obey(char const *order) {
    char how[10] = "";
    long number = 0;
    int kind = 0;
    std::sscanf(order, "%9s %ld %d", how, &number, &kind);
    if (std::strcmp(how, "only") == 0) {
        calls::FailOnly(number, static_cast<calls::Kind>(kind));
    } else if (std::strcmp(how, "from") == 0) {
        calls::FailFrom(number, static_cast<calls::Kind>(kind));
    } else if (std::strcmp(how, "count") == 0) {
        return Resources() + '\n';
    } else {
        long const counted = calls::Stop();
        return std::to_string(counted) + ' ' + calls::LastFailed() + '\n';
    }
    return "obeyed\n";
}

#endif
