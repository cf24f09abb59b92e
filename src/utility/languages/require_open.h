#ifndef TUZUTIL_REQUIRE_OPEN
#define TUZUTIL_REQUIRE_OPEN

// RequireOpen(): throws if a language library is not open. Before that, it calls open() once, because some classes of
// libraries can try to open again. The exception has the line number of the caller.

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
