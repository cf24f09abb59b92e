#ifndef TUZUTIL_TESTS_EXPECT_H
#define TUZUTIL_TESTS_EXPECT_H

// Comparisons that the suites share. They check whole texts of exceptions, and strings with their invariants.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TSTRING.h"

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

// The parts that every exception of the library has besides its text.
struct TExpectedFailure {
    char const *text;
    char const *file;
    unsigned long errorId = 1;
    int isRecoverable = 1;
    char const *function = "";
    unsigned long line = 0; // 0 stands for any line number except 0
};

template <typename E, typename Call>
void ExpectThrows(TExpectedFailure const &expected, Call call) {
    try {
        call();
        ADD_FAILURE() << "nothing was thrown; expected \"" << expected.text << '"';
    } catch (E &problem) {
        EXPECT_STREQ(problem.text(0), expected.text);
        EXPECT_EQ(problem.textCount(), 1u);
        EXPECT_EQ(problem.errorId(), expected.errorId);
        EXPECT_EQ(problem.isRecoverable(), expected.isRecoverable);
        EXPECT_STREQ(problem.errorCodeGroup(), "Quendix Library");
        ASSERT_EQ(problem.locationCount(), 1u);
        EXPECT_STREQ(problem.locationAtIndex(0)->fileName(), expected.file);
        EXPECT_STREQ(problem.locationAtIndex(0)->functionName(), expected.function);
        if (expected.line) {
            EXPECT_EQ(problem.locationAtIndex(0)->lineNumber(), expected.line);
        } else {
            EXPECT_NE(problem.locationAtIndex(0)->lineNumber(), 0u);
        }
    } catch (TException &problem) {
        ADD_FAILURE() << "thrown as " << problem.name() << ": " << problem.text(0);
    }
}

// Returns the bytes of a string, or "(null)" for a null string. Also checks the terminator of the string.
inline std::string Bytes(TString const &text) {
    if (text.IsNull()) {
        EXPECT_EQ(text.length(), 0u);
        EXPECT_EQ(static_cast<char *>(text), nullptr);
        return "(null)";
    }
    char const *const data = text;
    EXPECT_EQ(data[text.length()], 0);
    EXPECT_EQ(data[text.length() + 1], 0);
    if (text.length() % 2) {
        EXPECT_EQ(data[text.length() + 2], 0);
    }
    return std::string(data, text.length());
}

inline char const *Data(TString const &text) {
    return text;
}

#endif
