// Opens a destination by a configuration from its command line, and catches nothing.

#include "tuzutil/TRACE.h"

int main(int argc, char **argv) {
    TTrace const trace(argc > 1 ? argv[1] : "");
    return 0;
}
