#ifndef TUZUTIL_TESTS_TSTRING_SUPPORT_H
#define TUZUTIL_TESTS_TSTRING_SUPPORT_H

// What the suites of TString share: the failures that they expect, and ways to make and print texts.

#include "tuzutil/TSTRING.h"

#include "support/Expect.h"

#include <cstddef>
#include <sstream>
#include <string>

inline constexpr char fsFile[] = "src/utility/TSTRING";
inline TExpectedFailure const fsBadIndex{"Bad index value for this String", fsFile};
inline TExpectedFailure const fsBadTruncate{"Bad value to truncate this String", fsFile};
inline TExpectedFailure const fsBadStart{"Bad value for the starting position", fsFile};

inline TString const fsNull;

inline TString Text(std::string const &bytes) {
    return TString(bytes.data(), static_cast<unsigned int>(bytes.size()), ' ');
}

inline std::string Printed(TString const &text) {
    std::ostringstream out;
    EXPECT_EQ(&text.Print(out), &out);
    return out.str();
}

inline std::string Repeated(std::string const &piece, std::size_t times) {
    std::string result;
    for (std::size_t i = 0; i < times; ++i)
        result += piece;
    return result;
}

#endif
