#ifndef TUZUTIL_REQUIRE_OPEN
#define TUZUTIL_REQUIRE_OPEN

// RequireOpen(): opens a language library if it is not open. If the library is still not open afterwards, throws. The
// exception has the line number of the caller.

#include "tuzutil/TXTMSG.h"
#include "utility/kernel/reporter.h"

template <typename Library>
void RequireOpen(Library &library, char const *name, std::uint32_t line = __builtin_LINE()) {
    if (library.isOpen())
        return;
    library.open();
    if (!library.isOpen())
        TReporter(TUtilityTraceCategory::NLSResource, "src/utility/NLSRESRC")
            .Raise<TAccessError>({TTextMessage("Unable to find or open %s", name), line});
}

#endif
