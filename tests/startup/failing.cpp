// A library of one kind of destination, whose making fails as the argument says.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TXTMSG.h"

#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

// A destination of its own kind, which prints its entries.
class TPrinted : public TTrace::Base {
public:
    ~TPrinted() override { Unlink(); }
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &message) override {
        std::printf("printed: %s\n", static_cast<char const *>(message.QueryMessage()));
    }
};

class TFailingFactory : public TTraceFactory {
public:
    TFailingFactory() : TTraceFactory("failing") {}
    TTrace CreateTrace(char const *argument) override {
        std::string const how = argument;
        if (how == "text")
            throw TInvalidRequest("no such place", 1, TException::unrecoverable);
        if (how == "no text")
            throw TInvalidRequest(nullptr, 1, TException::unrecoverable);
        if (how == "standard")
            throw std::runtime_error("no such file");
        if (how == "number")
            throw 17;
        TTrace trace;
        trace.QueryPointer() = TTrace::Pointer(new TPrinted);
        return trace;
    }
} fsFactory;

} // namespace
