// Takes any bytes for the selection of a trace destination, and for the name of a factory. Both can come from the
// environment.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/FACTORY.h"
#include "tuzutil/TRACE.h"

#include "bounds.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

class TSilent : public TTrace::Base {
public:
    ~TSilent() override { Unlink(); }
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {}
};

} // namespace

// The words of a selection.
TBounds const fsBounds{16 << 10, 16, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    std::string const text(reinterpret_cast<char const *>(data), size);
    TTrace trace;
    trace.QueryPointer() = TTrace::Pointer(new TSilent);
    try {
        trace.ParseTraceString(text.c_str());
    } catch (TInvalidRequest const &) {
        // The selection is refused.
    }
    TFactoryType const type(text.c_str());
    if (!(type == TFactoryType(type)) || type < type)
        __builtin_trap();
    return 0;
}
