#ifndef TUZUTIL_TAGVAR_SUPPORT_H
#define TUZUTIL_TAGVAR_SUPPORT_H

// What the suites of tagged values share: values as text, and reports compared whole.

#include "tuzutil/BINSTRM.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TAGVAR.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

inline std::string TypeText(TagVar const &value) {
    std::ostringstream out;
    EXPECT_EQ(&value.PrintType(out), &out);
    return out.str();
}

inline std::string ValueText(TagVar const &value) {
    std::ostringstream out;
    EXPECT_EQ(&value.StreamOut(out), &out);
    return out.str();
}

// "integer 5", "string abc", "date"
inline std::string Show(TagVar const &value) {
    if (value.IsDate() || value.IsTime())
        return TypeText(value);
    return TypeText(value) + ' ' + ValueText(value);
}

inline TagVar Unknown(unsigned int type = 12) {
    return TagVar(static_cast<TagVar::Type>(type));
}

// The report that `work` ends with, in full; "none" where there is none.
template <typename Work>
std::string Report(Work work) {
    try {
        work();
    } catch (TInvalidRequest const &report) {
        EXPECT_STREQ(report.name(), "TInvalidRequest");
        EXPECT_STREQ(report.errorCodeGroup(), "Quendix Library");
        EXPECT_EQ(report.textCount(), 1u);
        EXPECT_EQ(report.locationCount(), 1u);
        EXPECT_STREQ(report.locationAtIndex(0)->fileName(), "src/utility/TAGVAR");
        EXPECT_STREQ(report.locationAtIndex(0)->functionName(), "");
        EXPECT_NE(report.locationAtIndex(0)->lineNumber(), 0u);
        std::ostringstream out;
        out << report.text(0) << ' ' << report.errorId()
            << (report.isRecoverable() ? " recoverable" : " unrecoverable");
        return out.str();
    }
    return "none";
}

inline char const *const fsTypeMismatch = "type mismatch 2 recoverable";
inline char const *const fsNotImplemented = "not implemented 1 unrecoverable";
inline char const *const fsUnknownType = "unknown type 3 unrecoverable";

#endif
