#include "Tracing.h"

#include "System.h"

#include <iostream>

namespace pop3d {

TTrace::Category const TraceCategory::server(8, "Pop3Server");
TTrace::Category const TraceCategory::session(8, "Pop3Session");
TTrace::Category const TraceCategory::mailbox(8, "Pop3Mailbox");

namespace {

class StandardErrorTrace : public TTrace::Base {
public:
    StandardErrorTrace() : Base(0xFFFFFFFF, 0xFFFFFFFF) {}
    ~StandardErrorTrace() override { Unlink(); }

    void Write(unsigned long, TTrace::Category const &category, TTextMessage const &message) override {
        std::cerr << category.QueryString() << ": " << Utf8(message) << std::endl;
    }
};

} // namespace

TTrace OpenTraceToStandardError() {
    TTrace trace;
    trace.QueryPointer() = TTrace::Pointer(new StandardErrorTrace);
    return trace;
}

} // namespace pop3d
