#ifndef TUZUTIL_REQUIRE_OPEN
#define TUZUTIL_REQUIRE_OPEN

// What happens if a language library is not open: one more attempt, for classes that can try again, and then an
// exception with the line of the caller.

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
