#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TRACESTR.h"

#include <charconv>
#include <string>

namespace {

std::string Number(unsigned long number, int base = 10) {
    char digits[32];
    return std::string(digits, std::to_chars(digits, digits + sizeof digits, number, base).ptr);
}

char const *OrEmpty(char const *text) noexcept {
    return text ? text : "";
}

} // namespace

TString TTraceException::FormatException(TException const &exception) {
    std::string out = "Exception ";
    out += exception.name();
    out += ", group ";
    out += exception.errorCodeGroup() ? exception.errorCodeGroup() : "unknown";
    out += ", error ID: " + Number(exception.errorId()) + " (x" + Number(exception.errorId(), 16) + "), ";
    out += exception.isRecoverable() ? "recoverable" : "unrecoverable";

    out += "\nwith the following text:";
    for (unsigned long i = 0; i < exception.textCount(); ++i) {
        if (char const *const text = exception.text(i)) {
            out += "\n  ";
            out += text;
        }
    }

    out += "\nat location:";
    for (unsigned long i = 0; i < exception.locationCount(); ++i) {
        TExceptionLocation const &location = *exception.locationAtIndex(i);
        out += "\n  [";
        out += OrEmpty(location.fileName());
        out += ", " + Number(location.lineNumber()) + "]";
        if (*OrEmpty(location.functionName())) {
            out += ' ';
            out += location.functionName();
        }
    }
    return TString(out.data(), static_cast<unsigned int>(out.size()), ' ');
}
